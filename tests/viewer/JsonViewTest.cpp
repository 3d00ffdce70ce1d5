// The JSON view (/format:json): the exact object of each kind of event, through the TDH
// emulator (Windows' contract) and through the built-in reader and decoder alike; the text
// view's filters without /all and every record with it; the window of time; no colour.

#include "tests/viewer/RecordedLog.h"
#include "tests/viewer/ViewerEvents.h"
#include "tests/viewer/ViewerFixture.h"
#include "viewer/LogReader.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace {

using Testing::RecordedEvent;

constexpr LONGLONG firstStamp = 133542759010420000LL; // 2024-03-07 09:05:01.042 UTC
constexpr LONGLONG oneMillisecond = 10000;

const std::wstring productProvider =
    LR"("provider":{"name":"Kestrova-Diagnostics","guid":"{6E2B9C41-7A3D-4F15-8C62-3D9A1B7E5F04}"})";

class JsonView : public Testing::ViewerTest {
protected:
    JsonView()
    {
        options.format = Viewer::FormatJson;
        options.level = 18;
        path = (temp.Path() / L"written.etl").wstring();
    }

    void SetUp() override { LoadManifest(); }

    std::vector<std::wstring> Lines() const
    {
        std::vector<std::wstring> lines;
        const std::wstring out = capture.WideOut();
        size_t start = 0;
        for (size_t end = out.find(L'\n'); end != std::wstring::npos; end = out.find(L'\n', start)) {
            lines.push_back(out.substr(start, end - start));
            start = end + 1;
        }
        EXPECT_EQ(out.size(), start) << "output ends with a line break";
        return lines;
    }

    // VIEW of the records written into a real log, read by the built-in reader.
    std::wstring ViewBuiltin(const std::vector<RecordedEvent>& events)
    {
        Testing::WriteRecordedLog(path, events);
        options.reader = Viewer::ReaderBuiltin;
        capture.Clear();
        EXPECT_EQ(0u, Viewer::ViewLogFile(path, options));
        return capture.WideOut();
    }

    std::wstring path;
};

std::vector<RecordedEvent> Stamped(std::vector<Testing::EventRecordBuilder> builders)
{
    std::vector<RecordedEvent> events;
    for (size_t index = 0; index < builders.size(); ++index) {
        builders[index].Timestamp(firstStamp + static_cast<LONGLONG>(index) * oneMillisecond + 1234);
        builders[index].Process(1000 + static_cast<ULONG>(index), 2000 + static_cast<ULONG>(index));
        events.push_back(builders[index].Build());
    }
    return events;
}

// Every kind of record: both operational versions, a Trace and a Method event, a stack with a
// terminal session, an image event, Winlogon, Kernel-Process and a provider nobody describes.
std::vector<RecordedEvent> EveryKind()
{
    std::vector<Testing::EventRecordBuilder> builders;
    Testing::OperationalFields fields;
    fields.message = L"caf\u00E9 \"quoted\"\n";
    builders.push_back(Testing::OperationalEvent(1, 2012, fields));
    builders.push_back(Testing::OperationalEvent(2, 2014, fields).SessionId(3).StackTrace64(1, {0x1000, 0x2000}));
    builders.push_back(Testing::DebugTraceEvent(2000, L"svc", L"debug text"));
    builders.push_back(Testing::DebugTraceEvent(2002, L"svc", L"(x, y)"));
    Testing::ImageFields image;
    image.debug = "AAAA";
    builders.push_back(Testing::ImageEvent(image));
    builders.push_back(Testing::WinlogonEvent(811, L"Sens", 2));
    builders.push_back(Testing::KernelProcessEvent(1));
    const GUID other = {0x01020304, 0x0506, 0x0708, {1, 2, 3, 4, 5, 6, 7, 8}};
    builders.push_back(Testing::EventRecordBuilder(other, 7, 0, 4).UInt32(0x04030201));
    return Stamped(builders);
}

} // namespace

TEST_F(JsonView, OperationalEventIsOneObjectWithTypedHeaderAndProperties)
{
    Render(Testing::OperationalEvent(1, 2012).Timestamp(firstStamp + 1234).Build().record);
    EXPECT_EQ(L"{\"time\":\"2024-03-07T09:05:01.0421234Z\"," + productProvider +
                  L",\"id\":2012,\"version\":1,\"level\":{\"value\":4,\"name\":\"Information\"},\"task\":3,"
                  L"\"opcode\":13,\"keywords\":\"0x0000000000000000\",\"pid\":1000,\"tid\":2000,\"cpu\":0,"
                  L"\"properties\":{\"ProcessName\":\"app\",\"Name\":\"Name\",\"Message\":\"Message\","
                  L"\"Arguments\":\"Args\",\"Stack\":\"Stack\"},\"message\":\"Name\"}\n",
              capture.WideOut());
    EXPECT_TRUE(console.Changes().empty());
}

