#include "base/TextConversion.h"

#include "platform/CodePageApi.h"

#include <windows.h>

#include <climits>

namespace Base {

namespace {

std::wstring MultiByteToWide(UINT codePage, std::string_view text)
{
    if (text.empty() || text.size() > INT_MAX) {
        return {};
    }
    const int length = static_cast<int>(text.size());
    const int needed = ::MultiByteToWideChar(codePage, 0, text.data(), length, nullptr, 0);
    if (needed <= 0) {
        return {};
    }
    std::wstring result(static_cast<size_t>(needed), L'\0');
    ::MultiByteToWideChar(codePage, 0, text.data(), length, result.data(), needed);
    // An embedded terminator ends the text, as it would for a C string.
    const size_t terminator = result.find(L'\0');
    if (terminator != std::wstring::npos) {
        result.resize(terminator);
    }
    return result;
}

// The conversion itself, once `needed` bytes have been measured with the same flags.
std::string WideToMultiByte(UINT codePage, DWORD flags, std::wstring_view text, int needed)
{
    if (needed <= 0) {
        return {};
    }
    std::string result(static_cast<size_t>(needed), '\0');
    ::WideCharToMultiByte(codePage, flags, text.data(), static_cast<int>(text.size()), result.data(), needed, nullptr,
                          nullptr);
    return result;
}

} // namespace

std::wstring ConsoleToWide(std::string_view text)
{
    return MultiByteToWide(Platform::CodePages().GetConsoleCP(), text);
}

std::string WideToConsole(std::wstring_view text)
{
    if (text.empty() || text.size() > INT_MAX) {
        return {};
    }
    const UINT codePage = Platform::CodePages().GetConsoleCP();
    const int length = static_cast<int>(text.size());
    // UTF-8, UTF-7 and a few other code pages refuse WC_NO_BEST_FIT_CHARS with
    // ERROR_INVALID_FLAGS; they have no best-fit mapping to avoid, so they convert
    // without it rather than to nothing.
    DWORD flags = WC_NO_BEST_FIT_CHARS;
    int needed = ::WideCharToMultiByte(codePage, flags, text.data(), length, nullptr, 0, nullptr, nullptr);
    if (needed <= 0 && ::GetLastError() == ERROR_INVALID_FLAGS) {
        flags = 0;
        needed = ::WideCharToMultiByte(codePage, flags, text.data(), length, nullptr, 0, nullptr, nullptr);
    }
    return WideToMultiByte(codePage, flags, text, needed);
}

std::wstring AnsiToWide(std::string_view text)
{
    return MultiByteToWide(Platform::CodePages().GetACP(), text);
}

std::string WideToAnsi(std::wstring_view text)
{
    if (text.empty() || text.size() > INT_MAX) {
        return {};
    }
    const UINT codePage = Platform::CodePages().GetACP();
    const int needed =
        ::WideCharToMultiByte(codePage, 0, text.data(), static_cast<int>(text.size()), nullptr, 0, nullptr, nullptr);
    return WideToMultiByte(codePage, 0, text, needed);
}

std::wstring Utf8ToWide(std::string_view text)
{
    return MultiByteToWide(CP_UTF8, text);
}

} // namespace Base
