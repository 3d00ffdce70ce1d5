#pragma once

// Small helpers for asserting written events: a descriptor as comparable numbers, and
// the exact bytes of a terminated payload string.

#include <windows.h>

#include <evntprov.h>

#include <cstdint>
#include <cstring>
#include <string_view>
#include <tuple>
#include <vector>

namespace Testing {

// Id, version, channel, level, opcode, task, keyword: in the order of EVENT_DESCRIPTOR,
// as plain numbers so that a failure prints them as numbers rather than characters.
using DescriptorFields = std::tuple<int, int, int, int, int, int, uint64_t>;

inline DescriptorFields Fields(const EVENT_DESCRIPTOR& descriptor)
{
    return {descriptor.Id,     descriptor.Version, descriptor.Channel, descriptor.Level,
            descriptor.Opcode, descriptor.Task,    descriptor.Keyword};
}

// The bytes of the text followed by its terminator.
inline std::vector<uint8_t> Terminated(std::string_view text)
{
    std::vector<uint8_t> bytes(text.begin(), text.end());
    bytes.push_back(0);
    return bytes;
}

inline std::vector<uint8_t> Terminated(std::wstring_view text)
{
    std::vector<uint8_t> bytes((text.size() + 1) * sizeof(wchar_t), 0);
    std::memcpy(bytes.data(), text.data(), text.size() * sizeof(wchar_t));
    return bytes;
}

// Every keyword bit: a session that asks for everything its level allows.
constexpr ULONGLONG AllKeywords = ~0ull;

} // namespace Testing
