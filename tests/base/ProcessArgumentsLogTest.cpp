#include "base/ProcessArguments.h"
#include "base/TextConversion.h"
#include "tests/base/ArgumentStoreTesting.h"
#include "tests/base/ArgumentsKeyValues.h"
#include "tests/base/ConsoleTrace.h"
#include "tests/base/KestrovaEnvironment.h"
#include "tests/base/LoggedMessages.h"
#include "tests/support/OutputCapture.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/ScratchRegistryKey.h"

#include <gtest/gtest.h>

using Base::ProcessArguments;

TEST(ProcessArgumentsLog, OneVerboseMessagePerEntryInStoreOrder)
{
    Testing::EnableConsoleTrace();
    Testing::ClearedKestrovaEnvironment cleared;
    Testing::ScopedEnvironment variable("KESTROVA_envflag", "");
    // Holding the arguments-keys lock: the store is asserted whole.
    Testing::ArgumentsKeyValues product(Testing::ProductArgumentsPath);
    Testing::ArgumentsKeyValues process(Testing::ProcessArgumentsPath);
    const std::wstring productName = Testing::UniqueName(L"kestrova-test-");
    const std::wstring processName = Testing::UniqueName(L"kestrova-test-");
    product.SetString(productName, L"fromProduct");
    process.SetString(processName, L"fromProcess");
    Testing::PopulateFrom({"registry_tests.exe", "/named:1", "/flag", "field"});
    Testing::OutputCapture capture;

    ProcessArguments::LogArguments();

    const std::vector<std::string> expected{
        "VERBOSE arguments - Found field { commandLine:true, full:\"registry_tests.exe\" }",
        "VERBOSE arguments - Found named arg { commandLine:true, full:\"/named:1\", name:\"named\", value:\"1\" }",
        "VERBOSE arguments - Found flag { commandLine:true, full:\"/flag\", name:\"flag\" }",
        "VERBOSE arguments - Found field { commandLine:true, full:\"field\" }",
        "VERBOSE arguments - Found flag { commandLine:false, full:\"KESTROVA_envflag=\", name:\"envflag\" }",
        "VERBOSE arguments - Found named arg { commandLine:false, "
        "full:\"Software\\Kestrova\\Arguments\\registry_tests\", "
        "name:\"" +
            Base::WideToConsole(processName) + "\", value:\"fromProcess\" }",
        "VERBOSE arguments - Found named arg { commandLine:false, full:\"Software\\Kestrova\\Arguments\", name:\"" +
            Base::WideToConsole(productName) + "\", value:\"fromProduct\" }",
    };
    Testing::ExpectOnlyOutput(capture, expected);
}

TEST(ProcessArgumentsLog, DuplicatesAreLoggedThoughOnlyTheFirstIsFound)
{
    Testing::EnableConsoleTrace();
    Testing::PopulateFrom({"registry_tests.exe", "/n:1", "/n:2"});
    Testing::OutputCapture capture;

    ProcessArguments::LogArguments();

    const std::vector<std::string> messages = Testing::LoggedMessages(capture.Out());
    ASSERT_LE(3u, messages.size());
    EXPECT_EQ("VERBOSE arguments - Found named arg { commandLine:true, full:\"/n:1\", name:\"n\", value:\"1\" }",
              messages[1]);
    EXPECT_EQ("VERBOSE arguments - Found named arg { commandLine:true, full:\"/n:2\", name:\"n\", value:\"2\" }",
              messages[2]);
}

TEST(ProcessArgumentsLog, EntryWithoutAKindIsLoggedWithItsRawFlags)
{
    Testing::EnableConsoleTrace();
    Testing::OutputCapture capture;

    ProcessArguments::LogArgument(Base::Argument{Base::SourceRegistry, "some key", "name", "value"});
    ProcessArguments::LogArgument(Base::Argument{});

    const std::vector<std::string> expected{
        "VERBOSE arguments - Found argument { flags:4, full:\"some key\" }",
        "VERBOSE arguments - Found argument { flags:0, full:\"\" }",
    };
    EXPECT_EQ(expected, Testing::LoggedMessages(capture.Out()));
}
