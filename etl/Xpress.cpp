#include "etl/Xpress.h"

#include "etl/FormatError.h"
#include "etl/HexText.h"
#include "etl/LittleEndian.h"

#include <string>

// The decoder follows the "Plain LZ77 Decompression" processing of [MS-XCA] (section 2.4):
// 32-bit little-endian flag words read from the most significant bit down, a clear bit for
// a literal byte, a set bit for a 16-bit match word (offset in the high 13 bits, length in
// the low 3), and the longer lengths in a shared half-byte, then a byte, then 16 or 32 bits.
// The stream ends where a set flag bit finds the input exhausted.

namespace Etl {

namespace {

class Decoder {
public:
    Decoder(std::span<const uint8_t> input, std::span<uint8_t> output) : input_(input), output_(output) {}

    size_t Run()
    {
        uint32_t flags = 0;
        unsigned flagCount = 0;
        for (;;) {
            if (flagCount == 0) {
                flags = Read<uint32_t>("a flag word");
                flagCount = 32;
            }
            --flagCount;
            if ((flags & (1u << flagCount)) == 0) {
                CopyLiteral();
                continue;
            }
            if (in_ == input_.size()) {
                return out_;
            }
            CopyMatch();
        }
    }

private:
    [[noreturn]] void Fail(const std::string& what) const { throw FormatError("XPRESS stream: " + what); }

    void Need(size_t count, const char* what) const
    {
        if (input_.size() - in_ < count) {
            Fail("the input ends inside " + std::string(what) + " at input offset " + Hex(in_));
        }
    }

    template <typename Integer> Integer Read(const char* what)
    {
        Need(sizeof(Integer), what);
        const Integer value = LoadLittleEndian<Integer>(input_, in_);
        in_ += sizeof(Integer);
        return value;
    }

    void CopyLiteral()
    {
        const uint8_t byte = Read<uint8_t>("a literal");
        if (out_ == output_.size()) {
            Fail("a literal at input offset " + Hex(in_ - 1) + " overflows the " + Hex(output_.size()) +
                 " bytes of output");
        }
        output_[out_++] = byte;
    }

    void CopyMatch()
    {
        const size_t matchStart = in_;
        const uint16_t matchBytes = Read<uint16_t>("a match");
        const size_t offset = (matchBytes >> 3) + 1u;
        const uint64_t length = MatchLength(matchBytes & 7u) + 3;
        if (offset > out_) {
            Fail("the match at input offset " + Hex(matchStart) + " reaches " + Hex(offset) +
                 " bytes back, before the start of the output (" + Hex(out_) + " bytes written)");
        }
        if (length > output_.size() - out_) {
            Fail("the match at input offset " + Hex(matchStart) + " copies " + Hex(length) + " bytes, past the " +
                 Hex(output_.size()) + " bytes of output");
        }
        // Byte by byte: a match may overlap the bytes it is producing (offset < length).
        for (uint64_t copied = 0; copied < length; ++copied, ++out_) {
            output_[out_] = output_[out_ - offset];
        }
    }

    // The match length less 3, from the 3 bits of the match word and its extensions.
    uint64_t MatchLength(unsigned shortLength)
    {
        if (shortLength < 7) {
            return shortLength;
        }
        // Two consecutive long matches share one byte: the first takes its low half, the
        // second its high half.
        uint64_t length = 0;
        if (!halfBytePending_) {
            halfBytePosition_ = in_;
            length = Read<uint8_t>("a match length") & 0x0Fu;
            halfBytePending_ = true;
        } else {
            length = input_[halfBytePosition_] >> 4;
            halfBytePending_ = false;
        }
        if (length == 15) {
            length = Read<uint8_t>("a match length");
            if (length == 255) {
                const size_t wideStart = in_;
                length = Read<uint16_t>("a match length");
                if (length == 0) {
                    length = Read<uint32_t>("a match length");
                }
                if (length < 15 + 7) {
                    Fail("the match length at input offset " + Hex(wideStart) + " is " + Hex(length) +
                         ", less than the 0x16 it must add to");
                }
                length -= 15 + 7;
            }
            length += 15;
        }
        return length + 7;
    }

    std::span<const uint8_t> input_;
    std::span<uint8_t> output_;
    size_t in_ = 0;
    size_t out_ = 0;
    bool halfBytePending_ = false;
    size_t halfBytePosition_ = 0;
};

} // namespace

size_t XpressDecompress(std::span<const uint8_t> input, std::span<uint8_t> output)
{
    return Decoder(input, output).Run();
}

} // namespace Etl
