#pragma once

// Writes synthetic records into a real .etl file with the test-only writer, laid out as
// Windows lays out a log, so that the built-in reader can read back exactly the records a
// test also hands the consumer emulator.

#include "tests/emulator/EventRecordBuilder.h"

#include <filesystem>
#include <vector>

namespace Testing {

struct RecordedLogOptions {
    uint32_t processors = 1;    // record i goes to processor i % processors
    uint32_t bufferSize = 8192; // bytes: small, so that a few records fill several buffers
    bool compressed = false;
};

// The log's clock is the system time, so each record's time stamp is written as it stands
// (a UTC file time) and reads back unchanged. The 32- and 64-bit header flags are left out
// of the file, as Windows leaves them (the reader sets them from the header type); a
// record with the 32-bit flag is written with the 32-bit header type. Records of one
// processor must be in time order.
void WriteRecordedLog(const std::filesystem::path& path, const std::vector<RecordedEvent>& events,
                      const RecordedLogOptions& options = {});

} // namespace Testing
