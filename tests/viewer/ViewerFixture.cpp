#include "tests/viewer/ViewerFixture.h"

#include "tests/support/TraceLines.h"
#include "tests/support/ViewerTimestamp.h"
#include "trace/DebugTrace.h"
#include "viewer/EventCallback.h"
#include "viewer/ManifestExtraction.h"
#include "viewer/ViewerReset.h"

#include <cwchar>
#include <iomanip>
#include <sstream>

namespace Testing {

namespace {

std::wstring& RedirectedTempPath()
{
    static std::wstring path;
    return path;
}

DWORD WINAPI RedirectedGetTempPath(DWORD length, LPWSTR buffer)
{
    const std::wstring& path = RedirectedTempPath();
    if (length <= path.size()) {
        return static_cast<DWORD>(path.size() + 1);
    }
    std::wmemcpy(buffer, path.c_str(), path.size() + 1);
    return static_cast<DWORD>(path.size());
}

} // namespace

ViewerTest::ViewerTest() : files(Platform::File())
{
    // Bound dbghelp functions, symbol processes and buffers of an earlier test in this
    // process would decide what this one sees.
    Viewer::ResetViewerState();
    RedirectedTempPath() = temp.Path().wstring() + L"\\";
    files->GetTempPathW = RedirectedGetTempPath;
    Trace::DebugConsoleLevel = 7;
    Trace::DebugConsoleEnabled = 1;
    options.level = 5;
}

void ViewerTest::LoadManifest()
{
    ASSERT_EQ(0u, Viewer::LoadInstrumentationManifest());
    capture.Clear();
}

void ViewerTest::Render(const EVENT_RECORD& record)
{
    EVENT_RECORD copy = record;
    copy.UserContext = &options;
    Viewer::OnEventRecord(&copy);
}

std::vector<std::string> ViewerTest::TraceLines() const
{
    return SplitLines(capture.Out());
}

std::wstring ViewerTest::TempPath() const
{
    return RedirectedTempPath();
}

std::wstring ViewerTest::DefaultTimestamp()
{
    return TimestampText(133542759010420000LL);
}

std::wstring TimestampText(long long fileTime)
{
    const std::string text = ViewerTimestamp(fileTime);
    return std::wstring(text.begin(), text.end());
}

} // namespace Testing
