#include "front/LevelParsing.h"

#include "base/ProcessArguments.h"

#include <optional>
#include <string>
#include <string_view>

namespace Front {

namespace {

using Base::ProcessArguments;

struct LevelWord {
    std::string_view word;
    uint8_t level;
};

constexpr LevelWord levelWords[] = {
    {"debug", LevelDebug},     {"verbose", LevelVerbose}, {"info", LevelInfo},
    {"warning", LevelWarning}, {"error", LevelError},
};

std::optional<uint8_t> LevelOfWord(std::string_view word)
{
    for (const LevelWord& candidate : levelWords) {
        if (word == candidate.word) {
            return candidate.level;
        }
    }
    return std::nullopt;
}

// wordWhenAbsent stands in for a missing /level option.
std::optional<uint8_t> ParseLevel(std::string_view wordWhenAbsent)
{
    if (ProcessArguments::Has("debug")) {
        return LevelDebug;
    }
    if (ProcessArguments::Has("verbose")) {
        return LevelVerbose;
    }
    Base::Argument option;
    const std::string word = ProcessArguments::Get("level", option) ? option.value : std::string(wordWhenAbsent);
    return LevelOfWord(word);
}

// Leaves level untouched when nothing was recognised.
template <typename Level> bool StoreLevel(std::optional<uint8_t> parsed, Level& level)
{
    if (!parsed) {
        return false;
    }
    level = *parsed;
    return true;
}

} // namespace

bool ParseStartLevel(uint8_t& level)
{
    return StoreLevel(ParseLevel("debug"), level);
}

bool ParseViewLevel(uint32_t& level)
{
    return StoreLevel(ParseLevel(""), level);
}

} // namespace Front
