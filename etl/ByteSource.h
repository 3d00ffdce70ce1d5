#pragma once

// Where the bytes of a log come from: a file read piece by piece (FileSource.h) or a span
// of memory (MemorySource.h). The reader asks for one buffer header or one buffer at a
// time, so a log of any size is read with a few buffers in memory.

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace Etl {

class ByteSource {
public:
    ByteSource() = default;
    ByteSource(const ByteSource&) = delete;
    ByteSource& operator=(const ByteSource&) = delete;
    virtual ~ByteSource() = default;

    // Bytes in the source.
    virtual uint64_t Size() const = 0;

    // True when Read returns views of memory the source holds and never touches scratch.
    virtual bool HoldsBytes() const = 0;

    // The length bytes at offset. A source that holds its bytes in memory returns a view of
    // them and leaves scratch alone; any other source reads them into scratch (resized to
    // length) and returns a view of scratch. The view stays valid until scratch changes or
    // the source is destroyed. Throws Etl::FormatError when the range passes the end of
    // the source or the read fails; scratch then holds nothing useful.
    virtual std::span<const uint8_t> Read(uint64_t offset, size_t length, std::vector<uint8_t>& scratch) = 0;
};

} // namespace Etl
