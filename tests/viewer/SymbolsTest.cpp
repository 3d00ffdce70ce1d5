#include "viewer/Symbols.h"
#include "platform/ModuleApi.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/ModuleImage.h"
#include "tests/support/ScopedApi.h"
#include "tests/viewer/ViewerEvents.h"
#include "tests/viewer/ViewerFixture.h"
#include "trace/EtwWriter.h"
#include "viewer/LogReader.h"

#include <dbghelp.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <optional>
#include <regex>
#include <set>
#include <utility>

namespace {

// The test module, loaded into this process so that its real load address and size
// go into the image event, as a product component would log them.
struct LoadedModule : Testing::ModuleImage {
    std::string pathText;

    uint64_t Address(const char* function, uint64_t offset = 1) const { return base + ExportOffset(function) + offset; }
};

LoadedModule LoadSymbolModule()
{
    LoadedModule module{Testing::LoadModuleImage(Testing::SiblingExecutable(L"viewer_symbol_module.dll")), {}};
    module.pathText = module.path.string();
    return module;
}

// A process id of each test's own, 4242 for the first; no such process needs to exist.
// dbghelp keeps what it has loaded for an id while this process lives, and every test
// may run in the one process.
ULONG NextLoggedProcess()
{
    static ULONG next = 4240;
    next += 2;
    return next;
}

// The product's dbghelp functions, as the tests hand them over: wrappers that count and
// record the calls and can fail them, or nothing at all for a hidden export (an older or
// stripped library).
Platform::ModuleApi realModules;
std::set<std::string> hiddenExports;

decltype(&::SymInitialize) realSymInitialize = nullptr;
std::vector<HANDLE> initialised;
DWORD symInitializeFailure = 0; // non-zero: SymInitialize fails with it

BOOL WINAPI CountingSymInitialize(HANDLE process, PCSTR path, BOOL invade)
{
    initialised.push_back(process);
    if (symInitializeFailure != 0) {
        ::SetLastError(symInitializeFailure);
        return FALSE;
    }
    return realSymInitialize(process, path, invade);
}

decltype(&::SymRegisterCallback64) realRegisterCallback = nullptr;
DWORD registerCallbackFailure = 0; // non-zero: SymRegisterCallback64 fails with it

BOOL WINAPI FailableRegisterCallback(HANDLE process, PSYMBOL_REGISTERED_CALLBACK64 callback, ULONG64 context)
{
    if (registerCallbackFailure != 0) {
        ::SetLastError(registerCallbackFailure);
        return FALSE;
    }
    return realRegisterCallback(process, callback, context);
}

// One SymLoadModuleEx call as the product made it.
struct ModuleLoad {
    HANDLE process = nullptr;
    HANDLE file = nullptr;
    std::string imageName;
    bool hasModuleName = false;
    DWORD64 base = 0;
    DWORD size = 0;
    bool hasData = false;
    MODLOAD_DATA data{};
    std::vector<uint8_t> dataBytes; // what data.data points to
    DWORD flags = 0;
};
decltype(&::SymLoadModuleEx) realLoadModule = nullptr;
std::vector<ModuleLoad> moduleLoads;
// When set: the result and last error SymLoadModuleEx answers instead of loading.
std::optional<std::pair<DWORD64, DWORD>> fakedLoad;

DWORD64 WINAPI RecordingLoadModule(HANDLE process, HANDLE file, PCSTR imageName, PCSTR moduleName, DWORD64 base,
                                   DWORD size, PMODLOAD_DATA data, DWORD flags)
{
    ModuleLoad load;
    load.process = process;
    load.file = file;
    load.imageName = imageName != nullptr ? imageName : "";
    load.hasModuleName = moduleName != nullptr;
    load.base = base;
    load.size = size;
    load.hasData = data != nullptr;
    if (data != nullptr) {
        load.data = *data;
        const auto* bytes = static_cast<const uint8_t*>(data->data);
        load.dataBytes.assign(bytes, bytes + data->size);
    }
    load.flags = flags;
    moduleLoads.push_back(load);
    if (fakedLoad) {
        ::SetLastError(fakedLoad->second);
        return fakedLoad->first;
    }
    return realLoadModule(process, file, imageName, moduleName, base, size, data, flags);
}

template <typename Function> FARPROC Exported(Function function)
{
    return reinterpret_cast<FARPROC>(reinterpret_cast<void*>(function));
}

template <typename Function> void KeepReal(Function& keep, FARPROC real)
{
    keep = reinterpret_cast<Function>(reinterpret_cast<void*>(real));
}

FARPROC WINAPI WrappingGetProcAddress(HMODULE module, LPCSTR name)
{
    if (hiddenExports.count(name) != 0) {
        ::SetLastError(ERROR_PROC_NOT_FOUND);
        return nullptr;
    }
    const FARPROC real = realModules.GetProcAddress(module, name);
    if (real == nullptr) {
        return real;
    }
    if (std::strcmp(name, "SymInitialize") == 0) {
        KeepReal(realSymInitialize, real);
        return Exported(CountingSymInitialize);
    }
    if (std::strcmp(name, "SymRegisterCallback64") == 0) {
        KeepReal(realRegisterCallback, real);
        return Exported(FailableRegisterCallback);
    }
    if (std::strcmp(name, "SymLoadModuleEx") == 0) {
        KeepReal(realLoadModule, real);
        return Exported(RecordingLoadModule);
    }
    return real;
}

class CallStacks : public Testing::ViewerTest {
protected:
    CallStacks() : modules(Platform::Module())
    {
        realModules = *modules;
        modules->GetProcAddress = WrappingGetProcAddress;
        // What an earlier test in this process hid, failed or recorded stays behind.
        hiddenExports.clear();
        initialised.clear();
        symInitializeFailure = 0;
        registerCallbackFailure = 0;
        moduleLoads.clear();
        fakedLoad.reset();
    }

