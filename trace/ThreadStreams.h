#pragma once

// The calling thread's two string streams for the message it is building: the line
// prefix and the field text. Every thread gets a pair of its own on its first message,
// so that messages of concurrent threads never mix inside one line, and the pair is
// destroyed when the thread ends.

#include <sstream>

namespace Trace {

struct ThreadStreams {
    std::ostringstream prefix;
    std::ostringstream fields;
};

// The calling thread's streams, created on first use and owned by the thread. Throws
// Base::ExceptionWin32 if the per-thread slot cannot be had, std::bad_alloc if memory
// runs out.
ThreadStreams& CurrentThreadStreams();

} // namespace Trace
