#include "etl/BufferIndex.h"

#include "etl/FormatError.h"
#include "etl/HexText.h"

namespace Etl {

namespace {

void CheckEntry(const BufferEntry& entry, uint64_t fileSize, uint32_t maxBufferSize)
{
    const BufferHeader& header = entry.header;
    const uint64_t left = fileSize - entry.place.fileOffset;
    if (header.size < bufferHeaderSize) {
        ThrowAt(entry.place, 0, "Buffer size", "is " + Hex(header.size) + ", less than the buffer's 0x48-byte header");
    }
    if (header.size > maxBufferSize) {
        ThrowAt(entry.place, 0, "Buffer size",
                "is " + Hex(header.size) + ", more than the " + Hex(maxBufferSize) + " bytes a buffer may take");
    }
    if (header.size > left) {
        ThrowAt(entry.place, 0, "Buffer size",
                "is " + Hex(header.size) + ", which runs past the end of the file " + Hex(left) + " bytes on");
    }
    if (header.filled < bufferHeaderSize) {
        ThrowAt(entry.place, 0x30, "Filled bytes",
                "are " + Hex(header.filled) + ", less than the buffer's 0x48-byte header");
    }
    const uint32_t room = header.Compressed() ? maxBufferSize : header.size;
    if (header.filled > room) {
        ThrowAt(entry.place, 0x30, "Filled bytes",
                "are " + Hex(header.filled) + ", more than the " + Hex(room) + " bytes " +
                    (header.Compressed() ? "a buffer may decompress to" : "of the buffer"));
    }
}

} // namespace

std::vector<BufferEntry> IndexBuffers(ByteSource& source, uint32_t maxBufferSize)
{
    const uint64_t fileSize = source.Size();
    if (fileSize == 0) {
        throw FormatError("The file is empty: a log begins with a buffer of at least 0x48 bytes");
    }
    std::vector<BufferEntry> entries;
    std::vector<uint8_t> scratch;
    for (uint64_t offset = 0; offset < fileSize;) {
        BufferEntry entry;
        entry.place.index = static_cast<uint32_t>(entries.size());
        entry.place.fileOffset = offset;
        if (fileSize - offset < bufferHeaderSize) {
            ThrowAt(entry.place, 0, "Buffer header",
                    "is cut short by the end of the file " + Hex(fileSize - offset) + " bytes on");
        }
        entry.header = ReadBufferHeader(source.Read(offset, bufferHeaderSize, scratch));
        entry.place.compressed = entry.header.Compressed();
        CheckEntry(entry, fileSize, maxBufferSize);
        entries.push_back(entry);
        offset += entry.header.size;
    }
    return entries;
}

} // namespace Etl
