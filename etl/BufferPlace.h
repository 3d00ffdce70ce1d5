#pragma once

// Where in a log a buffer lies, for error texts: every error about the bytes of a log
// names the buffer (its index in file order and its file offset) and the offset inside
// it, so that the bytes can be found with a hex dump.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace Etl {

struct BufferPlace {
    uint32_t index = 0;      // in file order, from 0 (the buffer with the log file header)
    uint64_t fileOffset = 0; // of the buffer's first byte
    bool compressed = false; // offsets inside it then count in the decompressed buffer
};

// "buffer 3 (file offset 0x6000)", with ", decompressed" inside the brackets for a
// compressed buffer.
std::string Describe(const BufferPlace& place);

// Throws Etl::FormatError with the text "<subject> at offset <offset> of <buffer> <problem>",
// e.g. "Record header at offset 0x1A8 of buffer 3 (file offset 0x6000) runs past the
// buffer's 0x1B0 filled bytes".
[[noreturn]] void ThrowAt(const BufferPlace& place, size_t offset, std::string_view subject, std::string_view problem);

} // namespace Etl