    void SetUp() override
    {
        // An empty log through VIEW: the symbol options and the manifest, as a real run has them.
        options.callstack = 1;
        const std::wstring empty = (temp.Path() / L"empty.etl").wstring();
        consumer.AddLogFile(empty, {});
        ASSERT_EQ(0u, Viewer::ViewLogFile(empty, options));
        capture.Clear();
        module = LoadSymbolModule();
        ASSERT_NE(nullptr, module.handle);
        ASSERT_FALSE(module.debugDirectories.empty());
    }

    Testing::ImageFields Image() const
    {
        Testing::ImageFields image;
        image.fileName = module.pathText;
        image.debug = Testing::EncodeBase64(module.debugDirectories);
        image.base = module.base;
        image.size = module.size;
        return image;
    }

    void RenderImage(const Testing::ImageFields& image) { RenderImage(image, loggedProcess); }

    void RenderImage(const Testing::ImageFields& image, ULONG process)
    {
        Render(Testing::ImageEvent(image).Process(process, 7).Build().record);
    }

    void RenderStack(const std::vector<uint64_t>& frames)
    {
        Render(Testing::OperationalEvent(1, 2014).Process(loggedProcess, 7).StackTrace64(1, frames).Build().record);
    }

    // The frame lines after the event's own lines.
    std::vector<std::wstring> FrameLines() const
    {
        std::vector<std::wstring> lines;
        std::wstring text = capture.WideOut();
        const size_t stack = text.find(L"Stack\n");
        text = stack == std::wstring::npos ? std::wstring() : text.substr(stack + 6);
        for (size_t start = 0; start < text.size();) {
            const size_t end = text.find(L'\n', start);
            lines.push_back(text.substr(start, end - start));
            start = end == std::wstring::npos ? text.size() : end + 1;
        }
        return lines;
    }

    std::wstring ModulePath() const { return std::filesystem::path(module.pathText).wstring(); }

    // " app(<process>:7) ", as the header of the test's events reads.
    std::wstring Source() const { return L" app(" + std::to_wstring(loggedProcess) + L":7) "; }

