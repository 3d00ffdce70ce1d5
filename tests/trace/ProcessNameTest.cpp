#include "trace/ProcessName.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TempDirectory.h"
#include "tests/support/TraceLines.h"
#include "tests/trace/TraceTestSupport.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <filesystem>

namespace {

namespace fs = std::filesystem;

// Runs a copy of the probe named fileName inside directory, with its trace file
// written to the same directory.
Testing::ChildResult RunProbeNamed(const Testing::TempDirectory& directory, const wchar_t* fileName)
{
    const fs::path copy = directory.Path() / fileName;
    fs::copy_file(Testing::SiblingExecutable(L"trace_name_probe.exe"), copy);
    return Testing::RunChild(copy, {L"/trace-folder:" + directory.Path().wstring()});
}

} // namespace

TEST(ProcessName, IsTheImageNameWithoutFolderOrExtension)
{
    EXPECT_EQ("trace_tests", Trace::ProcessNameNarrow());
    EXPECT_EQ(L"trace_tests", Trace::ProcessNameWide());
}

TEST(ProcessName, IsCutAtTheFirstDot)
{
    Testing::TempDirectory directory;
    const Testing::ChildResult result = RunProbeNamed(directory, L"a.b.exe");
    EXPECT_EQ(0u, result.exitCode);
    EXPECT_EQ((std::vector<std::string>{"a", "a"}), Testing::SplitLines(result.out));
    EXPECT_EQ("", result.err);
}

TEST(ProcessName, NamesTheTraceFileOfAnImageWithTwoDots)
{
    Testing::TempDirectory directory;
    const Testing::ChildResult result = RunProbeNamed(directory, L"a.b.exe");
    ASSERT_EQ(0u, result.exitCode);
    EXPECT_EQ((std::vector<fs::path>{"a.b.exe", "a.log"}), directory.Files());
    const auto lines = Testing::SplitLines(Testing::ReadSharedFile(directory.Path() / "a.log"));
    ASSERT_EQ(1u, lines.size());
    const auto parsed = Testing::ParseTraceLine(lines[0]);
    ASSERT_TRUE(parsed) << lines[0];
    EXPECT_EQ("probe", parsed->category);
    EXPECT_EQ("Probe message", parsed->text);
    EXPECT_NE(::GetCurrentProcessId(), parsed->processId);
}

TEST(ProcessName, OfAnImageWithoutDotsIsItsWholeName)
{
    Testing::TempDirectory directory;
    const Testing::ChildResult result = RunProbeNamed(directory, L"probe_copy");
    EXPECT_EQ(0u, result.exitCode);
    EXPECT_EQ((std::vector<std::string>{"probe_copy", "probe_copy"}), Testing::SplitLines(result.out));
    EXPECT_EQ((std::vector<fs::path>{"probe_copy", "probe_copy.log"}), directory.Files());
}

TEST(ProcessName, WideFormIsTheNarrowFormConverted)
{
    // A letter the common ANSI code pages lack: the narrow name gets whatever the ANSI
    // query makes of it, and the wide name must say the same, so that the trace file name
    // and the events of one process never disagree about who wrote them.
    Testing::TempDirectory directory;
    const Testing::ChildResult result = RunProbeNamed(directory, L"\u0100probe.exe");
    ASSERT_EQ(0u, result.exitCode);
    const auto lines = Testing::SplitLines(result.out);
    ASSERT_EQ(2u, lines.size());
    EXPECT_EQ(lines[0], lines[1]);
    EXPECT_TRUE(lines[0].ends_with("probe")) << lines[0];
    EXPECT_EQ("", result.err);
}
