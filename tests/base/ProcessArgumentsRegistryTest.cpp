#include "base/ProcessArguments.h"
#include "base/TextConversion.h"
#include "platform/RegistryApi.h"
#include "tests/base/ArgumentStoreTesting.h"
#include "tests/base/ArgumentsKeyValues.h"
#include "tests/base/CodePageSamples.h"
#include "tests/base/ConsoleTrace.h"
#include "tests/base/LoggedMessages.h"
#include "tests/base/ThrownException.h"
#include "tests/support/OutputCapture.h"
#include "tests/support/ScopedApi.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/ScratchRegistryKey.h"

#include <gtest/gtest.h>

#include <set>
#include <vector>

using Base::Argument;
using Base::ProcessArguments;
using Testing::ArgumentsKeyValues;
using Testing::Found;
using Testing::PopulateFrom;

namespace {

constexpr uint32_t registryNamed = Testing::RegistryNamed;
const std::string productPath = "Software\\Kestrova\\Arguments";
const std::string processPath = "Software\\Kestrova\\Arguments\\registry_tests";

// A value name that no other test uses, and the narrow form in which the store keeps it.
struct UniqueValueName {
    std::wstring wide = Testing::UniqueName(L"kestrova-test-");
    std::string narrow = Base::WideToConsole(wide);
};

// The first value listing of the run (the executable's own key, read first) is refused.
HKEY refusedEnumeration = nullptr;

LSTATUS WINAPI FirstEnumerationDenied(HKEY key, DWORD index, LPWSTR name, LPDWORD length, LPDWORD reserved,
                                      LPDWORD type, LPBYTE data, LPDWORD size)
{
    if (refusedEnumeration == nullptr) {
        refusedEnumeration = key;
        return ERROR_ACCESS_DENIED;
    }
    return Platform::SystemRegistry().RegEnumValueW(key, index, name, length, reserved, type, data, size);
}

// Of the named values, the data of whichever is read second is refused.
std::set<std::wstring> guardedNames;
int guardedDataReads = 0;
std::wstring refusedName;
HKEY refusedQuery = nullptr;

LSTATUS WINAPI SecondGuardedDataReadDenied(HKEY key, LPCWSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data,
                                           LPDWORD size)
{
    if (data != nullptr && guardedNames.count(name) != 0 && ++guardedDataReads == 2) {
        refusedName = name;
        refusedQuery = key;
        return ERROR_ACCESS_DENIED;
    }
    return Platform::SystemRegistry().RegQueryValueExW(key, name, reserved, type, data, size);
}

// Every key the run opens, with the access asked for and what the registry answered.
struct OpenedKey {
    HKEY parent;
    std::wstring subkey;
    REGSAM desiredAccess;
    LSTATUS status;
    HKEY key;
};
std::vector<OpenedKey> openedKeys;

LSTATUS WINAPI RecordingOpenKey(HKEY parent, LPCWSTR subkey, DWORD options, REGSAM desiredAccess, PHKEY result)
{
    const LSTATUS status = Platform::SystemRegistry().RegOpenKeyExW(parent, subkey, options, desiredAccess, result);
    openedKeys.push_back({parent, subkey, desiredAccess, status, status == ERROR_SUCCESS ? *result : nullptr});
    return status;
}

} // namespace

