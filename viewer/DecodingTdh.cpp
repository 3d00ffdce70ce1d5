#include "viewer/DecodingTdh.h"

namespace Viewer {

namespace {

// Null: the platform's table, looked up at each call, so that a test's emulator installed
// behind it is the one used.
const Platform::TdhApi* chosen = nullptr;

} // namespace

const Platform::TdhApi& DecodingTdh()
{
    return chosen != nullptr ? *chosen : Platform::Tdh();
}

ScopedDecodingTdh::ScopedDecodingTdh(const Platform::TdhApi& tdh) noexcept : previous(chosen)
{
    chosen = &tdh;
}

ScopedDecodingTdh::~ScopedDecodingTdh()
{
    chosen = previous;
}

} // namespace Viewer
