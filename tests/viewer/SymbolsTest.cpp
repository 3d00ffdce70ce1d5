#include "viewer/Symbols.h"
#include "platform/ModuleApi.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/ScopedApi.h"
#include "tests/viewer/ViewerEvents.h"
#include "tests/viewer/ViewerFixture.h"
#include "trace/EtwWriter.h"
#include "viewer/LogReader.h"

#include <dbghelp.h>
#include <gtest/gtest.h>

#include <cstring>
#include <regex>

namespace {

std::string EncodeBase64(const std::vector<uint8_t>& bytes)
{
    static const char alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    for (size_t index = 0; index < bytes.size(); index += 3) {
        const uint32_t group = (bytes[index] << 16) | (index + 1 < bytes.size() ? bytes[index + 1] << 8 : 0) |
                               (index + 2 < bytes.size() ? bytes[index + 2] : 0);
        text += alphabet[(group >> 18) & 63];
        text += alphabet[(group >> 12) & 63];
        text += index + 1 < bytes.size() ? alphabet[(group >> 6) & 63] : '=';
        text += index + 2 < bytes.size() ? alphabet[group & 63] : '=';
    }
    return text;
}

// The test module, loaded into this process so that its real load address and size
// go into the image event, as a product component would log them.
struct LoadedModule {
    HMODULE handle = nullptr;
    std::string path;
    uint64_t base = 0;
    uint32_t size = 0;
    std::vector<uint8_t> debugDirectories; // the entries, then the data each describes

    uint64_t Address(const char* function, uint64_t offset = 1) const
    {
        return reinterpret_cast<uint64_t>(::GetProcAddress(handle, function)) + offset;
    }
};

LoadedModule LoadSymbolModule()
{
    LoadedModule module;
    const std::filesystem::path path = Testing::SiblingExecutable(L"viewer_symbol_module.dll");
    module.handle = ::LoadLibraryW(path.c_str());
    module.path = path.string();
    module.base = reinterpret_cast<uint64_t>(module.handle);
    const auto* image = reinterpret_cast<const uint8_t*>(module.handle);
    const auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(image);
    const auto* nt = reinterpret_cast<const IMAGE_NT_HEADERS64*>(image + dos->e_lfanew);
    module.size = nt->OptionalHeader.SizeOfImage;
    const IMAGE_DATA_DIRECTORY& debug = nt->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_DEBUG];
    const auto* entries = reinterpret_cast<const IMAGE_DEBUG_DIRECTORY*>(image + debug.VirtualAddress);
    const size_t count = debug.Size / sizeof(IMAGE_DEBUG_DIRECTORY);
    module.debugDirectories.assign(reinterpret_cast<const uint8_t*>(entries),
                                   reinterpret_cast<const uint8_t*>(entries + count));
    for (size_t index = 0; index < count; ++index) {
        const uint8_t* data = image + entries[index].AddressOfRawData;
        module.debugDirectories.insert(module.debugDirectories.end(), data, data + entries[index].SizeOfData);
    }
    return module;
}

constexpr ULONG loggedProcess = 4242; // no such process needs to exist

// Counts SymInitialize calls by handing the product a counting wrapper.
Platform::ModuleApi realModules;
decltype(&::SymInitialize) realSymInitialize = nullptr;
std::vector<HANDLE> initialised;

BOOL WINAPI CountingSymInitialize(HANDLE process, PCSTR path, BOOL invade)
{
    initialised.push_back(process);
    return realSymInitialize(process, path, invade);
}

FARPROC WINAPI WrappingGetProcAddress(HMODULE module, LPCSTR name)
{
    const FARPROC real = realModules.GetProcAddress(module, name);
    if (real != nullptr && std::strcmp(name, "SymInitialize") == 0) {
        realSymInitialize = reinterpret_cast<decltype(&::SymInitialize)>(reinterpret_cast<void*>(real));
        return reinterpret_cast<FARPROC>(reinterpret_cast<void*>(CountingSymInitialize));
    }
    return real;
}

class CallStacks : public Testing::ViewerTest {
protected:
    CallStacks() : modules(Platform::Module())
    {
        realModules = *modules;
        modules->GetProcAddress = WrappingGetProcAddress;
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
        image.fileName = module.path;
        image.debug = EncodeBase64(module.debugDirectories);
        image.base = module.base;
        image.size = module.size;
        return image;
    }

    void RenderImage(const Testing::ImageFields& image, ULONG process = loggedProcess)
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

    std::wstring ModulePath() const { return std::filesystem::path(module.path).wstring(); }

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
    EXPECT_EQ(L"{0F}" + DefaultTimestamp() + L" app(4242:7) Image {08}" + ModulePath() + L" 1.2.3.4 (AMD64)\n{07}",
              Coloured());
    const auto lines = TraceLines();
    ASSERT_FALSE(lines.empty());
    char expected[200];
    std::snprintf(expected, sizeof(expected), "   INFO : Loaded [%s] between [0x%016llx] and [0x%016llx] size [%lu]",
                  module.path.c_str(), static_cast<unsigned long long>(module.base),
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
    RenderImage(Image(), 5151);
    EXPECT_EQ((std::vector<HANDLE>{reinterpret_cast<HANDLE>(uintptr_t{loggedProcess}),
                                   reinterpret_cast<HANDLE>(uintptr_t{5151})}),
              initialised);
}

TEST_F(CallStacks, EmptyDebugTextShowsTheImageButLoadsNothing)
{
    Testing::ImageFields image = Image();
    image.debug.clear();
    image.machine = 0x1C4;
    RenderImage(image);
    EXPECT_EQ(L"{0F}" + DefaultTimestamp() + L" app(4242:7) Image {08}" + ModulePath() + L" 1.2.3.4 (452)\n{07}",
              Coloured());
    EXPECT_EQ("WARNING : Debug info for module [" + module.path + "] was empty",
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
    EXPECT_EQ(L"{0F}" + DefaultTimestamp() + L" app(4242:7) Image {08}" + ModulePath() + L"\n{07}", Coloured());
}

TEST_F(CallStacks, ThirtyTwoBitProducerLogsAFourByteBase)
{
    Testing::ImageFields image = Image();
    image.pointerSize = 4;
    image.base = 0x10000000;
    RenderImage(image);
    const auto lines = TraceLines();
    EXPECT_EQ(0u,
              lines.at(lines.size() - 2).find("   INFO : Loaded [" + module.path + "] between [0x0000000010000000]"));
}

TEST_F(CallStacks, SizesThatDisagreeWithTheTemplateAreInvalidData)
{
    tdh.OverridePropertySize(L"size", 8);
    RenderImage(Image());
    EXPECT_EQ("  ERROR : Failed to locate size for module [" + module.path + "] with error [13]",
              TraceLines().at(TraceLines().size() - 2));
}

TEST_F(CallStacks, BaseOfAnOddSizeIsInvalidData)
{
    tdh.OverridePropertySize(L"base", 6);
    RenderImage(Image());
    EXPECT_EQ("  ERROR : Failed to locate base address for module [" + module.path + "] with error [13]",
              TraceLines().at(TraceLines().size() - 2));
}

TEST_F(CallStacks, InvalidDebugTextIsCaught)
{
    Testing::ImageFields image = Image();
    image.debug = "**";
    RenderImage(image);
    EXPECT_EQ("  ERROR : Failed to load symbols for module [" + module.path +
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

} // namespace
