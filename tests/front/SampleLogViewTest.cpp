// ksdiag.exe VIEW of real logs recorded on Windows (tests/data/etl, copied next to the
// test executables), end to end: whichever reader serves, the lines must be what the
// file's bytes say. The expected values were read out of the file by hand, field by
// field at the offsets of the Kernel-Process manifest's templates.

#include "tests/support/ChildProcess.h"
#include "tests/support/TraceLines.h"
#include "tests/support/ViewerTimestamp.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <cstdio>
#include <string>
#include <vector>

namespace {

std::filesystem::path SampleLog(const wchar_t* name)
{
    return Testing::SiblingExecutable(L"data") / L"etl" / name;
}

// The first line holding the text, or empty.
std::string FirstWith(const std::vector<std::string>& lines, const std::string& text)
{
    for (const std::string& line : lines) {
        if (line.find(text) != std::string::npos) {
            return line;
        }
    }
    return {};
}

} // namespace

TEST(SampleLogView, KernelProcessOfWindows7ShowsProcessThreadAndImageEventsAsTheFileHoldsThem)
{
    const Testing::ChildResult result = Testing::RunChild(Testing::SiblingExecutable(L"ksdiag.exe"),
                                                          {L"VIEW", L"/nologo", L"/level:info",
                                                           L"/file:" + SampleLog(L"KernelProcess-Win7.etl").wstring(),
                                                           L"/process", L"/threads", L"/images"});
    ASSERT_EQ(0u, result.exitCode) << result.err;
    EXPECT_EQ("", result.err);
    const std::vector<std::string> lines = Testing::SplitLines(result.out);
    // Every Kernel-Process event of ids 1 to 6 in the file (4 + 4 + 287 + 264 + 1115 + 1153),
    // one line each.
    EXPECT_EQ(2827u, lines.size());
    // Event 1 version 0 at file time 129328528807281303: ProcessID 5864, ParentProcessID
    // 3324, SessionID 1, written by thread 8048 of process 3324.
    EXPECT_EQ(Testing::ViewerTimestamp(129328528807281303) +
                  " Kernel(3324:8048) Information Process started \\Device\\HarddiskVolume2\\Program Files "
                  "(x86)\\Microsoft Visual Studio 10.0\\Common7\\IDE\\devenv.exe with pid 5864 by parent 3324 in "
                  "session 1",
              FirstWith(lines, "Process started"));
    // Event 3 version 1 at 129328528696771104: ProcessID 3664, ThreadID 6368.
    EXPECT_EQ(Testing::ViewerTimestamp(129328528696771104) +
                  " Kernel(3664:2900) Information Thread started 6368 in pid 3664",
              FirstWith(lines, "Thread started"));
    // Event 5 version 0 at 129328528700842840: ProcessID 2800.
    EXPECT_EQ(Testing::ViewerTimestamp(129328528700842840) +
                  " Kernel(2800:4200) Information Image loaded \\Windows\\SysWOW64\\CCM\\CCMAuthMessageHook.dll in pid "
                  "2800",
              FirstWith(lines, "Image loaded"));
    EXPECT_EQ(lines.front(), FirstWith(lines, "Thread started"));
}

TEST(SampleLogView, OneProcessKeepsOnlyItsOwnEvents)
{
    const Testing::ChildResult result =
        Testing::RunChild(Testing::SiblingExecutable(L"ksdiag.exe"),
                          {L"VIEW", L"/nologo", L"/level:info",
                           L"/file:" + SampleLog(L"KernelProcess-Win7.etl").wstring(), L"/process:5864"});
    ASSERT_EQ(0u, result.exitCode) << result.err;
    const std::vector<std::string> lines = Testing::SplitLines(result.out);
    ASSERT_EQ(2u, lines.size());
    EXPECT_NE(std::string::npos,
              lines[0].find("Process started \\Device\\HarddiskVolume2\\Program Files (x86)"
                            "\\Microsoft Visual Studio 10.0\\Common7\\IDE\\devenv.exe with pid 5864"));
    EXPECT_NE(std::string::npos, lines[1].find(" with pid 5864 exit code 0"));
}

TEST(SampleLogView, LogsOfOtherProvidersShowNothingAndSucceed)
{
    for (const wchar_t* name :
         {L"powershell.etl", L"AMSITrace.etl", L"ShutdownPerfDiagLogger.etl", L"SelfDescribingSingleEvent.etl",
          L"smallEtlFile.etl", L"test_data_32_v0.etl", L"lxcore_kernel.etl"}) {
        const Testing::ChildResult result = Testing::RunChild(
            Testing::SiblingExecutable(L"ksdiag.exe"),
            {L"VIEW", L"/nologo", L"/level:debug", L"/file:" + SampleLog(name).wstring(), L"/winlogon", L"/process"});
        EXPECT_EQ(0u, result.exitCode) << result.err;
        EXPECT_EQ("", result.out);
        EXPECT_EQ("", result.err);
    }
}

TEST(SampleLogView, TruncatedLogIsReportedWithTheBufferAndOffset)
{
    const std::filesystem::path copy = std::filesystem::temp_directory_path() / L"ksdiag-truncated-sample.etl";
    std::filesystem::copy_file(SampleLog(L"powershell.etl"), copy, std::filesystem::copy_options::overwrite_existing);
    std::filesystem::resize_file(copy, 0x5000); // half way into the third buffer
    const Testing::ChildResult result = Testing::RunChild(
        Testing::SiblingExecutable(L"ksdiag.exe"), {L"VIEW", L"/nologo", L"/level:debug", L"/file:" + copy.wstring()});
    std::filesystem::remove(copy);
    EXPECT_EQ(1u, result.exitCode);
    const std::vector<std::string> lines = Testing::SplitLines(result.out);
    ASSERT_EQ(2u, lines.size()) << result.out;
    // The reader's own account: which buffer, where in the file, and by how much it is cut.
    EXPECT_EQ("Buffer size at offset 0x0 of buffer 2 (file offset 0x4000) is 0x2000, which runs past the end of "
              "the file 0x1000 bytes on",
              lines[0]);
    EXPECT_EQ("Unexpected error when opening file \"" + copy.string() + "\".", lines[1]);
    EXPECT_EQ("View log failed with error 11.\r\n", result.err);
}
