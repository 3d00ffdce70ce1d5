#pragma once

// What every session test stands on: the controller emulator behind Platform::Etw(), the
// auto-logger key of the session (locked and clean), a scratch folder for log files,
// the DebugTrace console echo switched on as /debug does, and the three console streams
// captured. Trace lines land in the captured standard output; the reports in the wide
// one.

#include "session/StartOptions.h"
#include "tests/emulator/ControllerEmulator.h"
#include "tests/session/AutologgerDefinition.h"
#include "tests/support/OutputCapture.h"
#include "tests/support/TempDirectory.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace Testing {

inline constexpr wchar_t LogSessionName[] = L"Kestrova Diagnostics Log";
// The product's provider and the system providers as the registry names their keys.
inline constexpr wchar_t ProductProviderKey[] = L"{6e2b9c41-7a3d-4f15-8c62-3d9a1b7e5f04}";
inline constexpr wchar_t WinlogonProviderKey[] = L"{dbe9b383-7cf3-4331-91cc-a3cb16a3b538}";
inline constexpr wchar_t KernelProcessProviderKey[] = L"{22fb2cd6-0e7b-422b-a0c7-2fad1fd0e716}";

class SessionFixture : public ::testing::Test {
protected:
    SessionFixture();
    ~SessionFixture() override;

    // The DebugTrace lines written so far, without line breaks.
    std::vector<std::string> TraceOutput() const;
    std::wstring WideOutput() const { return capture.WideOut(); }

    // <scratch>\logs\<name>: a log file in a folder that does not exist yet.
    std::wstring LogFile(const std::wstring& name = L"ksdiag.etl") const;
    // START's defaults with LogFile() as the file.
    Session::StartOptions DefaultOptions() const;

    // A running session of the log's name as another run would have left it: circular
    // 1024 MB, 512 KB buffers, flushed every 5 s, on `file`.
    TRACEHANDLE AddRunningSession(const std::wstring& file, ULONG logFileMode = EVENT_TRACE_FILE_MODE_CIRCULAR,
                                  ULONG maximumFileSize = 1024);

    // The auto-logger definition START writes for a default START (no call stacks, no
    // Kernel-Process) at `level`: session values and two provider keys.
    void SeedDefinition(uint8_t level = 18) const;

    ControllerEmulator etw;
    AutologgerDefinition autologger;
    TempDirectory scratch;
    OutputCapture capture;
};

// The report lines of a running session, each with its line break.
struct ExpectedStatus {
    std::wstring session = LogSessionName;
    std::wstring fileName;
    std::wstring directory;
    std::wstring fileMode = L"Circular";
    std::wstring maximumSize = L"1024";
    ULONG bufferKb = 512;
    ULONG buffersWritten = 0;
    ULONG buffersLost = 0;
    ULONG eventsLost = 0;
    std::wstring rebootLogging = L"Enabled.";
};
std::wstring StatusReport(const ExpectedStatus& expected);

// ExpectedStatus for a file path, split as the report splits it.
ExpectedStatus StatusOf(const std::wstring& file);

} // namespace Testing
