#include "tests/etlwriter/ProductLogGenerator.h"

#include "tests/etlwriter/EventRecord.h"
#include "tests/etlwriter/LittleEndian.h"
#include "tests/etlwriter/ProductEvents.h"

#include <array>
#include <cstdio>
#include <random>
#include <string_view>

namespace EtlWriter {

namespace {

// 2024-03-07 09:05:01 UTC as a file time; the machine booted two days before.
constexpr int64_t sessionStart = 133542759010000000;
constexpr int64_t twoDays = 2LL * 24 * 3600 * 10'000'000;
constexpr int64_t firstStamp = 0x2F395521F;

struct Source {
    std::string_view processName;
    uint32_t processId;
    uint32_t threadId;
    uint32_t session;
};

// The product's processes and some of their threads: services in session 0, the agent in
// the first user session, a console in the second.
constexpr Source sources[] = {
    {"KestrovaService", 1204, 1208, 0}, {"KestrovaService", 1204, 1212, 0}, {"KestrovaService", 1204, 1300, 0},
    {"KestrovaService", 1204, 1304, 0}, {"KestrovaAgent", 5120, 5124, 1},   {"KestrovaAgent", 5120, 5200, 1},
    {"KestrovaUpdater", 6660, 6664, 0}, {"KestrovaConsole", 8012, 8016, 2},
};
constexpr uint32_t sessionCount = 3;

constexpr std::string_view categories[] = {"registry", "arguments", "delay_load", "session",
                                           "network",  "storage",   "scheduler",  "crash_handler"};
constexpr std::string_view hosts[] = {"updates.kestrova.example", "telemetry.kestrova.example", "10.0.4.17"};
constexpr std::string_view keys[] = {"Arguments", "Arguments\\KestrovaService", "Policies", "Install"};

// Picks the events and fills in their texts.
class EventSource {
public:
    explicit EventSource(const GeneratorOptions& options) : random(options.seed), processors(options.processors)
    {
        for (uint32_t session = 0; session < sessionCount; ++session) {
            StoreU32(sessionData[session], 0, session);
            sessionItems[session] = {Etl::ExtTsId, sessionData[session]};
        }
        record.provider = kestrovaProvider;
    }

    // Fills record with the next event and returns the processor that logs it.
    uint16_t Next()
    {
        const Source& source = sources[Draw(std::size(sources))];
        // Threads mostly stay on one processor; one event in sixteen comes from another.
        uint16_t processor = static_cast<uint16_t>(source.threadId / 4 % processors);
        if (Draw(16) == 0) {
            processor = static_cast<uint16_t>(Draw(processors));
        }
        stamp += 1 + static_cast<int64_t>(Draw(5000));
        record.timestamp = stamp;
        record.threadId = source.threadId;
        record.processId = source.processId;
        record.kernelTime = static_cast<uint32_t>(source.threadId % 97 + Draw(4));
        record.userTime = static_cast<uint32_t>(source.threadId % 89 + Draw(4));
        record.extended = std::span<const Etl::ExtendedItem>(&sessionItems[source.session], 1);
        Describe(source);
        record.userData = payload;
        return processor;
    }

    const EventRecord& Record() const { return record; }

private:
    uint64_t Draw(uint64_t below) { return random() % below; }

    void Describe(const Source& source)
    {
        const uint64_t kind = Draw(100);
        if (kind < 81) {
            Operational(source, Draw(20) == 0 ? 1 : 2);
        } else {
            DebugTrace(source);
        }
    }

    // 2010 to 2014: info most of the time, then verbose, warning, debug and error.
    void Operational(const Source& source, uint8_t version)
    {
        const uint64_t pick = Draw(100);
        const uint16_t id = pick < 60 ? 2012 : pick < 75 ? 2011 : pick < 87 ? 2013 : pick < 96 ? 2010 : 2014;
        record.descriptor = ProductDescriptor(id, version);
        Message(id);
        OperationalFields fields;
        fields.processName = source.processName;
        fields.name = categories[Draw(std::size(categories))];
        fields.message = message;
        fields.arguments = Draw(3) == 0 ? std::string_view() : Arguments();
        fields.stack = id == 2014 ? Stack(source) : std::string_view();
        if (version == 2) {
            OperationalPayloadV2(fields, payload);
        } else {
            OperationalPayloadV1(fields, payload);
        }
    }

