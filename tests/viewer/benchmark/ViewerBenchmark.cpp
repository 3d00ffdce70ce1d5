// Rendering throughput of the event callback: N synthetic product events through
// OnEventRecord, pumped by the emulated consumer's ProcessTrace from a real-time source
// that hands out four sample records in turn (so that the harness holds no more for
// larger N), with the emulated TDH describing them from the embedded manifest and the
// output going to a file. Prints events per second and the peak working set, which must
// not grow with N.
//
//   viewer_benchmark.exe [events] [output file]     (defaults: 100000, viewer_benchmark.txt)

#include "platform/ConsoleApi.h"
#include "platform/EtwApi.h"
#include "tests/emulator/ConsumerEmulator.h"
#include "tests/emulator/TdhEmulator.h"
#include "tests/viewer/ViewerEvents.h"
#include "viewer/EventCallback.h"
#include "viewer/EventInformation.h"
#include "viewer/ManifestExtraction.h"
#include "viewer/ViewOptions.h"

#include <windows.h>

#include <psapi.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <vector>

namespace {

// A console that accepts every attribute and records nothing, so that the harness
// itself does not grow with N.
BOOL WINAPI QuietScreenBufferInfo(HANDLE, PCONSOLE_SCREEN_BUFFER_INFO info)
{
    *info = CONSOLE_SCREEN_BUFFER_INFO{};
    info->wAttributes = 0x07;
    return TRUE;
}

BOOL WINAPI QuietTextAttribute(HANDLE, WORD)
{
    return TRUE;
}

std::vector<Testing::RecordedEvent> SampleEvents()
{
    Testing::OperationalFields error;
    error.message = L"Failed to open the configuration store";
    error.arguments = L"{ errorCode:5, path:\"C:\\ProgramData\\Kestrova\\config.db\" }";
    error.stack = L"at Store::Open\nat Service::Start";
    std::vector<Testing::RecordedEvent> events;
    events.push_back(Testing::OperationalEvent(2, 2012).SessionId(1).Build());
    events.push_back(Testing::OperationalEvent(1, 2014, error).SessionId(1).Build());
    events.push_back(Testing::DebugTraceEvent(2004, L"KestrovaService", L"Connected to the update server").Build());
    events.push_back(Testing::OperationalEvent(2, 2013).Build());
    return events;
}

// Opens a real-time consumer on the emulator's source and pumps it until the source has
// handed out every event; false when the consumer could not be opened or pumped.
bool Pump(Viewer::ViewOptions& options)
{
    EVENT_TRACE_LOGFILEW logFile{};
    logFile.LoggerName = const_cast<wchar_t*>(L"Kestrova Viewer Benchmark");
    logFile.ProcessTraceMode = PROCESS_TRACE_MODE_EVENT_RECORD | PROCESS_TRACE_MODE_REAL_TIME;
    logFile.EventRecordCallback = Viewer::OnEventRecord;
    logFile.Context = &options;
    TRACEHANDLE consumer = Platform::Etw().OpenTraceW(&logFile);
    if (consumer == INVALID_PROCESSTRACE_HANDLE) {
        return false;
    }
    const ULONG status = Platform::Etw().ProcessTrace(&consumer, 1, nullptr, nullptr);
    Platform::Etw().CloseTrace(consumer);
    return status == ERROR_SUCCESS;
}

double PeakWorkingSetMb()
{
    PROCESS_MEMORY_COUNTERS counters{};
    counters.cb = sizeof(counters);
    ::K32GetProcessMemoryInfo(::GetCurrentProcess(), &counters, sizeof(counters));
    return static_cast<double>(counters.PeakWorkingSetSize) / (1024.0 * 1024.0);
}

} // namespace

int main(int argc, char** argv)
{
    const unsigned long count = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 100000;
    const char* outputPath = argc > 2 ? argv[2] : "viewer_benchmark.txt";

    Platform::Console().GetConsoleScreenBufferInfo = QuietScreenBufferInfo;
    Platform::Console().SetConsoleTextAttribute = QuietTextAttribute;
    Testing::TdhEmulator tdh;
    if (Viewer::LoadInstrumentationManifest() != 0) {
        std::fprintf(stderr, "the embedded manifest could not be loaded\n");
        return 1;
    }

    std::wofstream output(outputPath, std::ios::trunc);
    std::wstreambuf* saved = std::wcout.rdbuf(output.rdbuf());
    Viewer::ViewOptions options;
    options.level = 5;
    const std::vector<Testing::RecordedEvent> events = SampleEvents();
    Testing::ConsumerEmulator consumer;
    unsigned long delivered = 0;
    consumer.SetRealTimeSource(Testing::ConsumerEmulator::RealTimeSource{
        [](const std::wstring&) { return true; },
        [&](const std::wstring&) -> const EVENT_RECORD* {
            return delivered < count ? &events[delivered++ % events.size()].record : nullptr;
        }});

    const double peakBefore = PeakWorkingSetMb();
    LARGE_INTEGER frequency{};
    LARGE_INTEGER start{};
    LARGE_INTEGER end{};
    ::QueryPerformanceFrequency(&frequency);
    ::QueryPerformanceCounter(&start);
    const bool pumped = Pump(options);
    ::QueryPerformanceCounter(&end);
    std::wcout.rdbuf(saved);
    output.close();
    if (!pumped || delivered != count) {
        std::fprintf(stderr, "the consumer delivered %lu of %lu events\n", delivered, count);
        return 1;
    }

    const double seconds = static_cast<double>(end.QuadPart - start.QuadPart) / static_cast<double>(frequency.QuadPart);
    std::printf("events %lu\nseconds %.3f\nevents per second %.0f\npeak working set before %.1f MB, after %.1f MB\n"
                "event-information buffer %lu bytes, %zu size answers\n",
                count, seconds, static_cast<double>(count) / seconds, peakBefore, PeakWorkingSetMb(),
                static_cast<unsigned long>(Viewer::EventInformationBufferSize()), tdh.InsufficientBufferAnswers());
    return 0;
}
