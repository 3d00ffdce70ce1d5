#include "tests/samples/SampleLog.h"

#include "tests/etlwriter/ExtendedItems.h"
#include "tests/etlwriter/FileOutput.h"
#include "tests/etlwriter/LogWriter.h"
#include "tests/etlwriter/ProductEvents.h"
#include "tests/support/ModuleImage.h"

#include <windows.h>

#include <dbghelp.h>

#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

namespace Testing {

namespace {

// 2026-11-02 09:00:00 UTC, the session's start; the QPC clock runs at 10 MHz from stamp 0.
constexpr int64_t sessionStart = 134380836000000000;
constexpr int64_t millisecond = 10000;

struct Process {
    const char* name;
    uint32_t processId;
    uint32_t sessionId;
};

constexpr Process service{"KestrovaService", 4120, 0};
constexpr Process agent{"KestrovaAgent", 6712, 1};

void Append(std::vector<uint8_t>& bytes, const void* data, size_t size)
{
    const auto* begin = static_cast<const uint8_t*>(data);
    bytes.insert(bytes.end(), begin, begin + size);
}

void AppendNarrow(std::vector<uint8_t>& bytes, std::string_view text)
{
    Append(bytes, text.data(), text.size());
    bytes.push_back(0);
}

void AppendWide(std::vector<uint8_t>& bytes, std::string_view text)
{
    for (char character : text) {
        bytes.push_back(static_cast<uint8_t>(character));
        bytes.push_back(0);
    }
    bytes.insert(bytes.end(), {0, 0});
}

// A MINIDUMP_STRING: its byte length, the UTF-16 text, a terminator.
RVA AppendDumpString(std::vector<uint8_t>& dump, std::string_view text)
{
    const RVA rva = static_cast<RVA>(dump.size());
    const ULONG32 length = static_cast<ULONG32>(text.size() * 2);
    Append(dump, &length, sizeof length);
    AppendWide(dump, text);
    return rva;
}

template <typename Stream> RVA AppendStream(std::vector<uint8_t>& dump, const Stream& stream)
{
    const RVA rva = static_cast<RVA>(dump.size());
    Append(dump, &stream, sizeof stream);
    return rva;
}

// A minidump of the agent's access violation in HandleRequest: the header, a directory of
// three streams, system information, the exception and the module list.
std::vector<uint8_t> FaultMinidump(const ModuleImage& module, uint64_t faultAddress)
{
    std::vector<uint8_t> dump(sizeof(MINIDUMP_HEADER) + 3 * sizeof(MINIDUMP_DIRECTORY), 0);

    MINIDUMP_SYSTEM_INFO system{};
    system.ProcessorArchitecture = PROCESSOR_ARCHITECTURE_AMD64;
    system.ProcessorLevel = 6;
    system.NumberOfProcessors = 2;
    system.ProductType = VER_NT_SERVER;
    system.MajorVersion = 10;
    system.BuildNumber = 20348;
    system.PlatformId = VER_PLATFORM_WIN32_NT;
    const RVA systemRva = AppendStream(dump, system);
    const RVA servicePack = AppendDumpString(dump, "");
    reinterpret_cast<MINIDUMP_SYSTEM_INFO*>(dump.data() + systemRva)->CSDVersionRva = servicePack;

    MINIDUMP_EXCEPTION_STREAM exception{};
    exception.ThreadId = 6716;
    exception.ExceptionRecord.ExceptionCode = EXCEPTION_ACCESS_VIOLATION;
    exception.ExceptionRecord.ExceptionAddress = faultAddress;
    exception.ExceptionRecord.NumberParameters = 2;
    exception.ExceptionRecord.ExceptionInformation[0] = 0; // a read
    exception.ExceptionRecord.ExceptionInformation[1] = 0x18;
    const RVA exceptionRva = AppendStream(dump, exception);

    const RVA moduleListRva = static_cast<RVA>(dump.size());
    const ULONG32 moduleCount = 1;
    Append(dump, &moduleCount, sizeof moduleCount);
    MINIDUMP_MODULE entry{};
    entry.BaseOfImage = module.preferredBase;
    entry.SizeOfImage = module.size;
    const size_t entryOffset = dump.size();
    Append(dump, &entry, sizeof entry);
    const RVA nameRva = AppendDumpString(dump, SampleModuleName);
    reinterpret_cast<MINIDUMP_MODULE*>(dump.data() + entryOffset)->ModuleNameRva = nameRva;
    const ULONG32 moduleListSize = static_cast<ULONG32>(sizeof moduleCount + sizeof entry);

    MINIDUMP_HEADER header{};
    header.Signature = 0x504D444D; // "MDMP" in memory order
    header.Version = MINIDUMP_VERSION;
    header.NumberOfStreams = 3;
    header.StreamDirectoryRva = sizeof(MINIDUMP_HEADER);
    header.TimeDateStamp = 1793610000; // 2026-11-02 09:00:00 UTC
    header.Flags = MiniDumpNormal;
    std::memcpy(dump.data(), &header, sizeof header);
    const MINIDUMP_DIRECTORY directory[3] = {
        {SystemInfoStream, {sizeof(MINIDUMP_SYSTEM_INFO), systemRva}},
        {ExceptionStream, {sizeof(MINIDUMP_EXCEPTION_STREAM), exceptionRva}},
        {ModuleListStream, {moduleListSize, moduleListRva}},
    };
    std::memcpy(dump.data() + sizeof header, directory, sizeof directory);
    return dump;
}

class SampleWriter {
public:
    SampleWriter(EtlWriter::Output& output, const ModuleImage& module) : writer(output, Options()), module(module) {}

