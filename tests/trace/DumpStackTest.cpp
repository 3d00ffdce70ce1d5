#include "base/ProcessArguments.h"
#include "tests/support/OutputCapture.h"
#include "tests/support/TraceLines.h"
#include "tests/trace/CrashReport.h"
#include "tests/trace/FakeDbgHelp.h"
#include "trace/CrashHandler.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>

namespace {

// An address no module holds.
constexpr DWORD64 unmappedAddress = 0x10;

// An address inside this executable, for a frame whose module is known.
__attribute__((noinline)) void FrameInThisExecutable()
{
}

DWORD64 ExecutableAddress()
{
    return reinterpret_cast<DWORD64>(&FrameInThisExecutable);
}

std::string HexText(uint64_t value)
{
    char text[24] = {};
    std::snprintf(text, sizeof(text), "0x%llx", static_cast<unsigned long long>(value));
    return text;
}

// "Stack frame { frame:N, moduleName:..., moduleHandle:..., frameAddress:..." for a
// frame in this executable, without the closing brace.
std::string ExecutableFrame(uint32_t frame)
{
    char path[MAX_PATH] = {};
    ::GetModuleFileNameA(nullptr, path, MAX_PATH);
    const auto base = reinterpret_cast<uint64_t>(::GetModuleHandleW(nullptr));
    return "Stack frame { frame:" + std::to_string(frame) + ", moduleName:\"" + path +
           "\", moduleHandle:" + HexText(base) + ", frameAddress:" + HexText(ExecutableAddress());
}

class DumpStack : public ::testing::Test {
protected:
    void SetUp() override
    {
        // Populate's first log line configures the framework, with the console sink.
        const char* argv[] = {"prog", "/trace-console"};
        Base::ProcessArguments::Populate(2, argv);
        record.ExceptionCode = EXCEPTION_ACCESS_VIOLATION;
        context.Rip = 0x1111;
        context.Rbp = 0x2222;
        context.Rsp = 0x3333;
    }

    // The crash handler's lines of one dump; ERROR lines all go to standard error.
    std::vector<std::string> Dump()
    {
        Testing::OutputCapture capture;
        Trace::DumpStack(&pointers);
        EXPECT_EQ("", capture.Out());
        return Testing::CrashHandlerTexts(capture.Err());
    }

    Testing::FakeDbgHelp dbghelp;
    EXCEPTION_RECORD record{};
    CONTEXT context{};
    EXCEPTION_POINTERS pointers{&record, &context};
};

} // namespace

TEST_F(DumpStack, SetsSymbolOptionsAndInitialisesSymbolsForThisProcess)
{
    EXPECT_EQ(std::vector<std::string>{Testing::FinishedDumpHint}, Dump());

    EXPECT_EQ(std::vector<DWORD>{0x16}, dbghelp.options);
    ASSERT_EQ(1u, dbghelp.initialisations.size());
    EXPECT_EQ(::GetCurrentProcess(), dbghelp.initialisations[0].process);
    EXPECT_FALSE(dbghelp.initialisations[0].searchPathGiven);
    EXPECT_EQ(TRUE, dbghelp.initialisations[0].invadeProcess);
}

TEST_F(DumpStack, WalksFromTheExceptionContextOnACopy)
{
    dbghelp.frames = {ExecutableAddress()};
    Dump();

    ASSERT_EQ(2u, dbghelp.walks.size());
    const Testing::StackWalkCall& first = dbghelp.walks[0];
    EXPECT_EQ(static_cast<DWORD>(IMAGE_FILE_MACHINE_AMD64), first.machine);
    EXPECT_EQ(::GetCurrentProcess(), first.process);
    EXPECT_EQ(::GetCurrentThread(), first.thread);
    EXPECT_EQ(0x1111u, first.frame.AddrPC.Offset);
    EXPECT_EQ(0x2222u, first.frame.AddrFrame.Offset);
    EXPECT_EQ(0x3333u, first.frame.AddrStack.Offset);
    EXPECT_EQ(AddrModeFlat, first.frame.AddrPC.Mode);
    EXPECT_EQ(AddrModeFlat, first.frame.AddrFrame.Mode);
    EXPECT_EQ(AddrModeFlat, first.frame.AddrStack.Mode);
    EXPECT_EQ(0x1111u, first.context.Rip);
    EXPECT_NE(static_cast<const void*>(&context), first.contextRecord);
    EXPECT_EQ(nullptr, first.readMemory);
    EXPECT_EQ(nullptr, first.translateAddress);
    // The walk goes on from where it stood, with the context it rewrote.
    EXPECT_EQ(first.contextRecord, dbghelp.walks[1].contextRecord);
    EXPECT_EQ(0u, dbghelp.walks[1].context.Rip);
    EXPECT_EQ(ExecutableAddress(), dbghelp.walks[1].frame.AddrPC.Offset);
    EXPECT_EQ(0x1111u, context.Rip);
}

