#include "session/SessionIdentity.h"
#include "tests/viewer/ViewerEvents.h"
#include "tests/viewer/ViewerFixture.h"
#include "trace/EtwWriter.h"
#include "viewer/EventInformation.h"

#include <gtest/gtest.h>

namespace {

using Testing::OperationalFields;

class EventRendering : public Testing::ViewerTest {
protected:
    void SetUp() override { LoadManifest(); }

    // "{0F}<time> app(1000:2000) " and the rest as given.
    std::wstring Header(const wchar_t* colour, const std::wstring& source = L"app(1000:2000)") const
    {
        return std::wstring(colour) + DefaultTimestamp() + L" " + source + L" ";
    }
};

TEST_F(EventRendering, OperationalInfoShowsHeaderInWhiteAndBodyInGrey)
{
    Render(Testing::OperationalEvent(1, 2012).Build().record);
    EXPECT_EQ(Header(L"{0F}") + L"Information {08}Name : Message Args\n{07}", Coloured());
}

TEST_F(EventRendering, OperationalErrorShowsStackOnTheNextLine)
{
    OperationalFields fields;
    fields.stack = L"at Main\nat Start";
    Render(Testing::OperationalEvent(1, 2014, fields).Build().record);
    EXPECT_EQ(Header(L"{0C}") + L"Error {08}Name : Message Args\nat Main\nat Start\n{07}", Coloured());
}

TEST_F(EventRendering, WarningIsYellowAndVerboseGrey)
{
    Render(Testing::OperationalEvent(1, 2013).Build().record);
    Render(Testing::OperationalEvent(1, 2011).Build().record);
    EXPECT_EQ(Header(L"{0E}") + L"Warning {08}Name : Message Args\n{07}" + Header(L"{07}") +
                  L"Verbose {08}Name : Message Args\n{07}",
              Coloured());
}

TEST_F(EventRendering, VersionOneAndTwoPrintTheSameText)
{
    OperationalFields fields;
    fields.name = L"Caf\u00e9";
    fields.message = L"\u65e5\u672c";
    fields.arguments = L"x=1";
    Render(Testing::OperationalEvent(1, 2012, fields).Build().record);
    const std::wstring versionOne = Coloured();
    capture.Clear();
    console.ClearChanges();
    Render(Testing::OperationalEvent(2, 2012, fields).Build().record);
    EXPECT_EQ(versionOne, Coloured());
    EXPECT_EQ(Header(L"{0F}") + L"Information {08}Caf\\u00E9 : \\u65E5\\u672C x=1\n{07}", versionOne);
}

TEST_F(EventRendering, TraceTaskShowsMessageAndMethodTaskArguments)
{
    Render(Testing::DebugTraceEvent(2004, L"svc", L"info text").Build().record);
    Render(Testing::DebugTraceEvent(2006, L"svc", L"error text").Build().record);
    Render(Testing::DebugTraceEvent(2003, L"svc", L"verbose text").Build().record);
    EXPECT_EQ(Header(L"{0F}", L"svc(1000:2000)") + L"Information {08}info text\n{07}" +
                  Header(L"{0C}", L"svc(1000:2000)") + L"Error {08}error text\n{07}" +
                  Header(L"{07}", L"svc(1000:2000)") + L"Verbose {08}verbose text\n{07}",
              Coloured());
}

TEST_F(EventRendering, LevelZeroIsRedLikeErrors)
{
    const Testing::RecordedEvent event = Testing::OperationalEvent(1, 2012).Build();
    EVENT_RECORD record = event.record;
    record.EventHeader.EventDescriptor.Level = 0;
    Render(record);
    EXPECT_EQ(Header(L"{0C}") + L"Information {08}Name : Message Args\n{07}", Coloured());
}

TEST_F(EventRendering, OtherTasksHaveAnEmptyBody)
{
    Render(Testing::DebugTraceEvent(2004, L"svc", L"info text").Task(7).Build().record);
    Render(Testing::DebugTraceEvent(2004, L"svc", L"info text").Task(0).Build().record);
    const std::wstring empty = Header(L"{0F}", L"svc(1000:2000)") + L"Information {08}\n{07}";
    EXPECT_EQ(empty + empty, Coloured());
}

TEST_F(EventRendering, CustomLevelsAppearOnlyAtDebugAndHaveNoLevelName)
{
    Render(Testing::DebugTraceEvent(2002, L"svc", L"Enter args").Build().record);
    Render(Testing::DebugTraceEvent(2000, L"svc", L"debug text").Build().record);
    EXPECT_EQ(L"", Coloured());
    options.level = 18;
    Render(Testing::DebugTraceEvent(2002, L"svc", L"Enter args").Build().record);
    Render(Testing::DebugTraceEvent(2001, L"svc", L"Exit args").Build().record);
    Render(Testing::DebugTraceEvent(2000, L"svc", L"debug text").Build().record);
    Render(Testing::OperationalEvent(2, 2010).Build().record);
    EXPECT_EQ(Header(L"{0F}", L"svc(1000:2000)") + L"{08}Enter args\n{07}" + Header(L"{0F}", L"svc(1000:2000)") +
                  L"{08}Exit args\n{07}" + Header(L"{0F}", L"svc(1000:2000)") + L"{08}debug text\n{07}" +
                  Header(L"{0F}") + L"{08}Name : Message Args\n{07}",
              Coloured());
}

TEST_F(EventRendering, LevelFilterDropsMoreDetailedEvents)
{
    options.level = 3;
    Render(Testing::OperationalEvent(1, 2012).Build().record);
    Render(Testing::OperationalEvent(1, 2011).Build().record);
    Render(Testing::OperationalEvent(1, 2013).Build().record);
    EXPECT_EQ(Header(L"{0E}") + L"Warning {08}Name : Message Args\n{07}", Coloured());
}

TEST_F(EventRendering, SessionIdComesFromTheLastTerminalSessionItem)
{
    Render(Testing::OperationalEvent(1, 2012).SessionId(1).SessionId(3).Process(42, 43).Build().record);
    EXPECT_EQ(Header(L"{0F}", L"app(3:42:43)") + L"Information {08}Name : Message Args\n{07}", Coloured());
}

TEST_F(EventRendering, MissingProcessNameShowsQuestionMarks)
{
    Render(Testing::EventRecordBuilder(Trace::ProviderGuid, 2012, 1, 4).Task(3).Build().record);
    EXPECT_EQ(Header(L"{0F}", L"?\?\?(1000:2000)") + L"Information {08} :  \n{07}", Coloured());
}

TEST_F(EventRendering, TextIsEscapedButKeepsLineFeeds)
{
    OperationalFields fields;
    fields.message = L"a\tb\r\nc\\d";
    Render(Testing::OperationalEvent(1, 2012, fields).Build().record);
    EXPECT_EQ(Header(L"{0F}") + L"Information {08}Name : a\\u0009b\\u000D\nc\\d Args\n{07}", Coloured());
}

TEST_F(EventRendering, TextIsTrimmedOfWhiteSpace)
{
    OperationalFields fields;
    fields.name = L"  Name  \t";
    fields.arguments = L"\r\nArgs\n";
    Render(Testing::OperationalEvent(1, 2012, fields).Build().record);
    EXPECT_EQ(Header(L"{0F}") + L"Information {08}Name : Message Args\n{07}", Coloured());
}

TEST_F(EventRendering, TheAttributeInForceIsRestored)
{
    console.SetCurrentAttribute(0x1F);
    Render(Testing::OperationalEvent(1, 2012).Build().record);
    EXPECT_EQ(Header(L"{0F}") + L"Information {08}Name : Message Args\n{1F}", Coloured());
}

TEST_F(EventRendering, WithoutAConsoleNoColourIsSet)
{
    // Output redirected to a file or a pipe: a colour change could only fail.
    console.FailScreenBufferInfo(true);
    Render(Testing::OperationalEvent(1, 2012).Build().record);
    EXPECT_EQ(Header(L"") + L"Information Name : Message Args\n", Coloured());
    EXPECT_TRUE(console.Changes().empty());
    EXPECT_EQ(1u, console.ScreenBufferQueries());
    // The handle is not asked again for the next event.
    Render(Testing::OperationalEvent(1, 2013).Build().record);
    EXPECT_EQ(1u, console.ScreenBufferQueries());
    EXPECT_TRUE(console.Changes().empty());
}

TEST_F(EventRendering, UndescribedEventIsSkippedWithoutColourChange)
{
    Render(Testing::DebugTraceEvent(2999, L"svc", L"unknown").Build().record);
    Render(Testing::OperationalEvent(3, 2012).Build().record);
    EXPECT_EQ(L"", capture.WideOut());
    EXPECT_TRUE(console.Changes().empty());
    EXPECT_EQ(0u, console.ScreenBufferQueries());
}

TEST_F(EventRendering, OtherProvidersAreIgnored)
{
    const GUID other = {0x11111111, 0x2222, 0x3333, {4, 4, 4, 4, 4, 4, 4, 4}};
    Render(Testing::EventRecordBuilder(other, 2012, 1, 4).Task(3).Utf16(L"x").Build().record);
    EXPECT_EQ(L"", capture.WideOut());
    EXPECT_EQ(0u, tdh.EventInformationCalls());
}

TEST_F(EventRendering, ImageEventsAreNeverShown)
{
    Testing::ImageFields image;
    image.debug = "AAAA";
    Render(Testing::ImageEvent(image).Build().record);
    EXPECT_EQ(L"", capture.WideOut());
    EXPECT_EQ(0u, tdh.EventInformationCalls());
}

TEST_F(EventRendering, WinlogonEventsNeedTheOption)
{
    Render(Testing::WinlogonEvent(811, L"Sens", 2).Build().record);
    EXPECT_EQ(L"", Coloured());
    options.winlogon = 1;
    options.level = 2; // no level filter for Winlogon
    Render(Testing::WinlogonEvent(811, L"Sens", 2).Build().record);
    Render(Testing::WinlogonEvent(812, L"Profiles", 13).Build().record);
    Render(Testing::WinlogonEvent(812, L"Profiles", 42).Build().record);
    Render(Testing::WinlogonEvent(813, L"Other", 1).Build().record);
    EXPECT_EQ(Header(L"{0A}", L"Winlogon(1000:2000)") +
                  L"Information {08}Winlogon started subscriber Sens processing Logon\n{07}" +
                  Header(L"{0A}", L"Winlogon(1000:2000)") +
                  L"Information {08}Winlogon finished subscriber Profiles processing EndShell\n{07}" +
                  Header(L"{0A}", L"Winlogon(1000:2000)") +
                  L"Information {08}Winlogon finished subscriber Profiles processing Event 42\n{07}",
              Coloured());
}

TEST_F(EventRendering, EveryWinlogonNotificationHasItsName)
{
    options.winlogon = 1;
    const wchar_t* names[] = {L"CreateSession",  L"TerminateSession", L"Logon",         L"Logoff",     L"Lock",
                              L"Unlock",         L"StopSSAsUser",     L"StartSSAsUser", L"Disconnect", L"Reconnect",
                              L"StartSSAsNoone", L"StopSSAsNoone",    L"StartShell",    L"EndShell"};
    std::wstring expected;
    for (uint32_t number = 0; number < 14; ++number) {
        Render(Testing::WinlogonEvent(811, L"S", number).Build().record);
        expected += Header(L"{0A}", L"Winlogon(1000:2000)") +
                    L"Information {08}Winlogon started subscriber S processing " + names[number] + L"\n{07}";
    }
    EXPECT_EQ(expected, Coloured());
}

TEST_F(EventRendering, KernelProcessEventsNeedAProcess)
{
    Render(Testing::KernelProcessEvent(1).Build().record);
    EXPECT_EQ(L"", Coloured());
    options.process = 0xFFFFFFFF;
    Testing::KernelFields other;
    other.processId = 99;
    other.imageName = L"C:\\other.exe";
    other.exitCode = 259;
    Render(Testing::KernelProcessEvent(1).Build().record);
    Render(Testing::KernelProcessEvent(2, other).Build().record);
    Render(Testing::KernelProcessEvent(3).Build().record); // threads not asked for
    Render(Testing::KernelProcessEvent(5).Build().record); // images not asked for
    Render(Testing::KernelProcessEvent(7).Build().record);
    const std::wstring kernel = L"Kernel(1000:2000)";
    EXPECT_EQ(
        Header(L"{0D}", kernel) +
            L"Information {08}Process started C:\\Windows\\notepad.exe with pid 1234 by parent 4 in session 1\n{07}" +
            Header(L"{0D}", kernel) + L"Information {08}Process stopped C:\\other.exe with pid 99 exit code 259\n{07}",
        Coloured());
}

TEST_F(EventRendering, KernelProcessEventsOfOneProcessWithThreadsAndImages)
{
    options.process = 1234;
    options.threads = 1;
    options.images = 1;
    Testing::KernelFields other;
    other.processId = 99;
    for (USHORT id = 1; id <= 6; ++id) {
        Render(Testing::KernelProcessEvent(id).Build().record);
        Render(Testing::KernelProcessEvent(id, other).Build().record);
    }
    const std::wstring header = Header(L"{0D}", L"Kernel(1000:2000)") + L"Information {08}";
    EXPECT_EQ(header + L"Process started C:\\Windows\\notepad.exe with pid 1234 by parent 4 in session 1\n{07}" +
                  header + L"Process stopped C:\\Windows\\notepad.exe with pid 1234 exit code 0\n{07}" + header +
                  L"Thread started 5678 in pid 1234\n{07}" + header + L"Thread stopped 5678 in pid 1234\n{07}" +
                  header + L"Image loaded C:\\Windows\\notepad.exe in pid 1234\n{07}" + header +
                  L"Image unloaded C:\\Windows\\notepad.exe in pid 1234\n{07}",
              Coloured());
}

TEST_F(EventRendering, KernelProcessEventsHaveNoLevelFilterAndUnreadableNumbersShowAsZero)
{
    options.level = 2;
    options.process = 0xFFFFFFFF;
    options.threads = 1;
    // A thread start that ends after the process id: no thread id to read.
    Render(Testing::EventRecordBuilder(Session::KernelProcessProviderGuid, 3, 0, 4).UInt32(1234).Build().record);
    EXPECT_EQ(Header(L"{0D}", L"Kernel(1000:2000)") + L"Information {08}Thread started 0 in pid 1234\n{07}",
              Coloured());
}

TEST_F(EventRendering, TheBufferStartsAtTwoKilobytes)
{
    EXPECT_EQ(2048u, Viewer::EventInformationBufferSize());
    Render(Testing::OperationalEvent(1, 2012).Build().record);
    EXPECT_EQ(2048u, Viewer::EventInformationBufferSize());
    EXPECT_EQ(0u, tdh.InsufficientBufferAnswers());
}

TEST_F(EventRendering, EventInformationBufferGrowsOnceAndIsReused)
{
    // A later revision of the provider with a template far beyond 2048 bytes of names.
    std::string data;
    for (int index = 0; index < 60; ++index) {
        data += "<data name=\"ProcessName" +
                std::string(index == 0 ? "" : "Padding_Property_Name_" + std::to_string(index)) +
                "\" inType=\"win:UnicodeString\"/>";
    }
    tdh.AddManifest("<instrumentationManifest><instrumentation><events><provider name=\"Kestrova-Diagnostics\" "
                    "guid=\"{6E2B9C41-7A3D-4F15-8C62-3D9A1B7E5F04}\"><templates><template tid=\"T\">" +
                    data +
                    "</template></templates><events><event value=\"2004\" version=\"9\" level=\"win:Informational\" "
                    "template=\"T\"/></events></provider></events></instrumentation></instrumentationManifest>");
    auto big = Testing::DebugTraceEvent(2004, L"svc", L"x");
    const Testing::RecordedEvent event = big.Build();
    EVENT_RECORD record = event.record;
    record.EventHeader.EventDescriptor.Version = 9;
    ASSERT_GT(tdh.EventInformationSize(record), 2048u);
    Render(record);
    Render(record);
    Render(Testing::OperationalEvent(1, 2012).Build().record);
    Render(record);
    // Four renderings, one of them asked twice: the buffer grew once and was kept.
    EXPECT_EQ(5u, tdh.EventInformationCalls());
    EXPECT_EQ(1u, tdh.InsufficientBufferAnswers());
    // Exactly the size TDH asked for, kept for the smaller event that followed.
    EXPECT_EQ(tdh.EventInformationSize(record), Viewer::EventInformationBufferSize());
    const std::wstring bigLine = Header(L"{0F}", L"svc(1000:2000)") + L"Information {08}\n{07}";
    EXPECT_EQ(bigLine + bigLine + Header(L"{0F}") + L"Information {08}Name : Message Args\n{07}" + bigLine, Coloured());
}

} // namespace
