#pragma once

// OpenTraceW, ProcessTrace and CloseTrace answered by ksdiag's own .etl reader (etl/), for
// the files the system's consumer cannot open (Wine stubs it) or when asked for.
//
// The contract, as the system's for log files:
// - OpenTraceW opens LogFileName (real-time sessions are not served: ERROR_NOT_SUPPORTED)
//   and fills LogfileHeader from the file's header; on failure it returns
//   INVALID_PROCESSTRACE_HANDLE with the file system's code as the last error, or
//   ERROR_BAD_FORMAT for a file that is not a log.
// - ProcessTrace calls the EventRecordCallback on the calling thread, first with the log
//   file header (an event of the EventTrace class), then with every record in time order,
//   each with UserContext = the logfile's Context; records before the start time are
//   skipped and the delivery ends at the first record after the end time. Bytes that
//   contradict the format end it with ERROR_FILE_CORRUPT, after every record before them
//   was delivered; BuiltinReadFailure then says which bytes. One handle at a time.
// - CloseTrace releases the file. Closing the handle from the callback ends the delivery
//   after the current record, and ProcessTrace then returns 0.
// Unknown handles answer ERROR_INVALID_HANDLE.

#include "platform/ConsumerApi.h"

#include <string>

namespace Platform {

const ConsumerApi& BuiltinConsumer();

// The text of the format error that ended the last ProcessTrace of the built-in reader
// (buffer, file offset, offset in the buffer), or empty when none did.
std::string BuiltinReadFailure();

} // namespace Platform
