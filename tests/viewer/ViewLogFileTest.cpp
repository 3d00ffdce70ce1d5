#include "platform/ModuleApi.h"
#include "tests/support/ScopedApi.h"
#include "tests/viewer/ViewerEvents.h"
#include "tests/viewer/ViewerFixture.h"
#include "viewer/LogReader.h"

#include <dbghelp.h>
#include <gtest/gtest.h>

#include <cwctype>
#include <string_view>

namespace {

class ViewLogFile : public Testing::ViewerTest {
protected:
    ViewLogFile() : modules(Platform::Module())
    {
        savedModules = *modules;
        modules->LoadLibraryExW = CountingLoad;
        modules->GetProcAddress = HidingGetProcAddress;
        dbghelpLoads = 0;
        hiddenExport.clear();
        dbghelpMissing = false;
        recordSymbolOptions = false;
        symbolOptionSets.clear();
        path = (temp.Path() / L"x.etl").wstring();
    }

    static bool IsDbgHelp(LPCWSTR name)
    {
        std::wstring lower(name);
        for (wchar_t& character : lower) {
            character = static_cast<wchar_t>(std::towlower(character));
        }
        return lower == L"dbghelp.dll";
    }

    static HMODULE WINAPI CountingLoad(LPCWSTR name, HANDLE file, DWORD flags)
    {
        if (IsDbgHelp(name)) {
            ++dbghelpLoads;
            loadFlags = flags;
            if (dbghelpMissing) {
                ::SetLastError(ERROR_MOD_NOT_FOUND);
                return nullptr;
            }
        }
        return savedModules.LoadLibraryExW(name, file, flags);
    }

    static FARPROC WINAPI HidingGetProcAddress(HMODULE module, LPCSTR name)
    {
        if (!hiddenExport.empty() && hiddenExport == name) {
            ::SetLastError(ERROR_PROC_NOT_FOUND);
            return nullptr;
        }
        if (recordSymbolOptions && std::string_view(name) == "SymGetOptions") {
            return reinterpret_cast<FARPROC>(reinterpret_cast<void*>(CurrentSymbolOptions));
        }
        if (recordSymbolOptions && std::string_view(name) == "SymSetOptions") {
            return reinterpret_cast<FARPROC>(reinterpret_cast<void*>(RecordSymbolOptions));
        }
        return savedModules.GetProcAddress(module, name);
    }

    // The options a library would already have (deferred loads, exact symbols), and
    // every set the product makes on top of them.
    static DWORD WINAPI CurrentSymbolOptions() { return SYMOPT_DEFERRED_LOADS | SYMOPT_EXACT_SYMBOLS; }
    static DWORD WINAPI RecordSymbolOptions(DWORD symbolOptions)
    {
        symbolOptionSets.push_back(symbolOptions);
        return symbolOptions;
    }

    static inline Platform::ModuleApi savedModules{};
    static inline int dbghelpLoads = 0;
    static inline DWORD loadFlags = 0;
    static inline std::string hiddenExport;
    static inline bool dbghelpMissing = false;
    static inline bool recordSymbolOptions = false;
    static inline std::vector<DWORD> symbolOptionSets;

    // VIEW of an empty log with the two options as given, against a dbghelp whose
    // current options are known; every value the product set them to.
    std::vector<DWORD> SymbolOptionsSet(uint32_t callstack, uint32_t symbols)
    {
        recordSymbolOptions = true;
        options.callstack = callstack;
        options.symbols = symbols;
        consumer.AddLogFile(path, {});
        EXPECT_EQ(0u, Viewer::ViewLogFile(path, options));
        return symbolOptionSets;
    }