    void Operational(int64_t at, const Process& process, uint32_t thread, uint16_t id, uint8_t version,
                     const EtlWriter::OperationalFields& fields, std::vector<uint64_t> stack = {})
    {
        fieldsCopy = fields;
        fieldsCopy.processName = process.name;
        if (version == 2) {
            EtlWriter::OperationalPayloadV2(fieldsCopy, payload);
        } else {
            EtlWriter::OperationalPayloadV1(fieldsCopy, payload);
        }
        Write(at, process, thread, EtlWriter::ProductDescriptor(id, version), stack);
    }

    void Debug(int64_t at, const Process& process, uint32_t thread, uint16_t id, std::string_view text)
    {
        EtlWriter::DebugTracePayload(process.name, text, payload);
        Write(at, process, thread, EtlWriter::ProductDescriptor(id, 1), {});
    }

    void Image(int64_t at, const Process& process, uint32_t thread)
    {
        payload.clear();
        AppendNarrow(payload, SampleModuleName);
        AppendNarrow(payload, EncodeBase64(module.debugDirectories));
        Append(payload, &module.preferredBase, sizeof module.preferredBase);
        Append(payload, &module.size, sizeof module.size);
        AppendWide(payload, process.name);
        AppendNarrow(payload, "4.2.1.0");
        Append(payload, &module.machine, sizeof module.machine);
        // DebugImage: level 4, task Trace, opcode Verbose, keyword DebugImage on the Debug channel.
        Write(at, process, thread, Etl::EventDescriptor{2020, 1, 16, 4, 12, 1, 0x8000000000000008}, {});
    }

    void Fault(int64_t at, const Process& process, uint32_t thread, uint64_t faultAddress)
    {
        payload.clear();
        AppendWide(payload, process.name);
        AppendNarrow(payload, EncodeBase64(FaultMinidump(module, faultAddress)));
        // DebugFault: level 1, task Trace, opcode Error, keyword DebugFault on the Debug channel.
        Write(at, process, thread, Etl::EventDescriptor{2021, 1, 16, 1, 15, 1, 0x8000000000000010}, {});
    }

    void Close() { writer.Close(); }

private:
    static EtlWriter::LogOptions Options()
    {
        EtlWriter::LogOptions options;
        EtlWriter::LogfileHeader& header = options.header;
        header.bufferSize = 16 * 1024;
        header.numberOfProcessors = 2;
        header.providerVersion = 20348;
        header.maximumFileSize = 1024;
        header.logFileMode = EtlWriter::logFileModeCircular;
        header.cpuSpeedMHz = 2904;
        header.timeZone.standardName = u"Coordinated Universal Time";
        header.timeZone.daylightName = u"Coordinated Universal Time";
        header.bootTime = sessionStart - 86400 * 1000 * millisecond;
        header.startTime = sessionStart;
        header.loggerName = u"Kestrova Diagnostics Log";
        header.logFileName = u"C:\\ProgramData\\Kestrova\\Diagnostics\\Logs\\Kestrova-Log-KESTROVA-01.etl";
        options.loggerId = 0x21;
        options.sessionThreadId = 3316;
        options.sessionProcessId = 3312;
        options.startStamp = 0;
        return options;
    }

