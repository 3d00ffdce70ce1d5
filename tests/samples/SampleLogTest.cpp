// The committed sample log (samples/, copied beside the test executables): it is what the
// generator writes, and ksdiag.exe VIEW shows it line for line as the events say, with the
// stack resolved through the sample module and the fault's minidump written.

#include "tests/samples/SampleLog.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TempDirectory.h"
#include "tests/support/TraceLines.h"
#include "tests/support/ViewerTimestamp.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <dbghelp.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <regex>
#include <string>
#include <vector>

namespace {

constexpr long long sessionStart = 134380836000000000; // 2026-11-02 09:00:00 UTC
constexpr long long millisecond = 10000;

std::filesystem::path Samples()
{
    return Testing::SiblingExecutable(L"samples");
}

std::string Bytes(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

// The viewer's time stamp of the event written at this many milliseconds into the session.
std::string Stamp(long long milliseconds)
{
    return Testing::ViewerTimestamp(sessionStart + milliseconds * millisecond);
}

Testing::ChildResult View(const std::vector<std::wstring>& options)
{
    std::vector<std::wstring> arguments{L"VIEW", L"/nologo",
                                        L"/file:" + (Samples() / L"kestrova-sample.etl").wstring()};
    arguments.insert(arguments.end(), options.begin(), options.end());
    return Testing::RunChild(Testing::SiblingExecutable(L"ksdiag.exe"), arguments);
}

const std::string service = " KestrovaService(0:4120:";
const std::string agent = " KestrovaAgent(1:6712:6716)";

} // namespace

TEST(SampleLog, CommittedLogIsWhatTheGeneratorWrites)
{
    Testing::TempDirectory temp;
    const std::filesystem::path written = temp.Path() / L"sample.etl";
    Testing::WriteSampleLog(Samples() / L"kestrova-sample-module.dll", written);
    const std::string expected = Bytes(Samples() / L"kestrova-sample.etl");
    ASSERT_FALSE(expected.empty());
    EXPECT_TRUE(expected == Bytes(written)) << "regenerate samples/ with scripts/make-sample";
}

TEST(SampleLog, ViewShowsEveryEventAtDebugLevel)
{
    const Testing::ChildResult result = View({L"/level:debug"});
    ASSERT_EQ(0u, result.exitCode) << result.err;
    EXPECT_EQ("", result.err);
    const std::vector<std::string> lines = Testing::SplitLines(result.out);
    const std::vector<std::string> expected = {
        Stamp(10) + service + "4124) ServiceMain",
        Stamp(13) + service + "4124) Information service : Service started { version:\"4.2.1.0\" }",
        Stamp(16) + service + "4124) Information Listening on port 8443",
        Stamp(56) + agent + " Verbose session : Session opened { user:\"KESTROVA\\\\operator\" }",
        Stamp(61) + service +
            "4188) Warning registry : Configuration value missing, using the default { name:\"RetryCount\", "
            "default:3 }",
        Stamp(68) + service +
            "4188) Error configuration : Failed to load the configuration { errorCode:5, "
            "path:\"C:\\\\ProgramData\\\\Kestrova\\\\service.json\" }",
        "at LoadConfiguration",
        "at HandleRequest",
        "at ServiceMain",
        Stamp(80) + agent + " cache : Cache refreshed { entries:128 }",
        Stamp(89) + agent + " Verbose Uploading 3 reports",
        Stamp(339) + agent + " Warning Upload slow, retrying",
        Stamp(839) + agent + " Error Upload failed",
        Stamp(840) + agent + " Error upload : Upload failed { errorCode:12029 }",
        "at UploadReports",
        "at AgentMain",
        "", // the fault's line, compared below
        "",
        Stamp(872) + service + "4124) Information service : Agent restarted { pid:7020 }",
        Stamp(873) + service + "4124) Request queue empty",
        Stamp(874) + service + "4124) ServiceMain",
    };
    ASSERT_EQ(expected.size(), lines.size()) << result.out;
    for (size_t index = 0; index < lines.size(); ++index) {
        if (index != 16) {
            EXPECT_EQ(expected[index], lines[index]) << "line " << index;
        }
    }
    const std::regex fault(
        std::regex_replace(Stamp(870) + agent, std::regex(R"([.()])"), R"(\$&)") +
        R"( Critical Fault\. Minidump written to .*\\fault_[0-9a-f]{8}(-[0-9a-f]{4}){3}-[0-9a-f]{12}\.dmp)");
    EXPECT_TRUE(std::regex_match(lines[16], fault)) << lines[16];
}

TEST(SampleLog, CallStackResolvesThroughTheSampleModule)
{
    // The image event names the module by its file name; dbghelp looks for it on the
    // symbol path.
    Testing::ScopedEnvironment symbolPath("_NT_SYMBOL_PATH", Samples().string());
    const Testing::ChildResult result = View({L"/level:info", L"/callstack"});
    ASSERT_EQ(0u, result.exitCode) << result.err;
    const std::vector<std::string> lines = Testing::SplitLines(result.out);
    ASSERT_GE(lines.size(), 13u) << result.out;
    EXPECT_EQ(Stamp(11) + service + "4124) Image kestrova-sample-module.dll 4.2.1.0 (AMD64)", lines[0]);
    EXPECT_EQ(Stamp(68) + service +
                  "4188) Error configuration : Failed to load the configuration { errorCode:5, "
                  "path:\"C:\\\\ProgramData\\\\Kestrova\\\\service.json\" }",
              lines[4]);
    // The frames after the logging function: its callers with their files and lines, then
    // an address in a module the log has no image event for (samples/module/SampleModule.cpp
    // holds the calls on lines 15, 20 and 25).
    EXPECT_EQ((std::vector<std::string>{"at LoadConfiguration", "at HandleRequest", "at ServiceMain",
                                        "   LoadConfiguration in SampleModule.cpp line 15",
                                        "   HandleRequest in SampleModule.cpp line 20",
                                        "   ServiceMain in SampleModule.cpp line 25", "   0x7ffa29a17344"}),
              std::vector<std::string>(lines.begin() + 5, lines.begin() + 12));
}

TEST(SampleLog, FaultWritesAMinidumpDbgHelpReads)
{
    Testing::TempDirectory temp;
    Testing::ScopedEnvironment tempVariable("TMP", temp.Path().string());
    Testing::ScopedEnvironment tempVariable2("TEMP", temp.Path().string());
    const Testing::ChildResult result = View({L"/level:error"});
    ASSERT_EQ(0u, result.exitCode) << result.err;
    const std::vector<std::filesystem::path> dumps = temp.Files();
    ASSERT_EQ(1u, dumps.size());
    const std::string dump = Bytes(temp.Path() / dumps[0]);
    PMINIDUMP_DIRECTORY directory = nullptr;
    void* stream = nullptr;
    ULONG size = 0;
    ASSERT_TRUE(::MiniDumpReadDumpStream(const_cast<char*>(dump.data()), ExceptionStream, &directory, &stream, &size));
    ASSERT_EQ(sizeof(MINIDUMP_EXCEPTION_STREAM), size);
    const auto* exception = static_cast<const MINIDUMP_EXCEPTION_STREAM*>(stream);
    EXPECT_EQ(6716u, exception->ThreadId);
    EXPECT_EQ(static_cast<ULONG32>(EXCEPTION_ACCESS_VIOLATION), exception->ExceptionRecord.ExceptionCode);
    ASSERT_TRUE(::MiniDumpReadDumpStream(const_cast<char*>(dump.data()), ModuleListStream, &directory, &stream, &size));
    const auto* modules = static_cast<const MINIDUMP_MODULE_LIST*>(stream);
    ASSERT_EQ(1u, modules->NumberOfModules);
    EXPECT_LE(modules->Modules[0].BaseOfImage, exception->ExceptionRecord.ExceptionAddress);
    EXPECT_GT(modules->Modules[0].BaseOfImage + modules->Modules[0].SizeOfImage,
              exception->ExceptionRecord.ExceptionAddress);
}
