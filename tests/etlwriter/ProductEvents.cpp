#include "tests/etlwriter/ProductEvents.h"

#include <stdexcept>
#include <string>

namespace EtlWriter {

namespace {

// Channels 16 (Debug) and 17 (Analytical); the manifest compiler puts the channel's bit
// into the top of the keyword.
constexpr uint8_t debugChannel = 16;
constexpr uint8_t analyticalChannel = 17;
constexpr uint64_t debugVerboseKeyword = 0x8000000000000004;
constexpr uint64_t debugInfoKeyword = 0x8000000000000002;
constexpr uint64_t operationalKeyword = 0x4000000000000001;
constexpr uint16_t traceTask = 1;
constexpr uint16_t methodTask = 2;
constexpr uint16_t operationalTask = 3;

struct Row {
    uint16_t id;
    uint8_t level;
    uint8_t opcode;
    uint16_t task;
    uint8_t channel;
    uint64_t keyword;
};

// The manifest's events: level, opcode, task, channel and keyword of each id.
constexpr Row rows[] = {
    {2000, 18, 17, traceTask, debugChannel, debugVerboseKeyword},
    {2001, 17, 11, methodTask, debugChannel, debugVerboseKeyword},
    {2002, 16, 10, methodTask, debugChannel, debugVerboseKeyword},
    {2003, 5, 12, traceTask, debugChannel, debugVerboseKeyword},
    {2004, 4, 13, traceTask, debugChannel, debugInfoKeyword},
    {2005, 3, 14, traceTask, debugChannel, debugInfoKeyword},
    {2006, 2, 15, traceTask, debugChannel, debugInfoKeyword},
    {2010, 18, 17, operationalTask, analyticalChannel, operationalKeyword},
    {2011, 5, 12, operationalTask, analyticalChannel, operationalKeyword},
    {2012, 4, 13, operationalTask, analyticalChannel, operationalKeyword},
    {2013, 3, 14, operationalTask, analyticalChannel, operationalKeyword},
    {2014, 2, 15, operationalTask, analyticalChannel, operationalKeyword},
};

void AppendUtf8(std::vector<uint8_t>& payload, std::string_view text)
{
    payload.insert(payload.end(), text.begin(), text.end());
    payload.push_back(0);
}

void AppendUtf16(std::vector<uint8_t>& payload, std::string_view text)
{
    for (const char character : text) {
        payload.push_back(static_cast<uint8_t>(character));
        payload.push_back(0);
    }
    payload.push_back(0);
    payload.push_back(0);
}

template <typename Append>
void Operational(const OperationalFields& fields, std::vector<uint8_t>& payload, Append append)
{
    payload.clear();
    for (const std::string_view field :
         {fields.processName, fields.name, fields.message, fields.arguments, fields.stack}) {
        append(payload, field);
    }
}

} // namespace

Etl::EventDescriptor ProductDescriptor(uint16_t id, uint8_t version)
{
    for (const Row& row : rows) {
        if (row.id != id) {
            continue;
        }
        const bool operational = row.task == operationalTask;
        if (version != 1 && !(operational && version == 2)) {
            break;
        }
        return {row.id, version, row.channel, row.level, row.opcode, row.task, row.keyword};
    }
    throw std::invalid_argument("ProductDescriptor: no event " + std::to_string(id) + " in version " +
                                std::to_string(version));
}

void OperationalPayloadV2(const OperationalFields& fields, std::vector<uint8_t>& payload)
{
    Operational(fields, payload, AppendUtf8);
}

void OperationalPayloadV1(const OperationalFields& fields, std::vector<uint8_t>& payload)
{
    Operational(fields, payload, AppendUtf16);
}

void DebugTracePayload(std::string_view processName, std::string_view text, std::vector<uint8_t>& payload)
{
    payload.clear();
    AppendUtf16(payload, processName);
    AppendUtf16(payload, text);
}

} // namespace EtlWriter