TEST(ProcessArgumentsRegistry, StringAndDwordValuesBecomeNamedArguments)
{
    ArgumentsKeyValues product(Testing::ProductArgumentsPath);
    const UniqueValueName text, number, expandable, terminatorOnly;
    product.SetString(text.wide, L"plain text");
    product.SetDword(number.wide, 42);
    const wchar_t unexpanded[] = L"%SystemRoot%\\x";
    product.Set(expandable.wide, REG_EXPAND_SZ, unexpanded, sizeof(unexpanded));
    product.SetString(terminatorOnly.wide, L"");

    PopulateFrom({"registry_tests.exe"});

    EXPECT_EQ((Argument{registryNamed, productPath, text.narrow, "plain text"}), Found(text.narrow));
    EXPECT_EQ((Argument{registryNamed, productPath, number.narrow, "42"}), Found(number.narrow));
    EXPECT_EQ((Argument{registryNamed, productPath, expandable.narrow, "%SystemRoot%\\x"}), Found(expandable.narrow));
    // Two bytes of terminator are not an empty value: only a size of zero is skipped.
    EXPECT_EQ((Argument{registryNamed, productPath, terminatorOnly.narrow, ""}), Found(terminatorOnly.narrow));
    EXPECT_EQ(42u, ProcessArguments::GetUInt(number.narrow, 0));
    EXPECT_EQ(1u, ProcessArguments::CommandLineCount());
}

// Names and data leave the registry as UTF-16 and enter the store in the console code page.
TEST(ProcessArgumentsRegistry, NameAndDataAreConvertedToTheConsoleCodePage)
{
    const UINT codePage = Testing::EffectiveCodePage(::GetConsoleCP());
    const auto eAcute = Testing::SmallEAcute(codePage);
    if (!eAcute) {
        GTEST_SKIP() << "no expectation for console input code page " << codePage;
    }
    ArgumentsKeyValues product(Testing::ProductArgumentsPath);
    const std::wstring unique = Testing::UniqueName(L"kestrova-test-");
    const std::wstring wideName = unique + L"-\u00E9";
    const std::string name = std::string(unique.begin(), unique.end()) + "-" + *eAcute;
    product.SetString(wideName, L"caf\u00E9");

    PopulateFrom({"registry_tests.exe"});

    EXPECT_EQ((Argument{registryNamed, productPath, name, "caf" + *eAcute}), Found(name));
}

TEST(ProcessArgumentsRegistry, OtherTypesAndEmptyStringsAreSkipped)
{
    ArgumentsKeyValues product(Testing::ProductArgumentsPath);
    const UniqueValueName binary, qword, multi, empty, kept;
    const BYTE bytes[] = {1, 2, 3};
    product.Set(binary.wide, REG_BINARY, bytes, sizeof(bytes));
    const ULONGLONG big = 42;
    product.Set(qword.wide, REG_QWORD, &big, sizeof(big));
    const wchar_t strings[] = L"a\0b\0";
    product.Set(multi.wide, REG_MULTI_SZ, strings, sizeof(strings));
    product.Set(empty.wide, REG_SZ, nullptr, 0);
    product.SetString(kept.wide, L"kept");

    PopulateFrom({"registry_tests.exe"});

    EXPECT_FALSE(ProcessArguments::Has(binary.narrow));
    EXPECT_FALSE(ProcessArguments::Has(qword.narrow));
    EXPECT_FALSE(ProcessArguments::Has(multi.narrow));
    EXPECT_FALSE(ProcessArguments::Has(empty.narrow));
    EXPECT_EQ("kept", Found(kept.narrow).value);
}

// A string stored with an odd byte count is read, and so is every value listed after it.
TEST(ProcessArgumentsRegistry, StringOfAnOddByteSizeIsReadWithTheValuesAfterIt)
{
    ArgumentsKeyValues product(Testing::ProductArgumentsPath);
    const UniqueValueName odd, after, last;
    product.Set(odd.wide, REG_SZ, L"abc", 5);
    product.SetString(after.wide, L"after");
    product.SetDword(last.wide, 7);

    PopulateFrom({"registry_tests.exe"});

    EXPECT_EQ((Argument{registryNamed, productPath, odd.narrow, "abc"}), Found(odd.narrow));
    EXPECT_EQ((Argument{registryNamed, productPath, after.narrow, "after"}), Found(after.narrow));
    EXPECT_EQ((Argument{registryNamed, productPath, last.narrow, "7"}), Found(last.narrow));
}

