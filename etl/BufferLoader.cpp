#include "etl/BufferLoader.h"

#include "etl/FormatError.h"
#include "etl/HexText.h"
#include "etl/Xpress.h"

#include <algorithm>

namespace Etl {

void BufferLoader::Reserve(const BufferEntry& entry, std::vector<uint8_t>& storage, size_t bytes)
{
    const size_t before = storage.capacity();
    if (bytes <= before) {
        return;
    }
    if (bytes - before > maxBytesHeld_ - held_) {
        throw FormatError("Reading " + Describe(entry.place) + " would hold more than the " + Hex(maxBytesHeld_) +
                          " bytes of buffers the reader may keep in memory at once");
    }
    storage.reserve(bytes);
    held_ += storage.capacity() - before;
}

void BufferLoader::Release(std::vector<uint8_t>& storage)
{
    held_ -= std::min<uint64_t>(held_, storage.capacity());
    std::vector<uint8_t>().swap(storage);
}

std::span<const uint8_t> BufferLoader::Load(const BufferEntry& entry, std::vector<uint8_t>& storage)
{
    if (entry.header.Compressed()) {
        return Decompress(entry, storage);
    }
    if (!source_.HoldsBytes()) {
        Reserve(entry, storage, entry.header.filled);
    }
    return source_.Read(entry.place.fileOffset, entry.header.filled, storage);
}

std::span<const uint8_t> BufferLoader::Decompress(const BufferEntry& entry, std::vector<uint8_t>& storage)
{
    const auto stored = source_.Read(entry.place.fileOffset, entry.header.size, compressed_);
    Reserve(entry, storage, entry.header.filled);
    storage.resize(entry.header.filled);
    std::copy_n(stored.begin(), bufferHeaderSize, storage.begin());
    const std::span<uint8_t> payload = std::span<uint8_t>(storage).subspan(bufferHeaderSize);
    size_t produced = 0;
    try {
        produced = XpressDecompress(stored.subspan(bufferHeaderSize), payload);
    } catch (const FormatError& error) {
        BufferPlace inFile = entry.place;
        inFile.compressed = false;
        ThrowAt(inFile, bufferHeaderSize, "Compressed data", std::string("does not decompress: ") + error.what());
    }
    if (produced != payload.size()) {
        BufferPlace inFile = entry.place;
        inFile.compressed = false;
        ThrowAt(inFile, bufferHeaderSize, "Compressed data",
                "decompresses to " + Hex(produced) + " bytes, where the buffer's filled bytes ask for " +
                    Hex(payload.size()));
    }
    return storage;
}

} // namespace Etl