    const ULONG loggedProcess = NextLoggedProcess();
    const ULONG otherProcess = loggedProcess + 1;
    Testing::ScopedApi<Platform::ModuleApi> modules;
    LoadedModule module;
};

bool IsFrame(const std::wstring& line, const wchar_t* function)
{
    return std::regex_match(line, std::wregex(L"   " + std::wstring(function) + L" in SymbolModule\\.cpp line [0-9]+"));
}

TEST_F(CallStacks, ImageLineShowsFileVersionAndMachine)
{
    RenderImage(Image());
    EXPECT_EQ(L"{0F}" + DefaultTimestamp() + Source() + L"Image {08}" + ModulePath() + L" 1.2.3.4 (AMD64)\n{07}",
              Coloured());
    const auto lines = TraceLines();
    ASSERT_FALSE(lines.empty());
    char expected[200];
    std::snprintf(expected, sizeof(expected), "   INFO : Loaded [%s] between [0x%016llx] and [0x%016llx] size [%lu]",
                  module.pathText.c_str(), static_cast<unsigned long long>(module.base),
                  static_cast<unsigned long long>(module.base + module.size), static_cast<unsigned long>(module.size));
    EXPECT_EQ(expected, lines[lines.size() - 2]);
    EXPECT_EQ("   EXIT : LoadImageSymbols", lines.back());
}

TEST_F(CallStacks, FramesAfterTheLoggingMachineryResolveToNames)
{
    RenderImage(Image());
    // A "Trace_" frame first does not count; the one at position 2 does.
    RenderStack({module.Address("Trace_Write"), module.Address("OuterWork"), module.Address("Trace_Write"),
                 module.Address("InnerWork"), module.Address("OuterWork"), 0x1234});
    const auto frames = FrameLines();
    ASSERT_EQ(3u, frames.size());
    EXPECT_TRUE(IsFrame(frames[0], L"InnerWork")) << std::filesystem::path(frames[0]).string();
    EXPECT_TRUE(IsFrame(frames[1], L"OuterWork")) << std::filesystem::path(frames[1]).string();
    EXPECT_EQ(L"   0x1234", frames[2]);
    const auto lines = TraceLines();
    EXPECT_TRUE(std::regex_match(lines.back(), std::regex("  ERROR : Failed to load symbol at address "
                                                          "\\[0x0000000000001234\\] with error \\[[0-9]+\\]")))
        << lines.back();
}

TEST_F(CallStacks, FileAndLineComeFromTheDebugInformation)
{
    RenderImage(Image());
    RenderStack({module.Address("InnerWork", 0)});
    const auto frames = FrameLines();
    ASSERT_EQ(1u, frames.size());
    EXPECT_TRUE(std::regex_match(frames[0], std::wregex(L"   InnerWork in SymbolModule\\.cpp line 1[0-9]")))
        << std::filesystem::path(frames[0]).string();
}

TEST_F(CallStacks, LimitCountsFramesAfterTheMachinery)
{
    options.frameLimit = 1;
    RenderImage(Image());
    RenderStack({0x10, module.Address("Trace_Write"), module.Address("InnerWork"), module.Address("OuterWork")});
    const auto frames = FrameLines();
    ASSERT_EQ(1u, frames.size());
    EXPECT_TRUE(IsFrame(frames[0], L"InnerWork"));
}

TEST_F(CallStacks, WithoutMachineryEveryFrameShowsAndTheLimitAllowsOneMore)
{
    RenderImage(Image());
    RenderStack({module.Address("Trace_Write"), module.Address("InnerWork"), module.Address("OuterWork"), 0x20});
    auto frames = FrameLines();
    ASSERT_EQ(4u, frames.size());
    EXPECT_TRUE(IsFrame(frames[0], L"Trace_Write"));
    EXPECT_EQ(L"   0x20", frames[3]);
    capture.Clear();
    options.frameLimit = 1;
    RenderStack({0x30, module.Address("InnerWork"), module.Address("OuterWork"), 0x40});
    frames = FrameLines();
    ASSERT_EQ(2u, frames.size());
    EXPECT_EQ(L"   0x30", frames[0]);
    EXPECT_TRUE(IsFrame(frames[1], L"InnerWork"));
}

TEST_F(CallStacks, ThirtyTwoBitStacksAndStacksWithoutACompleteAddress)
{
    RenderImage(Image());
    capture.Clear();
    Render(Testing::OperationalEvent(1, 2014).Process(loggedProcess, 7).StackTrace32(1, {0x50, 0x60}).Build().record);
    EXPECT_EQ((std::vector<std::wstring>{L"   0x50", L"   0x60"}), FrameLines());
    capture.Clear();
    const uint8_t partial[12] = {1, 0, 0, 0, 0, 0, 0, 0, 0x70, 0, 0, 0};
    Render(Testing::OperationalEvent(1, 2014)
               .Process(loggedProcess, 7)
               .ExtendedItem(EVENT_HEADER_EXT_TYPE_STACK_TRACE64, partial, sizeof(partial))
               .Build()
               .record);
    EXPECT_TRUE(FrameLines().empty());
    capture.Clear();
    Render(Testing::OperationalEvent(1, 2014)
               .Process(loggedProcess, 7)
               .ExtendedItem(EVENT_HEADER_EXT_TYPE_STACK_TRACE32, partial, 4)
               .Build()
               .record);
    EXPECT_TRUE(FrameLines().empty());
}

TEST_F(CallStacks, SymbolHandlerIsSetUpOncePerProcess)
{
    RenderImage(Image());
    RenderImage(Image());
    RenderImage(Image(), otherProcess);
    EXPECT_EQ((std::vector<HANDLE>{reinterpret_cast<HANDLE>(uintptr_t{loggedProcess}),
                                   reinterpret_cast<HANDLE>(uintptr_t{otherProcess})}),
              initialised);
}

TEST_F(CallStacks, EmptyDebugTextShowsTheImageButLoadsNothing)
{
    Testing::ImageFields image = Image();
    image.debug.clear();
    image.machine = 0x1C4;
    RenderImage(image);
    EXPECT_EQ(L"{0F}" + DefaultTimestamp() + Source() + L"Image {08}" + ModulePath() + L" 1.2.3.4 (452)\n{07}",
              Coloured());
    EXPECT_EQ("WARNING : Debug info for module [" + module.pathText + "] was empty",
              TraceLines().at(TraceLines().size() - 2));
    capture.Clear();
    RenderStack({module.Address("InnerWork")});
    EXPECT_EQ(1u, FrameLines().size());
    EXPECT_EQ(0u, FrameLines()[0].find(L"   0x"));
}

TEST_F(CallStacks, MachineNames)
{
    EXPECT_EQ(L" (x86)", Viewer::MachineSuffix(0x14C));
    EXPECT_EQ(L" (AMD64)", Viewer::MachineSuffix(0x8664));
    EXPECT_EQ(L"", Viewer::MachineSuffix(0));
    EXPECT_EQ(L" (452)", Viewer::MachineSuffix(0x1C4));
}

TEST_F(CallStacks, NoVersionAndNoMachine)
{
    Testing::ImageFields image = Image();
    image.version.clear();
    image.machine = 0;
    RenderImage(image);
    EXPECT_EQ(L"{0F}" + DefaultTimestamp() + Source() + L"Image {08}" + ModulePath() + L"\n{07}", Coloured());
}

TEST_F(CallStacks, ThirtyTwoBitProducerLogsAFourByteBase)
{
    Testing::ImageFields image = Image();
    image.pointerSize = 4;
    image.base = 0x10000000;
    RenderImage(image);
    const auto lines = TraceLines();
    EXPECT_EQ(0u,
              lines.at(lines.size() - 2).find("   INFO : Loaded [" + module.pathText + "] between [0x0000000010000000]"));
}

TEST_F(CallStacks, SizesThatDisagreeWithTheTemplateAreInvalidData)
{
    tdh.OverridePropertySize(L"size", 8);
    RenderImage(Image());
    EXPECT_EQ("  ERROR : Failed to locate size for module [" + module.pathText + "] with error [13]",
              TraceLines().at(TraceLines().size() - 2));
}

TEST_F(CallStacks, BaseOfAnOddSizeIsInvalidData)
{
    tdh.OverridePropertySize(L"base", 6);
    RenderImage(Image());
    EXPECT_EQ("  ERROR : Failed to locate base address for module [" + module.pathText + "] with error [13]",
              TraceLines().at(TraceLines().size() - 2));
}

TEST_F(CallStacks, InvalidDebugTextIsCaught)
{
    Testing::ImageFields image = Image();
    image.debug = "**";
    RenderImage(image);
    EXPECT_EQ("  ERROR : Failed to load symbols for module [" + module.pathText +
                  "] error [Input is not valid base64-encoded data.]",
              TraceLines().at(TraceLines().size() - 2));
}

TEST_F(CallStacks, MissingFileNameStopsBeforeTheImageLine)
{
    Render(
        Testing::EventRecordBuilder(Trace::ProviderGuid, 2020, 1, 4).Task(1).Process(loggedProcess, 7).Build().record);
    EXPECT_EQ(L"", capture.WideOut());
}

TEST_F(CallStacks, MissingDebugFieldIsTraced)
{
    Render(Testing::EventRecordBuilder(Trace::ProviderGuid, 2020, 1, 4)
               .Task(1)
               .Process(loggedProcess, 7)
               .Narrow("C:\\m.dll")
               .Build()
               .record);
    EXPECT_EQ("  ERROR : Failed to locate debug info for module [C:\\m.dll] with error [15005]",
              TraceLines().at(TraceLines().size() - 2));
}

TEST_F(CallStacks, BelowInfoImageEventsAreDroppedAndStacksStayBare)
{
    options.level = 3;
    RenderImage(Image());
    EXPECT_EQ(L"", capture.WideOut());
    RenderStack({module.Address("InnerWork")});
    const auto frames = FrameLines();
    ASSERT_EQ(1u, frames.size());
    EXPECT_EQ(0u, frames[0].find(L"   0x"));
}

TEST_F(CallStacks, ModuleIsLoadedUnderTheProcessIdWithItsDebugDirectories)
{
    RenderImage(Image());
    ASSERT_EQ(1u, moduleLoads.size());
    const ModuleLoad& load = moduleLoads[0];
    EXPECT_EQ(reinterpret_cast<HANDLE>(uintptr_t{loggedProcess}), load.process);
    EXPECT_EQ(nullptr, load.file);
    EXPECT_EQ(module.pathText, load.imageName);
    EXPECT_FALSE(load.hasModuleName);
    EXPECT_EQ(module.base, load.base);
    EXPECT_EQ(module.size, load.size);
    ASSERT_TRUE(load.hasData);
    EXPECT_EQ(24u, load.data.ssize);
    EXPECT_EQ(static_cast<DWORD>(DBHHEADER_DEBUGDIRS), load.data.ssig);
    EXPECT_EQ(module.debugDirectories.size(), load.data.size);
    EXPECT_EQ(module.debugDirectories, load.dataBytes);
    EXPECT_EQ(0u, load.data.flags);
    EXPECT_EQ(0u, load.flags);
}

TEST_F(CallStacks, ALoadThatFailsIsTraced)
{
    fakedLoad = std::make_pair(DWORD64{0}, DWORD{ERROR_FILE_NOT_FOUND});
    RenderImage(Image());
    const auto lines = TraceLines();
    EXPECT_EQ("  ERROR : Failed to load module [" + module.pathText + "] with error [2]", lines.at(lines.size() - 2));
}

TEST_F(CallStacks, AnotherAddressWithoutAnErrorCountsAsLoaded)
{
    // dbghelp answers 0 and leaves no error for a module it already holds.
    fakedLoad = std::make_pair(DWORD64{0}, DWORD{ERROR_SUCCESS});
    RenderImage(Image());
    const auto lines = TraceLines();
    EXPECT_EQ(0u, lines.at(lines.size() - 2).find("   INFO : Loaded [" + module.pathText + "] between ["));
}

TEST_F(CallStacks, SymInitializeThatCannotBeHadIsTracedOnce)
{
    hiddenExports.insert("SymInitialize");
    RenderImage(Image());
    RenderImage(Image());
    const auto lines = TraceLines();
    // The callback is still registered (and fails however the library answers for a
    // process it never set up).
    EXPECT_EQ((std::vector<std::string>{
                  "  ENTER : LoadImageSymbols",
                  "VERBOSE : Module [dbghelp.dll] loaded, but could not locate method [SymInitialize] with error [127]",
                  "  ERROR : SymInitialize was unavailable",
                  "VERBOSE : Module [dbghelp.dll] method [SymRegisterCallback64] loaded successfully",
              }),
              std::vector<std::string>(lines.begin(), lines.begin() + 4));
    EXPECT_EQ(1, std::count(lines.begin(), lines.end(), "  ERROR : SymInitialize was unavailable"));
    // The image line still shows, twice.
    const std::wstring line =
        L"{0F}" + DefaultTimestamp() + Source() + L"Image {08}" + ModulePath() + L" 1.2.3.4 (AMD64)\n{07}";
    EXPECT_EQ(line + line, Coloured());
}

TEST_F(CallStacks, SymInitializeFailureIsTracedAndTheCallbackStillRegistered)
{
    symInitializeFailure = ERROR_ACCESS_DENIED;
    RenderImage(Image());
    const auto lines = TraceLines();
    EXPECT_EQ("  ERROR : Failed to initialise symbols for process [" + std::to_string(loggedProcess) +
                  "] with error [5]",
              lines.at(2));
    EXPECT_EQ("VERBOSE : Module [dbghelp.dll] method [SymRegisterCallback64] loaded successfully", lines.at(3));
}

TEST_F(CallStacks, SymRegisterCallbackThatCannotBeHadIsTraced)
{
    hiddenExports.insert("SymRegisterCallback64");
    RenderImage(Image());
    const auto lines = TraceLines();
    EXPECT_EQ("  ERROR : SymRegisterCallback64 was unavailable", lines.at(3));
}

TEST_F(CallStacks, SymRegisterCallbackFailureIsTracedOncePerProcess)
{
    registerCallbackFailure = ERROR_INVALID_PARAMETER;
    RenderImage(Image());
    RenderImage(Image());
    const auto lines = TraceLines();
    const std::string failure = "  ERROR : Failed to initialise symbol callback for process [" +
                                std::to_string(loggedProcess) + "] with error [87]";
    EXPECT_EQ(failure, lines.at(3));
    EXPECT_EQ(1, std::count(lines.begin(), lines.end(), failure));
}

TEST_F(CallStacks, SymLoadModuleExThatCannotBeHadStopsAfterTheImageLine)
{
    hiddenExports.insert("SymLoadModuleEx");
    RenderImage(Image());
    EXPECT_EQ(L"{0F}" + DefaultTimestamp() + Source() + L"Image {08}" + ModulePath() + L" 1.2.3.4 (AMD64)\n{07}",
              Coloured());
    const auto lines = TraceLines();
    EXPECT_EQ(
        (std::vector<std::string>{
            "VERBOSE : Module [dbghelp.dll] loaded, but could not locate method [SymLoadModuleEx] with error [127]",
            "  ERROR : SymLoadModuleEx was unavailable", "   EXIT : LoadImageSymbols"}),
        std::vector<std::string>(lines.end() - 3, lines.end()));
}

TEST_F(CallStacks, WithoutSymGetLineFromAddrFramesShowNamesOnly)
{
    hiddenExports.insert("SymGetLineFromAddr64");
    RenderImage(Image());
    RenderStack({module.Address("InnerWork"), module.Address("OuterWork")});
    EXPECT_EQ((std::vector<std::wstring>{L"   InnerWork", L"   OuterWork"}), FrameLines());
}

TEST_F(CallStacks, WithoutSymFromAddrNoFramesPrint)
{
    hiddenExports.insert("SymFromAddr");
    RenderImage(Image());
    capture.Clear();
    console.ClearChanges();
    RenderStack({module.Address("InnerWork"), 0x1234});
    EXPECT_EQ(L"{0C}" + DefaultTimestamp() + Source() + L"Error {08}Name : Message Args\nStack\n{07}", Coloured());
}

TEST_F(CallStacks, AFrameSaysWhetherItIsTheLoggingMachinery)
{
    RenderImage(Image());
    capture.Clear();
    const Testing::RecordedEvent event = Testing::OperationalEvent(1, 2014).Process(loggedProcess, 7).Build();
    EXPECT_TRUE(Viewer::PrintStackFrame(event.record, module.Address("Trace_Write"), false));
    EXPECT_FALSE(Viewer::PrintStackFrame(event.record, module.Address("InnerWork"), false));
    EXPECT_FALSE(Viewer::PrintStackFrame(event.record, 0x1234, false));
    EXPECT_EQ(L"", capture.WideOut());
    EXPECT_TRUE(Viewer::PrintStackFrame(event.record, module.Address("Trace_Write"), true));
    EXPECT_TRUE(IsFrame(capture.WideOut().substr(0, capture.WideOut().size() - 1), L"Trace_Write"));
}

TEST_F(CallStacks, UnresolvedAddressesPrintInLowerCaseHexWithoutPadding)
{
    RenderStack({0xABCDEF12, 0x7FF6ABCD0000});
    EXPECT_EQ((std::vector<std::wstring>{L"   0xabcdef12", L"   0x7ff6abcd0000"}), FrameLines());
    const auto lines = TraceLines();
    EXPECT_TRUE(std::regex_match(lines.back(), std::regex("  ERROR : Failed to load symbol at address "
                                                          "\\[0x00007ff6abcd0000\\] with error \\[[0-9]+\\]")))
        << lines.back();
}

TEST(SymbolCallback, WritesEventAndDebugTextsAndDeclinesTheRest)
{
    Testing::OutputCapture capture;
    char text[] = "search path\n";
    IMAGEHLP_CBA_EVENT event{};
    event.desc = text;
    EXPECT_EQ(TRUE, Viewer::SymbolCallback(nullptr, CBA_EVENT, reinterpret_cast<ULONG64>(&event), 0));
    EXPECT_EQ(TRUE, Viewer::SymbolCallback(nullptr, CBA_DEBUG_INFO, reinterpret_cast<ULONG64>("debug\n"), 0));
    EXPECT_EQ(FALSE, Viewer::SymbolCallback(nullptr, CBA_DEFERRED_SYMBOL_LOAD_START, 0, 0));
    EXPECT_EQ("search path\ndebug\n", capture.Out());
}

// The texts name the modules of the log, so they are escaped as the log's text is, line
// feeds kept.
TEST(SymbolCallback, EscapesControlCharacters)
{
    Testing::OutputCapture capture;
    char text[] = "loading C:\\m\x1B[2J.dll\r\n";
    IMAGEHLP_CBA_EVENT event{};
    event.desc = text;
    Viewer::SymbolCallback(nullptr, CBA_EVENT, reinterpret_cast<ULONG64>(&event), 0);
    Viewer::SymbolCallback(nullptr, CBA_DEBUG_INFO, reinterpret_cast<ULONG64>("\x07x\n"), 0);
    EXPECT_EQ("loading C:\\m\\u001B[2J.dll\\u000D\n\\u0007x\n", capture.Out());
}

} // namespace