TEST_F(DumpStack, WalkUsesTheLibrarysFunctionTableAndModuleBaseRoutines)
{
    Dump();

    const HMODULE library = ::GetModuleHandleW(L"dbghelp.dll");
    ASSERT_NE(nullptr, library);
    ASSERT_EQ(1u, dbghelp.walks.size());
    EXPECT_EQ(reinterpret_cast<void*>(::GetProcAddress(library, "SymFunctionTableAccess64")),
              reinterpret_cast<void*>(dbghelp.walks[0].functionTableAccess));
    EXPECT_EQ(reinterpret_cast<void*>(::GetProcAddress(library, "SymGetModuleBase64")),
              reinterpret_cast<void*>(dbghelp.walks[0].moduleBase));
}

TEST_F(DumpStack, FrameOutsideAnyModuleHasAnEmptyModuleNameAndHandleZero)
{
    dbghelp.frames = {unmappedAddress};

    const std::vector<std::string> expected = {
        "Stack frame { frame:0, moduleName:\"\", moduleHandle:0, frameAddress:0x10 }",
        Testing::FinishedDumpHint,
    };
    EXPECT_EQ(expected, Dump());
}

// What the symbol handler finds for a frame, and the fields its line carries after
// frame, moduleName, moduleHandle and frameAddress.
struct FrameLayout {
    const char* name;
    bool symbolFound;
    bool lineFound;
    bool lineHasFileName;
    const char* fields;
};

// Names the layout in test listings instead of dumping its bytes.
void PrintTo(const FrameLayout& layout, std::ostream* out)
{
    *out << layout.name;
}

class DumpStackLayout : public DumpStack, public ::testing::WithParamInterface<FrameLayout> {};

TEST_P(DumpStackLayout, FrameLineCarriesTheFieldsOfWhatWasFound)
{
    dbghelp.frames = {ExecutableAddress()};
    dbghelp.symbolFound = GetParam().symbolFound;
    dbghelp.lineFound = GetParam().lineFound;
    dbghelp.lineHasFileName = GetParam().lineHasFileName;

    const std::vector<std::string> expected = {ExecutableFrame(0) + GetParam().fields, Testing::FinishedDumpHint};
    EXPECT_EQ(expected, Dump());
}

INSTANTIATE_TEST_SUITE_P(
    Layouts, DumpStackLayout,
    ::testing::Values(FrameLayout{"NeitherSymbolNorLine", false, false, true, " }"},
                      FrameLayout{"OnlyLine", false, true, true,
                                  ", fileName:\"C:\\src\\fake.cpp\", LineNumber:42, symbolOffset:7 }"},
                      FrameLayout{"OnlySymbol", true, false, true, ", Name:\"FakeFunction\" }"},
                      FrameLayout{"SymbolAndLine", true, true, true,
                                  ", Name:\"FakeFunction\", fileName:\"C:\\src\\fake.cpp\", LineNumber:42 }"},
                      FrameLayout{"LineWithoutFileName", true, true, false,
                                  ", Name:\"FakeFunction\", fileName:\"\", LineNumber:42 }"}),
    [](const ::testing::TestParamInfo<FrameLayout>& info) { return std::string(info.param.name); });

TEST_F(DumpStack, FramesAreNumberedFromZeroInWalkOrder)
{
    dbghelp.frames = {ExecutableAddress(), ExecutableAddress(), ExecutableAddress()};

    const std::vector<std::string> expected = {
        ExecutableFrame(0) + " }",
        ExecutableFrame(1) + " }",
        ExecutableFrame(2) + " }",
        Testing::FinishedDumpHint,
    };
    EXPECT_EQ(expected, Dump());
}

TEST_F(DumpStack, LooksUpEachFramesProgramCounterWithSizedRecords)
{
    dbghelp.frames = {ExecutableAddress(), unmappedAddress};
    Dump();

    EXPECT_EQ((std::vector<DWORD64>{ExecutableAddress(), unmappedAddress}), dbghelp.symbolAddresses);
    EXPECT_EQ((std::vector<DWORD64>{ExecutableAddress(), unmappedAddress}), dbghelp.lineAddresses);
    EXPECT_EQ((std::vector<DWORD>{88, 88}), dbghelp.symbolStructSizes);
    EXPECT_EQ((std::vector<DWORD>{255, 255}), dbghelp.symbolNameRoom);
    EXPECT_EQ((std::vector<DWORD>{40, 40}), dbghelp.lineStructSizes);
}

