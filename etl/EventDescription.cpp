#include "etl/EventDescription.h"

namespace Etl {

size_t EventDescription::FindTopLevelProperty(std::u16string_view name) const
{
    const auto found = topLevelIndex.find(name);
    return found == topLevelIndex.end() ? npos : found->second;
}

void EventDescription::IndexNames()
{
    topLevelIndex.clear();
    for (size_t index = 0; index < topLevelPropertyCount && index < properties.size(); ++index) {
        // With two properties of one name the first answers, as a walk from the start would.
        topLevelIndex.emplace(properties[index].name, index);
    }
}

} // namespace Etl
