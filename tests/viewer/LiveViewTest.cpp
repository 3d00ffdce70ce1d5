#include "base/Exception.h"
#include "platform/EtwApi.h"
#include "platform/RpcApi.h"
#include "tests/emulator/ControllerEmulator.h"
#include "tests/support/ScopedApi.h"
#include "tests/viewer/ViewerEvents.h"
#include "tests/viewer/ViewerFixture.h"
#include "trace/EtwWriter.h"
#include "viewer/LiveSessionProperties.h"
#include "viewer/LogReader.h"

#include <gtest/gtest.h>

#include <cstring>
#include <deque>
#include <optional>

namespace {

// The product's provider writing into whatever real-time session has it enabled: events
// reach the consumer only at or below the enabled level, with the terminal-session id
// and a stack when the session asked for them. When the events run out, the feed ends
// the session the way a user would: Ctrl+C through the registered handler, or a STOP
// from another process.
class LiveFeed {
public:
    enum class Ending { CtrlC, ExternalStop };

    LiveFeed(Testing::ControllerEmulator& controller, Testing::ConsumerEmulator& consumer,
             Testing::ConsoleEmulator& console)
        : controller(controller), console(console)
    {
        consumer.SetRealTimeSource(
            Testing::ConsumerEmulator::RealTimeSource{[this](const std::wstring& name) { return IsRunning(name); },
                                                      [this](const std::wstring& name) { return Next(name); }});
    }

    void Write(Testing::EventRecordBuilder event) { pending.push_back(std::move(event)); }
    void EndWith(Ending how) { ending = how; }

private:
    bool IsRunning(const std::wstring& name) const
    {
        const auto session = controller.FindSession(name);
        return session && (session->settings.LogFileMode & EVENT_TRACE_REAL_TIME_MODE) != 0;
    }

    const EVENT_RECORD* Next(const std::wstring& name)
    {
        while (!pending.empty()) {
            Testing::EventRecordBuilder event = std::move(pending.front());
            pending.pop_front();
            const auto session = controller.FindSession(name);
            if (!session) {
                return nullptr;
            }
            const Testing::RecordedEvent probe = event.Build();
            const Testing::EnabledProvider* provider = session->Provider(probe.record.EventHeader.ProviderId);
            if (provider == nullptr || probe.record.EventHeader.EventDescriptor.Level > provider->level) {
                continue;
            }
            if ((provider->enableProperty & EVENT_ENABLE_PROPERTY_TS_ID) != 0) {
                event.SessionId(1);
            }
            if ((provider->enableProperty & EVENT_ENABLE_PROPERTY_STACK_TRACE) != 0) {
                event.StackTrace64(7, {0x1000});
            }
            delivered = event.Build();
            return &delivered.record;
        }
        End(name);
        return nullptr;
    }

    void End(const std::wstring& name)
    {
        if (ending == Ending::CtrlC) {
            for (const auto& registration : console.Handlers()) {
                if (registration.add) {
                    registration.handler(CTRL_C_EVENT);
                }
            }
            return;
        }
        Session::SessionProperties properties = Viewer::BuildLiveSessionProperties();
        Platform::Etw().ControlTraceW(0, name.c_str(), properties.Get(), EVENT_TRACE_CONTROL_STOP);
    }

    Testing::ControllerEmulator& controller;
    Testing::ConsoleEmulator& console;
    std::deque<Testing::EventRecordBuilder> pending;
    Testing::RecordedEvent delivered;
    Ending ending = Ending::ExternalStop;
};

// Wnode.Guid of the block a call was given.
std::string SessionGuid(const Testing::ControllerCall& call)
{
    return std::string(reinterpret_cast<const char*>(call.properties.data()) + offsetof(WNODE_HEADER, Guid),
                       sizeof(GUID));
}

class LiveView : public Testing::ViewerTest {
protected:
    LiveView() : feed(controller, consumer, console) {}

    std::vector<std::string> Calls() const { return Testing::DescribeCalls(controller.Calls()); }

