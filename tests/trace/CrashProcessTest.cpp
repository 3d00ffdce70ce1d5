// The crash handlers in a process that really crashes: crash_helper.exe, run as a child.

#include "tests/support/ChildProcess.h"
#include "tests/trace/CrashReport.h"

#include <windows.h>

#include <dbghelp.h>

#include <gtest/gtest.h>

#include <optional>
#include <regex>

namespace {

struct StackFrameLine {
    uint32_t frame = 0;
    std::string moduleName;
    std::string moduleHandle;
    std::string frameAddress;
    std::optional<std::string> name; // present in the two layouts with a symbol
};

// A "Stack frame" text in one of its four layouts; nullopt for anything else.
std::optional<StackFrameLine> ParseStackFrame(const std::string& text)
{
    const std::string head = R"re(^Stack frame \{ frame:(\d+), moduleName:"([^"]*)", moduleHandle:(0x[0-9a-f]+|0), )re"
                             R"re(frameAddress:(0x[0-9a-f]+))re";
    static const std::regex bare(head + R"re( \}$)re");
    static const std::regex symbol(head + R"re(, Name:"([^"]*)" \}$)re");
    static const std::regex symbolAndLine(head + R"re(, Name:"([^"]*)", fileName:"([^"]*)", LineNumber:(\d+) \}$)re");
    static const std::regex lineOnly(head + R"re(, fileName:"([^"]*)", LineNumber:(\d+), symbolOffset:(\d+) \}$)re");

    std::smatch match;
    const bool named = std::regex_match(text, match, symbol) || std::regex_match(text, match, symbolAndLine);
    if (!named && !std::regex_match(text, match, bare) && !std::regex_match(text, match, lineOnly)) {
        return std::nullopt;
    }
    StackFrameLine frame;
    frame.frame = static_cast<uint32_t>(std::stoul(match[1]));
    frame.moduleName = match[2];
    frame.moduleHandle = match[3];
    frame.frameAddress = match[4];
    if (named) {
        frame.name = match[5];
    }
    return frame;
}

std::filesystem::path Helper()
{
    return Testing::SiblingExecutable(L"crash_helper.exe");
}

// Whether this machine's symbol handler reads the helper's debug information at all.
// The helper carries DWARF; a symbol handler that reads only PDB files names none of
// its functions, and then the crash report cannot either.
bool HelperFunctionsResolvable()
{
    const HANDLE session = reinterpret_cast<HANDLE>(static_cast<uintptr_t>(0x4B5344)); // any unique value
    if (!::SymInitialize(session, nullptr, FALSE)) {
        return false;
    }
    bool resolvable = false;
    if (::SymLoadModuleExW(session, nullptr, Helper().c_str(), nullptr, 0, 0, nullptr, 0) != 0) {
        struct {
            SYMBOL_INFO info;
            char name[255];
        } symbol{};
        symbol.info.SizeOfStruct = sizeof(SYMBOL_INFO);
        symbol.info.MaxNameLen = sizeof(symbol.name);
        resolvable = ::SymFromName(session, "CrashByNullPointer", &symbol.info) != FALSE;
    }
    ::SymCleanup(session);
    return resolvable;
}

bool EndsWith(const std::string& text, const std::string& end)
{
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

} // namespace

TEST(CrashProcess, HelperWithoutACrashLogsNothing)
{
    const Testing::ChildResult result = Testing::RunChild(Helper(), {});
    EXPECT_EQ(2u, result.exitCode);
    EXPECT_TRUE(Testing::CrashHandlerTexts(result.err).empty());
    EXPECT_TRUE(Testing::CrashHandlerTexts(result.out).empty());
}

TEST(CrashProcess, NullPointerReadIsLoggedWithItsStackAndStillEndsTheProcess)
{
    const Testing::ChildResult result = Testing::RunChild(Helper(), {L"null"});
    // The filter hands the exception on, so the system ends the process with the
    // exception code as its exit code (the suite's Wine prefix has no just-in-time
    // debugger, like a Windows build machine).
    EXPECT_EQ(3221225477u, result.exitCode);
    EXPECT_TRUE(Testing::CrashHandlerTexts(result.out).empty());

    const std::vector<std::string> texts = Testing::CrashHandlerTexts(result.err);
    ASSERT_GE(texts.size(), 3u) << result.err;
    EXPECT_EQ("Unhandled exception handler called { ExceptionCode:3221225477 }", texts.front());
    EXPECT_EQ(Testing::FinishedDumpHint, texts.back());

    std::vector<StackFrameLine> frames;
    for (size_t index = 1; index + 1 < texts.size(); ++index) {
        const std::optional<StackFrameLine> frame = ParseStackFrame(texts[index]);
        ASSERT_TRUE(frame.has_value()) << texts[index];
        EXPECT_EQ(frames.size(), frame->frame) << texts[index];
        EXPECT_NE("0x0", frame->frameAddress);
        frames.push_back(*frame);
    }
    EXPECT_TRUE(EndsWith(frames.front().moduleName, "\\crash_helper.exe")) << frames.front().moduleName;
    EXPECT_NE("0", frames.front().moduleHandle);
    if (HelperFunctionsResolvable()) {
        EXPECT_EQ(std::optional<std::string>("CrashByNullPointer"), frames.front().name) << texts[1];
    }
}

TEST(CrashProcess, AbortIsLoggedAndStillEndsTheProcess)
{
    const Testing::ChildResult result = Testing::RunChild(Helper(), {L"abort"});
    // The handler's int escapes to std::terminate, whose abort() ends the process with
    // the runtime's abort exit code 3.
    EXPECT_EQ(3u, result.exitCode);

    // The abort handler walks no stack, and its int reaches no unhandled-exception filter:
    // its own line is the whole report.
    EXPECT_EQ(std::vector<std::string>{"Abort handler called { signum:22 }"}, Testing::CrashHandlerTexts(result.err))
        << result.err;
    EXPECT_TRUE(Testing::CrashHandlerTexts(result.out).empty());
    // A handler that returned would end the same way, through abort's own exit; the
    // statically linked C++ runtime's last words show that the int was thrown instead.
    EXPECT_NE(std::string::npos, result.err.find("terminate called after throwing an instance of 'int'")) << result.err;
}
