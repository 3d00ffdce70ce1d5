#include "session/OperationTrace.h"

#include "trace/DebugTrace.h"

namespace Session {

OperationTrace::OperationTrace(const wchar_t* operation) : operation(operation)
{
    Trace::TraceEnter(L"%s", operation);
}

OperationTrace::~OperationTrace()
{
    if (result.empty()) {
        Trace::TraceExit(L"%s left by an exception", operation);
        return;
    }
    Trace::TraceExit(L"%s returned [%s]", operation, result.c_str());
}

uint32_t OperationTrace::Return(uint32_t value)
{
    result = std::to_wstring(value);
    return value;
}

bool OperationTrace::Answer(bool value)
{
    result = value ? L"true" : L"false";
    return value;
}

} // namespace Session
