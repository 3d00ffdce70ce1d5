#include "viewer/Symbols.h"

#include "base/Base64.h"
#include "base/TextConversion.h"
#include "base/TextUtilities.h"
#include "trace/DebugTrace.h"
#include "viewer/ConsoleColour.h"
#include "viewer/DbgHelpBindings.h"
#include "viewer/EventHeaderText.h"
#include "viewer/LogText.h"
#include "viewer/PropertyReader.h"
#include "viewer/ViewerReset.h"

#include <shlwapi.h>

#include <algorithm>
#include <cstring>
#include <exception>
#include <iostream>
#include <string>
#include <vector>

namespace Viewer {

namespace {

// SYMBOL_INFO with room for a 2000-character name behind it.
struct SymbolRecord {
    SYMBOL_INFO info;
    char name[2000];
};
static_assert(sizeof(SYMBOL_INFO) == 88, "dbghelp expects the 64-bit SYMBOL_INFO");
static_assert(sizeof(IMAGEHLP_LINE64) == 40, "dbghelp expects the 64-bit IMAGEHLP_LINE64");
static_assert(sizeof(MODLOAD_DATA) == 24, "dbghelp expects the 64-bit MODLOAD_DATA");

// dbghelp is keyed by the recorded process id, which stands in for a process handle.
HANDLE SymbolProcess(DWORD processId)
{
    return reinterpret_cast<HANDLE>(static_cast<uintptr_t>(processId));
}

// The symbol callback's registration context: where the handler's diagnostics go.
constexpr ULONG64 diagnosticsToOutput = 0;
constexpr ULONG64 diagnosticsToError = 1;

// The modules loaded for symbols, so that a frame can name the image that holds it even
// where dbghelp knows no symbol there.
struct LoadedModule {
    DWORD processId = 0;
    uint64_t base = 0;
    uint64_t size = 0;
    std::string fileName; // as the image event logged it (ANSI)
};

std::vector<LoadedModule>& LoadedModules()
{
    static std::vector<LoadedModule> modules;
    return modules;
}

// Process ids whose symbol handler set-up has been tried, successful or not.
std::vector<DWORD>& InitialisedProcesses()
{
    static std::vector<DWORD> processes;
    return processes;
}

void InitialiseProcess(DWORD processId, ImageOutput output)
{
    std::vector<DWORD>& processes = InitialisedProcesses();
    if (std::find(processes.begin(), processes.end(), processId) != processes.end()) {
        return;
    }
    // Tried once per id whatever happens: a handler that failed once fails again.
    processes.push_back(processId);
    DbgHelp& dbghelp = DbgHelpBindings();
    if (!BindDbgHelp(dbghelp.SymInitialize, "SymInitialize")) {
        Trace::TraceError(L"SymInitialize was unavailable");
    } else if (!dbghelp.SymInitialize(SymbolProcess(processId), nullptr, FALSE)) {
        const DWORD error = ::GetLastError();
        Trace::TraceError(L"Failed to initialise symbols for process [%lu] with error [%lu]", processId, error);
    }
    if (!BindDbgHelp(dbghelp.SymRegisterCallback64, "SymRegisterCallback64")) {
        Trace::TraceError(L"SymRegisterCallback64 was unavailable");
    } else if (!dbghelp.SymRegisterCallback64(SymbolProcess(processId), SymbolCallback,
                                              output == ImageOutput::Json ? diagnosticsToError : diagnosticsToOutput)) {
        const DWORD error = ::GetLastError();
        Trace::TraceError(L"Failed to initialise symbol callback for process [%lu] with error [%lu]", processId, error);
    }
}

uint16_t ReadMachine(const EVENT_RECORD& record)
{
    uint16_t machine = 0;
    ReadUInt16Property(record, L"machine", machine);
    return machine;
}

void PrintImageLine(const EVENT_RECORD& record, const std::string& fileName, const std::string& version,
                    uint16_t machine)
{
    ConsoleColour colour;
    colour.Set(BrightWhiteText);
    WriteTimestamp(record);
    std::wcout << L' ';
    WriteSource(record, ProductSourceName(record));
    std::wcout << L" Image ";
    colour.Set(DarkGreyText);
    WriteLogField(fileName);
    if (!version.empty()) {
        std::wcout << L' ';
        WriteLogField(version);
    }
    std::wcout << MachineSuffix(machine) << std::endl;
}

// A number property of exactly one of the given sizes; any other size is ERROR_INVALID_DATA.
ULONG ReadUnsigned(const EVENT_RECORD& record, const wchar_t* name, bool allowFourBytes, bool allowEightBytes,
                   uint64_t& value)
{
    std::vector<uint8_t> bytes;
    const ULONG status = ReadPropertyBytes(record, name, bytes);
    if (status != ERROR_SUCCESS) {
        return status;
    }
    if (allowFourBytes && bytes.size() == sizeof(uint32_t)) {
        uint32_t narrow = 0;
        std::memcpy(&narrow, bytes.data(), sizeof(narrow));
        value = narrow;
        return ERROR_SUCCESS;
    }
    if (allowEightBytes && bytes.size() == sizeof(uint64_t)) {
        std::memcpy(&value, bytes.data(), sizeof(value));
        return ERROR_SUCCESS;
    }
    return ERROR_INVALID_DATA;
}

void LoadModuleSymbols(const EVENT_RECORD& record, const std::string& fileName)
{
    DbgHelp& dbghelp = DbgHelpBindings();
    if (!BindDbgHelp(dbghelp.SymLoadModuleEx, "SymLoadModuleEx")) {
        Trace::TraceError(L"SymLoadModuleEx was unavailable");
        return;
    }
    std::string debugText;
    if (const ULONG status = ReadAnsiProperty(record, L"debug", debugText); status != ERROR_SUCCESS) {
        Trace::TraceError(L"Failed to locate debug info for module [%S] with error [%lu]", fileName.c_str(), status);
        return;
    }
    if (debugText.empty()) {
        Trace::TraceWarning(L"Debug info for module [%S] was empty", fileName.c_str());
        return;
    }
    uint64_t size = 0;
    if (const ULONG status = ReadUnsigned(record, L"size", true, false, size); status != ERROR_SUCCESS) {
        Trace::TraceError(L"Failed to locate size for module [%S] with error [%lu]", fileName.c_str(), status);
        return;
    }
    // A 32-bit producer logs its pointers in four bytes.
    uint64_t base = 0;
    if (const ULONG status = ReadUnsigned(record, L"base", true, true, base); status != ERROR_SUCCESS) {
        Trace::TraceError(L"Failed to locate base address for module [%S] with error [%lu]", fileName.c_str(), status);
        return;
    }
    std::vector<uint8_t> debugDirectories = Base::DecodeBase64(debugText);
    MODLOAD_DATA data{};
    data.ssize = sizeof(MODLOAD_DATA);
    data.ssig = DBHHEADER_DEBUGDIRS;
    data.data = debugDirectories.data();
    data.size = static_cast<DWORD>(debugDirectories.size());
    data.flags = 0;
    const DWORD64 loaded = dbghelp.SymLoadModuleEx(SymbolProcess(record.EventHeader.ProcessId), nullptr,
                                                   fileName.c_str(), nullptr, base, static_cast<DWORD>(size), &data, 0);
    const DWORD error = ::GetLastError();
    if (loaded != base && error != ERROR_SUCCESS) {
        Trace::TraceError(L"Failed to load module [%S] with error [%lu]", fileName.c_str(), error);
    } else {
        Trace::TraceInfo(L"Loaded [%S] between [0x%016llx] and [0x%016llx] size [%lu]", fileName.c_str(), base,
                         base + size, static_cast<DWORD>(size));
        LoadedModules().push_back(LoadedModule{record.EventHeader.ProcessId, base, size, fileName});
    }
}

void LoadImage(const EVENT_RECORD& record, ImageOutput output)
{
    InitialiseProcess(record.EventHeader.ProcessId, output);
    std::string fileName;
    if (ReadAnsiProperty(record, L"filename", fileName) != ERROR_SUCCESS) {
        return;
    }
    std::string version;
    ReadAnsiProperty(record, L"version", version);
    if (output == ImageOutput::Text) {
        PrintImageLine(record, fileName, version, ReadMachine(record));
    }
    try {
        LoadModuleSymbols(record, fileName);
    } catch (const std::exception& failure) {
        Trace::TraceError(L"Failed to load symbols for module [%S] error [%S]", fileName.c_str(), failure.what());
    }
}

// The first stack-trace item of the record, or null.
const EVENT_HEADER_EXTENDED_DATA_ITEM* FindStack(const EVENT_RECORD& record)
{
    for (USHORT index = 0; index < record.ExtendedDataCount; ++index) {
        const EVENT_HEADER_EXTENDED_DATA_ITEM& item = record.ExtendedData[index];
        if (item.ExtType == EVENT_HEADER_EXT_TYPE_STACK_TRACE32 ||
            item.ExtType == EVENT_HEADER_EXT_TYPE_STACK_TRACE64) {
            return &item;
        }
    }
    return nullptr;
}

// The return addresses of a stack-trace item, behind its 8-byte match id.
class StackFrames {
public:
    explicit StackFrames(const EVENT_HEADER_EXTENDED_DATA_ITEM& item)
        : data(reinterpret_cast<const uint8_t*>(item.DataPtr)),
          width(item.ExtType == EVENT_HEADER_EXT_TYPE_STACK_TRACE32 ? 4u : 8u),
          count(data == nullptr || item.DataSize < matchIdSize ? 0 : (item.DataSize - matchIdSize) / width)
    {
    }

