#include "etl/MemorySource.h"

#include "etl/FormatError.h"
#include "etl/HexText.h"

namespace Etl {

std::span<const uint8_t> MemorySource::Read(uint64_t offset, size_t length, std::vector<uint8_t>&)
{
    if (offset > bytes_.size() || length > bytes_.size() - offset) {
        throw FormatError("Reading " + Hex(length) + " bytes at file offset " + Hex(offset) +
                          " passes the end of the " + Hex(bytes_.size()) + "-byte log");
    }
    return bytes_.subspan(static_cast<size_t>(offset), length);
}

} // namespace Etl
