#include "base/RegistryKeyWin32.h"
#include "tests/base/ConsoleTrace.h"
#include "tests/base/LoggedMessages.h"
#include "tests/base/ScratchKeyWrapper.h"
#include "tests/base/ThrownException.h"
#include "tests/support/OutputCapture.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

using Testing::HexField;

namespace {

struct StoredValue {
    DWORD type = 0;
    std::vector<BYTE> bytes;
};

// The value as the registry holds it, read past the wrapper.
StoredValue ReadStored(HKEY key, const wchar_t* name)
{
    StoredValue stored;
    DWORD size = 0;
    EXPECT_EQ(ERROR_SUCCESS, ::RegQueryValueExW(key, name, nullptr, &stored.type, nullptr, &size));
    stored.bytes.resize(size);
    EXPECT_EQ(ERROR_SUCCESS, ::RegQueryValueExW(key, name, nullptr, nullptr, stored.bytes.data(), &size));
    return stored;
}

template <typename T> std::vector<BYTE> BytesOf(const T& value, size_t size = sizeof(T))
{
    std::vector<BYTE> bytes(size);
    std::memcpy(bytes.data(), &value, size);
    return bytes;
}

} // namespace

TEST(RegistryKeyWin32Set, DwordIsStoredAsFourBytesOfRegDword)
{
    Testing::EnableConsoleTrace();
    Testing::ScratchRegistryKey scratch(HKEY_CURRENT_USER, Testing::ScratchParentPath);
    Base::RegistryKey key = Testing::OpenScratchKey(scratch, KEY_ALL_ACCESS);
    Testing::OutputCapture capture;

    key->SetDword(L"number", 0x01020304u);

    const StoredValue stored = ReadStored(scratch.Handle(), L"number");
    EXPECT_EQ(static_cast<DWORD>(REG_DWORD), stored.type);
    EXPECT_EQ(BytesOf(0x01020304u), stored.bytes);
    const std::vector<std::string> expected{
        "DEBUG registry - Set dword { name:\"number\", value:16909060, _handle:" + HexField(key->Handle()) + " }"};
    Testing::ExpectOnlyOutput(capture, expected);
}

TEST(RegistryKeyWin32Set, QwordIsStoredAsEightBytesOfRegQword)
{
    Testing::EnableConsoleTrace();
    Testing::ScratchRegistryKey scratch(HKEY_CURRENT_USER, Testing::ScratchParentPath);
    Base::RegistryKey key = Testing::OpenScratchKey(scratch, KEY_ALL_ACCESS);
    Testing::OutputCapture capture;

    key->SetQword(L"big", 0x0102030405060708ull);

    const StoredValue stored = ReadStored(scratch.Handle(), L"big");
    EXPECT_EQ(static_cast<DWORD>(REG_QWORD), stored.type);
    EXPECT_EQ(BytesOf(0x0102030405060708ull), stored.bytes);
    const std::vector<std::string> expected{"DEBUG registry - Set qword { name:\"big\", value:72623859790382856, "
                                            "_handle:" +
                                            HexField(key->Handle()) + " }"};
    Testing::ExpectOnlyOutput(capture, expected);
}

TEST(RegistryKeyWin32Set, StringIsStoredWithItsTerminator)
{
    Testing::EnableConsoleTrace();
    Testing::ScratchRegistryKey scratch(HKEY_CURRENT_USER, Testing::ScratchParentPath);
    Base::RegistryKey key = Testing::OpenScratchKey(scratch, KEY_ALL_ACCESS);
    Testing::OutputCapture capture;

    key->SetString(L"text", L"hello");
    key->SetString(L"empty", L"");

    const StoredValue text = ReadStored(scratch.Handle(), L"text");
    EXPECT_EQ(static_cast<DWORD>(REG_SZ), text.type);
    EXPECT_EQ(BytesOf(L"hello", 12), text.bytes);
    const StoredValue empty = ReadStored(scratch.Handle(), L"empty");
    EXPECT_EQ(static_cast<DWORD>(REG_SZ), empty.type);
    EXPECT_EQ(std::vector<BYTE>(2, 0), empty.bytes);
    const std::string handle = HexField(key->Handle());
    const std::vector<std::string> expected{
        "DEBUG registry - Set string { name:\"text\", value:\"hello\", _handle:" + handle + " }",
        "DEBUG registry - Set string { name:\"empty\", value:\"\", _handle:" + handle + " }",
    };
    Testing::ExpectOnlyOutput(capture, expected);
}

// A key opened for reading only: the registry refuses every write with access denied.
TEST(RegistryKeyWin32Set, DwordFailureIsLoggedAndThrown)
{
    Testing::EnableConsoleTrace();
    Testing::ScratchRegistryKey scratch(HKEY_CURRENT_USER, Testing::ScratchParentPath);
    Base::RegistryKey key = Testing::OpenScratchKey(scratch, KEY_READ);
    Testing::OutputCapture capture;

    const auto thrown = Testing::ThrownWin32([&] { key->SetDword(L"number", 7); });

    Testing::ExpectWin32(thrown, "Failed to set registry value", ERROR_ACCESS_DENIED);
    const std::vector<std::string> expected{
        "ERROR registry - Failed to set dword { errorCode:5, name:\"number\", value:7, _handle:" +
        HexField(key->Handle()) + " }"};
    Testing::ExpectOnlyErrors(capture, expected);
}

TEST(RegistryKeyWin32Set, QwordFailureIsLoggedAndThrown)
{
    Testing::EnableConsoleTrace();
    Testing::ScratchRegistryKey scratch(HKEY_CURRENT_USER, Testing::ScratchParentPath);
    Base::RegistryKey key = Testing::OpenScratchKey(scratch, KEY_READ);
    Testing::OutputCapture capture;

    const auto thrown = Testing::ThrownWin32([&] { key->SetQword(L"big", 4294967296ull); });

    Testing::ExpectWin32(thrown, "Failed to set registry value", ERROR_ACCESS_DENIED);
    const std::vector<std::string> expected{
        "ERROR registry - Failed to set qword { errorCode:5, name:\"big\", value:4294967296, _handle:" +
        HexField(key->Handle()) + " }"};
    Testing::ExpectOnlyErrors(capture, expected);
}

TEST(RegistryKeyWin32Set, StringFailureIsLoggedAndThrown)
{
    Testing::EnableConsoleTrace();
    Testing::ScratchRegistryKey scratch(HKEY_CURRENT_USER, Testing::ScratchParentPath);
    Base::RegistryKey key = Testing::OpenScratchKey(scratch, KEY_READ);
    Testing::OutputCapture capture;

    const auto thrown = Testing::ThrownWin32([&] { key->SetString(L"text", L"hello"); });

    Testing::ExpectWin32(thrown, "Failed to set registry value", ERROR_ACCESS_DENIED);
    const std::vector<std::string> expected{
        "ERROR registry - Failed to set string { errorCode:5, name:\"text\", value:\"hello\", _handle:" +
        HexField(key->Handle()) + " }"};
    Testing::ExpectOnlyErrors(capture, expected);
}
