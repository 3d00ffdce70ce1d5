#include "base/Exception.h"

#include "base/TextUtilities.h"

#include <windows.h>

namespace Base {

Exception::Exception(const char* text) : message(text != nullptr ? text : "")
{
}

Exception::Exception(const std::string& text) : message(text)
{
}

Exception::Exception(const std::exception& other) : message(other.what())
{
}

Exception::~Exception() = default;

const char* Exception::what() const noexcept
{
    return message.c_str();
}

ExceptionWin32::ExceptionWin32(uint32_t code) : text(Win32ErrorText(code)), errorCode(code)
{
}

ExceptionWin32::ExceptionWin32(const char* message, uint32_t code)
    : text(std::string(message != nullptr ? message : "") + " - " + Win32ErrorText(code)), errorCode(code)
{
}

ExceptionWin32::ExceptionWin32(const ExceptionWin32& other)
    : Exception(other.what()), text(other.text), errorCode(other.errorCode)
{
}

ExceptionWin32& ExceptionWin32::operator=(const ExceptionWin32& other)
{
    if (this != &other) {
        Exception::operator=(Exception(other.what()));
        text = other.text;
        errorCode = other.errorCode;
    }
    return *this;
}

ExceptionWin32::~ExceptionWin32() = default;

const char* ExceptionWin32::what() const noexcept
{
    return text.c_str();
}

std::string Win32ErrorText(uint32_t code)
{
    // FORMAT_MESSAGE_IGNORE_INSERTS is left out on purpose: a message with insert
    // markers then fails to format and falls back to the bare number, which is safer
    // than printing "%1" placeholders to an administrator.
    char buffer[4096] = {};
    const DWORD length = ::FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM, nullptr, code, 0, buffer,
                                          static_cast<DWORD>(sizeof(buffer)), nullptr);
    if (length == 0) {
        return "Err " + std::to_string(code);
    }
    return TrimWhitespace(std::string(buffer, length)) + " (Err " + std::to_string(code) + ")";
}

} // namespace Base
