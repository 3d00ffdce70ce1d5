#pragma once

// Removes every KESTROVA_ environment variable that the test process inherited (a
// developer's shell may set some) and puts them back afterwards, so that a test which
// asserts the whole argument store sees only the variables it sets itself.

#include "tests/support/ScopedEnvironment.h"

#include <memory>
#include <vector>

namespace Testing {

class ClearedKestrovaEnvironment {
public:
    ClearedKestrovaEnvironment();
    ClearedKestrovaEnvironment(const ClearedKestrovaEnvironment&) = delete;
    ClearedKestrovaEnvironment& operator=(const ClearedKestrovaEnvironment&) = delete;

private:
    std::vector<std::unique_ptr<ScopedEnvironment>> removed;
};

} // namespace Testing
