#include "base/Exception.h"
#include "tests/support/LastErrorClobber.h"
#include "tests/viewer/ViewerEvents.h"
#include "tests/viewer/ViewerFixture.h"
#include "trace/EtwWriter.h"
#include "viewer/LogReader.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>

namespace {

decltype(&::WriteFile) realWriteFile = nullptr;

class FaultMinidump : public Testing::ViewerTest {
protected:
    void SetUp() override
    {
        LoadManifest();
        realWriteFile = files->WriteFile;
    }

    std::wstring FaultHeader() const { return L"{0C}" + DefaultTimestamp() + L" app(1000:2000) Critical {08}Fault. "; }

    // The dump files in the temporary directory.
    std::vector<std::filesystem::path> Dumps() const { return temp.Files(); }
};

std::string FileBytes(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

// "MDMP" and a few bytes, base64: a dump's bytes as a component embeds them.
const char dumpText[] = "TURNUJOnAAAB/w==";
const std::string dumpBytes("MDMP\x93\xa7\x00\x00\x01\xff", 10);

TEST_F(FaultMinidump, WritesTheDecodedBytesAndSaysWhere)
{
    Render(Testing::FaultEvent(L"app", dumpText).Build().record);
    const auto dumps = Dumps();
    ASSERT_EQ(1u, dumps.size());
    EXPECT_TRUE(std::regex_match(
        dumps[0].wstring(), std::wregex(L"fault_[0-9a-f]{8}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{12}\\.dmp")));
    EXPECT_EQ(dumpBytes, FileBytes(temp.Path() / dumps[0]));
    // The outcome ends its own line and the event's line ends again: an empty line follows.
    EXPECT_EQ(FaultHeader() + L"Minidump written to " + TempPath() + dumps[0].wstring() + L"\n\n{07}", Coloured());
}

TEST_F(FaultMinidump, ShowingTheLogTwiceLeavesTwoFiles)
{
    const std::wstring log = L"C:\\logs\\faults.etl";
    std::vector<Testing::RecordedEvent> events;
    events.push_back(Testing::FaultEvent(L"app", dumpText).Build());
    consumer.AddLogFile(log, std::move(events));
    ASSERT_EQ(0u, Viewer::ViewLogFile(log, options));
    ASSERT_EQ(0u, Viewer::ViewLogFile(log, options));
    const auto dumps = Dumps();
    ASSERT_EQ(2u, dumps.size());
    EXPECT_NE(dumps[0], dumps[1]);
    EXPECT_EQ(dumpBytes, FileBytes(temp.Path() / dumps[0]));
    EXPECT_EQ(dumpBytes, FileBytes(temp.Path() / dumps[1]));
    const std::wstring text = capture.WideOut();
    EXPECT_NE(std::wstring::npos, text.find(L"Fault. Minidump written to " + TempPath() + dumps[0].wstring() + L"\n"));
    EXPECT_NE(std::wstring::npos, text.find(L"Fault. Minidump written to " + TempPath() + dumps[1].wstring() + L"\n"));
}

TEST_F(FaultMinidump, InvalidBase64IsOnlyTraced)
{
    Render(Testing::FaultEvent(L"app", "not*base64").Build().record);
    EXPECT_EQ(FaultHeader() + L"\n{07}", Coloured());
    EXPECT_TRUE(Dumps().empty());
    EXPECT_EQ((std::vector<std::string>{"  ERROR : Failed to save minidump error [Input is not valid base64-encoded "
                                        "data.]"}),
              TraceLines());
}

TEST_F(FaultMinidump, EmptyTextWritesAnEmptyDump)
{
    Render(Testing::FaultEvent(L"app", "").Build().record);
    const auto dumps = Dumps();
    ASSERT_EQ(1u, dumps.size());
    EXPECT_EQ("", FileBytes(temp.Path() / dumps[0]));
}

TEST_F(FaultMinidump, MissingTextReportsTheTdhError)
{
    Render(Testing::EventRecordBuilder(Trace::ProviderGuid, 2021, 1, 1).Task(1).Utf16(L"app").Build().record);
    EXPECT_EQ(FaultHeader() + L"Failed to locate minidump with error 15005\n\n{07}", Coloured());
}

HANDLE WINAPI NullCreate(LPCWSTR, DWORD, DWORD, LPSECURITY_ATTRIBUTES, DWORD, DWORD, HANDLE)
{
    ::SetLastError(ERROR_ACCESS_DENIED);
    return nullptr;
}

std::vector<std::tuple<DWORD, DWORD, DWORD, DWORD>> createArguments;

HANDLE WINAPI RecordingCreate(LPCWSTR path, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES security,
                              DWORD disposition, DWORD attributes, HANDLE templateFile)
{
    createArguments.emplace_back(access, share, disposition, attributes);
    return ::CreateFileW(path, access, share, security, disposition, attributes, templateFile);
}

TEST_F(FaultMinidump, FileIsCreatedForReadAndWriteWithoutSharing)
{
    createArguments.clear();
    files->CreateFileW = RecordingCreate;
    Render(Testing::FaultEvent(L"app", dumpText).Build().record);
    ASSERT_EQ(1u, createArguments.size());
    EXPECT_EQ(std::make_tuple(DWORD{0xC0000000}, DWORD{0}, DWORD{CREATE_ALWAYS}, DWORD{FILE_ATTRIBUTE_NORMAL}),
              createArguments[0]);
}

TEST_F(FaultMinidump, NullHandleReportsTheCreateError)
{
    files->CreateFileW = NullCreate;
    Render(Testing::FaultEvent(L"app", dumpText).Build().record);
    const std::wstring text = Coloured();
    EXPECT_TRUE(std::regex_match(
        text,
        std::wregex(L"\\{0C\\}.*Fault\\. CreateFile on .*fault_[-0-9a-f]{36}\\.dmp failed with error 5\n\n\\{07\\}")))
        << std::filesystem::path(text).string();
    EXPECT_NE(std::wstring::npos, text.find(L"CreateFile on " + TempPath() + L"fault_"));
}

// The output stream changes the last error with every write; the line still carries the
// code the creation failed with.
TEST_F(FaultMinidump, CreateErrorIsTakenBeforeTheLineIsWritten)
{
    files->CreateFileW = NullCreate;
    Testing::LastErrorClobber clobber;
    Render(Testing::FaultEvent(L"app", dumpText).Build().record);
    const std::wstring text = Coloured();
    EXPECT_TRUE(std::regex_match(
        text, std::wregex(L".*Fault\\. CreateFile on .*fault_[-0-9a-f]{36}\\.dmp failed with error 5\n\n\\{07\\}")))
        << std::filesystem::path(text).string();
}

HANDLE WINAPI InvalidHandleCreate(LPCWSTR, DWORD, DWORD, LPSECURITY_ATTRIBUTES, DWORD, DWORD, HANDLE)
{
    ::SetLastError(ERROR_ACCESS_DENIED);
    return INVALID_HANDLE_VALUE;
}

// What the platform answers to a write through the invalid handle and to deleting a file
// that was never created, whatever language its codes speak.
DWORD WriteErrorOfTheInvalidHandle()
{
    DWORD written = 0;
    EXPECT_FALSE(::WriteFile(INVALID_HANDLE_VALUE, "x", 1, &written, nullptr));
    return ::GetLastError();
}

DWORD DeleteErrorOfAMissingFile(const std::wstring& path)
{
    EXPECT_FALSE(::DeleteFileW(path.c_str()));
    return ::GetLastError();
}

// CreateFileW fails the way the system fails, with the invalid handle rather than null.
// Tested against null only, the handle goes on to the write, which fails and is
// reported; the delete finds no file, and none is left.
TEST_F(FaultMinidump, InvalidHandleFromCreateFailsTheWriteAndLeavesNoFile)
{
    files->CreateFileW = InvalidHandleCreate;
    const DWORD writeError = WriteErrorOfTheInvalidHandle();
    const DWORD deleteError = DeleteErrorOfAMissingFile(TempPath() + L"fault_missing.dmp");
    Testing::LastErrorClobber clobber;
    Render(Testing::FaultEvent(L"app", dumpText).Build().record);
    EXPECT_TRUE(Dumps().empty());
    const std::wstring text = Coloured();
    std::wsmatch match;
    ASSERT_TRUE(std::regex_match(text, match,
                                 std::wregex(L".*Fault\\. WriteFile on (.*fault_[-0-9a-f]{36}\\.dmp) returned error "
                                             L"(\\d+) and wrote 0 of 10 bytes\nFailed to delete dump file "
                                             L"(.*) error (\\d+)\\.\n\n\\{07\\}")))
        << std::filesystem::path(text).string();
    EXPECT_EQ(TempPath(), match[1].str().substr(0, TempPath().size()));
    EXPECT_EQ(std::to_wstring(writeError), match[2].str());
    EXPECT_EQ(match[1].str(), match[3].str());
    EXPECT_EQ(std::to_wstring(deleteError), match[4].str());
}

// Writes three bytes for real and reports a full disk.
BOOL WINAPI ShortWrite(HANDLE file, LPCVOID data, DWORD, LPDWORD written, LPOVERLAPPED overlapped)
{
    realWriteFile(file, data, 3, written, overlapped);
    ::SetLastError(ERROR_DISK_FULL);
    return TRUE;
}

BOOL WINAPI FailingDelete(LPCWSTR)
{
    ::SetLastError(ERROR_SHARING_VIOLATION);
    return FALSE;
}

TEST_F(FaultMinidump, ShortWriteLeavesNoPartialDump)
{
    files->WriteFile = ShortWrite;
    Render(Testing::FaultEvent(L"app", dumpText).Build().record);
    EXPECT_TRUE(Dumps().empty());
    const std::wstring text = Coloured();
    EXPECT_TRUE(
        std::regex_match(text, std::wregex(L".*Fault\\. WriteFile on .*fault_[-0-9a-f]{36}\\.dmp returned error "
                                           L"112 and wrote 3 of 10 bytes\n\n\\{07\\}")))
        << std::filesystem::path(text).string();
}

TEST_F(FaultMinidump, FailedDeleteIsReported)
{
    files->WriteFile = ShortWrite;
    files->DeleteFileW = FailingDelete;
    // Every write to the output changes the last error; both codes were taken before.
    Testing::LastErrorClobber clobber;
    Render(Testing::FaultEvent(L"app", dumpText).Build().record);
    const std::wstring text = Coloured();
    EXPECT_TRUE(std::regex_match(text, std::wregex(L".* wrote 3 of 10 bytes\nFailed to delete dump file "
                                                   L".*fault_[-0-9a-f]{36}\\.dmp error 32\\.\n\n\\{07\\}")))
        << std::filesystem::path(text).string();
}

DWORD WINAPI FailingTempPath(DWORD, LPWSTR)
{
    ::SetLastError(ERROR_PATH_NOT_FOUND);
    return 0;
}

TEST_F(FaultMinidump, NoTemporaryDirectoryIsOnlyTraced)
{
    files->GetTempPathW = FailingTempPath;
    Render(Testing::FaultEvent(L"app", dumpText).Build().record);
    EXPECT_EQ(FaultHeader() + L"\n{07}", Coloured());
    // The system's text for the code, whatever language it speaks.
    const std::string reason = Base::ExceptionWin32(ERROR_PATH_NOT_FOUND).what();
    EXPECT_EQ((std::vector<std::string>{"  ERROR : Failed to save minidump error [" + reason + "]"}), TraceLines());
}

} // namespace