TEST(ProcessArgumentsRegistry, ExecutablesOwnKeyIsReadBeforeTheProductKey)
{
    ArgumentsKeyValues product(Testing::ProductArgumentsPath);
    ArgumentsKeyValues process(Testing::ProcessArgumentsPath);
    const UniqueValueName shared, productOnly;
    product.SetString(shared.wide, L"fromProduct");
    process.SetString(shared.wide, L"fromProcess");
    product.SetString(productOnly.wide, L"onlyProduct");

    PopulateFrom({"registry_tests.exe"});

    EXPECT_EQ((Argument{registryNamed, processPath, shared.narrow, "fromProcess"}), Found(shared.narrow));
    EXPECT_EQ((Argument{registryNamed, productPath, productOnly.narrow, "onlyProduct"}), Found(productOnly.narrow));
}

TEST(ProcessArgumentsRegistry, CommandLineAndEnvironmentComeBeforeTheRegistry)
{
    ArgumentsKeyValues product(Testing::ProductArgumentsPath);
    const UniqueValueName name;
    product.SetString(name.wide, L"fromRegistry");
    Testing::ScopedEnvironment variable("KESTROVA_" + name.narrow, "fromEnvironment");

    PopulateFrom({"registry_tests.exe", "/" + name.narrow + ":fromCommandLine"});
    EXPECT_EQ("fromCommandLine", Found(name.narrow).value);

    PopulateFrom({"registry_tests.exe"});
    EXPECT_EQ("fromEnvironment", Found(name.narrow).value);
}

TEST(ProcessArgumentsRegistry, FailureInTheExecutablesKeyIsLoggedAndTheProductKeyStillRead)
{
    Testing::EnableConsoleTrace();
    ArgumentsKeyValues product(Testing::ProductArgumentsPath);
    ArgumentsKeyValues process(Testing::ProcessArgumentsPath);
    const UniqueValueName fromProduct, fromProcess;
    product.SetString(fromProduct.wide, L"product");
    process.SetString(fromProcess.wide, L"process");
    Testing::ScopedApi<Platform::RegistryApi> registry(Platform::Registry());
    registry->RegEnumValueW = FirstEnumerationDenied;
    Testing::OutputCapture capture;

    PopulateFrom({"registry_tests.exe"});

    EXPECT_FALSE(ProcessArguments::Has(fromProcess.narrow));
    EXPECT_EQ((Argument{registryNamed, productPath, fromProduct.narrow, "product"}), Found(fromProduct.narrow));
    const std::vector<std::string> expected{
        "ERROR registry - Failed to enumerate values { errorCode:5, valueIndex:0, _handle:" +
            Testing::HexField(refusedEnumeration) + " }",
        "ERROR arguments - Failed populating process arguments { processPath:\"" + processPath + "\", err:\"" +
            Testing::Win32Text("Unable to enum registry value", ERROR_ACCESS_DENIED) + "\" }",
    };
    EXPECT_EQ(expected, Testing::LoggedMessages(capture.Err()));
}