    size_t Count() const noexcept { return count; }

    uint64_t At(size_t index) const noexcept
    {
        uint64_t address = 0;
        std::memcpy(&address, data + matchIdSize + index * width, width);
        return address;
    }

private:
    static constexpr size_t matchIdSize = 8;
    const uint8_t* data;
    size_t width;
    size_t count;
};

// The position of the logging machinery's frame: the first frame after the first whose
// symbol contains "Trace_". count when there is none.
size_t FindTraceFrame(const EVENT_RECORD& record, const StackFrames& frames)
{
    for (size_t index = 0; index < frames.Count(); ++index) {
        if (PrintStackFrame(record, frames.At(index), false) && index > 0) {
            return index;
        }
    }
    return frames.Count();
}

void PrintSourceLine(HANDLE process, uint64_t address)
{
    DbgHelp& dbghelp = DbgHelpBindings();
    if (!BindDbgHelp(dbghelp.SymGetLineFromAddr64, "SymGetLineFromAddr64")) {
        return;
    }
    IMAGEHLP_LINE64 line{};
    line.SizeOfStruct = sizeof(IMAGEHLP_LINE64);
    DWORD displacement = 0;
    if (dbghelp.SymGetLineFromAddr64(process, address, &displacement, &line) && line.FileName != nullptr &&
        line.FileName[0] != '\0') {
        std::wcout << L" in ";
        WriteLogField(::PathFindFileNameA(line.FileName));
        std::wcout << L" line " << std::dec << line.LineNumber;
    }
}

// The symbol handler's diagnostics name the modules of the log, so they are escaped
// like the log's own text, keeping their line feeds. The escaped text is ASCII and goes
// to the narrow stream unchanged: standard output beside the text view, standard error
// beside the JSON view, whose standard output holds JSON only.
void WriteSymbolHandlerText(const char* text, ULONG64 context)
{
    const std::wstring escaped = Base::EscapeNonPrintable(Base::AnsiToWide(text), true);
    std::string narrow;
    narrow.reserve(escaped.size());
    for (const wchar_t c : escaped) {
        narrow.push_back(static_cast<char>(c));
    }
    (context == diagnosticsToError ? std::cerr : std::cout) << narrow;
}

std::string AnsiText(const char* text)
{
    return text != nullptr ? std::string(text) : std::string();
}

} // namespace

std::wstring MachineSuffix(uint16_t machine)
{
    switch (machine) {
    case 0:
        return {};
    case IMAGE_FILE_MACHINE_I386:
        return L" (x86)";
    case IMAGE_FILE_MACHINE_AMD64:
        return L" (AMD64)";
    default:
        return L" (" + std::to_wstring(machine) + L")";
    }
}

void LoadImageSymbols(const EVENT_RECORD& record, ImageOutput output)
{
    Trace::TraceEnter(L"LoadImageSymbols");
    LoadImage(record, output);
    Trace::TraceExit(L"LoadImageSymbols");
}

bool PrintStackFrame(const EVENT_RECORD& record, uint64_t address, bool print)
{
    DbgHelp& dbghelp = DbgHelpBindings();
    const HANDLE process = SymbolProcess(record.EventHeader.ProcessId);
    SymbolRecord symbol{};
    symbol.info.SizeOfStruct = sizeof(SYMBOL_INFO);
    symbol.info.MaxNameLen = sizeof(symbol.name);
    DWORD64 displacement = 0;
    if (BindDbgHelp(dbghelp.SymFromAddr, "SymFromAddr") &&
        dbghelp.SymFromAddr(process, address, &displacement, &symbol.info)) {
        // The name area is one character longer than MaxNameLen, so it is always terminated.
        const std::string name(symbol.info.Name, ::strnlen(symbol.info.Name, sizeof(symbol.name)));
        if (print) {
            std::wcout << L"   ";
            WriteLogField(name);
            PrintSourceLine(process, address);
            std::wcout << std::endl;
        }
        return name.find("Trace_") != std::string::npos;
    }
    const DWORD error = ::GetLastError();
    Trace::TraceError(L"Failed to load symbol at address [0x%016llx] with error [%lu]", address, error);
    if (print) {
        std::wcout << L"   0x" << std::hex << address << std::dec << std::endl;
    }
    return false;
}

void PrintCallStack(const EVENT_RECORD& record, uint32_t frameLimit)
{
    if (!BindDbgHelp(DbgHelpBindings().SymFromAddr, "SymFromAddr") || record.ExtendedData == nullptr) {
        return;
    }
    const EVENT_HEADER_EXTENDED_DATA_ITEM* item = FindStack(record);
    if (item == nullptr) {
        return;
    }
    const StackFrames frames(*item);
    const size_t traceFrame = FindTraceFrame(record, frames);
    if (traceFrame < frames.Count()) {
        size_t printed = 0;
        for (size_t index = traceFrame + 1; index < frames.Count() && (frameLimit == 0 || printed < frameLimit);
             ++index, ++printed) {
            PrintStackFrame(record, frames.At(index), true);
        }
        return;
    }
    // Without the machinery's frame every frame shows, and a limit stops only after the
    // frame at that position: one more than above.
    for (size_t index = 0; index < frames.Count(); ++index) {
        PrintStackFrame(record, frames.At(index), true);
        if (frameLimit != 0 && index == frameLimit) {
            break;
        }
    }
}

BOOL CALLBACK SymbolCallback(HANDLE, ULONG action, ULONG64 data, ULONG64 context)
{
    if (action == CBA_EVENT) {
        const auto* event = reinterpret_cast<const IMAGEHLP_CBA_EVENT*>(data);
        if (event != nullptr && event->desc != nullptr) {
            WriteSymbolHandlerText(event->desc, context);
        }
        return TRUE;
    }
    if (action == CBA_DEBUG_INFO) {
        const auto* text = reinterpret_cast<const char*>(data);
        if (text != nullptr) {
            WriteSymbolHandlerText(text, context);
        }
        return TRUE;
    }
    return FALSE;
}

void Reset::ForgetSymbolProcesses()
{
    // Forgotten here only: ending them in dbghelp (SymCleanup) and then setting the same
    // id up again brings Wine's dbghelp down, so what the library holds for an id stays,
    // and a test that needs a clean one uses an id of its own.
    InitialisedProcesses().clear();
    LoadedModules().clear();
}

void ReadStackAddresses(const EVENT_RECORD& record, std::vector<uint64_t>& addresses)
{
    addresses.clear();
    const EVENT_HEADER_EXTENDED_DATA_ITEM* item = record.ExtendedData != nullptr ? FindStack(record) : nullptr;
    if (item == nullptr) {
        return;
    }
    const StackFrames frames(*item);
    for (size_t index = 0; index < frames.Count(); ++index) {
        addresses.push_back(frames.At(index));
    }
}

void ResolveStackFrame(const EVENT_RECORD& record, uint64_t address, ResolvedFrame& frame)
{
    frame = ResolvedFrame{};
    for (const LoadedModule& module : LoadedModules()) {
        if (module.processId == record.EventHeader.ProcessId && address >= module.base &&
            address - module.base < module.size) {
            frame.module = module.fileName;
        }
    }
    DbgHelp& dbghelp = DbgHelpBindings();
    const HANDLE process = SymbolProcess(record.EventHeader.ProcessId);
    SymbolRecord symbol{};
    symbol.info.SizeOfStruct = sizeof(SYMBOL_INFO);
    symbol.info.MaxNameLen = sizeof(symbol.name);
    DWORD64 displacement = 0;
    if (!BindDbgHelp(dbghelp.SymFromAddr, "SymFromAddr") ||
        !dbghelp.SymFromAddr(process, address, &displacement, &symbol.info)) {
        return;
    }
    frame.function.assign(symbol.info.Name, ::strnlen(symbol.info.Name, sizeof(symbol.name)));
    if (!BindDbgHelp(dbghelp.SymGetLineFromAddr64, "SymGetLineFromAddr64")) {
        return;
    }
    IMAGEHLP_LINE64 line{};
    line.SizeOfStruct = sizeof(IMAGEHLP_LINE64);
    DWORD lineDisplacement = 0;
    if (dbghelp.SymGetLineFromAddr64(process, address, &lineDisplacement, &line) && line.FileName != nullptr &&
        line.FileName[0] != '\0') {
        frame.file = AnsiText(line.FileName);
        frame.line = line.LineNumber;
    }
}

} // namespace Viewer
