#include "viewer/EventSelection.h"

#include "session/SessionIdentity.h"
#include "trace/EtwWriter.h"
#include "viewer/PropertyReader.h"

namespace Viewer {

namespace {

constexpr USHORT DebugImageId = 2020;
constexpr USHORT WinlogonStartedId = 811;
constexpr USHORT WinlogonFinishedId = 812;
constexpr uint32_t EveryProcess = 0xFFFFFFFF;

bool KernelProcessWanted(USHORT id, const ViewOptions& options)
{
    switch (id) {
    case 1: // process start
    case 2: // process stop
        return options.process != 0;
    case 3: // thread start
    case 4: // thread stop
        return options.process != 0 && options.threads != 0;
    case 5: // image load
    case 6: // image unload
        return options.process != 0 && options.images != 0;
    default:
        return false;
    }
}

} // namespace

Provider Classify(const GUID& provider)
{
    if (IsEqualGUID(provider, Trace::ProviderGuid)) {
        return Provider::Product;
    }
    if (IsEqualGUID(provider, Session::WinlogonProviderGuid)) {
        return Provider::Winlogon;
    }
    if (IsEqualGUID(provider, Session::KernelProcessProviderGuid)) {
        return Provider::KernelProcess;
    }
    return Provider::Other;
}

bool Wanted(Provider provider, const EVENT_RECORD& record, const ViewOptions& options, ImageOutput output)
{
    const EVENT_DESCRIPTOR& descriptor = record.EventHeader.EventDescriptor;
    switch (provider) {
    case Provider::Product:
        // The level filter comes first, so that below INFO even image events go and
        // stacks stay unresolved.
        if (descriptor.Level > options.level) {
            return false;
        }
        if (descriptor.Id == DebugImageId) {
            if (options.callstack != 0) {
                LoadImageSymbols(record, output);
            }
            return false;
        }
        return true;
    case Provider::Winlogon:
        return options.winlogon != 0 && (descriptor.Id == WinlogonStartedId || descriptor.Id == WinlogonFinishedId);
    case Provider::KernelProcess:
        return KernelProcessWanted(descriptor.Id, options);
    case Provider::Other:
        break;
    }
    return false;
}

bool OfWantedProcess(Provider provider, const EVENT_RECORD& record, const ViewOptions& options)
{
    if (provider != Provider::KernelProcess || options.process == EveryProcess) {
        return true;
    }
    uint32_t processId = 0;
    ReadUInt32Property(record, L"ProcessID", processId);
    return processId == options.process;
}

bool InTimeWindow(const EVENT_RECORD& record, const ViewOptions& options)
{
    const LONGLONG stamp = record.EventHeader.TimeStamp.QuadPart;
    return stamp >= options.from && stamp <= options.to;
}

} // namespace Viewer
