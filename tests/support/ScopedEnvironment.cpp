#include "tests/support/ScopedEnvironment.h"

#include <windows.h>

#include <vector>

namespace Testing {

namespace {

// What SetEnvironmentVariableA does with its narrow arguments.
std::wstring FromAnsi(const std::string& text)
{
    const int needed = ::MultiByteToWideChar(CP_ACP, 0, text.c_str(), -1, nullptr, 0);
    std::vector<wchar_t> buffer(static_cast<size_t>(needed > 0 ? needed : 1), L'\0');
    ::MultiByteToWideChar(CP_ACP, 0, text.c_str(), -1, buffer.data(), needed);
    return buffer.data();
}

std::optional<std::wstring> FromAnsi(const std::optional<std::string>& text)
{
    return text ? std::optional<std::wstring>(FromAnsi(*text)) : std::nullopt;
}

std::optional<std::wstring> Read(const std::wstring& name)
{
    const DWORD needed = ::GetEnvironmentVariableW(name.c_str(), nullptr, 0);
    if (needed == 0) {
        return std::nullopt;
    }
    std::vector<wchar_t> buffer(needed);
    const DWORD length = ::GetEnvironmentVariableW(name.c_str(), buffer.data(), needed);
    return std::wstring(buffer.data(), length);
}

void Write(const std::wstring& name, const std::optional<std::wstring>& value)
{
    ::SetEnvironmentVariableW(name.c_str(), value ? value->c_str() : nullptr);
}

} // namespace

ScopedEnvironment::ScopedEnvironment(const std::string& name, const std::optional<std::string>& value)
    : ScopedEnvironment(FromAnsi(name), FromAnsi(value))
{
}

ScopedEnvironment::ScopedEnvironment(std::wstring name, const std::optional<std::wstring>& value)
    : name(std::move(name)), saved(Read(this->name))
{
    Write(this->name, value);
}

ScopedEnvironment::~ScopedEnvironment()
{
    Write(name, saved);
}

} // namespace Testing
