#pragma once

// Writes an .etl log as Windows lays it out, streaming: a header buffer, then one buffer at
// a time per processor, each written out when the next record no longer fits into it, so
// that memory stays at one buffer per processor (plus the reorder window) whatever the size
// of the log.
//
//   EtlWriter::FileOutput file("product.etl");
//   EtlWriter::LogWriter writer(file, options);
//   writer.Write(processor, record); // as often as needed, any processor in any order
//   writer.Close();                  // flushes the open buffers, settles the header
//
// Layout, as the samples show it:
// - The header buffer first: the logfile header record and, in recent Windows, a second
//   header-group record (LogOptions::secondHeaderRecord); BufferType 4, sequence 0. Its
//   size is the session's buffer size, or in a compressed log its filled size rounded up
//   to 512 bytes (0x200 in smallEtlFile.etl, 0x400 in SelfDescribingSingleEvent.etl).
// - Every buffer: records 8-byte aligned with zero padding, the unused rest 0xFF (every
//   sample), BufferType 0, state 3. SavedOffset = FilledBytes; CurrentOffset = FilledBytes
//   plus the aligned size of the record that did not fit, the first record of that
//   processor's next buffer (so in all 17 full buffers of powershell.etl and 177 of the
//   179 of KernelProcess-Win7.etl), or the buffer size plus FilledBytes for a buffer
//   flushed unfilled at the end (AMSITrace.etl: 0x7838 and 0x17838).
// - Sequence numbers count from 1 in the order buffers are begun; buffers reach the file in
//   the order they fill, so with several processors file order is not sequence order
//   (powershell.etl: 2, 3, 5, 9, 1, ...; that the number is given when a buffer is begun
//   is inferred from that order, the samples cannot show it). The buffer time stamp is the
//   latest record stamp when the buffer goes out.
// - The last buffer written carries BufferFlag 0x1 (the last buffer of every sample).
// - Compressed (LogFileMode 0x04000000): the 0x48-byte header stays as it is and the rest,
//   up to FilledBytes, is XPRESS-compressed; BufferSize is then 0x48 plus the compressed
//   size, and the next buffer follows at once, unaligned (SelfDescribingSingleEvent.etl:
//   BufferSize 0x1809 at 0x400, the next buffer at 0x1C09, SavedOffset and FilledBytes the
//   uncompressed 0x1C00, CurrentOffset 0x11C00 = the session's buffer size + 0x1C00).
// - Circular (LogFileMode 0x2): the file holds the header buffer and MaximumFileSize /
//   BufferSize - 1 buffer slots; once they are all used each new buffer overwrites the
//   oldest, beginning again behind the header buffer, so the file holds the newest buffers
//   and file order is not time order. BuffersWritten counts every buffer written, the
//   overwritten ones included (no sample shows a wrapped log; this is the counter's plain
//   meaning, and it tells a reader the slot written last).

#include "tests/etlwriter/BufferHeader.h"
#include "tests/etlwriter/ClassicRecord.h"
#include "tests/etlwriter/EventRecord.h"
#include "tests/etlwriter/LogOptions.h"
#include "tests/etlwriter/Output.h"
#include "tests/etlwriter/SystemRecord.h"

#include <cstdint>
#include <random>
#include <span>
#include <vector>

namespace EtlWriter {

class LogWriter {
public:
    struct Statistics {
        uint64_t records = 0;
        uint64_t eventBuffers = 0;      // buffers written behind the header buffer
        uint64_t uncompressedBytes = 0; // their FilledBytes, summed
        uint64_t fileSize = 0;          // bytes the log takes in its output
    };

    // Writes the header buffer at once; Close writes it again with the final BuffersWritten
    // and EndTime. Throws std::invalid_argument for options no log can have (a buffer size
    // that is not a multiple of 8, below 1 KB, above 16 MB or too small for the header
    // buffer, a pointer size other than 4 or 8, no processors, a circular log without room
    // for one buffer behind the header buffer, a compressed circular log). output must
    // outlive the writer.
    LogWriter(Output& output, LogOptions options);

    LogWriter(const LogWriter&) = delete;
    LogWriter& operator=(const LogWriter&) = delete;
    ~LogWriter() = default; // a log not closed lacks its open buffers and its final header

    // Appends a record to the processor's current buffer, writing that buffer out first
    // when the record does not fit. Throws std::invalid_argument for a processor not below
    // NumberOfProcessors (or above 255 with ProcessorIndexForm::Number8), std::length_error
    // for a record that cannot fit into an empty buffer, std::logic_error after Close, and
    // what the output throws.
    void Write(uint16_t processor, const EventRecord& record);
    void Write(uint16_t processor, const ClassicRecord& record);
    void Write(uint16_t processor, const SystemRecord& record);

    // Writes every open buffer (processor by processor), marks the last buffer written,
    // rewrites the header buffer and flushes the output. Throws what the output throws.
    void Close();

    const Statistics& Stats() const { return statistics; }

private:
    struct OpenBuffer {
        std::vector<uint8_t> bytes;
        uint32_t filled = 0;
        int64_t sequence = 0; // 0 while no buffer is begun
    };
    struct FullBuffer {
        std::vector<uint8_t> bytes;
        BufferHeader header;
    };

    std::span<uint8_t> Reserve(uint16_t processor, size_t size, int64_t timestamp);
    void Finish(uint16_t processor, uint32_t overflowSize);
    void Emit(FullBuffer buffer);
    void Drain(size_t keep);
    void WriteOut(FullBuffer& buffer);
    void WriteHeaderBuffer();
    int64_t EndTime() const;

    Output& output;
    LogOptions options;
    bool compressed = false;
    uint64_t circularSlots = 0; // 0: not circular
    uint32_t headerBufferSize = 0;
    std::vector<OpenBuffer> processors;
    std::vector<FullBuffer> heldBack;
    std::vector<std::vector<uint8_t>> spare;
    std::vector<uint8_t> compressedData;
    std::mt19937 reorder;
    int64_t nextSequence = 1;
    int64_t latestStamp = 0;
    bool anyRecord = false;
    uint64_t nextOffset = 0;
    uint64_t lastOffset = 0;
    BufferHeader lastHeader;
    bool closed = false;
    Statistics statistics;
};

} // namespace EtlWriter
