#include "tests/base/CodePageSamples.h"

namespace Testing {

UINT EffectiveCodePage(UINT codePage)
{
    return codePage != 0 ? codePage : ::GetACP();
}

std::optional<std::string> SmallEAcute(UINT codePage)
{
    switch (codePage) {
    case 1250:
    case 1252:
    case 28591:
        return "\xE9";
    case 437:
    case 850:
        return "\x82";
    case CP_UTF8:
        return "\xC3\xA9";
    default:
        return std::nullopt;
    }
}

} // namespace Testing