    void Write(int64_t at, const Process& process, uint32_t thread, const Etl::EventDescriptor& descriptor,
               const std::vector<uint64_t>& stack)
    {
        items.Clear();
        items.SessionId(process.sessionId);
        if (!stack.empty()) {
            items.StackTrace64(0, stack);
        }
        EtlWriter::EventRecord record;
        record.threadId = thread;
        record.processId = process.processId;
        record.timestamp = at;
        record.provider = EtlWriter::kestrovaProvider;
        record.descriptor = descriptor;
        record.extended = items.Items();
        record.userData = payload;
        writer.Write(process.processId == service.processId ? 0 : 1, record);
    }

    EtlWriter::LogWriter writer;
    const ModuleImage& module;
    EtlWriter::ExtendedItems items;
    EtlWriter::OperationalFields fieldsCopy;
    std::vector<uint8_t> payload;
};

} // namespace

void WriteSampleLog(const std::filesystem::path& modulePath, const std::filesystem::path& log)
{
    const ModuleImage module = LoadModuleImage(modulePath);
    if (module.handle == nullptr) {
        throw std::runtime_error("cannot load " + modulePath.string());
    }
    // An address inside a function of the module, as a stack walk records it.
    const auto frame = [&module](const char* function, uint64_t offset) {
        return module.preferredBase + module.ExportOffset(function) + offset;
    };

    EtlWriter::FileOutput output(log);
    SampleWriter sample(output, module);
    int64_t at = 10 * millisecond;
    const auto next = [&at](int64_t milliseconds) { return at += milliseconds * millisecond; };

    sample.Debug(at, service, 4124, 2002, "ServiceMain");
    sample.Image(next(1), service, 4124);
    sample.Operational(next(2), service, 4124, 2012, 2, {"", "service", "Service started", "{ version:\"4.2.1.0\" }", ""});
    sample.Debug(next(3), service, 4124, 2004, "Listening on port 8443");
    sample.Operational(next(40), agent, 6716, 2011, 1,
                       {"", "session", "Session opened", "{ user:\"KESTROVA\\\\operator\" }", ""});
    sample.Operational(next(5), service, 4188, 2013, 2,
                       {"", "registry", "Configuration value missing, using the default",
                        "{ name:\"RetryCount\", default:3 }", ""});
    sample.Operational(next(7), service, 4188, 2014, 2,
                       {"", "configuration", "Failed to load the configuration",
                        "{ errorCode:5, path:\"C:\\\\ProgramData\\\\Kestrova\\\\service.json\" }",
                        "at LoadConfiguration\nat HandleRequest\nat ServiceMain"},
                       // The writing machinery first (outside the module), then the
                       // logging function, then the return addresses of its callers.
                       {0x00007FFA2B014D20, frame("Trace_Write", 0x3), frame("LoadConfiguration", 0x9),
                        frame("HandleRequest", 0x9), frame("ServiceMain", 0x9), 0x00007FFA29A17344});
    sample.Operational(next(12), agent, 6716, 2010, 2, {"", "cache", "Cache refreshed", "{ entries:128 }", ""});
    sample.Debug(next(9), agent, 6716, 2003, "Uploading 3 reports");
    sample.Debug(next(250), agent, 6716, 2005, "Upload slow, retrying");
    sample.Debug(next(500), agent, 6716, 2006, "Upload failed");
    sample.Operational(next(1), agent, 6716, 2014, 1,
                       {"", "upload", "Upload failed", "{ errorCode:12029 }", "at UploadReports\nat AgentMain"});
    sample.Fault(next(30), agent, 6716, frame("HandleRequest", 0x9));
    sample.Operational(next(2), service, 4124, 2012, 1, {"", "service", "Agent restarted", "{ pid:7020 }", ""});
    sample.Debug(next(1), service, 4124, 2000, "Request queue empty");
    sample.Debug(next(1), service, 4124, 2001, "ServiceMain");
    sample.Close();
}

} // namespace Testing