TEST_F(JsonView, EveryKindReadsTheSameThroughTheSystemsAndTheBuiltinDecoder)
{
    const std::wstring emulated = (temp.Path() / L"emulated.etl").wstring();
    consumer.AddLogFile(emulated, EveryKind());
    options.reader = Viewer::ReaderSystem;
    options.winlogon = 1;
    options.process = 0xFFFFFFFF;
    capture.Clear();
    ASSERT_EQ(0u, Viewer::ViewLogFile(emulated, options));
    const std::wstring system = capture.WideOut();
    const std::wstring builtin = ViewBuiltin(EveryKind());
    // The built-in decoder knows the message of Kernel-Process's events, which the emulator
    // leaves out; everything before it is the same.
    EXPECT_EQ(system.substr(0, system.size() - 2), builtin.substr(0, system.size() - 2));
    EXPECT_EQ(L",\"message\":\"Process 1234 started at time 2024-03-07T09:05:01.0420000Z by parent 4 running in "
              L"session 1 with name C:\\\\Windows\\\\notepad.exe.\"}\n",
              builtin.substr(system.size() - 2));
    // The image event and the unknown provider are not shown without /all.
    EXPECT_EQ(6, std::count(builtin.begin(), builtin.end(), L'\n'));
}

TEST_F(JsonView, LinesOfEachKind)
{
    options.winlogon = 1;
    options.process = 0xFFFFFFFF;
    ViewBuiltin(EveryKind());
    const std::vector<std::wstring> lines = Lines();
    ASSERT_EQ(6u, lines.size());
    EXPECT_EQ(
        L"{\"time\":\"2024-03-07T09:05:01.0421234Z\"," + productProvider +
            L",\"id\":2012,\"version\":1,\"level\":{\"value\":4,\"name\":\"Information\"},\"task\":3,"
            L"\"opcode\":13,\"keywords\":\"0x0000000000000000\",\"pid\":1000,\"tid\":2000,\"cpu\":0,"
            L"\"properties\":{\"ProcessName\":\"app\",\"Name\":\"Name\",\"Message\":\"caf\u00E9 \\\"quoted\\\"\\n\","
            L"\"Arguments\":\"Args\",\"Stack\":\"Stack\"},\"message\":\"Name\"}",
        lines[0]);
    EXPECT_EQ(L"{\"time\":\"2024-03-07T09:05:01.0431234Z\"," + productProvider +
                  L",\"id\":2014,\"version\":2,\"level\":{\"value\":2,\"name\":\"Error\"},\"task\":3,"
                  L"\"opcode\":15,\"keywords\":\"0x0000000000000000\",\"pid\":1001,\"tid\":2001,\"cpu\":0,"
                  L"\"session\":3,\"properties\":{\"ProcessName\":\"app\",\"Name\":\"Name\","
                  L"\"Message\":\"caf\u00E9 \\\"quoted\\\"\\n\",\"Arguments\":\"Args\",\"Stack\":\"Stack\"},"
                  L"\"message\":\"Name\",\"stack\":[{\"address\":\"0x1000\"},{\"address\":\"0x2000\"}]}",
              lines[1]);
    EXPECT_NE(std::wstring::npos, lines[2].find(L"\"properties\":{\"ProcessName\":\"svc\",\"Message\":\"debug text\"},"
                                                L"\"message\":\"debug:debug text\"}"));
    EXPECT_NE(std::wstring::npos, lines[3].find(L"\"properties\":{\"ProcessName\":\"svc\",\"Arguments\":\"(x, y)\"},"
                                                L"\"message\":\"enter:(x, y)\"}"));
    EXPECT_NE(std::wstring::npos, lines[4].find(L"\"provider\":{\"name\":\"Microsoft-Windows-Winlogon\","
                                                L"\"guid\":\"{DBE9B383-7CF3-4331-91CC-A3CB16A3B538}\"},\"id\":811,"));
    EXPECT_NE(std::wstring::npos, lines[4].find(L"\"SubscriberName\":\"Sens\""));
    EXPECT_NE(std::wstring::npos, lines[5].find(L"\"guid\":\"{22FB2CD6-0E7B-422B-A0C7-2FAD1FD0E716}\"},\"id\":1,"));
    EXPECT_NE(std::wstring::npos, lines[5].find(L"\"ProcessID\":1234,"));
    EXPECT_NE(std::wstring::npos, lines[5].find(L"\"ImageName\":\"C:\\\\Windows\\\\notepad.exe\""));
}

