#pragma once

// The level words of START, VIEW and LIVE, read from the argument store.
//
// The flags win: /debug gives LevelDebug and /verbose LevelVerbose whatever /level
// says. Otherwise the /level word is matched byte for byte in lower case only, so
// /level:INFO is rejected although the help text prints the words in capitals.

#include <cstdint>

namespace Front {

// ETW level numbers. Debug is the product manifest's own Debug level, above the
// standard verbose level 5, so it is deliberately 18 and not 6.
constexpr uint8_t LevelDebug = 18;
constexpr uint8_t LevelVerbose = 5;
constexpr uint8_t LevelInfo = 4;
constexpr uint8_t LevelWarning = 3;
constexpr uint8_t LevelError = 2;

// START: without any level option the word is "debug", so START records at 18.
// Returns false and leaves level untouched when the word is not recognised.
bool ParseStartLevel(uint8_t& level);

// VIEW and LIVE: no default word, so they need /level:<word>, /debug or /verbose.
// Returns false and leaves level untouched when none of them gives a level.
bool ParseViewLevel(uint32_t& level);

} // namespace Front
