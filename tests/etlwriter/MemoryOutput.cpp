#include "tests/etlwriter/MemoryOutput.h"

#include <algorithm>

namespace EtlWriter {

void MemoryOutput::WriteAt(uint64_t offset, std::span<const uint8_t> data)
{
    const auto start = static_cast<size_t>(offset);
    if (bytes.size() < start + data.size()) {
        bytes.resize(start + data.size());
    }
    std::copy(data.begin(), data.end(), bytes.begin() + static_cast<ptrdiff_t>(start));
}

} // namespace EtlWriter
