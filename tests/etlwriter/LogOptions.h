#pragma once

// Everything a LogWriter needs to know before the first record: the logfile header, and
// how Windows would lay out this log's buffers.
//
// What the log is follows the header's LogFileMode, as it does for Windows:
//   EVENT_TRACE_FILE_MODE_CIRCULAR (0x2): buffers wrap around within MaximumFileSize;
//   EVENT_TRACE_USE_KBYTES_FOR_SIZE (0x2000): MaximumFileSize counts KB instead of MB;
//   EVENT_TRACE_COMPRESSED_MODE (0x04000000): event buffers are XPRESS-compressed.

#include "tests/etlwriter/LogfileHeader.h"

#include <cstdint>

namespace EtlWriter {

inline constexpr uint32_t logFileModeCircular = 0x00000002;
inline constexpr uint32_t logFileModeKilobytesForSize = 0x00002000;
inline constexpr uint32_t logFileModeCompressed = 0x04000000;

// How a buffer header names its processor.
enum class ProcessorIndexForm {
    // A 16-bit index and BufferFlag 0x20: every event buffer of the samples of build 10586
    // and later (powershell.etl, smallEtlFile.etl, ...).
    Index16,
    // The processor number in a byte and the alignment byte 8 above it, no flag: every
    // buffer of the version 6.1 samples (KernelProcess-Win7.etl, test_data_32_v0.etl).
    Number8,
};

struct LogOptions {
    // BufferSize (bytes, a multiple of 8 from 1 KB to 16 MB), NumberOfProcessors (records name
    // a processor below it), PointerSize, clock and the rest. The writer fills in
    // BuffersWritten when the log is closed, and EndTime too when it is left 0: the time of
    // the latest record, converted with the header's clock.
    LogfileHeader header;

    uint16_t loggerId = 1; // ETW_BUFFER_CONTEXT.LoggerId of every buffer
    ProcessorIndexForm processorIndex = ProcessorIndexForm::Index16;

    // The logfile header record: the thread and process that started the session, the
    // session start in the log's clock (what a reader converts every stamp against: for the
    // QPC clock StartTime + (stamp - startStamp) * 10^7 / PerfFreq), and CPU times.
    uint32_t sessionThreadId = 0;
    uint32_t sessionProcessId = 0;
    int64_t startStamp = 0;
    uint32_t sessionKernelTime = 0;
    uint32_t sessionUserTime = 0;

    // The header buffer's own TimeStamp: 0 in every sample of build 10586 and later; in
    // test_data_32_v0.etl a stamp 2 ms after the logfile header record's.
    int64_t headerBufferStamp = 0;

    // Recent Windows puts a second header-group record (hook 0x0050, 0x30 zero bytes of
    // data, the first record's thread, process, stamp and times) behind the logfile header:
    // the samples of builds 18362 to 22623 (powershell.etl, AMSITrace.etl,
    // lxcore_kernel.etl, SelfDescribingSingleEvent.etl) have it, those of version 6.x and
    // smallEtlFile.etl (build 10586) do not. What it stands for is not known here.
    bool secondHeaderRecord = true;

    // Full buffers are normally written the moment they are full, in that order. With a
    // window of N, up to N full buffers are held back and written in an order drawn from
    // reorderSeed, so that the file order of buffers differs from their order of filling
    // (memory: N buffers more).
    uint32_t reorderWindow = 0;
    uint32_t reorderSeed = 1;
};

} // namespace EtlWriter
