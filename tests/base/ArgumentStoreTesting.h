#pragma once

// Driving the argument store from a test: filling it from a command line given as
// strings, finding an entry, and showing an Argument readably when an expectation on it fails.

#include "base/ProcessArguments.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace Testing {

// The source and kind bits of the entries each source makes.
constexpr uint32_t CommandLineNamed = Base::SourceCommandLine | Base::KindNamed;
constexpr uint32_t CommandLineFlag = Base::SourceCommandLine | Base::KindFlag;
constexpr uint32_t CommandLineField = Base::SourceCommandLine | Base::KindField;
constexpr uint32_t EnvironmentNamed = Base::SourceEnvironment | Base::KindNamed;
constexpr uint32_t EnvironmentFlag = Base::SourceEnvironment | Base::KindFlag;
constexpr uint32_t RegistryNamed = Base::SourceRegistry | Base::KindNamed;

// argv[0] first, as main receives it. The environment and the registry arguments keys
// are read as well, as in any run.
inline void PopulateFrom(const std::vector<std::string>& tokens)
{
    std::vector<const char*> vector;
    for (const std::string& token : tokens) {
        vector.push_back(token.c_str());
    }
    Base::ProcessArguments::Populate(static_cast<int>(vector.size()), vector.data());
}

// The entry that a lookup of the name finds; an absent name fails the test.
inline Base::Argument Found(std::string_view name)
{
    Base::Argument found;
    EXPECT_TRUE(Base::ProcessArguments::Get(name, found)) << "not in the store: " << name;
    return found;
}

} // namespace Testing

namespace Base {

// Found by GoogleTest next to the type.
inline void PrintTo(const Argument& argument, std::ostream* out)
{
    *out << "{flags " << argument.flags << ", full \"" << argument.full << "\", name \"" << argument.name
         << "\", value \"" << argument.value << "\"}";
}

} // namespace Base
