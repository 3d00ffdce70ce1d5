#pragma once

// A machine-wide lock held for a test's duration, for tests that share state outside
// their process: the registry arguments keys, the auto-logger key of the fixed session
// name. ctest runs tests in parallel processes, so such tests serialise on a name.

#include <windows.h>

namespace Testing {

class NamedLock {
public:
    explicit NamedLock(const wchar_t* name);
    NamedLock(const NamedLock&) = delete;
    NamedLock& operator=(const NamedLock&) = delete;
    ~NamedLock();

private:
    HANDLE mutex;
};

// Held by every test that writes the HKLM arguments keys or asserts the whole argument
// store (which includes whatever those keys hold).
constexpr wchar_t ArgumentsKeyLockName[] = L"Local\\KestrovaTests-ArgumentsKeys";

// Held by every test that writes or reads the auto-logger key of the log session.
constexpr wchar_t AutologgerKeyLockName[] = L"Local\\KestrovaTests-AutologgerKey";

} // namespace Testing
