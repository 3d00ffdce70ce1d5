#include "viewer/TdhBuffer.h"

namespace Viewer {

void TdhBuffer::Allocate(ULONG newSize)
{
    if (data != nullptr && newSize == size) {
        return;
    }
    // The old buffer goes only once the new one exists.
    data = std::make_unique<uint64_t[]>((static_cast<size_t>(newSize) + 7) / 8);
    size = newSize;
}

} // namespace Viewer
