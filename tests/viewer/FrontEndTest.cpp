// ksdiag's VIEW and LIVE paths end to end and in-process: argument vector in, console
// text and exit code out, with the emulators behind the platform.

#include "front/Main.h"
#include "platform/EtwApi.h"
#include "tests/emulator/ControllerEmulator.h"
#include "tests/viewer/ViewerEvents.h"
#include "tests/viewer/ViewerFixture.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace {

class FrontEnd : public Testing::ViewerTest {
protected:
    int Run(std::vector<std::string> arguments)
    {
        std::vector<char*> vector;
        for (std::string& argument : arguments) {
            vector.push_back(argument.data());
        }
        vector.push_back(nullptr);
        return Front::Main(static_cast<int>(arguments.size()), vector.data());
    }

    std::string FileOption() const { return "/file:" + std::filesystem::path(path).string(); }

    std::wstring path = (temp.Path() / L"x.etl").wstring();
};

TEST_F(FrontEnd, ViewAtInfoPrintsTheLogAndSucceeds)
{
    std::vector<Testing::RecordedEvent> events;
    events.push_back(Testing::OperationalEvent(1, 2012).Build());
    events.push_back(Testing::OperationalEvent(1, 2011).Build()); // verbose: above INFO
    consumer.AddLogFile(path, std::move(events));
    EXPECT_EQ(0, Run({"ksdiag", "VIEW", "/level:info", FileOption(), "/nologo"}));
    EXPECT_EQ(L"{0F}" + DefaultTimestamp() + L" app(1000:2000) Information {08}Name : Message Args\n{07}", Coloured());
    EXPECT_EQ("", capture.Err());
    ASSERT_EQ(1u, consumer.Opens().size());
    EXPECT_EQ(path, consumer.Opens()[0].logFileName);
}

TEST_F(FrontEnd, ViewVerboseShowsVerboseEvents)
{
    std::vector<Testing::RecordedEvent> events;
    events.push_back(Testing::OperationalEvent(2, 2011).Build());
    consumer.AddLogFile(path, std::move(events));
    EXPECT_EQ(0, Run({"ksdiag", "view", "/verbose", FileOption(), "/nologo"}));
    EXPECT_EQ(L"{07}" + DefaultTimestamp() + L" app(1000:2000) Verbose {08}Name : Message Args\n{07}", Coloured());
}

TEST_F(FrontEnd, ViewOfAMissingFileFailsWithTwo)
{
    EXPECT_EQ(1, Run({"ksdiag", "VIEW", "/level:info", FileOption(), "/nologo"}));
    EXPECT_EQ(L"Unable to find file \"" + path + L"\".\n", capture.WideOut());
    EXPECT_EQ("View log failed with error 2.\n", capture.Err());
}

TEST_F(FrontEnd, LiveAtErrorEnablesLevelTwoAndExitsWithZero)
{
    Testing::ControllerEmulator controller;
    EXPECT_EQ(0, Run({"ksdiag", "LIVE", "/level:error", "/nologo"}));
    const auto calls = Testing::DescribeCalls(controller.Calls());
    ASSERT_EQ(4u, calls.size());
    EXPECT_EQ("EnableTrace {6e2b9c41-7a3d-4f15-8c62-3d9a1b7e5f04} enable level 2 any 0x0 all 0x0 timeout 0 property 2 "
              "handle=H -> 0",
              calls[2]);
    // No real-time source in this test: the consumer cannot open, and the session is stopped.
    EXPECT_EQ("ControlTrace stop handle=H -> 0", calls[3]);
    EXPECT_TRUE(controller.SessionNames().empty());
}

TEST_F(FrontEnd, LiveWithCallstackAsksForStacks)
{
    Testing::ControllerEmulator controller;
    EXPECT_EQ(0, Run({"ksdiag", "LIVE", "/debug", "/callstack", "/nologo"}));
    const auto calls = Testing::DescribeCalls(controller.Calls());
    ASSERT_LE(3u, calls.size());
    EXPECT_EQ("EnableTrace {6e2b9c41-7a3d-4f15-8c62-3d9a1b7e5f04} enable level 18 any 0x0 all 0x0 timeout 0 property 6 "
              "handle=H -> 0",
              calls[2]);
}

} // namespace
