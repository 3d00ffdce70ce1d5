#include "tests/session/SessionFixture.h"

#include "tests/support/TraceLines.h"
#include "trace/DebugTrace.h"
#include "trace/TraceSettings.h"

namespace Testing {

SessionFixture::SessionFixture()
{
    // No provider registration and no crash handlers: the test process is no product
    // component, and the DebugTrace lines should reach the console only.
    Trace::EnsureConfigured(Trace::SkipCrashHandlers | Trace::SkipProviderRegistration);
    Trace::DebugConsoleLevel = 7;
    Trace::DebugConsoleEnabled = 1;
}

SessionFixture::~SessionFixture()
{
    Trace::DebugConsoleLevel = 0;
    Trace::DebugConsoleEnabled = 0;
}

std::vector<std::string> SessionFixture::TraceOutput() const
{
    return SplitLines(capture.Out());
}

std::wstring SessionFixture::LogFile(const std::wstring& name) const
{
    return (scratch.Path() / L"logs" / name).wstring();
}

Session::StartOptions SessionFixture::DefaultOptions() const
{
    Session::StartOptions options;
    options.file = LogFile();
    options.maxSizeMb = 1024;
    return options;
}

TRACEHANDLE SessionFixture::AddRunningSession(const std::wstring& file, ULONG logFileMode, ULONG maximumFileSize)
{
    EmulatedSession session;
    session.name = LogSessionName;
    session.logFileName = file;
    session.settings.BufferSize = 512;
    session.settings.MaximumFileSize = maximumFileSize;
    session.settings.LogFileMode = logFileMode;
    session.settings.FlushTimer = 5;
    session.settings.EnableFlags = 1;
    return etw.AddSession(session);
}

void SessionFixture::SeedDefinition(uint8_t level) const
{
    autologger.Set(L"", DwordValue(L"Start", 1));
    autologger.Set(ProductProviderKey, DwordValue(L"EnableLevel", level));
    autologger.Set(WinlogonProviderKey, DwordValue(L"EnableLevel", 5));
}

std::wstring StatusReport(const ExpectedStatus& expected)
{
    return L"Details:\n"
           L" Session           - " +
           expected.session + L"\n" + L" File Name         - " + expected.fileName + L"\n" + L" Directory Name    - " +
           expected.directory + L"\n" + L" File Mode         - " + expected.fileMode + L"\n" +
           L" Maximum Size (MB) - " + expected.maximumSize + L"\n" + L" Buffer Size (KB)  - " +
           std::to_wstring(expected.bufferKb) + L"\n" + L" Buffers Written   - " +
           std::to_wstring(expected.buffersWritten) + L"\n" + L" Buffers Lost      - " +
           std::to_wstring(expected.buffersLost) + L"\n" + L" Events Lost       - " +
           std::to_wstring(expected.eventsLost) + L"\n" + L" Reboot Logging    - " + expected.rebootLogging + L"\n";
}

ExpectedStatus StatusOf(const std::wstring& file)
{
    ExpectedStatus expected;
    const size_t separator = file.find_last_of(L'\\');
    expected.directory = separator == std::wstring::npos ? L"" : file.substr(0, separator + 1);
    expected.fileName = separator == std::wstring::npos ? file : file.substr(separator + 1);
    return expected;
}

} // namespace Testing