TEST(ProcessArgumentsRegistry, FailureInTheProductKeyKeepsWhatWasReadBefore)
{
    Testing::EnableConsoleTrace();
    ArgumentsKeyValues product(Testing::ProductArgumentsPath);
    ArgumentsKeyValues process(Testing::ProcessArgumentsPath);
    const UniqueValueName first, second, fromProcess;
    product.SetString(first.wide, L"valueA");
    product.SetString(second.wide, L"valueB");
    process.SetString(fromProcess.wide, L"process");
    guardedNames = {first.wide, second.wide};
    Testing::ScopedApi<Platform::RegistryApi> registry(Platform::Registry());
    registry->RegQueryValueExW = SecondGuardedDataReadDenied;
    Testing::OutputCapture capture;

    PopulateFrom({"registry_tests.exe"});

    ASSERT_TRUE(refusedName == first.wide || refusedName == second.wide);
    const UniqueValueName& refused = refusedName == first.wide ? first : second;
    const UniqueValueName& read = refusedName == first.wide ? second : first;
    EXPECT_FALSE(ProcessArguments::Has(refused.narrow));
    EXPECT_EQ(registryNamed, Found(read.narrow).flags);
    EXPECT_EQ((Argument{registryNamed, processPath, fromProcess.narrow, "process"}), Found(fromProcess.narrow));
    const std::vector<std::string> expected{
        "ERROR registry - Failed to query STRING { size:14, type:1, name:\"" + refused.narrow +
            "\", _handle:" + Testing::HexField(refusedQuery) + " }",
        "ERROR arguments - Failed populating product arguments { productPath:\"" + productPath + "\", err:\"" +
            Testing::Win32Text("Unable to query STRING registry value", ERROR_ACCESS_DENIED) + "\" }",
    };
    EXPECT_EQ(expected, Testing::LoggedMessages(capture.Err()));
}

// The executable's own key is probed first and, being absent, skipped without a failure;
// the product key is probed, opened for reading on HKEY_LOCAL_MACHINE and listed.
TEST(ProcessArgumentsRegistry, AbsentExecutableKeyIsSkippedQuietly)
{
    Testing::EnableConsoleTrace();
    ArgumentsKeyValues product(Testing::ProductArgumentsPath);
    HKEY leftover = nullptr;
    ASSERT_EQ(ERROR_FILE_NOT_FOUND,
              ::RegOpenKeyExW(HKEY_LOCAL_MACHINE, Testing::ProcessArgumentsPath, 0, KEY_READ, &leftover))
        << "a test left the executable's arguments key behind";
    const UniqueValueName name;
    product.SetString(name.wide, L"fromProduct");
    Testing::ScopedApi<Platform::RegistryApi> registry(Platform::Registry());
    registry->RegOpenKeyExW = RecordingOpenKey;
    Testing::OutputCapture capture;

    PopulateFrom({"registry_tests.exe"});

    const std::wstring wideProcessPath = Testing::ProcessArgumentsPath;
    const std::wstring wideProductPath = Testing::ProductArgumentsPath;
    ASSERT_EQ(3u, openedKeys.size());
    for (const OpenedKey& opened : openedKeys) {
        EXPECT_EQ(HKEY_LOCAL_MACHINE, opened.parent);
        EXPECT_EQ(static_cast<REGSAM>(KEY_READ), opened.desiredAccess);
    }
    EXPECT_EQ(wideProcessPath, openedKeys[0].subkey);
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, openedKeys[0].status);
    EXPECT_EQ(wideProductPath, openedKeys[1].subkey);
    EXPECT_EQ(wideProductPath, openedKeys[2].subkey);
    ASSERT_EQ(ERROR_SUCCESS, openedKeys[2].status);

    const std::string root = Testing::HexField(HKEY_LOCAL_MACHINE);
    const std::string key = Testing::HexField(openedKeys[2].key);
    const std::vector<std::string> expected{
        "DEBUG registry - Did not find subkey { desiredAccess:131097, subkey:\"" + processPath + "\", _handle:" + root +
            " }",
        "DEBUG registry - Found subkey { desiredAccess:131097, subkey:\"" + productPath + "\", _handle:" + root + " }",
        "DEBUG registry - Successfully opened key { desiredAccess:131097, subkey:\"" + productPath + "\", key:" + key +
            ", _handle:" + root + " }",
        "DEBUG registry - Enumerated value { name:\"" + name.narrow + "\", valueIndex:0, _handle:" + key + " }",
        "DEBUG registry - Queried STRING { value:\"fromProduct\", name:\"" + name.narrow + "\", _handle:" + key + " }",
    };
    Testing::ExpectOnlyOutput(capture, expected);
    EXPECT_EQ((Argument{registryNamed, productPath, name.narrow, "fromProduct"}), Found(name.narrow));
}
