#pragma once

// The one way the library reads bytes it did not write: a cursor over a span that reads
// little-endian integers of an explicit width and never touches memory outside the span.
//
// A read that would pass the end reads nothing, returns 0 (or an empty span) and marks the
// cursor failed; every later read fails as well and the position of the first failure is
// kept, so that a run of reads is checked once with Ok() and the error can name where the
// data ran out. Sub-cursors cover a sub-range and cannot read their neighbours.

#include "etl/Event.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace Etl {

class ByteCursor {
public:
    ByteCursor() = default;
    // origin: the offset of bytes[0] within the unit that error texts name (a buffer), so
    // that Origin() + Position() is an offset a hex dump of that unit shows.
    explicit ByteCursor(std::span<const uint8_t> bytes, size_t origin = 0) : bytes_(bytes), origin_(origin) {}

    uint8_t U8();
    uint16_t U16();
    uint32_t U32();
    uint64_t U64();
    int64_t I64() { return static_cast<int64_t>(U64()); }
    Guid ReadGuid(); // 16 bytes, Data1 to Data3 little-endian

    // The next count bytes, or an empty span after a short read.
    std::span<const uint8_t> Bytes(size_t count);
    void Skip(size_t count);
    // A NUL-terminated 8-bit string: the text before the terminator, which is consumed too.
    // Without a terminator before the end the cursor fails and the text is empty.
    std::string_view Terminated();
    // Moves to an absolute position; a position past the end fails the cursor.
    void Seek(size_t position);

    // The next count bytes as a cursor of their own (origin carried along); this cursor
    // moves past them. On a short read both the returned cursor and this one are failed.
    ByteCursor Sub(size_t count);
    // count bytes at an absolute position, without moving this cursor. A range outside the
    // span gives a failed, empty cursor and leaves this one as it was.
    ByteCursor At(size_t position, size_t count) const;

    size_t Position() const { return position_; }
    size_t Size() const { return bytes_.size(); }
    size_t Remaining() const { return bytes_.size() - position_; }
    bool AtEnd() const { return position_ == bytes_.size(); }
    size_t Origin() const { return origin_; }
    std::span<const uint8_t> Span() const { return bytes_; }

    bool Ok() const { return !failed_; }
    // Where (from the start of this cursor's span) the first short read began.
    size_t FailurePosition() const { return failurePosition_; }

private:
    // True when count bytes remain; otherwise fails the cursor.
    bool Take(size_t count);
    template <typename Integer> Integer Read();

    std::span<const uint8_t> bytes_;
    size_t origin_ = 0;
    size_t position_ = 0;
    bool failed_ = false;
    size_t failurePosition_ = 0;
};

} // namespace Etl
