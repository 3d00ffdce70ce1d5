// VIEW through the built-in reader: the same output as the system's consumer for the same
// records, the choice of reader, the fallback when the system cannot open a file, and the
// report of a file whose bytes contradict the format.

#include "etl/FormatError.h"
#include "etl/LogReader.h"
#include "etl/MemorySource.h"
#include "session/SessionIdentity.h"
#include "tests/viewer/RecordedLog.h"
#include "tests/viewer/ViewerEvents.h"
#include "tests/viewer/ViewerFixture.h"
#include "viewer/LogReader.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

namespace {

using Testing::RecordedEvent;

constexpr LONGLONG firstStamp = 133542759010420000LL; // 2024-03-07 09:05:01.042 UTC
constexpr LONGLONG oneMillisecond = 10000;

// Every kind of record the text view prints, a millisecond apart: product events of both
// operational versions at every level and of the Debug channel, a 32-bit producer, one
// with a terminal-session item and a stack, an image event, Winlogon and Kernel-Process
// events of every id, and records the viewer ignores.
std::vector<RecordedEvent> EveryKind()
{
    std::vector<Testing::EventRecordBuilder> builders;
    for (UCHAR version = 1; version <= 2; ++version) {
        for (USHORT id = 2010; id <= 2014; ++id) {
            Testing::OperationalFields fields;
            fields.message = L"message " + std::to_wstring(id) + L" \u65e5\u672c";
            builders.push_back(Testing::OperationalEvent(version, id, fields));
        }
    }
    for (USHORT id = 2000; id <= 2006; ++id) {
        builders.push_back(Testing::DebugTraceEvent(id, L"svc", L"text " + std::to_wstring(id)));
    }
    builders.push_back(Testing::OperationalEvent(2, 2012).SessionId(3).StackTrace64(1, {0x1000, 0x2000}));
    Testing::ImageFields image;
    image.debug = "AAAA";
    builders.push_back(Testing::ImageEvent(image));
    Testing::OperationalFields narrow;
    narrow.message = L"from a 32-bit process";
    builders.push_back(Testing::OperationalEvent(2, 2013, narrow).PointerSize(4));
    builders.push_back(Testing::WinlogonEvent(811, L"Sens", 2));
    builders.push_back(Testing::WinlogonEvent(812, L"Profiles", 42));
    for (USHORT id = 1; id <= 6; ++id) {
        builders.push_back(Testing::KernelProcessEvent(id));
    }
    const GUID other = {0x01020304, 0x0506, 0x0708, {1, 2, 3, 4, 5, 6, 7, 8}};
    builders.push_back(Testing::EventRecordBuilder(other, 7, 0, 4).UInt32(1));
    std::vector<RecordedEvent> events;
    for (size_t index = 0; index < builders.size(); ++index) {
        builders[index].Timestamp(firstStamp + static_cast<LONGLONG>(index) * oneMillisecond);
        builders[index].Process(1000 + static_cast<ULONG>(index % 3), 2000 + static_cast<ULONG>(index));
        events.push_back(builders[index].Build());
    }
    return events;
}

std::string FileBytes(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

// The text of the error the library's reader gives for these bytes, read as VIEW reads.
std::string ReaderError(const std::string& bytes)
{
    try {
        Etl::LogReader reader(std::make_unique<Etl::MemorySource>(
            std::span(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size())));
        Etl::Event event;
        while (reader.Next(event)) {
        }
    } catch (const Etl::FormatError& error) {
        return error.what();
    }
    return {};
}

class BuiltinReader : public Testing::ViewerTest {
protected:
    BuiltinReader()
    {
        path = (temp.Path() / L"written.etl").wstring();
        options.level = 18;
        options.winlogon = 1;
        options.process = 0xFFFFFFFF;
        options.threads = 1;
        options.images = 1;
    }

    // The coloured output of VIEW of path with the options as they stand.
    std::wstring View(uint32_t expected = 0)
    {
        capture.Clear();
        console.ClearChanges();
        EXPECT_EQ(expected, Viewer::ViewLogFile(path, options));
        return Coloured();
    }

    std::wstring path;
};

} // namespace

TEST_F(BuiltinReader, RendersEveryKindAsTheSystemConsumerDoes)
{
    const std::vector<RecordedEvent> events = EveryKind();
    const std::wstring emulated = (temp.Path() / L"emulated.etl").wstring();
    consumer.AddLogFile(emulated, EveryKind());
    options.reader = Viewer::ReaderSystem;
    capture.Clear();
    ASSERT_EQ(0u, Viewer::ViewLogFile(emulated, options));
    const std::wstring system = Coloured();

    Testing::WriteRecordedLog(path, events);
    options.reader = Viewer::ReaderBuiltin;
    const std::wstring builtin = View();
    EXPECT_EQ(system, builtin);
    // Not two empty outputs: every product, Winlogon and Kernel-Process event but the image
    // event has its line, and the error events a second one for their stacks.
    EXPECT_EQ(10u + 2 + 7 + 1 + 1 + 2 + 6, static_cast<size_t>(std::count(builtin.begin(), builtin.end(), L'\n')));
    EXPECT_NE(std::wstring::npos, builtin.find(L"message 2012 \\u65E5\\u672C"));
    EXPECT_NE(std::wstring::npos, builtin.find(L"app(3:1002:2017)"));
    EXPECT_NE(std::wstring::npos, builtin.find(L"Winlogon finished subscriber Profiles processing Event 42"));
}

TEST_F(BuiltinReader, SeveralProcessorsAndCompressedBuffersReadTheSame)
{
    const std::vector<RecordedEvent> events = EveryKind();
    Testing::WriteRecordedLog(path, events);
    options.reader = Viewer::ReaderBuiltin;
    const std::wstring plain = View();
    Testing::RecordedLogOptions spread;
    spread.processors = 3;
    spread.bufferSize = 1024;
    Testing::WriteRecordedLog(path, events, spread);
    EXPECT_EQ(plain, View());
    spread.compressed = true;
    Testing::WriteRecordedLog(path, events, spread);
    EXPECT_EQ(plain, View());
}

TEST_F(BuiltinReader, AskedForItNeitherTheSystemConsumerNorItsTdhIsUsed)
{
    Testing::WriteRecordedLog(path, EveryKind());
    options.reader = Viewer::ReaderBuiltin;
    View();
    EXPECT_TRUE(consumer.Opens().empty());
    EXPECT_EQ(0u, consumer.ProcessCalls());
    EXPECT_TRUE(tdh.ManifestLoads().empty());
    EXPECT_EQ(0u, tdh.EventInformationCalls());
    const std::vector<std::string> lines = TraceLines();
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ("  ENTER : ViewLogFile", lines.front());
    EXPECT_EQ("   EXIT : ViewLogFile", lines.back());
    for (const std::string& line : lines) {
        EXPECT_EQ(std::string::npos, line.find("OpenTrace")) << line;
    }
}

TEST_F(BuiltinReader, FileTheSystemCannotOpenIsReadByTheBuiltinReader)
{
    Testing::WriteRecordedLog(path, EveryKind());
    options.reader = Viewer::ReaderBuiltin;
    const std::wstring builtin = View();
    // The emulated system takes the file for no log (ERROR_BAD_FORMAT), or cannot open it
    // at all, as Wine's consumer cannot (ERROR_ACCESS_DENIED).
    for (const auto& [injected, error] : {std::pair{0ul, 11ul}, std::pair{5ul, 5ul}}) {
        consumer.FailOpenTrace(injected);
        options.reader = Viewer::ReaderAutomatic;
        EXPECT_EQ(builtin, View());
        const std::vector<std::string> lines = TraceLines();
        ASSERT_GE(lines.size(), 3u);
        EXPECT_EQ("  ENTER : ViewLogFile", lines[0]);
        EXPECT_EQ("   INFO : OpenTrace with file [" + std::filesystem::path(path).string() + "] failed with error [" +
                      std::to_string(error) + "]; reading it with the built-in reader",
                  lines[1]);
        EXPECT_EQ("   EXIT : ViewLogFile", lines.back());
    }
}

TEST_F(BuiltinReader, SystemReaderAskedForNeverFallsBack)
{
    Testing::WriteRecordedLog(path, EveryKind());
    options.reader = Viewer::ReaderSystem;
    consumer.FailOpenTrace(ERROR_ACCESS_DENIED);
    EXPECT_EQ(L"Unexpected error when opening file \"" + path + L"\".\n", View(ERROR_ACCESS_DENIED));
    EXPECT_EQ(1u, consumer.Opens().size());
}

TEST_F(BuiltinReader, MissingFileIsStillUnableToFindWithTwo)
{
    options.reader = Viewer::ReaderAutomatic;
    EXPECT_EQ(L"Unable to find file \"" + path + L"\".\n", View(ERROR_FILE_NOT_FOUND));
    options.reader = Viewer::ReaderBuiltin;
    EXPECT_EQ(L"Unable to find file \"" + path + L"\".\n", View(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ((std::vector<std::string>{"  ENTER : ViewLogFile", "  ERROR : OpenTrace with file [" +
                                                                     std::filesystem::path(path).string() +
                                                                     "] failed with error [2]"}),
              TraceLines());
}

TEST_F(BuiltinReader, FileThatIsNoLogIsReportedWithTheReadersAccount)
{
    const std::string text = "This is a text file, not a log.\r\n";
    std::ofstream(std::filesystem::path(path), std::ios::binary) << text;
    const std::string account = ReaderError(text);
    ASSERT_FALSE(account.empty());
    options.reader = Viewer::ReaderBuiltin;
    EXPECT_EQ(std::wstring(account.begin(), account.end()) + L"\nUnexpected error when opening file \"" + path +
                  L"\".\n",
              View(ERROR_BAD_FORMAT));
    // The automatic choice falls back, and the built-in reader's answer is the one given.
    options.reader = Viewer::ReaderAutomatic;
    EXPECT_EQ(std::wstring(account.begin(), account.end()) + L"\nUnexpected error when opening file \"" + path +
                  L"\".\n",
              View(ERROR_BAD_FORMAT));
}

TEST_F(BuiltinReader, CorruptRecordEndsTheViewAfterTheRecordsBeforeIt)
{
    // Eight events of 4 KB-ish buffers: the first buffer behind the header holds the first
    // few; the record that begins the next buffer gets a size of 0.
    std::vector<RecordedEvent> events;
    for (int index = 0; index < 8; ++index) {
        Testing::OperationalFields fields;
        fields.message = std::wstring(300, static_cast<wchar_t>(L'a' + index));
        events.push_back(
            Testing::OperationalEvent(2, 2012, fields).Timestamp(firstStamp + index * oneMillisecond).Build());
    }
    Testing::RecordedLogOptions small;
    small.bufferSize = 1024;
    Testing::WriteRecordedLog(path, events, small);
    std::string bytes = FileBytes(path);
    const size_t corrupt = 2 * small.bufferSize + 0x48; // the first record of the second event buffer
    ASSERT_GT(bytes.size(), corrupt + 2);
    bytes[corrupt] = 0;
    bytes[corrupt + 1] = 0;
    std::ofstream(std::filesystem::path(path), std::ios::binary | std::ios::trunc) << bytes;
    const std::string account = ReaderError(bytes);
    ASSERT_FALSE(account.empty());

    options.reader = Viewer::ReaderBuiltin;
    const std::wstring output = View(ERROR_FILE_CORRUPT);
    const size_t lines = static_cast<size_t>(std::count(output.begin(), output.end(), L'\n'));
    const std::wstring tail = std::wstring(account.begin(), account.end()) +
                              L"\nUnexpected error whilst processing file \"" + path + L"\".\n";
    ASSERT_GE(output.size(), tail.size());
    EXPECT_EQ(tail, output.substr(output.size() - tail.size()));
    // Every event of the first buffer was shown before the failure, and none after it.
    EXPECT_GE(lines, 3u);
    EXPECT_LT(lines, 2u + events.size());
    EXPECT_NE(std::wstring::npos, output.find(std::wstring(300, L'a')));
    EXPECT_EQ(std::wstring::npos, output.find(std::wstring(300, L'h')));
}
