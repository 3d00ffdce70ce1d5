#pragma once

// Where a LogWriter puts the bytes of a log. Writes land at absolute offsets because a log
// is not written front to back only: the header buffer is written again when the log is
// closed, and a circular log overwrites its oldest buffers.

#include <cstdint>
#include <span>

namespace EtlWriter {

class Output {
public:
    Output() = default;
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;
    virtual ~Output() = default;

    // Writes bytes at offset, growing the output as needed (a gap reads as zeros). Throws
    // std::runtime_error when the bytes cannot be written.
    virtual void WriteAt(uint64_t offset, std::span<const uint8_t> bytes) = 0;

    // Makes everything written so far durable where that means anything (a file). Throws
    // std::runtime_error on failure.
    virtual void Flush() {}
};

} // namespace EtlWriter
