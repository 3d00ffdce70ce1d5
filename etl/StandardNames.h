#pragma once

// The levels, opcodes, tasks and keywords that Windows defines for every provider (winmeta.xml)
// with the display names TDH gives them, and the in- and out-type names manifests use for
// TDH's type numbers.

#include <cstdint>
#include <span>
#include <string_view>

namespace Etl {

struct StandardName {
    std::string_view name; // as a manifest writes it, e.g. "win:Informational"
    uint64_t value = 0;
    std::u16string_view displayName; // e.g. u"Information"
};

std::span<const StandardName> StandardLevels();
std::span<const StandardName> StandardOpcodes();
std::span<const StandardName> StandardTasks();
std::span<const StandardName> StandardKeywords();
std::span<const StandardName> StandardChannels();

// The display name of a standard level or opcode value, or empty for any other value.
std::u16string_view StandardLevelName(uint8_t level);
std::u16string_view StandardOpcodeName(uint8_t opcode);

// A manifest's inType or outType name ("win:UInt32", "xs:unsignedInt") as TDH's number; false
// for a name Windows does not define.
bool InTypeFromName(std::string_view name, uint16_t& inType);
bool OutTypeFromName(std::string_view name, uint16_t& outType);

} // namespace Etl
