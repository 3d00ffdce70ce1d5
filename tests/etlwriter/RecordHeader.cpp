#include "tests/etlwriter/RecordHeader.h"

#include <stdexcept>
#include <string>

namespace EtlWriter {

namespace {

uint8_t CodeOf(Etl::HeaderKind kind)
{
    switch (kind) {
    case Etl::HeaderKind::System32:
        return 0x01;
    case Etl::HeaderKind::System64:
        return 0x02;
    case Etl::HeaderKind::Full32:
        return 0x0A;
    case Etl::HeaderKind::Event32:
        return 0x12;
    case Etl::HeaderKind::Event64:
        return 0x13;
    case Etl::HeaderKind::Full64:
        return 0x14;
    default:
        return 0;
    }
}

} // namespace

uint8_t HeaderTypeCode(Etl::HeaderKind kind, Etl::HeaderKind form32, Etl::HeaderKind form64, const char* record)
{
    if (kind != form32 && kind != form64) {
        throw std::invalid_argument(std::string(record) + ": a header kind this record does not have");
    }
    return CodeOf(kind);
}

size_t RecordSize(size_t headerSize, size_t dataSize, const char* record)
{
    if (dataSize > 0xFFFF - headerSize) {
        throw std::length_error(std::string(record) + ": record larger than its 16-bit size field");
    }
    return headerSize + dataSize;
}

void CheckRecordOutput(std::span<uint8_t> out, size_t size, const char* record)
{
    if (out.size() != size) {
        throw std::invalid_argument(std::string(record) + ": output is not the record's size");
    }
}

} // namespace EtlWriter
