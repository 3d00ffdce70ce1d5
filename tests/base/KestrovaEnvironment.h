#pragma once

// The KESTROVA_ variables of the test process. ClearedKestrovaEnvironment removes every
// one that the process inherited (a developer's shell may set some) and puts them back
// afterwards, so that a test which asserts the whole argument store sees only the
// variables it sets itself.

#include "tests/support/ScopedEnvironment.h"

#include <memory>
#include <string>
#include <vector>

namespace Testing {

// The NAME=VALUE strings whose name starts with KESTROVA_ (in any case), in the order of
// the process environment block.
std::vector<std::string> KestrovaEnvironmentStrings();

class ClearedKestrovaEnvironment {
public:
    ClearedKestrovaEnvironment();
    ClearedKestrovaEnvironment(const ClearedKestrovaEnvironment&) = delete;
    ClearedKestrovaEnvironment& operator=(const ClearedKestrovaEnvironment&) = delete;

private:
    std::vector<std::unique_ptr<ScopedEnvironment>> removed;
};

} // namespace Testing
