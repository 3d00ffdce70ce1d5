#pragma once

// Numbers as the library's error texts print them: upper-case hexadecimal with a "0x"
// prefix ("0x1A8"), the form a hex dump of the file shows them in.

#include <cstdint>
#include <string>

namespace Etl {

std::string Hex(uint64_t value);

} // namespace Etl