    Testing::ControllerEmulator controller;
    LiveFeed feed;
};

const std::string productGuid = "{6e2b9c41-7a3d-4f15-8c62-3d9a1b7e5f04}";

TEST_F(LiveView, ShowsEventsUntilTheSessionIsStoppedFromOutside)
{
    options.level = 4;
    feed.Write(Testing::OperationalEvent(2, 2012));
    feed.Write(Testing::OperationalEvent(2, 2011)); // verbose: not enabled at INFO
    Viewer::RunLiveView(options);
    EXPECT_EQ(L"{0F}" + DefaultTimestamp() + L" app(1:1000:2000) Information {08}Name : Message Args\n{07}",
              Coloured());
    EXPECT_EQ((std::vector<std::string>{
                  "ControlTrace stop \"Kestrova Diagnostics Live Trace\" handle=0 -> 4201",
                  "StartTrace \"Kestrova Diagnostics Live Trace\" -> 0",
                  "EnableTrace " + productGuid + " enable level 4 any 0x0 all 0x0 timeout 0 property 2 handle=H -> 0",
                  "ControlTrace stop \"Kestrova Diagnostics Live Trace\" handle=0 -> 0",
                  "ControlTrace stop handle=H -> 4201",
              }),
              Calls());
    // Version 2 parameters that ask for the terminal-session id and nothing else.
    const std::optional<ENABLE_TRACE_PARAMETERS>& parameters = controller.Calls()[2].parameters;
    ASSERT_TRUE(parameters.has_value());
    EXPECT_EQ(static_cast<ULONG>(ENABLE_TRACE_PARAMETERS_VERSION_2), parameters->Version);
    EXPECT_EQ(static_cast<ULONG>(EVENT_ENABLE_PROPERTY_TS_ID), parameters->EnableProperty);
    EXPECT_EQ(0u, parameters->ControlFlags);
    EXPECT_EQ(GUID{}, parameters->SourceId);
    EXPECT_EQ(nullptr, parameters->EnableFilterDesc);
    EXPECT_EQ(0u, parameters->FilterDescCount);
    ASSERT_EQ(1u, consumer.Opens().size());
    EXPECT_EQ(L"Kestrova Diagnostics Live Trace", consumer.Opens()[0].loggerName);
    EXPECT_EQ(L"", consumer.Opens()[0].logFileName);
    EXPECT_EQ(static_cast<ULONG>(PROCESS_TRACE_MODE_EVENT_RECORD | PROCESS_TRACE_MODE_REAL_TIME),
              consumer.Opens()[0].processTraceMode);
    EXPECT_EQ(&options, consumer.Opens()[0].context);
    EXPECT_EQ(std::vector<std::wstring>{L"Kestrova Live Console"}, console.Titles());
    ASSERT_EQ(1u, console.Handlers().size());
    EXPECT_EQ(&Viewer::LiveConsoleCtrlHandler, console.Handlers()[0].handler);
    EXPECT_EQ(TRUE, console.Handlers()[0].add);
    EXPECT_EQ(1u, tdh.ManifestLoads().size());
    const auto lines = TraceLines();
    EXPECT_EQ("  ENTER : RunLiveView", lines.front());
    EXPECT_EQ("  ERROR : Failed to stop the trace session with error [4201]", lines[lines.size() - 2]);
    EXPECT_EQ("   EXIT : RunLiveView", lines.back());
}

TEST_F(LiveView, TheStartedBlockIsRealTimeWithTheShortNameCopy)
{
    Viewer::RunLiveView(options);
    const auto calls = controller.Calls();
    ASSERT_LE(2u, calls.size());
    const std::vector<uint8_t>& block = calls[1].properties;
    ASSERT_EQ(2688u, block.size());
    EVENT_TRACE_PROPERTIES properties{};
    std::memcpy(&properties, block.data(), sizeof(properties));
    EXPECT_EQ(2688u, properties.Wnode.BufferSize);
    EXPECT_EQ(1u, properties.Wnode.ClientContext);
    EXPECT_EQ(static_cast<ULONG>(WNODE_FLAG_TRACED_GUID), properties.Wnode.Flags);
    EXPECT_EQ(static_cast<ULONG>(EVENT_TRACE_REAL_TIME_MODE), properties.LogFileMode);
    EXPECT_EQ(1u, properties.EnableFlags);
    EXPECT_EQ(120u, properties.LoggerNameOffset);
    EXPECT_EQ(2168u, properties.LogFileNameOffset);
    EXPECT_EQ(L"Kestrova Diagnostics Live Trac", std::wstring(reinterpret_cast<const wchar_t*>(block.data() + 120)));
    EXPECT_EQ(0, block[2168] | block[2169]);
    // A fresh GUID for every block.
    EXPECT_NE(0, std::memcmp(&properties.Wnode.Guid, calls[0].properties.data() + offsetof(WNODE_HEADER, Guid),
                             sizeof(GUID)));
    EXPECT_EQ(calls[1].name, L"Kestrova Diagnostics Live Trace");
}

TEST_F(LiveView, CtrlCClosesTheConsumerAndStopsTheSession)
{
    options.level = 5;
    options.callstack = 1;
    feed.Write(Testing::OperationalEvent(1, 2011));
    feed.EndWith(LiveFeed::Ending::CtrlC);
    Viewer::RunLiveView(options);
    const auto calls = Calls();
    ASSERT_EQ(5u, calls.size());
    EXPECT_EQ("EnableTrace " + productGuid + " enable level 5 any 0x0 all 0x0 timeout 0 property 6 handle=H -> 0",
              calls[2]);
    EXPECT_EQ("ControlTrace stop handle=H -> 0", calls[3]);
    EXPECT_EQ("ControlTrace stop handle=H -> 4201", calls[4]);
    // The handler stops the session it was given with a block of its own, fresh GUID
    // and all; the command's own stop afterwards uses the block it started with.
    const auto& raw = controller.Calls();
    EXPECT_EQ(raw[1].handle, raw[3].handle);
    EXPECT_NE(SessionGuid(raw[1]), SessionGuid(raw[3]));
    EXPECT_NE(SessionGuid(raw[0]), SessionGuid(raw[3]));
    EXPECT_EQ(SessionGuid(raw[1]), SessionGuid(raw[4]));
    EXPECT_EQ(2u, consumer.Closes().size());
    const auto lines = TraceLines();
    auto has = [&lines](const std::string& line) { return std::find(lines.begin(), lines.end(), line) != lines.end(); };
    EXPECT_TRUE(has("  ENTER : LiveConsoleCtrlHandler"));
    // Closing a real-time consumer while ProcessTrace runs answers "close pending".
    EXPECT_TRUE(has("  ERROR : Attempt to stop the trace failed with error [7007]"));
    EXPECT_TRUE(has("   EXIT : LiveConsoleCtrlHandler"));
    EXPECT_TRUE(has("  ERROR : Failed to stop the trace with error [6]"));
    EXPECT_TRUE(has("  ERROR : Failed to stop the trace session with error [4201]"));
    EXPECT_NE(std::wstring::npos, Coloured().find(L"{07}" + DefaultTimestamp() + L" app(1:1000:2000) Verbose {08}"));
}

TEST_F(LiveView, TheHandlerAnswersFalseForEveryControlType)
{
    for (DWORD type : {CTRL_C_EVENT, CTRL_BREAK_EVENT, CTRL_CLOSE_EVENT, CTRL_LOGOFF_EVENT, CTRL_SHUTDOWN_EVENT}) {
        capture.Clear();
        EXPECT_EQ(FALSE, Viewer::LiveConsoleCtrlHandler(type));
        // Before any LIVE there is no consumer to close (an invalid handle) and no session
        // handle to stop (0); both failures are traced with the platform's codes and the
        // handler carries on.
        EXPECT_EQ((std::vector<std::string>{"  ENTER : LiveConsoleCtrlHandler",
                                            "  ERROR : Attempt to stop the trace failed with error [6]",
                                            "  ERROR : Attempt to stop the trace session failed with error [87]",
                                            "   EXIT : LiveConsoleCtrlHandler"}),
                  TraceLines());
    }
    EXPECT_EQ(std::vector<std::string>(5, "ControlTrace stop handle=0 -> 87"), Calls());
    EXPECT_EQ(std::vector<TRACEHANDLE>(5, INVALID_PROCESSTRACE_HANDLE), consumer.Closes());
}

TEST_F(LiveView, RunsTwiceInARow)
{
    feed.Write(Testing::OperationalEvent(1, 2012));
    Viewer::RunLiveView(options);
    // A session left behind by a run that was killed.
    Session::SessionProperties leftover = Viewer::BuildLiveSessionProperties();
    TRACEHANDLE handle = 0;
    ASSERT_EQ(0u, Platform::Etw().StartTraceW(&handle, Viewer::LiveSessionName, leftover.Get()));
    controller.ClearCalls();
    feed.Write(Testing::OperationalEvent(1, 2013));
    Viewer::RunLiveView(options);
    const auto calls = Calls();
    ASSERT_LE(3u, calls.size());
    EXPECT_EQ("ControlTrace stop \"Kestrova Diagnostics Live Trace\" handle=0 -> 0", calls[0]);
    EXPECT_EQ("StartTrace \"Kestrova Diagnostics Live Trace\" -> 0", calls[1]);
    const std::wstring text = capture.WideOut();
    EXPECT_NE(std::wstring::npos, text.find(L"Information Name : Message Args\n"));
    EXPECT_NE(std::wstring::npos, text.find(L"Warning Name : Message Args\n"));
}

TEST_F(LiveView, LevelTwoEnablesOnlyErrorsAndCriticalEvents)
{
    options.level = 2;
    feed.Write(Testing::OperationalEvent(1, 2013));
    feed.Write(Testing::OperationalEvent(1, 2014));
    feed.Write(Testing::FaultEvent(L"app", "TWFu"));
    Viewer::RunLiveView(options);
    EXPECT_EQ("EnableTrace " + productGuid + " enable level 2 any 0x0 all 0x0 timeout 0 property 2 handle=H -> 0",
              Calls().at(2));
    const std::wstring text = Coloured();
    EXPECT_EQ(std::wstring::npos, text.find(L"Warning"));
    EXPECT_NE(std::wstring::npos, text.find(L"{0C}" + DefaultTimestamp() + L" app(1:1000:2000) Error {08}"));
    EXPECT_NE(std::wstring::npos, text.find(L"{0C}" + DefaultTimestamp() + L" app(1:1000:2000) Critical {08}Fault. "));
}

TEST_F(LiveView, StartFailureIsTracedAndNothingElseHappens)
{
    controller.FailCall(Testing::ControllerCallKind::StartTrace, 1, ERROR_ACCESS_DENIED);
    Viewer::RunLiveView(options);
    EXPECT_EQ(2u, Calls().size());
    EXPECT_TRUE(consumer.Opens().empty());
    // The manifest comes first, whatever becomes of the session.
    EXPECT_EQ(1u, tdh.ManifestLoads().size());
    EXPECT_EQ("  ERROR : Failed to start trace with error [5]", TraceLines().back());
}

RPC_STATUS RPC_ENTRY NoGuid(UUID*)
{
    return RPC_S_OUT_OF_MEMORY;
}

TEST_F(LiveView, BlockWithoutAGuidIsTracedAndStartsNothing)
{
    Testing::ScopedApi<Platform::RpcApi> rpc(Platform::Rpc());
    rpc->UuidCreate = NoGuid;
    Viewer::RunLiveView(options);
    EXPECT_TRUE(Calls().empty());
    EXPECT_TRUE(consumer.Opens().empty());
    EXPECT_EQ("  ERROR : Failed to run the live session error [" + Base::Win32ErrorText(RPC_S_OUT_OF_MEMORY) + "]",
              TraceLines().back());
}

TEST_F(LiveView, EnableFailureStopsTheSessionByName)
{
    controller.FailCall(Testing::ControllerCallKind::EnableTrace, 1, ERROR_NO_SYSTEM_RESOURCES);
    Viewer::RunLiveView(options);
    const auto calls = Calls();
    ASSERT_EQ(4u, calls.size());
    EXPECT_EQ("ControlTrace stop \"Kestrova Diagnostics Live Trace\" handle=0 -> 0", calls[3]);
    EXPECT_TRUE(consumer.Opens().empty());
    EXPECT_TRUE(controller.SessionNames().empty());
    const auto lines = TraceLines();
    EXPECT_EQ("  ERROR : Failed to enable trace with error [1450]", lines.back());
}

TEST_F(LiveView, OpenFailureGoesStraightToTheStop)
{
    consumer.FailOpenTrace(ERROR_ACCESS_DENIED);
    Viewer::RunLiveView(options);
    EXPECT_EQ("ControlTrace stop handle=H -> 0", Calls().back());
    EXPECT_TRUE(console.Handlers().empty());
    EXPECT_TRUE(console.Titles().empty());
    EXPECT_EQ(0u, consumer.ProcessCalls());
    EXPECT_EQ("   EXIT : RunLiveView", TraceLines().back());
}

TEST_F(LiveView, ProcessingFailureIsTracedAndTheSessionStopped)
{
    consumer.FailProcessTrace(ERROR_INVALID_PARAMETER);
    Viewer::RunLiveView(options);
    const auto lines = TraceLines();
    EXPECT_NE(lines.end(), std::find(lines.begin(), lines.end(), "  ERROR : Failed to process trace with error [87]"));
    EXPECT_EQ("ControlTrace stop handle=H -> 0", Calls().back());
    EXPECT_EQ(0u, consumer.OpenHandles());
}

} // namespace
