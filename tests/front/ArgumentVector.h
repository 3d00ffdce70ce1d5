#pragma once

// An argument vector as main receives it (argc, argv), built from strings, for calling
// Front::Main and Base::ProcessArguments::Populate in-process.

#include "base/ProcessArguments.h"
#include "tests/support/NamedLock.h"

#include <string>
#include <utility>
#include <vector>

namespace Testing {

class ArgumentVector {
public:
    // The first string is argv[0], the program as typed.
    ArgumentVector(std::vector<std::string> arguments) : strings(std::move(arguments))
    {
        for (std::string& argument : strings) {
            pointers.push_back(argument.data());
        }
        pointers.push_back(nullptr);
    }
    ArgumentVector(const ArgumentVector&) = delete;
    ArgumentVector& operator=(const ArgumentVector&) = delete;

    int Count() const { return static_cast<int>(strings.size()); }
    char** Data() { return pointers.data(); }

private:
    std::vector<std::string> strings;
    std::vector<char*> pointers;
};

// Fills the argument store as ksdiag would with this command line (and the process's
// environment and registry arguments keys). The arguments-keys lock is held while the
// keys are read: other tests of this executable write "level" and "buffer" into its
// own key, and a store filled meanwhile would answer with their values.
inline void PopulateArguments(std::vector<std::string> arguments)
{
    const NamedLock lock(ArgumentsKeyLockName);
    ArgumentVector vector(std::move(arguments));
    Base::ProcessArguments::Populate(vector.Count(), vector.Data());
}

} // namespace Testing
