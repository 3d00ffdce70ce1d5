#include "base/Shareable.h"

namespace Base {

namespace {

std::atomic<uint32_t>& LiveObjectCounter()
{
    static std::atomic<uint32_t> counter{0};
    return counter;
}

} // namespace

Shareable::~Shareable() = default;

void Shareable::AddReference() noexcept
{
    if (references.fetch_add(1) + 1 == 1) {
        LiveObjectCounter().fetch_add(1);
    }
}

void Shareable::Release() noexcept
{
    if (references.fetch_sub(1) == 1) {
        LiveObjectCounter().fetch_sub(1);
        delete this;
    }
}

uint32_t Shareable::LiveObjects() noexcept
{
    return LiveObjectCounter().load();
}

} // namespace Base
