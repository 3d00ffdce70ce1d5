// ksdiag's own process entry in front of recording operations: START and VIEW write the
// path they were handed, in UTF-8, to standard output ("START <path>" or "VIEW <path>"
// and a line break) instead of starting or reading a log. Run by PathProbeTest with a
// command line the test chooses.

#include "front/Main.h"
#include "front/Operations.h"

#include <windows.h>

#include <cstdio>
#include <string>

namespace {

void PrintPath(const char* command, const std::wstring& path)
{
    const int length = static_cast<int>(path.size());
    const int needed = ::WideCharToMultiByte(CP_UTF8, 0, path.data(), length, nullptr, 0, nullptr, nullptr);
    std::string text(static_cast<size_t>(needed > 0 ? needed : 0), '\0');
    ::WideCharToMultiByte(CP_UTF8, 0, path.data(), length, text.data(), needed, nullptr, nullptr);
    std::printf("%s %s\n", command, text.c_str());
}

uint32_t RecordStart(const Session::StartOptions& options)
{
    PrintPath("START", options.file);
    return 0;
}

uint32_t RecordView(const std::wstring& path, Viewer::ViewOptions&)
{
    PrintPath("VIEW", path);
    return 0;
}

uint32_t Succeed()
{
    return 0;
}

std::wstring DefaultPath()
{
    return L"default.etl";
}

void IgnoreLive(Viewer::ViewOptions&)
{
}

} // namespace

int main(int argc, char** argv)
{
    Front::CommandOperations() =
        Front::Operations{RecordStart, Succeed, Succeed, DefaultPath, RecordView, IgnoreLive, Succeed};
    return Front::ProcessMain(argc, argv);
}
