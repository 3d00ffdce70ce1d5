#include "tests/support/NamedLock.h"

#include <stdexcept>

namespace Testing {

NamedLock::NamedLock(const wchar_t* name) : mutex(::CreateMutexW(nullptr, FALSE, name))
{
    if (mutex == nullptr) {
        throw std::runtime_error("CreateMutexW failed");
    }
    const DWORD waited = ::WaitForSingleObject(mutex, 120000);
    if (waited != WAIT_OBJECT_0 && waited != WAIT_ABANDONED) {
        ::CloseHandle(mutex);
        throw std::runtime_error("timed out waiting for a named test lock");
    }
}

NamedLock::~NamedLock()
{
    ::ReleaseMutex(mutex);
    ::CloseHandle(mutex);
}

} // namespace Testing
