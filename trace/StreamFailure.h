#pragma once

// The failure a trace stream raises. Callers catch std::ios_base::failure as for any
// stream, but what() is only the state that failed ("ios_base::badbit set"): the
// standard library's own text appends its error category's message, and the trace
// texts are meant to read the same with every library the product is built with.

#include <ios>

namespace Trace {

class StreamFailure : public std::ios_base::failure {
public:
    // text: a literal naming the failed state; the exception keeps the pointer.
    explicit StreamFailure(const char* text) : std::ios_base::failure(text), text(text) {}

    const char* what() const noexcept override { return text; }

private:
    const char* text;
};

// The text for the worst state bit set in the stream: badbit before failbit.
inline const char* StreamFailureText(const std::ios_base::iostate state) noexcept
{
    return (state & std::ios_base::badbit) != 0 ? "ios_base::badbit set" : "ios_base::failbit set";
}

} // namespace Trace
