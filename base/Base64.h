#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace Base {

// Decodes base64 text in the standard ("+/") or URL-safe ("-_") alphabet, or a mix of
// both; '=' and '.' both mark padding. With ignoreLineFeeds every '\n' is skipped,
// otherwise it is an invalid character like any other.
// Throws std::runtime_error "Input is not valid base64-encoded data." for a character
// outside the alphabets. Lenient about group structure, since the text comes from other
// components rather than from a strict encoder:
// - a trailing group of two or three characters without padding yields the bytes it
//   completes ("TWE" gives 4D 61); a lone trailing character yields none;
// - padding closes its group and decoding carries on with the next character, so
//   concatenated padded texts decode one after the other.
std::vector<uint8_t> DecodeBase64(std::string_view text, bool ignoreLineFeeds = false);

} // namespace Base
