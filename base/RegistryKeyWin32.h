#pragma once

// One open registry key. Missing keys and values are ordinary answers (false, an empty
// list); every other failure is logged in category "registry" and thrown, as
// Base::ExceptionWin32 with the call's code, or as Base::Exception for a value of the
// wrong type. All names and string data are UTF-16.

#include "base/Shareable.h"

#include <windows.h>

#include <cstdint>
#include <string>
#include <vector>

namespace Base {

class RegistryKeyWin32 : public Shareable {
public:
    // Takes ownership of an open key. Predefined root keys (HKEY_LOCAL_MACHINE and the
    // rest have negative values as 32-bit numbers) are wrapped but never closed.
    explicit RegistryKeyWin32(HKEY handle) noexcept;
    ~RegistryKeyWin32() override;

    HKEY Handle() const noexcept { return handle; }

    // Creates or opens a subkey for writing (KEY_WRITE, non-volatile).
    SharedRef<RegistryKeyWin32> CreateSubkey(const std::wstring& subkey);
    // Opens a subkey; a missing one throws like any other failure.
    SharedRef<RegistryKeyWin32> OpenSubkey(const std::wstring& subkey, REGSAM desiredAccess);
    // Whether the subkey can be opened for reading; a missing one gives false, any other
    // refusal (access denied) throws.
    bool HasSubkey(const std::wstring& subkey);

    void SetDword(const std::wstring& name, uint32_t value);
    void SetQword(const std::wstring& name, uint64_t value);
    void SetString(const std::wstring& name, const std::wstring& value);

    // Type and byte size of a value. Both are zeroed first, so they stay zero when the
    // value is missing or the query throws.
    bool QueryValueInfo(const std::wstring& name, uint32_t& type, uint32_t& size);
    // A REG_DWORD value. The output is left as it was when the value is missing and when
    // the read throws: a value of another type throws a plain Base::Exception, one larger
    // than four bytes ERROR_MORE_DATA.
    bool QueryDword(const std::wstring& name, uint32_t& value);
    // REG_SZ or REG_EXPAND_SZ (unexpanded), without its trailing NULs; any byte size,
    // an odd one included (the last half character reads with a zero high byte). A
    // value that grows between the size query and the read is read again at its new
    // size; one whose type changes meanwhile throws like a value of the wrong type. The
    // output is left as it was when the value is missing and when the read throws.
    bool QueryString(const std::wstring& name, std::wstring& value);

    // Value names in index order; names of any length.
    std::vector<std::wstring> EnumerateValueNames();

    // RegDeleteTreeW of a subkey; a missing one counts as deleted.
    void DeleteSubtree(const std::wstring& subkey);

private:
    // The data of a string value whose size query answered `size` bytes. On success the
    // text holds `bytes` bytes of data (zero-filled beyond them) and `type` the type the
    // data was read with; otherwise the status of the last read.
    LSTATUS ReadStringData(const std::wstring& name, DWORD size, DWORD& type, std::wstring& text, DWORD& bytes);

    HKEY handle;
};

using RegistryKey = SharedRef<RegistryKeyWin32>;

} // namespace Base
