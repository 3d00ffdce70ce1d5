#pragma once

// Reads an .etl log the way ProcessTrace delivers it: first the log file header as an
// event of the EventTrace class, then every record in time order, the buffers of each
// processor in sequence-number order and the processors merged by time stamp.
//
// The reader streams: besides the buffer index (a few dozen bytes a buffer) it holds one
// buffer per processor, so a log of any size reads in flat memory. Every read is checked
// against the file: bytes that contradict the format end the read with an
// Etl::FormatError whose text names the buffer (index and file offset) and the offset in
// it. Records of kinds it does not decode are skipped by their size and counted.
//
//     std::error_code error;
//     auto source = Etl::OpenFile(path, error);
//     if (!source) { ... error says why ... }
//     Etl::LogReader reader(std::move(source));
//     Etl::Event event;
//     while (reader.Next(event)) { ... }

#include "etl/ByteSource.h"
#include "etl/Event.h"
#include "etl/LogHeader.h"
#include "etl/ReadCounts.h"

#include <cstdint>
#include <memory>

namespace Etl {

struct ReaderLimits {
    // Bytes a buffer may take in the file or decompress to. Sessions use up to 16 MB
    // (EVENT_TRACE_PROPERTIES.BufferSize); a larger value is corruption.
    uint32_t maxBufferSize = 16 * 1024 * 1024;
    // Bytes of buffers the reader may hold at once: one buffer per processor, read from a
    // file or decompressed (a memory source's own bytes do not count).
    uint64_t maxBytesHeld = uint64_t{1} << 30;
};

class LogReader {
public:
    // Reads the buffer headers and the log file header. Throws Etl::FormatError when the
    // source is no log, is cut short (fewer buffers than the header counts, for a log that
    // is not circular), or names a clock it cannot convert.
    explicit LogReader(std::unique_ptr<ByteSource> source, const ReaderLimits& limits = {});
    ~LogReader();
    // Events point into the reader's buffers: it stays where it was made.
    LogReader(const LogReader&) = delete;
    LogReader& operator=(const LogReader&) = delete;
    LogReader(LogReader&&) = delete;
    LogReader& operator=(LogReader&&) = delete;

    const LogHeader& Header() const;

    // Fills event with the next record: the log file header first, then the records in
    // time order (timestamps never decrease across calls unless one processor's own
    // records go back in time). Returns false at the end. The spans in event stay valid
    // until the next call. Throws Etl::FormatError for bytes that contradict the format;
    // every later call throws the same error. A caller with a time window stops calling
    // once a timestamp passes its end.
    bool Next(Event& event);

    const ReadCounts& Counts() const;

private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace Etl
