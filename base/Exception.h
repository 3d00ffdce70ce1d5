#pragma once

// The two exception types of the libraries. Code that can carry on catches
// Base::Exception (which also catches Base::ExceptionWin32) and logs it as field "err".

#include <cstdint>
#include <exception>
#include <string>

namespace Base {

class Exception : public std::exception {
public:
    // A null text gives an empty message.
    explicit Exception(const char* text);
    explicit Exception(const std::string& text);
    explicit Exception(const std::exception& other);

    Exception(const Exception&) = default;
    Exception& operator=(const Exception&) = default;
    ~Exception() override;

    const char* what() const noexcept override;

protected:
    Exception() = default;

private:
    std::string message;
};

// A failure with a Windows error code. what() is Win32ErrorText(code) for the code-only
// form, and message + " - " + Win32ErrorText(code) for the other; the code itself is
// kept for callers that act on it.
class ExceptionWin32 : public Exception {
public:
    explicit ExceptionWin32(uint32_t code);
    // A null message counts as an empty one (the text then starts with " - ").
    ExceptionWin32(const char* message, uint32_t code);

    // A copy keeps text and code, and its base message becomes the source's full text,
    // so that a copy sliced to Base::Exception still says everything. Assignment does
    // the same, so a copy never depends on how it was made.
    ExceptionWin32(const ExceptionWin32& other);
    ExceptionWin32& operator=(const ExceptionWin32& other);
    ~ExceptionWin32() override;

    const char* what() const noexcept override;
    uint32_t ErrorCode() const noexcept { return errorCode; }

private:
    std::string text;
    uint32_t errorCode = 0;
};

// The system's text for a Windows error code, trimmed, followed by " (Err N)"; "Err N"
// when the system has no text for it. N is always unsigned decimal, HRESULTs included.
std::string Win32ErrorText(uint32_t code);

} // namespace Base
