#include "base/RegistryKeyWin32.h"
#include "platform/RegistryApi.h"
#include "tests/base/ConsoleTrace.h"
#include "tests/base/LoggedMessages.h"
#include "tests/base/ScratchKeyWrapper.h"
#include "tests/base/ThrownException.h"
#include "tests/support/OutputCapture.h"
#include "tests/support/ScopedApi.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

using Testing::HexField;
using Testing::LoggedMessages;

namespace {

void StoreDword(HKEY key, const std::wstring& name)
{
    const DWORD number = 1;
    ASSERT_EQ(ERROR_SUCCESS, ::RegSetValueExW(key, name.c_str(), 0, REG_DWORD, reinterpret_cast<const BYTE*>(&number),
                                              sizeof(number)));
}

// The names in the order the registry itself gives them index by index.
std::vector<std::wstring> NamesInIndexOrder(HKEY key)
{
    std::vector<std::wstring> names;
    for (DWORD index = 0;; ++index) {
        wchar_t name[512] = {};
        DWORD length = 512;
        if (::RegEnumValueW(key, index, name, &length, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS) {
            return names;
        }
        names.emplace_back(name, length);
    }
}

// A platform that reports the length of a name that did not fit, serving a fixed list
// and recording the capacity of every call.
const std::vector<std::wstring> servedNames{std::wstring(299, L'x'), L"short"};
std::vector<DWORD> offeredCapacities;

LSTATUS WINAPI ServeNames(HKEY, DWORD index, LPWSTR name, LPDWORD length, LPDWORD, LPDWORD, LPBYTE, LPDWORD)
{
    offeredCapacities.push_back(*length);
    if (index >= servedNames.size()) {
        return ERROR_NO_MORE_ITEMS;
    }
    const std::wstring& served = servedNames[index];
    if (*length <= served.size()) {
        *length = static_cast<DWORD>(served.size());
        return ERROR_MORE_DATA;
    }
    served.copy(name, served.size());
    name[served.size()] = L'\0';
    *length = static_cast<DWORD>(served.size());
    return ERROR_SUCCESS;
}

// The first value is listed; the second is refused.
LSTATUS WINAPI SecondIndexDenied(HKEY key, DWORD index, LPWSTR name, LPDWORD length, LPDWORD reserved, LPDWORD type,
                                 LPBYTE data, LPDWORD size)
{
    if (index == 1) {
        return ERROR_ACCESS_DENIED;
    }
    return Platform::SystemRegistry().RegEnumValueW(key, index, name, length, reserved, type, data, size);
}

class RegistryKeyWin32Enumerate : public testing::Test {
protected:
    void SetUp() override { Testing::EnableConsoleTrace(); }

    Testing::ScratchRegistryKey scratch{HKEY_CURRENT_USER, Testing::ScratchParentPath};
};

} // namespace

TEST_F(RegistryKeyWin32Enumerate, NamesComeInIndexOrderEachLogged)
{
    for (const wchar_t* name : {L"zeta", L"alpha", L"mid"}) {
        StoreDword(scratch.Handle(), name);
    }
    const std::vector<std::wstring> inIndexOrder = NamesInIndexOrder(scratch.Handle());
    ASSERT_EQ(3u, inIndexOrder.size());
    Base::RegistryKey key = Testing::OpenScratchKey(scratch, KEY_READ);
    Testing::OutputCapture capture;

    const std::vector<std::wstring> names = key->EnumerateValueNames();

    EXPECT_EQ(inIndexOrder, names);
    std::vector<std::string> expected;
    for (size_t index = 0; index < inIndexOrder.size(); ++index) {
        const std::string name(inIndexOrder[index].begin(), inIndexOrder[index].end());
        expected.push_back("DEBUG registry - Enumerated value { name:\"" + name +
                           "\", valueIndex:" + std::to_string(index) + ", _handle:" + HexField(key->Handle()) + " }");
    }
    Testing::ExpectOnlyOutput(capture, expected);
}

TEST_F(RegistryKeyWin32Enumerate, EmptyKeyGivesAnEmptyListQuietly)
{
    Base::RegistryKey key = Testing::OpenScratchKey(scratch, KEY_READ);
    Testing::OutputCapture capture;

    EXPECT_TRUE(key->EnumerateValueNames().empty());

    EXPECT_EQ("", capture.Out());
    EXPECT_EQ("", capture.Err());
}

TEST_F(RegistryKeyWin32Enumerate, NameLongerThanTheFirstBufferIsListedWhole)
{
    const std::wstring longName(300, L'n');
    StoreDword(scratch.Handle(), longName);
    StoreDword(scratch.Handle(), L"a");
    StoreDword(scratch.Handle(), L"z");
    Base::RegistryKey key = Testing::OpenScratchKey(scratch, KEY_READ);

    const std::vector<std::wstring> names = key->EnumerateValueNames();

    EXPECT_EQ(NamesInIndexOrder(scratch.Handle()), names);
    ASSERT_EQ(3u, names.size());
    EXPECT_EQ(1, std::count(names.begin(), names.end(), longName));
}

TEST_F(RegistryKeyWin32Enumerate, BufferGrowsToTheReportedLengthAndStaysGrown)
{
    Base::RegistryKey key = Testing::OpenScratchKey(scratch, KEY_READ);
    Testing::ScopedApi<Platform::RegistryApi> registry(Platform::Registry());
    registry->RegEnumValueW = ServeNames;

    EXPECT_EQ(servedNames, key->EnumerateValueNames());

    // 256 first; then the reported 299 plus a terminator, kept for the later indices.
    EXPECT_EQ((std::vector<DWORD>{256, 300, 300, 300}), offeredCapacities);
}

TEST_F(RegistryKeyWin32Enumerate, FailureAtTheFirstIndexIsLoggedAndThrown)
{
    StoreDword(scratch.Handle(), L"a");
    Base::RegistryKey key = Testing::OpenScratchKey(scratch, KEY_WRITE);
    Testing::OutputCapture capture;

    const auto thrown = Testing::ThrownWin32([&] { key->EnumerateValueNames(); });

    Testing::ExpectWin32(thrown, "Unable to enum registry value", ERROR_ACCESS_DENIED);
    const std::vector<std::string> expected{
        "ERROR registry - Failed to enumerate values { errorCode:5, valueIndex:0, _handle:" + HexField(key->Handle()) +
        " }"};
    Testing::ExpectOnlyErrors(capture, expected);
}

TEST_F(RegistryKeyWin32Enumerate, FailureAtALaterIndexNamesThatIndex)
{
    StoreDword(scratch.Handle(), L"a");
    StoreDword(scratch.Handle(), L"b");
    Base::RegistryKey key = Testing::OpenScratchKey(scratch, KEY_READ);
    Testing::ScopedApi<Platform::RegistryApi> registry(Platform::Registry());
    registry->RegEnumValueW = SecondIndexDenied;
    Testing::OutputCapture capture;

    const auto thrown = Testing::ThrownWin32([&] { key->EnumerateValueNames(); });

    Testing::ExpectWin32(thrown, "Unable to enum registry value", ERROR_ACCESS_DENIED);
    const std::string handle = HexField(key->Handle());
    const std::wstring first = NamesInIndexOrder(scratch.Handle()).at(0);
    const std::vector<std::string> listed{"DEBUG registry - Enumerated value { name:\"" +
                                          std::string(first.begin(), first.end()) +
                                          "\", valueIndex:0, _handle:" + handle + " }"};
    EXPECT_EQ(listed, LoggedMessages(capture.Out()));
    const std::vector<std::string> failed{
        "ERROR registry - Failed to enumerate values { errorCode:5, valueIndex:1, _handle:" + handle + " }"};
    EXPECT_EQ(failed, LoggedMessages(capture.Err()));
}
