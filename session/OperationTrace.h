#pragma once

// The enter and exit lines of a session operation. Every operation begins with
// TraceEnter and ends with TraceExit, on every path: the exit line is written when the
// object goes out of scope, with the result the operation returned through Return, so
// an early return can never skip it.
//
//   OperationTrace trace(L"StopLog");      //   ENTER : StopLog
//   return trace.Return(status);           //    EXIT : StopLog returned [4201]
//   return trace.Answer(false);            //    EXIT : ConfigureRebootLogging returned [false]
//
// An operation left by an exception traces "<name> left by an exception" instead.

#include <cstdint>
#include <string>

namespace Session {

class OperationTrace {
public:
    // The name must outlive the object (a literal).
    explicit OperationTrace(const wchar_t* operation);
    OperationTrace(const OperationTrace&) = delete;
    OperationTrace& operator=(const OperationTrace&) = delete;
    ~OperationTrace();

    // Record the result (a code, or a yes/no answer) for the exit line and hand it back.
    uint32_t Return(uint32_t result);
    bool Answer(bool result);

private:
    const wchar_t* operation;
    std::wstring result;
};

} // namespace Session
