#pragma once

// Sets (or removes) an environment variable of the test process and restores the
// previous state afterwards. The narrow forms are in the ANSI code page, as
// SetEnvironmentVariableA takes them; the wide ones keep any character.

#include <optional>
#include <string>

namespace Testing {

class ScopedEnvironment {
public:
    ScopedEnvironment(const std::string& name, const std::optional<std::string>& value);
    ScopedEnvironment(std::wstring name, const std::optional<std::wstring>& value);
    ScopedEnvironment(const ScopedEnvironment&) = delete;
    ScopedEnvironment& operator=(const ScopedEnvironment&) = delete;
    ~ScopedEnvironment();

private:
    std::wstring name;
    std::optional<std::wstring> saved;
};

} // namespace Testing
