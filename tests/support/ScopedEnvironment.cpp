#include "tests/support/ScopedEnvironment.h"

#include <windows.h>

#include <vector>

namespace Testing {

namespace {

std::optional<std::string> Read(const std::string& name)
{
    const DWORD needed = ::GetEnvironmentVariableA(name.c_str(), nullptr, 0);
    if (needed == 0) {
        return std::nullopt;
    }
    std::vector<char> buffer(needed);
    const DWORD length = ::GetEnvironmentVariableA(name.c_str(), buffer.data(), needed);
    return std::string(buffer.data(), length);
}

void Write(const std::string& name, const std::optional<std::string>& value)
{
    ::SetEnvironmentVariableA(name.c_str(), value ? value->c_str() : nullptr);
}

} // namespace

ScopedEnvironment::ScopedEnvironment(std::string name, const std::optional<std::string>& value)
    : name(std::move(name)), saved(Read(this->name))
{
    Write(this->name, value);
}

ScopedEnvironment::~ScopedEnvironment()
{
    Write(name, saved);
}

} // namespace Testing
