#pragma once

// The one exception the log-file library throws: a file that is not a log, or whose bytes
// contradict the format. The text names what was being read and where (buffer index and
// file offset), so that VIEW can report it.

#include <stdexcept>
#include <string>

namespace Etl {

class FormatError : public std::runtime_error {
public:
    explicit FormatError(const std::string& what) : std::runtime_error(what) {}
};

} // namespace Etl
