#include "etl/BufferPlace.h"

#include "etl/FormatError.h"
#include "etl/HexText.h"

namespace Etl {

std::string Describe(const BufferPlace& place)
{
    return "buffer " + std::to_string(place.index) + " (file offset " + Hex(place.fileOffset) +
           (place.compressed ? ", decompressed)" : ")");
}

void ThrowAt(const BufferPlace& place, size_t offset, std::string_view subject, std::string_view problem)
{
    throw FormatError(std::string(subject) + " at offset " + Hex(offset) + " of " + Describe(place) + " " +
                      std::string(problem));
}

} // namespace Etl
