#include "trace/LogLevel.h"

#include "base/NeverDestroyed.h"

namespace Trace {

namespace {

std::unordered_map<int32_t, std::string> BuildLevelNames()
{
    std::unordered_map<int32_t, std::string> names(8);
    names.max_load_factor(1.0f);
    names.emplace(0, "FATAL");
    names.emplace(1, "ERROR");
    names.emplace(2, "WARNING");
    names.emplace(3, "INFO");
    names.emplace(4, "VERBOSE");
    names.emplace(5, "DEBUG");
    return names;
}

} // namespace

const std::unordered_map<int32_t, std::string>& LevelNames()
{
    // Built on first use, so that a category logging from another static initialiser
    // never meets an unconstructed map, and never destroyed, so that one logging from a
    // static destructor never meets a destroyed one.
    static const Base::NeverDestroyed<std::unordered_map<int32_t, std::string>> levelNames(BuildLevelNames());
    return *levelNames;
}

} // namespace Trace
