// The /file path on its way from the command line, a KESTROVA_ variable or the registry
// to StartLog and ViewLogFile: every character arrives as the user gave it, whatever the
// code pages, including characters outside the ANSI code page.

#include "base/TextConversion.h"
#include "front/Main.h"
#include "tests/front/ArgumentVector.h"
#include "tests/front/ArgumentsKeyValue.h"
#include "tests/front/FakeOperations.h"
#include "tests/support/NamedLock.h"
#include "tests/support/OutputCapture.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/WesternEuropeanCodePages.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

// Greek capital omega and e with acute: the first is in no Western ANSI code page.
const std::wstring farPath = L"C:\\\u03A9mega\\Donn\u00E9es\\x.etl";

// Runs ksdiag in-process with this command line, narrow as the runtime hands it over and,
// when given, in UTF-16 beside it; 0 when the command ended well.
int RunMain(std::vector<std::string> arguments, const std::vector<std::wstring>& wideArguments = {})
{
    // Main reads this executable's registry arguments key, which other tests write.
    const Testing::NamedLock lock(Testing::ArgumentsKeyLockName);
    Testing::ArgumentVector vector(std::move(arguments));
    std::vector<const wchar_t*> wide;
    for (const std::wstring& argument : wideArguments) {
        wide.push_back(argument.c_str());
    }
    Testing::OutputCapture capture;
    return Front::Main(vector.Count(), vector.Data(), wide.empty() ? nullptr : wide.data());
}

} // namespace

// A Western-European system: argv in 1252, the console in 850. Read in the console code
// page, the e with acute of 1252 (0xE9) would be a U with acute, and START would create
// that other folder.
TEST(PathOption, NarrowFileIsReadInTheAnsiCodePage)
{
    Testing::WesternEuropeanCodePages codePages;
    Testing::FakeOperations operations;

    EXPECT_EQ(0, RunMain({"ksdiag", "START", "/nologo",
                          "/file:C:\\Donn\xE9"
                          "es\\x.etl"}));
    EXPECT_EQ(0, RunMain({"ksdiag", "VIEW", "/nologo", "/level:info",
                          "/file:C:\\Donn\xE9"
                          "es\\x.etl"}));

    EXPECT_EQ(L"C:\\Donn\u00E9es\\x.etl", operations.Record().startOptions.file);
    EXPECT_EQ(L"C:\\Donn\u00E9es\\x.etl", operations.Record().viewPath);
}

// The runtime's argv has '?' for the omega; the UTF-16 command line has it.
TEST(PathOption, WideCommandLineKeepsCharactersOutsideTheAnsiCodePage)
{
    Testing::WesternEuropeanCodePages codePages;
    Testing::FakeOperations operations;
    const std::wstring fileOption = L"/file:" + farPath;
    // The narrow token has lost the omega.
    ASSERT_NE(fileOption, Base::AnsiToWide(Base::WideToAnsi(fileOption)));

    EXPECT_EQ(0, RunMain({"ksdiag", "START", "/nologo", Base::WideToAnsi(fileOption)},
                         {L"ksdiag", L"START", L"/nologo", fileOption}));
    EXPECT_EQ(0, RunMain({"ksdiag", "VIEW", "/nologo", "/level:info", "\"" + Base::WideToAnsi(fileOption) + "\""},
                         {L"ksdiag", L"VIEW", L"/nologo", L"/level:info", L"\"" + fileOption + L"\""}));

    EXPECT_EQ(farPath, operations.Record().startOptions.file);
    EXPECT_EQ(farPath, operations.Record().viewPath);
}

// Where the two splits of the command line do not agree on a token, the narrow one is
// what the runtime saw and the one that counts.
TEST(PathOption, WideTokenThatIsNotTheNarrowOneIsNotUsed)
{
    Testing::FakeOperations operations;

    EXPECT_EQ(0, RunMain({"ksdiag", "VIEW", "/nologo", "/level:info", "/file:C:\\a.etl"},
                         {L"ksdiag", L"VIEW", L"/nologo", L"/level:info", L"/file:C:\\b.etl"}));

    EXPECT_EQ(L"C:\\a.etl", operations.Record().viewPath);
}

TEST(PathOption, KestrovaVariableKeepsCharactersOutsideTheAnsiCodePage)
{
    Testing::FakeOperations operations;
    Testing::ScopedEnvironment file(L"KESTROVA_FILE", farPath);

    EXPECT_EQ(0, RunMain({"ksdiag", "START", "/nologo"}));
    EXPECT_EQ(0, RunMain({"ksdiag", "VIEW", "/nologo", "/level:info"}));

    EXPECT_EQ(farPath, operations.Record().startOptions.file);
    EXPECT_EQ(farPath, operations.Record().viewPath);
}

TEST(PathOption, RegistryValueKeepsCharactersOutsideTheAnsiCodePage)
{
    Testing::WesternEuropeanCodePages codePages;
    Testing::FakeOperations operations;
    const Testing::ArgumentsKeyValue file(L"front_tests", L"file", farPath);

    EXPECT_EQ(0, RunMain({"ksdiag", "START", "/nologo"}));
    EXPECT_EQ(0, RunMain({"ksdiag", "VIEW", "/nologo", "/level:info"}));

    EXPECT_EQ(farPath, operations.Record().startOptions.file);
    EXPECT_EQ(farPath, operations.Record().viewPath);
}
