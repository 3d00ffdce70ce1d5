// Runs in an executable that carries no manifest resource, as a stripped build would.

#include "tests/viewer/ViewerFixture.h"
#include "viewer/ManifestExtraction.h"

#include <gtest/gtest.h>

#include <regex>

namespace {

using MissingManifest = Testing::ViewerTest;

TEST_F(MissingManifest, FindFailureIsTracedAndTheDeleteStillTried)
{
    const DWORD expected =
        ::FindResourceW(::GetModuleHandleW(nullptr), L"TRACE_WIN32.MAN", L"MANIFEST") == nullptr ? ::GetLastError() : 0;
    ASSERT_NE(0u, expected);
    EXPECT_EQ(expected, Viewer::LoadInstrumentationManifest());
    const auto lines = TraceLines();
    ASSERT_EQ(5u, lines.size());
    const std::string code = std::to_string(expected);
    EXPECT_EQ("  ENTER : ExtractManifest", lines[1]);
    EXPECT_EQ("  ERROR : Failed to find resource with error [" + code + "]", lines[2]);
    EXPECT_EQ("  ERROR : Failed to extract instrumentation manifest with error [" + code + "]", lines[3]);
    EXPECT_TRUE(std::regex_match(lines[4], std::regex("WARNING : Failed to delete instrumentation manifest \\[" + code +
                                                      "\\] error \\[[0-9]+\\]")))
        << lines[4];
    EXPECT_TRUE(tdh.ManifestLoads().empty());
    EXPECT_TRUE(temp.Files().empty());
}

TEST_F(MissingManifest, ProductEventsCannotBeDescribedAndAreSkipped)
{
    Viewer::LoadInstrumentationManifest();
    capture.Clear();
    EVENT_RECORD record{};
    record.EventHeader.ProviderId = {0x6E2B9C41, 0x7A3D, 0x4F15, {0x8C, 0x62, 0x3D, 0x9A, 0x1B, 0x7E, 0x5F, 0x04}};
    record.EventHeader.EventDescriptor.Id = 2012;
    record.EventHeader.EventDescriptor.Version = 1;
    record.EventHeader.EventDescriptor.Level = 4;
    record.EventHeader.EventDescriptor.Task = 3;
    Render(record);
    EXPECT_EQ(L"", capture.WideOut());
    EXPECT_EQ(1u, tdh.EventInformationCalls());
}

} // namespace
