// Rendering throughput of the event callback: N synthetic product events through
// OnEventRecord, pumped by the emulated consumer's ProcessTrace from a real-time source
// that hands out four sample records in turn (so that the harness holds no more for
// larger N), with the emulated TDH describing them from the embedded manifest.
//
// Each round renders the N events twice, side by side:
//   shipped: through the console streams ksdiag installs (Base::InstallConsoleStreams)
//            onto standard output, which the caller redirects to a file;
//   bypass:  through a std::wofstream swapped into std::wcout, which never touches the
//            shipped stream and gives the cost of rendering alone.
// The two alternate in order from round to round (AB BA AB ...), and the report gives
// the median of each, their ratio, the heap allocations per event that the rendering
// makes (counted by the operator new below, only while OnEventRecord runs and not
// while the TDH emulator answers), and the peak working set before and after, which
// must not grow with N. The report goes to standard error.
//
//   viewer_benchmark.exe [events] [rounds] [bypass file] > shipped.txt
//   (defaults: 100000 events, 5 rounds, viewer_benchmark_bypass.txt)

#include "base/ConsoleStreams.h"
#include "platform/EtwApi.h"
#include "platform/TdhApi.h"
#include "tests/emulator/ConsumerEmulator.h"
#include "tests/emulator/TdhEmulator.h"
#include "tests/viewer/ViewerEvents.h"
#include "viewer/EventCallback.h"
#include "viewer/EventInformation.h"
#include "viewer/ManifestExtraction.h"
#include "viewer/ViewOptions.h"

#include <windows.h>

#include <psapi.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <new>
#include <vector>

namespace {

// Heap allocations while counting is on. The benchmark is single-threaded: the
// emulated ProcessTrace calls back on the calling thread.
bool counting = false;
unsigned long long allocations = 0;

// Pauses counting for a call into the harness and resumes it afterwards.
class HarnessCall {
public:
    HarnessCall() : saved(counting) { counting = false; }
    HarnessCall(const HarnessCall&) = delete;
    HarnessCall& operator=(const HarnessCall&) = delete;
    ~HarnessCall() { counting = saved; }

private:
    bool saved;
};

} // namespace

void* operator new(std::size_t size)
{
    if (counting) {
        ++allocations;
    }
    if (void* block = std::malloc(size == 0 ? 1 : size)) {
        return block;
    }
    throw std::bad_alloc();
}

void* operator new[](std::size_t size)
{
    return operator new(size);
}

void operator delete(void* block) noexcept
{
    std::free(block);
}

void operator delete[](void* block) noexcept
{
    std::free(block);
}

void operator delete(void* block, std::size_t) noexcept
{
    std::free(block);
}

void operator delete[](void* block, std::size_t) noexcept
{
    std::free(block);
}

