#pragma once

// Sets (or removes) an environment variable of the test process and restores the
// previous state afterwards.

#include <optional>
#include <string>

namespace Testing {

class ScopedEnvironment {
public:
    ScopedEnvironment(std::string name, const std::optional<std::string>& value);
    ScopedEnvironment(const ScopedEnvironment&) = delete;
    ScopedEnvironment& operator=(const ScopedEnvironment&) = delete;
    ~ScopedEnvironment();

private:
    std::string name;
    std::optional<std::string> saved;
};

} // namespace Testing
