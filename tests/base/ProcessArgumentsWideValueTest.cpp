// The UTF-16 values beside the narrow ones: from the wide command line, the wide
// environment and the registry, with the narrow entries left exactly as they were.

#include "base/ProcessArguments.h"
#include "base/TextConversion.h"
#include "tests/base/ArgumentStoreTesting.h"
#include "tests/base/ArgumentsKeyValues.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/ScratchRegistryKey.h"
#include "tests/support/WesternEuropeanCodePages.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using Base::Argument;
using Base::ProcessArguments;
using Testing::Found;
using Testing::PopulateFrom;

namespace {

const std::wstring omegaPath = L"C:\\\u03A9\\x.etl";

std::wstring WideValue(std::string_view name)
{
    std::wstring value = L"absent";
    EXPECT_TRUE(ProcessArguments::GetWideValue(name, value)) << "not in the store: " << name;
    return value;
}

// Populate with both vectors, as the process entry calls it.
void PopulateFromBoth(const std::vector<std::string>& narrow, const std::vector<std::wstring>& wide)
{
    std::vector<const char*> narrowVector;
    for (const std::string& token : narrow) {
        narrowVector.push_back(token.c_str());
    }
    std::vector<const wchar_t*> wideVector;
    for (const std::wstring& token : wide) {
        wideVector.push_back(token.c_str());
    }
    ProcessArguments::Populate(static_cast<int>(narrowVector.size()), narrowVector.data(), wideVector.data());
}

} // namespace

TEST(ProcessArgumentsWideValue, NarrowTokenIsReadInTheAnsiCodePage)
{
    Testing::WesternEuropeanCodePages codePages;
    PopulateFrom({"registry_tests.exe", "/file:C:\\Donn\xE9"
                                        "es"});

    EXPECT_EQ(L"C:\\Donn\u00E9es", WideValue("file"));
    EXPECT_EQ((Argument{Testing::CommandLineNamed,
                        "/file:C:\\Donn\xE9"
                        "es",
                        "file",
                        "C:\\Donn\xE9"
                        "es"}),
              Found("file"));
}

TEST(ProcessArgumentsWideValue, WideTokenIsParsedAsTheNarrowOne)
{
    Testing::WesternEuropeanCodePages codePages;
    const std::wstring token = L" \"/File=" + omegaPath + L"\" ";
    PopulateFromBoth({"registry_tests.exe", Base::WideToAnsi(token), "/flag", "field"},
                     {L"registry_tests.exe", token, L"/flag", L"field"});

    EXPECT_EQ(omegaPath, WideValue("file"));
    EXPECT_EQ(L"", WideValue("flag"));
    // The narrow entry is what it always was: the omega as the ANSI code page has it,
    // which is not the omega.
    EXPECT_EQ(Base::WideToAnsi(omegaPath), Found("file").value);
    EXPECT_NE(omegaPath, Base::AnsiToWide(Found("file").value));
    EXPECT_EQ(4u, ProcessArguments::CommandLineCount());
}

TEST(ProcessArgumentsWideValue, WideTokenOfAnotherTextIsNotUsed)
{
    PopulateFromBoth({"registry_tests.exe", "/file:C:\\a.etl"}, {L"registry_tests.exe", L"/file:C:\\b.etl"});

    EXPECT_EQ(L"C:\\a.etl", WideValue("file"));
}

TEST(ProcessArgumentsWideValue, EnvironmentVariableKeepsEveryCharacter)
{
    Testing::ScopedEnvironment variable(L"KESTROVA_WIDE-PATH", omegaPath);
    Testing::ScopedEnvironment flag(L"KESTROVA_WIDE-FLAG", L"");
    PopulateFrom({"registry_tests.exe"});

    EXPECT_EQ(omegaPath, WideValue("wide_path"));
    EXPECT_EQ(Testing::EnvironmentNamed, Found("wide_path").flags);
}

TEST(ProcessArgumentsWideValue, RegistryValuesAreTheirUtf16TextAndDwordsTheirDigits)
{
    Testing::ArgumentsKeyValues product(Testing::ProductArgumentsPath);
    const std::wstring text = Testing::UniqueName(L"kestrova-test-");
    const std::wstring number = Testing::UniqueName(L"kestrova-test-");
    product.SetString(text, omegaPath);
    product.SetDword(number, 42);
    PopulateFrom({"registry_tests.exe"});

    EXPECT_EQ(omegaPath, WideValue(Base::WideToConsole(text)));
    EXPECT_EQ(L"42", WideValue(Base::WideToConsole(number)));
}

TEST(ProcessArgumentsWideValue, FirstEntryOfANameWinsAsForTheNarrowValue)
{
    Testing::ScopedEnvironment variable(L"KESTROVA_PRECEDENCE", L"environment");
    PopulateFrom({"registry_tests.exe", "/precedence:command line", "/precedence:second"});

    EXPECT_EQ(L"command line", WideValue("Precedence"));
}

TEST(ProcessArgumentsWideValue, AbsentNameLeavesTheOutputUntouched)
{
    PopulateFrom({"registry_tests.exe"});
    std::wstring value = L"untouched";

    EXPECT_FALSE(ProcessArguments::GetWideValue("missing", value));

    EXPECT_EQ(L"untouched", value);
}
