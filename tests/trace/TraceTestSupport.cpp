#include "tests/trace/TraceTestSupport.h"

#include "base/ProcessArguments.h"
#include "base/UniqueHandle.h"
#include "trace/TraceFile.h"

#include <windows.h>

#include <stdexcept>

namespace Testing {

void ConfigureWith(const std::vector<std::string>& switches, uint32_t options)
{
    std::vector<const char*> vector{"trace_tests.exe"};
    for (const std::string& token : switches) {
        vector.push_back(token.c_str());
    }
    Base::ProcessArguments::Populate(static_cast<int>(vector.size()), vector.data());
    Trace::EnsureConfigured(options);
}

std::string PathSwitch(const char* name, const std::filesystem::path& path)
{
    return std::string("/") + name + ":" + path.string();
}

std::string ReadSharedFile(const std::filesystem::path& path)
{
    Base::UniqueKernelHandle file(::CreateFileW(path.wstring().c_str(), GENERIC_READ,
                                                FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                                                FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file.IsValid()) {
        throw std::runtime_error("cannot open " + path.string());
    }
    std::string content;
    char buffer[4096];
    DWORD count = 0;
    while (::ReadFile(file.Get(), buffer, sizeof(buffer), &count, nullptr) && count > 0) {
        content.append(buffer, count);
    }
    return content;
}

TraceFileCloser::~TraceFileCloser()
{
    Trace::TraceFileStream().Close();
}

} // namespace Testing
