#include "tests/base/KestrovaEnvironment.h"

#include "base/TextUtilities.h"

#include <windows.h>

#include <string>

namespace Testing {

namespace {

std::vector<std::string> KestrovaVariableNames()
{
    std::vector<std::string> names;
    LPCH block = ::GetEnvironmentStrings();
    if (block == nullptr) {
        return names;
    }
    for (const char* entry = block; *entry != '\0'; entry += std::char_traits<char>::length(entry) + 1) {
        const std::string_view text(entry);
        if (Base::FindIgnoreCase(text, "KESTROVA_") == 0) {
            names.emplace_back(text.substr(0, text.find('=')));
        }
    }
    ::FreeEnvironmentStringsA(block);
    return names;
}

} // namespace

ClearedKestrovaEnvironment::ClearedKestrovaEnvironment()
{
    for (const std::string& name : KestrovaVariableNames()) {
        removed.push_back(std::make_unique<ScopedEnvironment>(name, std::nullopt));
    }
}

} // namespace Testing