TEST_F(JsonView, AllShowsEveryRecordAndUndescribedOnesAsBase64)
{
    options.all = 1;
    options.level = 2; // /all shows every level
    ViewBuiltin(EveryKind());
    const std::vector<std::wstring> lines = Lines();
    // The header buffer's two EventTrace records first (the log file header and the one the
    // writer lays out after it, as Windows does), then all eight records.
    ASSERT_EQ(10u, lines.size());
    for (size_t index = 0; index < 2; ++index) {
        EXPECT_EQ(0u, lines[index].find(L"{\"time\":\"2024-03-07T09:05:01.0421234Z\",\"provider\":{\"guid\":"
                                        L"\"{68FDD900-4A3E-11D1-84F4-0000F80464E3}\"}"))
            << lines[index];
    }
    EXPECT_NE(std::wstring::npos, lines[6].find(L"\"id\":2020,"));
    EXPECT_NE(std::wstring::npos, lines[6].find(L"\"base\":\"0x180000000\",\"size\":65536,"));
    EXPECT_NE(std::wstring::npos, lines[6].find(L"\"machine\":34404}"));
    EXPECT_EQ(L"{\"time\":\"2024-03-07T09:05:01.0491234Z\",\"provider\":{\"guid\":"
              L"\"{01020304-0506-0708-0102-030405060708}\"},\"id\":7,\"version\":0,\"level\":{\"value\":4},"
              L"\"task\":0,\"opcode\":0,\"keywords\":\"0x0000000000000000\",\"pid\":1007,\"tid\":2007,\"cpu\":0,"
              L"\"decoded\":false,\"data\":\"AQIDBA==\"}",
              lines[9]);
}

TEST_F(JsonView, FromAndToKeepTheEventsInsideBothEndsIncluded)
{
    options.winlogon = 1;
    options.process = 0xFFFFFFFF;
    options.from = firstStamp + oneMillisecond + 1234;
    options.to = firstStamp + 3 * oneMillisecond + 1234;
    ViewBuiltin(EveryKind());
    const std::vector<std::wstring> lines = Lines();
    ASSERT_EQ(3u, lines.size());
    EXPECT_EQ(0u, lines[0].find(L"{\"time\":\"2024-03-07T09:05:01.0431234Z\""));
    EXPECT_EQ(0u, lines[1].find(L"{\"time\":\"2024-03-07T09:05:01.0441234Z\""));
    EXPECT_EQ(0u, lines[2].find(L"{\"time\":\"2024-03-07T09:05:01.0451234Z\""));
}

TEST_F(JsonView, TheWindowAppliesToTheTextViewToo)
{
    options.format = Viewer::FormatText;
    options.from = firstStamp + 2 * oneMillisecond;
    options.to = firstStamp + 3 * oneMillisecond + 1234;
    const std::wstring text = ViewBuiltin(EveryKind());
    EXPECT_EQ(2, std::count(text.begin(), text.end(), L'\n'));
    EXPECT_NE(std::wstring::npos, text.find(L"debug text"));
    EXPECT_NE(std::wstring::npos, text.find(L"(x, y)"));
}

TEST_F(JsonView, TheReaderStopsPastTo)
{
    // Enough records for several buffers; the last buffer's bytes are then made nonsense.
    std::vector<Testing::EventRecordBuilder> builders;
    for (int index = 0; index < 200; ++index) {
        builders.push_back(Testing::DebugTraceEvent(2004, L"svc", std::wstring(100, L'x')));
    }
    Testing::RecordedLogOptions layout;
    layout.bufferSize = 4096;
    Testing::WriteRecordedLog(path, Stamped(builders), layout);
    {
        std::fstream file(std::filesystem::path(path), std::ios::in | std::ios::out | std::ios::binary);
        // The first record's header of each of the last three buffers, right after the 72
        // bytes of the buffer's own header.
        for (int buffer = 1; buffer <= 3; ++buffer) {
            file.seekp(-4096 * buffer + 72, std::ios::end);
            const std::string nonsense(64, '\x7F'); // not the 0xFF that ends a buffer's records
            file.write(nonsense.data(), static_cast<std::streamsize>(nonsense.size()));
        }
    }
    options.reader = Viewer::ReaderBuiltin;
    EXPECT_EQ(static_cast<uint32_t>(ERROR_FILE_CORRUPT), Viewer::ViewLogFile(path, options));
    options.to = firstStamp + 10 * oneMillisecond;
    capture.Clear();
    EXPECT_EQ(0u, Viewer::ViewLogFile(path, options));
    EXPECT_EQ(10u, Lines().size());
}