namespace {

// The emulator's TDH entries, called with counting paused: what the emulator allocates
// to answer is the harness's cost, not the viewer's.
Platform::TdhApi emulatedTdh{};

ULONG WINAPI HarnessGetEventInformation(PEVENT_RECORD event, ULONG contextCount, PTDH_CONTEXT context,
                                        PTRACE_EVENT_INFO buffer, ULONG* bufferSize)
{
    HarnessCall call;
    return emulatedTdh.TdhGetEventInformation(event, contextCount, context, buffer, bufferSize);
}

ULONG WINAPI HarnessGetPropertySize(PEVENT_RECORD event, ULONG contextCount, PTDH_CONTEXT context,
                                    ULONG descriptorCount, PPROPERTY_DATA_DESCRIPTOR descriptors, ULONG* size)
{
    HarnessCall call;
    return emulatedTdh.TdhGetPropertySize(event, contextCount, context, descriptorCount, descriptors, size);
}

ULONG WINAPI HarnessGetProperty(PEVENT_RECORD event, ULONG contextCount, PTDH_CONTEXT context, ULONG descriptorCount,
                                PPROPERTY_DATA_DESCRIPTOR descriptors, ULONG bufferSize, PBYTE buffer)
{
    HarnessCall call;
    return emulatedTdh.TdhGetProperty(event, contextCount, context, descriptorCount, descriptors, bufferSize, buffer);
}

VOID WINAPI CountedOnEventRecord(PEVENT_RECORD record)
{
    counting = true;
    Viewer::OnEventRecord(record);
    counting = false;
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

struct RunResult {
    double seconds = 0;
    unsigned long long allocations = 0;
    bool pumped = false;
};

// Opens a real-time consumer on the emulator's source and pumps the N events through
// the callback into whatever std::wcout writes to, ending with a flush.
RunResult Run(Testing::ConsumerEmulator& consumer, const std::vector<Testing::RecordedEvent>& events,
              unsigned long count)
{
    Viewer::ViewOptions options{};
    options.level = 5;
    unsigned long delivered = 0;
    consumer.SetRealTimeSource(Testing::ConsumerEmulator::RealTimeSource{
        [](const std::wstring&) { return true; },
        [&](const std::wstring&) -> const EVENT_RECORD* {
            return delivered < count ? &events[delivered++ % events.size()].record : nullptr;
        }});
    EVENT_TRACE_LOGFILEW logFile{};
    logFile.LoggerName = const_cast<wchar_t*>(L"Kestrova Viewer Benchmark");
    logFile.ProcessTraceMode = PROCESS_TRACE_MODE_EVENT_RECORD | PROCESS_TRACE_MODE_REAL_TIME;
    logFile.EventRecordCallback = CountedOnEventRecord;
    logFile.Context = &options;

    RunResult result;
    const unsigned long long allocationsBefore = allocations;
    LARGE_INTEGER frequency{};
    LARGE_INTEGER start{};
    LARGE_INTEGER end{};
    ::QueryPerformanceFrequency(&frequency);
    ::QueryPerformanceCounter(&start);
    TRACEHANDLE handle = Platform::Etw().OpenTraceW(&logFile);
    if (handle != INVALID_PROCESSTRACE_HANDLE) {
        result.pumped = Platform::Etw().ProcessTrace(&handle, 1, nullptr, nullptr) == ERROR_SUCCESS;
        Platform::Etw().CloseTrace(handle);
    }
    std::wcout.flush();
    ::QueryPerformanceCounter(&end);
    result.seconds = static_cast<double>(end.QuadPart - start.QuadPart) / static_cast<double>(frequency.QuadPart);
    result.allocations = allocations - allocationsBefore;
    result.pumped = result.pumped && delivered == count;
    return result;
}

RunResult RunBypassed(Testing::ConsumerEmulator& consumer, const std::vector<Testing::RecordedEvent>& events,
                      unsigned long count, const char* path)
{
    std::wofstream output(path, std::ios::trunc);
    std::wstreambuf* shipped = std::wcout.rdbuf(output.rdbuf());
    const RunResult result = Run(consumer, events, count);
    std::wcout.rdbuf(shipped);
    return result;
}

double Median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    const size_t middle = values.size() / 2;
    return values.size() % 2 != 0 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

double PeakWorkingSetMb()
{
    PROCESS_MEMORY_COUNTERS counters{};
    counters.cb = sizeof(counters);
    ::K32GetProcessMemoryInfo(::GetCurrentProcess(), &counters, sizeof(counters));
    return static_cast<double>(counters.PeakWorkingSetSize) / (1024.0 * 1024.0);
}

const char* OutputKind()
{
    switch (::GetFileType(::GetStdHandle(STD_OUTPUT_HANDLE))) {
    case FILE_TYPE_DISK:
        return "a file";
    case FILE_TYPE_CHAR:
        return "a character device (a console?)";
    case FILE_TYPE_PIPE:
        return "a pipe";
    default:
        return "unknown";
    }
}

} // namespace

int main(int argc, char** argv)
{
    const unsigned long count = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 100000;
    const unsigned long rounds = argc > 2 ? std::max(1ul, std::strtoul(argv[2], nullptr, 10)) : 5;
    const char* bypassPath = argc > 3 ? argv[3] : "viewer_benchmark_bypass.txt";

    Base::InstallConsoleStreams();
    Testing::TdhEmulator tdh;
    emulatedTdh = Platform::Tdh();
    Platform::Tdh().TdhGetEventInformation = HarnessGetEventInformation;
    Platform::Tdh().TdhGetPropertySize = HarnessGetPropertySize;
    Platform::Tdh().TdhGetProperty = HarnessGetProperty;
    if (Viewer::LoadInstrumentationManifest() != 0) {
        std::fprintf(stderr, "the embedded manifest could not be loaded\n");
        return 1;
    }
    const std::vector<Testing::RecordedEvent> events = SampleEvents();
    Testing::ConsumerEmulator consumer;

    const double peakBefore = PeakWorkingSetMb();
    std::vector<double> shippedSeconds;
    std::vector<double> bypassSeconds;
    std::vector<double> ratios;
    unsigned long long shippedAllocations = 0;
    unsigned long long bypassAllocations = 0;
    for (unsigned long round = 0; round < rounds; ++round) {
        RunResult shipped;
        RunResult bypass;
        if (round % 2 == 0) {
            shipped = Run(consumer, events, count);
            bypass = RunBypassed(consumer, events, count, bypassPath);
        } else {
            bypass = RunBypassed(consumer, events, count, bypassPath);
            shipped = Run(consumer, events, count);
        }
        if (!shipped.pumped || !bypass.pumped) {
            std::fprintf(stderr, "the consumer did not deliver %lu events\n", count);
            return 1;
        }
        shippedSeconds.push_back(shipped.seconds);
        bypassSeconds.push_back(bypass.seconds);
        ratios.push_back(shipped.seconds / bypass.seconds);
        shippedAllocations += shipped.allocations;
        bypassAllocations += bypass.allocations;
        std::fprintf(stderr, "round %lu: shipped %.3f s, bypass %.3f s\n", round + 1, shipped.seconds, bypass.seconds);
    }

    const double perRun = static_cast<double>(count);
    const double runs = static_cast<double>(rounds);
    std::fprintf(stderr,
                 "standard output is %s\n"
                 "events per run %lu, rounds %lu\n"
                 "shipped stream: median %.3f s, %.0f events per second, %.2f allocations per event\n"
                 "bypass:         median %.3f s, %.0f events per second, %.2f allocations per event\n"
                 "shipped / bypass time: median of rounds %.2f, ratio of medians %.2f\n"
                 "peak working set before %.1f MB, after %.1f MB\n"
                 "event-information buffer %lu bytes, %zu size answers\n",
                 OutputKind(), count, rounds, Median(shippedSeconds), perRun / Median(shippedSeconds),
                 static_cast<double>(shippedAllocations) / (perRun * runs), Median(bypassSeconds),
                 perRun / Median(bypassSeconds), static_cast<double>(bypassAllocations) / (perRun * runs),
                 Median(ratios), Median(shippedSeconds) / Median(bypassSeconds), peakBefore, PeakWorkingSetMb(),
                 static_cast<unsigned long>(Viewer::EventInformationBufferSize()), tdh.InsufficientBufferAnswers());
    return 0;
}
