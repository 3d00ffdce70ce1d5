#include "tests/etlwriter/WrittenLog.h"

#include "tests/etlwriter/SampleFiles.h"
#include "tests/etlwriter/XpressReference.h"

#include <stdexcept>
#include <string>

namespace EtlWriterTesting {

std::vector<WrittenBuffer> WalkBuffers(std::span<const uint8_t> log)
{
    std::vector<WrittenBuffer> buffers;
    size_t offset = 0;
    while (offset < log.size()) {
        WrittenBuffer buffer;
        buffer.fileOffset = offset;
        buffer.bufferSize = U32(log, offset);
        buffer.savedOffset = U32(log, offset + 0x04);
        buffer.currentOffset = U32(log, offset + 0x08);
        buffer.timestamp = U64(log, offset + 0x10);
        buffer.sequence = U64(log, offset + 0x18);
        buffer.context = U32(log, offset + 0x28);
        buffer.state = U32(log, offset + 0x2C);
        buffer.filled = U32(log, offset + 0x30);
        buffer.flags = U16(log, offset + 0x34);
        buffer.type = U16(log, offset + 0x36);
        if (buffer.bufferSize < 0x48) {
            throw std::runtime_error("buffer of less than 0x48 bytes at " + std::to_string(offset));
        }
        buffer.bytes = Slice(log, offset, buffer.bufferSize);
        if ((buffer.flags & 0x40) != 0) {
            const XpressDecoded decoded = XpressReferenceDecode(Slice(log, offset + 0x48, buffer.bufferSize - 0x48));
            buffer.bytes.resize(0x48);
            buffer.bytes.insert(buffer.bytes.end(), decoded.bytes.begin(), decoded.bytes.end());
        }
        buffers.push_back(std::move(buffer));
        offset += buffers.back().bufferSize;
    }
    return buffers;
}

std::vector<uint8_t> SampleBuffer(std::string_view name, size_t index)
{
    return WalkBuffers(ReadSample(name)).at(index).bytes;
}

std::vector<WrittenRecord> WalkRecords(const WrittenBuffer& buffer)
{
    std::vector<WrittenRecord> records;
    size_t offset = 0x48;
    while (offset < buffer.filled) {
        WrittenRecord record;
        record.offset = offset;
        record.headerType = buffer.bytes.at(offset + 2);
        // System headers keep their size behind a 16-bit version; all others begin with it.
        const bool system = record.headerType == 0x01 || record.headerType == 0x02;
        record.size = U16(buffer.bytes, offset + (system ? 4 : 0));
        if (record.size == 0) {
            throw std::runtime_error("record of size 0 at " + std::to_string(offset));
        }
        records.push_back(record);
        offset += (record.size + 7u) & ~7u;
    }
    return records;
}

} // namespace EtlWriterTesting
