#include "tests/emulator/ConsoleEmulator.h"

#include <iostream>

namespace Testing {

namespace {

ConsoleEmulator* active = nullptr;

// Recognisable, and never a real handle value (those are multiples of four).
const HANDLE emulatedOutput = reinterpret_cast<HANDLE>(static_cast<uintptr_t>(0xC0501E01));

} // namespace

ConsoleEmulator::ConsoleEmulator(WORD initialAttribute)
    : current(initialAttribute), sole(active, *this, "a ConsoleEmulator"), console(Platform::Console())
{
    console->GetStdHandle = GetStdHandleThunk;
    console->GetConsoleScreenBufferInfo = GetScreenBufferInfoThunk;
    console->SetConsoleTextAttribute = SetTextAttributeThunk;
    console->SetConsoleTitleW = SetTitleThunk;
    console->SetConsoleCtrlHandler = SetCtrlHandlerThunk;
    console->GetConsoleMode = GetConsoleModeThunk;
    console->WriteConsoleW = WriteConsoleThunk;
}

ConsoleEmulator::~ConsoleEmulator() = default;

std::wstring ConsoleEmulator::Annotate(const std::wstring& text) const
{
    static const wchar_t digits[] = L"0123456789ABCDEF";
    std::wstring result;
    size_t copied = 0;
    for (const AttributeChange& change : changes) {
        const size_t position = std::min(static_cast<size_t>(change.position < 0 ? 0 : change.position), text.size());
        if (position >= copied) {
            result.append(text, copied, position - copied);
            copied = position;
        }
        result += L'{';
        result += digits[(change.attribute >> 4) & 0xF];
        result += digits[change.attribute & 0xF];
        result += L'}';
    }
    result.append(text, copied, std::wstring::npos);
    return result;
}

HANDLE WINAPI ConsoleEmulator::GetStdHandleThunk(DWORD which)
{
    return which == STD_OUTPUT_HANDLE ? emulatedOutput : active->console.Saved().GetStdHandle(which);
}

BOOL WINAPI ConsoleEmulator::GetScreenBufferInfoThunk(HANDLE output, PCONSOLE_SCREEN_BUFFER_INFO info)
{
    ++active->screenBufferQueries;
    if (output != emulatedOutput || info == nullptr || active->failScreenBufferInfo) {
        ::SetLastError(ERROR_INVALID_HANDLE);
        return FALSE;
    }
    *info = CONSOLE_SCREEN_BUFFER_INFO{};
    info->dwSize = {120, 9001};
    info->srWindow = {0, 0, 119, 29};
    info->dwMaximumWindowSize = {120, 30};
    info->wAttributes = active->current;
    return TRUE;
}

BOOL WINAPI ConsoleEmulator::SetTextAttributeThunk(HANDLE output, WORD attribute)
{
    if (output != emulatedOutput) {
        ::SetLastError(ERROR_INVALID_HANDLE);
        return FALSE;
    }
    active->current = attribute;
    const long long streamPosition = static_cast<long long>(std::wcout.tellp());
    const long long position =
        streamPosition >= 0 ? streamPosition : static_cast<long long>(active->consoleText.size());
    active->changes.push_back(AttributeChange{attribute, position});
    return TRUE;
}

BOOL WINAPI ConsoleEmulator::GetConsoleModeThunk(HANDLE console, LPDWORD mode)
{
    if (console != emulatedOutput) {
        return active->console.Saved().GetConsoleMode(console, mode);
    }
    *mode = ENABLE_PROCESSED_OUTPUT | ENABLE_WRAP_AT_EOL_OUTPUT;
    return TRUE;
}

BOOL WINAPI ConsoleEmulator::WriteConsoleThunk(HANDLE output, const VOID* text, DWORD count, LPDWORD written,
                                               LPVOID reserved)
{
    if (output != emulatedOutput) {
        return active->console.Saved().WriteConsoleW(output, text, count, written, reserved);
    }
    ++active->consoleWrites;
    active->consoleText.append(static_cast<const wchar_t*>(text), count);
    *written = count;
    return TRUE;
}

BOOL WINAPI ConsoleEmulator::SetTitleThunk(LPCWSTR title)
{
    active->titles.emplace_back(title != nullptr ? title : L"");
    return TRUE;
}

BOOL WINAPI ConsoleEmulator::SetCtrlHandlerThunk(PHANDLER_ROUTINE handler, BOOL add)
{
    active->handlers.push_back(HandlerRegistration{handler, add});
    return TRUE;
}

} // namespace Testing