TEST_F(DumpStack, FailedSymbolInitialisationLogsTheErrorAndWalksWithoutSymbols)
{
    dbghelp.initialiseResult = FALSE;
    dbghelp.initialiseError = ERROR_INVALID_PARAMETER;
    dbghelp.frames = {ExecutableAddress()};
    dbghelp.symbolFound = true;
    dbghelp.lineFound = true;

    const std::vector<std::string> expected = {
        "Failed to initialise symbols { errorCode:87 }",
        ExecutableFrame(0) + " }",
        Testing::FinishedDumpHint,
    };
    EXPECT_EQ(expected, Dump());
    EXPECT_TRUE(dbghelp.symbolAddresses.empty());
    EXPECT_TRUE(dbghelp.lineAddresses.empty());
}

TEST_F(DumpStack, MissingLibraryLogsOnlyTheLoadFailure)
{
    dbghelp.failLoad = true;
    EXPECT_EQ(std::vector<std::string>{"Failed to load dbghelp.dll to analyse stack trace"}, Dump());
    EXPECT_TRUE(dbghelp.lookedUp.empty());
}

// Hides one of the seven functions the walk needs: the dump names the failure and
// stops, whichever it is, after asking for the functions in their order of use.
class DumpStackWithout : public DumpStack, public ::testing::WithParamInterface<int> {};

TEST_P(DumpStackWithout, LogsOnlyTheLoadFailureAndNoFrame)
{
    const std::vector<std::string> order = {"SymSetOptions",     "SymInitialize",        "StackWalk64",
                                            "SymFromAddr",       "SymGetLineFromAddr64", "SymFunctionTableAccess64",
                                            "SymGetModuleBase64"};
    const size_t missing = static_cast<size_t>(GetParam());
    dbghelp.fakeSymbolHandler = false; // the real library for everything else
    dbghelp.hidden = {order[missing]};

    Testing::OutputCapture capture;
    Trace::DumpStack(&pointers);

    EXPECT_EQ(std::vector<std::string>{"Failed to load dbghelp.dll to analyse stack trace"},
              Testing::CrashHandlerTexts(capture.Err()));
    // The whole report: the binding's own account of the missing export (category
    // "delay_load"), then the crash handler's line, and nothing on standard output.
    const auto library = reinterpret_cast<uint64_t>(::GetModuleHandleW(L"dbghelp.dll"));
    const std::vector<std::string> everything = {"Failed to get module method { errorCode:127, name:\"" +
                                                     order[missing] + "\", module:" + HexText(library) + " }",
                                                 "Failed to load dbghelp.dll to analyse stack trace"};
    EXPECT_EQ(everything, Testing::TraceTexts(capture.Err()));
    EXPECT_EQ("", capture.Out());
    EXPECT_EQ(std::vector<std::string>(order.begin(), order.begin() + missing + 1), dbghelp.lookedUp);
}

INSTANTIATE_TEST_SUITE_P(EachFunction, DumpStackWithout, ::testing::Range(0, 7));

// The two handlers, called as the system and the runtime would call them.
using CrashHandlers = DumpStack;

TEST_F(CrashHandlers, UnhandledExceptionLogsTheCodeDumpsAndLetsTheSystemGoOn)
{
    Testing::OutputCapture capture;
    EXPECT_EQ(EXCEPTION_CONTINUE_SEARCH, Trace::OnUnhandledException(&pointers));

    const std::vector<std::string> expected = {
        "Unhandled exception handler called { ExceptionCode:3221225477 }",
        Testing::FinishedDumpHint,
    };
    EXPECT_EQ(expected, Testing::CrashHandlerTexts(capture.Err()));
    EXPECT_EQ(1u, dbghelp.walks.size());
}

TEST_F(CrashHandlers, AbortSignalLogsTheSignalAndThrowsZero)
{
    Testing::OutputCapture capture;
    int thrown = -1;
    try {
        Trace::OnAbortSignal(SIGABRT);
    } catch (int value) {
        thrown = value;
    }
    EXPECT_EQ(0, thrown);
    EXPECT_EQ(std::vector<std::string>{"Abort handler called { signum:22 }"},
              Testing::CrashHandlerTexts(capture.Err()));
}
