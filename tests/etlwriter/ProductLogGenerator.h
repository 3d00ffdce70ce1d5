#pragma once

// Generates a log like the one ksdiag START records on a machine running the product:
// events of Kestrova-Diagnostics from a few processes and threads spread over several
// processors, each with a terminal-session-id item, on the QPC clock, in the session's
// 512 KB buffers of a circular 1024 MB file unless told otherwise. Mostly version-2
// operational events (UTF-8), with version-1 ones (UTF-16) and Debug-channel events
// 2000-2006 among them. Deterministic for a seed; memory does not grow with the number of
// events.

#include "tests/etlwriter/LogWriter.h"
#include "tests/etlwriter/Output.h"

#include <cstdint>

namespace EtlWriter {

struct GeneratorOptions {
    uint64_t events = 1000;
    uint32_t processors = 4;
    uint32_t bufferSize = 512 * 1024;  // bytes
    uint32_t circularMegabytes = 1024; // 0: a sequential log
    bool compressed = false;           // sequential only: ETW does not compress circular logs here
    uint32_t seed = 1;
};

// The options the generator writes its logs with: a Windows 10 machine, QPC at 10 MHz.
LogOptions ProductLogOptions(const GeneratorOptions& options);

// Writes the log into output and closes it. Throws what LogWriter throws.
LogWriter::Statistics GenerateProductLog(Output& output, const GeneratorOptions& options);

} // namespace EtlWriter