    Testing::ScopedApi<Platform::ModuleApi> modules;
    std::wstring path;
};

// The options of the dbghelp the product loaded (they are process-wide in the library).
DWORD LoadedSymbolOptions()
{
    const HMODULE dbghelp = ::GetModuleHandleW(L"dbghelp.dll");
    if (dbghelp == nullptr) {
        return 0;
    }
    const auto get = reinterpret_cast<decltype(&::SymGetOptions)>(
        reinterpret_cast<void*>(::GetProcAddress(dbghelp, "SymGetOptions")));
    return get != nullptr ? get() : 0;
}

std::vector<Testing::RecordedEvent> TwoEvents()
{
    std::vector<Testing::RecordedEvent> events;
    events.push_back(Testing::OperationalEvent(1, 2012).Build());
    Testing::OperationalFields second;
    second.message = L"second";
    events.push_back(Testing::OperationalEvent(2, 2013, second).Build());
    return events;
}

TEST_F(ViewLogFile, MissingFileIsReportedWithTwo)
{
    options.level = 4;
    EXPECT_EQ(2u, Viewer::ViewLogFile(path, options));
    EXPECT_EQ(L"Unable to find file \"" + path + L"\".\n", capture.WideOut());
    EXPECT_EQ((std::vector<std::string>{"  ENTER : ViewLogFile", "  ERROR : OpenTrace with file [" +
                                                                     std::filesystem::path(path).string() +
                                                                     "] failed with error [2]"}),
              TraceLines());
    // The manifest is loaded only for a file that opened.
    EXPECT_TRUE(tdh.ManifestLoads().empty());
    EXPECT_TRUE(consumer.Closes().empty());
}

TEST_F(ViewLogFile, OtherOpenErrorsAreUnexpected)
{
    consumer.FailOpenTrace(ERROR_ACCESS_DENIED);
    EXPECT_EQ(5u, Viewer::ViewLogFile(path, options));
    EXPECT_EQ(L"Unexpected error when opening file \"" + path + L"\".\n", capture.WideOut());
}

TEST_F(ViewLogFile, MissingDirectoryIsUnexpectedToo)
{
    EXPECT_EQ(3u, Viewer::ViewLogFile(L"C:\\no\\such\\file.etl", options));
    EXPECT_EQ(L"Unexpected error when opening file \"C:\\no\\such\\file.etl\".\n", capture.WideOut());
}

TEST_F(ViewLogFile, EventsArePrintedInFileOrderAndTheTraceClosed)
{
    consumer.AddLogFile(path, TwoEvents());
    EXPECT_EQ(0u, Viewer::ViewLogFile(path, options));
    const std::wstring header = L"{0F}" + DefaultTimestamp() + L" app(1000:2000) Information {08}";
    EXPECT_EQ(header + L"Name : Message Args\n{07}{0E}" + DefaultTimestamp() +
                  L" app(1000:2000) Warning {08}Name : second Args\n{07}",
              Coloured());
    ASSERT_EQ(1u, consumer.Opens().size());
    const auto& open = consumer.Opens()[0];
    EXPECT_EQ(path, open.logFileName);
    EXPECT_EQ(L"", open.loggerName);
    EXPECT_EQ(static_cast<ULONG>(PROCESS_TRACE_MODE_EVENT_RECORD), open.processTraceMode);
    EXPECT_EQ(&options, open.context);
    EXPECT_TRUE(open.hasEventRecordCallback);
    EXPECT_EQ(std::vector<TRACEHANDLE>{open.result}, consumer.Closes());
    EXPECT_EQ(1u, tdh.ManifestLoads().size());
    EXPECT_EQ("   EXIT : ViewLogFile", TraceLines().back());
}

TEST_F(ViewLogFile, ProcessingFailureLeavesTheTraceOpen)
{
    consumer.AddLogFile(path, TwoEvents());
    consumer.FailProcessTrace(ERROR_BAD_LENGTH);
    EXPECT_EQ(static_cast<uint32_t>(ERROR_BAD_LENGTH), Viewer::ViewLogFile(path, options));
    EXPECT_EQ(L"Unexpected error whilst processing file \"" + path + L"\".\n", capture.WideOut());
    EXPECT_TRUE(consumer.Closes().empty());
    EXPECT_EQ(1u, consumer.OpenHandles());
    // Loaded once the file had opened, before the processing that failed.
    EXPECT_EQ(1u, tdh.ManifestLoads().size());
    const auto lines = TraceLines();
    EXPECT_EQ("  ERROR : ProcessTrace with file [" + std::filesystem::path(path).string() + "] failed with error [24]",
              lines.back());
}

TEST_F(ViewLogFile, WithoutCallstackDbgHelpIsNeverLoaded)
{
    // Image events and stacks in the log change nothing.
    std::vector<Testing::RecordedEvent> events = TwoEvents();
    Testing::ImageFields image;
    image.debug = "AAAA";
    events.push_back(Testing::ImageEvent(image).Build());
    events.push_back(Testing::OperationalEvent(1, 2014).StackTrace64(1, {0x1000, 0x2000}).Build());
    consumer.AddLogFile(path, std::move(events));
    EXPECT_EQ(0u, Viewer::ViewLogFile(path, options));
    EXPECT_EQ(0, dbghelpLoads);
    EXPECT_NE(std::wstring::npos, capture.WideOut().find(L"Error Name : Message Args\nStack\n"));
}

TEST_F(ViewLogFile, CallstackSetsTheSymbolOptions)
{
    options.callstack = 1;
    consumer.AddLogFile(path, TwoEvents());
    EXPECT_EQ(0u, Viewer::ViewLogFile(path, options));
    EXPECT_LE(1, dbghelpLoads);
    EXPECT_EQ(static_cast<DWORD>(LOAD_LIBRARY_SEARCH_SYSTEM32), loadFlags);
    const DWORD symbolOptions = LoadedSymbolOptions();
    EXPECT_EQ(0x01010A33u, symbolOptions & 0x01010A33u);
    EXPECT_EQ(0u, symbolOptions & SYMOPT_DEBUG);
    const auto lines = TraceLines();
    EXPECT_EQ("VERBOSE : Module [dbghelp.dll] method [SymGetOptions] loaded successfully", lines.at(1));
    EXPECT_EQ("VERBOSE : Module [dbghelp.dll] method [SymSetOptions] loaded successfully", lines.at(2));
}

TEST_F(ViewLogFile, SymbolsOptionAddsDebugOutput)
{
    options.callstack = 1;
    options.symbols = 1;
    consumer.AddLogFile(path, TwoEvents());
    EXPECT_EQ(0u, Viewer::ViewLogFile(path, options));
    EXPECT_EQ(static_cast<DWORD>(SYMOPT_DEBUG), LoadedSymbolOptions() & SYMOPT_DEBUG);
}

TEST_F(ViewLogFile, SymbolOptionsAreTheCurrentOnesAndTheViewers)
{
    EXPECT_EQ(std::vector<DWORD>{SYMOPT_DEFERRED_LOADS | SYMOPT_EXACT_SYMBOLS | 0x01010A33}, SymbolOptionsSet(1, 0));
}

TEST_F(ViewLogFile, SymbolsOptionAddsSymoptDebugToThem)
{
    EXPECT_EQ(std::vector<DWORD>{SYMOPT_DEFERRED_LOADS | SYMOPT_EXACT_SYMBOLS | 0x81010A33}, SymbolOptionsSet(1, 1));
}

TEST_F(ViewLogFile, SymbolsOptionWithoutCallstackTouchesNothing)
{
    EXPECT_TRUE(SymbolOptionsSet(0, 1).empty());
    EXPECT_EQ(0, dbghelpLoads);
}

TEST_F(ViewLogFile, MissingDbgHelpIsReportedAndTheViewGoesOn)
{
    dbghelpMissing = true;
    options.callstack = 1;
    consumer.AddLogFile(path, TwoEvents());
    EXPECT_EQ(0u, Viewer::ViewLogFile(path, options));
    const std::wstring text = capture.WideOut();
    EXPECT_EQ(L"Failed to locate dbghelp!SymGetOptions\nFailed to locate dbghelp!SymSetOptions\n", text.substr(0, 78));
    EXPECT_NE(std::wstring::npos, text.find(L"Name : second Args\n"));
    EXPECT_EQ("VERBOSE : Failed to load module [dbghelp.dll] with error [126]", TraceLines().at(1));
}

TEST_F(ViewLogFile, MissingExportIsReportedAlone)
{
    hiddenExport = "SymSetOptions";
    options.callstack = 1;
    consumer.AddLogFile(path, {});
    EXPECT_EQ(0u, Viewer::ViewLogFile(path, options));
    EXPECT_EQ(L"Failed to locate dbghelp!SymSetOptions\n", capture.WideOut());
    EXPECT_EQ("VERBOSE : Module [dbghelp.dll] loaded, but could not locate method [SymSetOptions] with error [127]",
              TraceLines().at(2));
}

} // namespace