    // 2000 to 2006: method enter and exit, and the printf-style traces.
    void DebugTrace(const Source& source)
    {
        const auto id = static_cast<uint16_t>(2000 + Draw(7));
        record.descriptor = ProductDescriptor(id, 1);
        if (id == 2001 || id == 2002) {
            Format("%s [%s]", id == 2002 ? "StartLog" : "StopLog", keys[Draw(std::size(keys))].data());
        } else {
            Message(id);
        }
        DebugTracePayload(source.processName, message, payload);
    }

    void Message(uint16_t id)
    {
        switch (Draw(5)) {
        case 0:
            Format("Opened key [Software\\Kestrova\\%s] in %u ms", keys[Draw(std::size(keys))].data(),
                   static_cast<unsigned>(Draw(40)));
            break;
        case 1:
            Format("Request %llu handled", static_cast<unsigned long long>(++requests));
            break;
        case 2:
            Format("Connection to [%s:%u] %s", hosts[Draw(std::size(hosts))].data(),
                   static_cast<unsigned>(443 + Draw(2) * 8000), id == 2014 || id == 2006 ? "failed" : "established");
            break;
        case 3:
            Format("Cache refreshed with %u entries", static_cast<unsigned>(Draw(100000)));
            break;
        default:
            Format("Retrying operation %llu after error [%u]", static_cast<unsigned long long>(requests),
                   static_cast<unsigned>(Draw(2) == 0 ? 5 : 1460));
            break;
        }
    }

    std::string_view Arguments()
    {
        const int length =
            std::snprintf(arguments.data(), arguments.size(), "{errorCode:%u, _handle:0x%llx, desiredAccess:0x%x}",
                          static_cast<unsigned>(Draw(2) == 0 ? 0 : 5),
                          static_cast<unsigned long long>(0x1A4 + Draw(64) * 4), static_cast<unsigned>(0x20019));
        return {arguments.data(), static_cast<size_t>(length)};
    }

    std::string_view Stack(const Source& source)
    {
        int length = 0;
        for (unsigned frame = 0; frame < 5; ++frame) {
            length += std::snprintf(stack.data() + length, stack.size() - static_cast<size_t>(length),
                                    "%s!Worker::Step%u+0x%x\n", source.processName.data(), frame,
                                    static_cast<unsigned>(0x40 + Draw(0x400)));
        }
        return {stack.data(), static_cast<size_t>(length)};
    }

    template <typename... Values> void Format(const char* format, Values... values)
    {
        const int length = std::snprintf(text.data(), text.size(), format, values...);
        message = std::string_view(text.data(), static_cast<size_t>(length));
    }

    std::mt19937_64 random;
    uint32_t processors;
    int64_t stamp = firstStamp;
    uint64_t requests = 0;
    std::array<std::array<uint8_t, 4>, sessionCount> sessionData{};
    std::array<Etl::ExtendedItem, sessionCount> sessionItems{};
    std::array<char, 256> text{};
    std::array<char, 128> arguments{};
    std::array<char, 512> stack{};
    std::string_view message;
    std::vector<uint8_t> payload;
    EventRecord record;
};

} // namespace

LogOptions ProductLogOptions(const GeneratorOptions& generator)
{
    LogOptions options;
    LogfileHeader& header = options.header;
    header.bufferSize = generator.bufferSize;
    header.numberOfProcessors = generator.processors;
    header.maximumFileSize = generator.circularMegabytes;
    header.logFileMode = generator.circularMegabytes != 0 ? logFileModeCircular : 0x1;
    if (generator.compressed) {
        header.logFileMode |= logFileModeCompressed;
    }
    header.cpuSpeedMHz = 2904;
    header.timeZone.standardName = u"Coordinated Universal Time";
    header.timeZone.daylightName = u"Coordinated Universal Time";
    header.bootTime = sessionStart - twoDays;
    header.startTime = sessionStart;
    header.loggerName = u"Kestrova Diagnostics Log";
    header.logFileName = u"C:\\ProgramData\\Kestrova\\Diagnostics\\Logs\\Kestrova-Log-KESTROVA-HOST.etl";
    options.loggerId = 0x24;
    options.sessionThreadId = 7424; // ksdiag START
    options.sessionProcessId = 7420;
    options.startStamp = firstStamp;
    return options;
}

LogWriter::Statistics GenerateProductLog(Output& output, const GeneratorOptions& options)
{
    LogWriter writer(output, ProductLogOptions(options));
    EventSource source(options);
    for (uint64_t index = 0; index < options.events; ++index) {
        const uint16_t processor = source.Next();
        writer.Write(processor, source.Record());
    }
    writer.Close();
    return writer.Stats();
}

} // namespace EtlWriter
