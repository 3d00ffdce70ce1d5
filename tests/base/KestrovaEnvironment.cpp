#include "tests/base/KestrovaEnvironment.h"

#include "base/TextUtilities.h"

#include <windows.h>

namespace Testing {

std::vector<std::string> KestrovaEnvironmentStrings()
{
    std::vector<std::string> strings;
    LPCH block = ::GetEnvironmentStrings();
    if (block == nullptr) {
        return strings;
    }
    for (const char* entry = block; *entry != '\0'; entry += std::char_traits<char>::length(entry) + 1) {
        if (Base::FindIgnoreCase(entry, "KESTROVA_") == 0) {
            strings.emplace_back(entry);
        }
    }
    ::FreeEnvironmentStringsA(block);
    return strings;
}

ClearedKestrovaEnvironment::ClearedKestrovaEnvironment()
{
    for (const std::string& variable : KestrovaEnvironmentStrings()) {
        removed.push_back(std::make_unique<ScopedEnvironment>(variable.substr(0, variable.find('=')), std::nullopt));
    }
}

} // namespace Testing
