#include "base/ProcessArguments.h"

#include "base/Exception.h"
#include "base/NeverDestroyed.h"
#include "base/ParseUInt.h"
#include "base/RegistryKeyWin32.h"
#include "base/TextConversion.h"
#include "base/TextUtilities.h"
#include "trace/Log.h"
#include "trace/ProcessName.h"

#include <windows.h>

#include <memory>
#include <optional>
#include <unordered_map>
#include <vector>

namespace Base {

namespace {

Trace::Category argumentsLog("arguments");

constexpr char environmentPrefix[] = "KESTROVA_";
constexpr char productKeyPath[] = "Software\\Kestrova\\Arguments";

struct Store {
    std::vector<Argument> entries;
    // Beside each entry, its value in UTF-16 as the source gave it: paths keep every
    // character, where the narrow value has only those of its code page.
    std::vector<std::wstring> wideValues;
    std::unordered_map<std::string, size_t> index;
    size_t commandLineStart = 0;
    size_t commandLineEnd = 0;

    void Add(Argument argument, std::wstring wideValue)
    {
        const bool indexed = (argument.flags & (KindNamed | KindFlag)) != 0;
        const std::string key = ProcessArguments::NormaliseName(argument.name);
        entries.push_back(std::move(argument));
        wideValues.push_back(std::move(wideValue));
        if (indexed) {
            index.emplace(key, entries.size() - 1); // an earlier entry of the name stays
        }
    }

    // The position of the entry a lookup of the name sees.
    std::optional<size_t> Find(std::string_view name) const
    {
        const auto found = index.find(ProcessArguments::NormaliseName(name));
        return found != index.end() ? std::optional<size_t>(found->second) : std::nullopt;
    }

    const Argument* FindEntry(std::string_view name) const
    {
        const std::optional<size_t> position = Find(name);
        return position ? &entries[*position] : nullptr;
    }
};

// Never destroyed: the trace framework reads its settings here, and a message logged at
// exit may open the trace file.
Store& TheStore()
{
    static Base::NeverDestroyed<Store> store;
    return *store;
}

Argument ParseCommandLineToken(const std::string& token)
{
    Argument argument;
    argument.full = token;
    const std::string trimmed = TrimWhitespace(token);
    if (trimmed.empty() || trimmed[0] != '/') {
        argument.flags = SourceCommandLine | KindField;
        return argument;
    }
    const size_t separator = trimmed.find_first_of(":=");
    if (separator != std::string::npos) {
        argument.flags = SourceCommandLine | KindNamed;
        argument.name = trimmed.substr(1, separator - 1);
        argument.value = trimmed.substr(separator + 1);
    } else {
        argument.flags = SourceCommandLine | KindFlag;
        argument.name = trimmed.substr(1);
    }
    return argument;
}

// The UTF-16 value of a command-line token, parsed as the narrow token is; empty for a
// field or a flag.
std::wstring WideTokenValue(std::wstring_view token)
{
    const std::wstring trimmed = TrimWhitespace(StripQuotes(token));
    if (trimmed.empty() || trimmed[0] != L'/') {
        return {};
    }
    const size_t separator = trimmed.find_first_of(L":=");
    return separator != std::wstring::npos ? trimmed.substr(separator + 1) : std::wstring();
}

// The wide token belongs to the narrow one when it converts to it: both vectors split
// the same command line, but the runtime and CommandLineToArgvW part ways over a few
// quoting oddities, and a token that does not match is better read from the narrow one.
std::wstring CommandLineWideValue(const char* token, const wchar_t* wideToken, const Argument& argument)
{
    if (wideToken != nullptr && WideToAnsi(wideToken) == token) {
        return WideTokenValue(wideToken);
    }
    return AnsiToWide(argument.value);
}

struct EnvironmentBlockRelease {
    void operator()(char* block) const noexcept { ::FreeEnvironmentStringsA(block); }
    void operator()(wchar_t* block) const noexcept { ::FreeEnvironmentStringsW(block); }
};

// The NAME=VALUE strings of an environment block, which is released on every path.
template <typename Char> std::vector<std::basic_string<Char>> EnvironmentStrings(Char* block)
{
    const std::unique_ptr<Char, EnvironmentBlockRelease> owned(block);
    std::vector<std::basic_string<Char>> strings;
    if (owned == nullptr) {
        return strings;
    }
    for (const Char* entry = owned.get(); *entry != Char{}; entry += std::char_traits<Char>::length(entry) + 1) {
        strings.emplace_back(entry);
    }
    return strings;
}

struct EnvironmentEntry {
    std::string narrow; // in the ANSI code page, as the system gives it
    std::wstring wide;
};

// The narrow block is the wide one converted by the system, entry by entry in the same
// order; an entry whose wide form does not convert to its narrow one (the environment
// changed between the two reads) is read from the narrow one.
std::vector<EnvironmentEntry> EnvironmentEntries()
{
    const std::vector<std::string> narrow = EnvironmentStrings(::GetEnvironmentStrings());
    const std::vector<std::wstring> wide = EnvironmentStrings(::GetEnvironmentStringsW());
    std::vector<EnvironmentEntry> entries;
    for (size_t position = 0; position < narrow.size(); ++position) {
        const bool paired = narrow.size() == wide.size() && WideToAnsi(wide[position]) == narrow[position];
        entries.push_back({narrow[position], paired ? wide[position] : AnsiToWide(narrow[position])});
    }
    return entries;
}

void ReadEnvironment(Store& store)
{
    constexpr size_t prefixLength = sizeof(environmentPrefix) - 1;
    for (const EnvironmentEntry& environment : EnvironmentEntries()) {
        const std::string& entry = environment.narrow;
        if (FindIgnoreCase(entry, environmentPrefix) != 0) {
            continue;
        }
        const size_t equals = entry.find('=');
        Argument argument;
        argument.full = entry;
        argument.name =
            entry.substr(prefixLength, equals == std::string::npos ? std::string::npos : equals - prefixLength);
        argument.value = equals == std::string::npos ? std::string() : entry.substr(equals + 1);
        argument.flags = SourceEnvironment | (argument.value.empty() ? KindFlag : KindNamed);
        const size_t wideEquals = environment.wide.find(L'=');
        store.Add(std::move(argument),
                  wideEquals == std::wstring::npos ? std::wstring() : environment.wide.substr(wideEquals + 1));
    }
}

void ReadRegistryKey(Store& store, RegistryKeyWin32& root, const std::string& path)
{
    const std::wstring widePath = ConsoleToWide(path);
    if (!root.HasSubkey(widePath)) {
        return;
    }
    RegistryKey key = root.OpenSubkey(widePath, KEY_READ);
    for (const std::wstring& name : key->EnumerateValueNames()) {
        uint32_t type = 0;
        uint32_t size = 0;
        if (!key->QueryValueInfo(name, type, size)) {
            continue;
        }
        Argument argument;
        argument.flags = SourceRegistry | KindNamed;
        argument.full = path;
        argument.name = WideToConsole(name);
        std::wstring wideValue;
        if ((type == REG_SZ || type == REG_EXPAND_SZ) && size > 0) {
            if (!key->QueryString(name, wideValue)) {
                continue;
            }
            argument.value = WideToConsole(wideValue);
        } else if (type == REG_DWORD) {
            uint32_t number = 0;
            if (!key->QueryDword(name, number)) {
                continue;
            }
            argument.value = std::to_string(number);
            wideValue = std::to_wstring(number);
        } else {
            continue;
        }
        store.Add(std::move(argument), std::move(wideValue));
    }
}

void ReadRegistry(Store& store)
{
    RegistryKeyWin32 root(HKEY_LOCAL_MACHINE);
    const std::string processPath = std::string(productKeyPath) + "\\" + Trace::ProcessNameNarrow();
    const std::string productPath = productKeyPath;
    try {
        ReadRegistryKey(store, root, processPath);
    } catch (const Exception& err) {
        argumentsLog->Error("Failed populating process arguments", Trace::Field{"processPath", processPath},
                            Trace::Field{"err", err});
    }
    try {
        ReadRegistryKey(store, root, productPath);
    } catch (const Exception& err) {
        argumentsLog->Error("Failed populating product arguments", Trace::Field{"productPath", productPath},
                            Trace::Field{"err", err});
    }
}

} // namespace

void ProcessArguments::Clear()
{
    Store& store = TheStore();
    store.entries.clear();
    store.wideValues.clear();
    store.index.clear();
    store.commandLineStart = 0;
    store.commandLineEnd = 0;
}

void ProcessArguments::Populate(int count, const char* const* vector, const wchar_t* const* wideVector)
{
    Clear();
    Store& store = TheStore();

    for (int position = 0; position < count; ++position) {
        const char* token = vector[position] != nullptr ? vector[position] : "";
        Argument argument = ParseCommandLineToken(StripQuotes(token));
        std::wstring wideValue =
            CommandLineWideValue(token, wideVector != nullptr ? wideVector[position] : nullptr, argument);
        store.Add(std::move(argument), std::move(wideValue));
    }
    store.commandLineEnd = store.entries.size();

    ReadEnvironment(store);
    ReadRegistry(store);
}

void ProcessArguments::LogArguments()
{
    for (const Argument& entry : TheStore().entries) {
        LogArgument(entry);
    }
}

void ProcessArguments::LogArgument(const Argument& entry)
{
    using Trace::Field;
    const bool commandLine = (entry.flags & SourceCommandLine) != 0;
    if ((entry.flags & KindNamed) != 0) {
        argumentsLog->Verbose("Found named arg", Field{"commandLine", commandLine}, Field{"full", entry.full},
                              Field{"name", entry.name}, Field{"value", entry.value});
    } else if ((entry.flags & KindFlag) != 0) {
        argumentsLog->Verbose("Found flag", Field{"commandLine", commandLine}, Field{"full", entry.full},
                              Field{"name", entry.name});
    } else if ((entry.flags & KindField) != 0) {
        argumentsLog->Verbose("Found field", Field{"commandLine", commandLine}, Field{"full", entry.full});
    } else {
        argumentsLog->Verbose("Found argument", Field{"flags", entry.flags}, Field{"full", entry.full});
    }
}

bool ProcessArguments::Has(std::string_view name)
{
    return TheStore().Find(name).has_value();
}

bool ProcessArguments::Get(std::string_view name, Argument& argument)
{
    const Argument* found = TheStore().FindEntry(name);
    if (found == nullptr) {
        return false;
    }
    argument = *found;
    return true;
}

bool ProcessArguments::GetWideValue(std::string_view name, std::wstring& value)
{
    const Store& store = TheStore();
    const std::optional<size_t> position = store.Find(name);
    if (!position) {
        return false;
    }
    value = store.wideValues[*position];
    return true;
}

bool ProcessArguments::GetBool(std::string_view name)
{
    const Argument* found = TheStore().FindEntry(name);
    if (found == nullptr) {
        return false;
    }
    if ((found->flags & KindFlag) != 0) {
        return true;
    }
    if (found->value == "0" || EqualsIgnoreCase(found->value, "false")) {
        return false;
    }
    return found->value == "1" || EqualsIgnoreCase(found->value, "true");
}

uint32_t ProcessArguments::GetUInt(std::string_view name, uint32_t defaultValue)
{
    const Argument* found = TheStore().FindEntry(name);
    if (found == nullptr) {
        return defaultValue;
    }
    try {
        return ParseUInt(found->value);
    } catch (const std::exception&) {
        return defaultValue;
    }
}

size_t ProcessArguments::CommandLineCount()
{
    return TheStore().commandLineEnd - TheStore().commandLineStart;
}

Argument ProcessArguments::CommandLineAt(size_t index)
{
    const Store& store = TheStore();
    if (store.commandLineStart + index > store.commandLineEnd) {
        throw Exception("Out of range");
    }
    // The bound above admits the position just past the command line; that entry is the
    // first environment or registry entry when there is one, an empty argument otherwise.
    const size_t position = store.commandLineStart + index;
    return position < store.entries.size() ? store.entries[position] : Argument{};
}

std::string ProcessArguments::NormaliseName(std::string_view name)
{
    std::string normalised = ToLower(name);
    for (char& c : normalised) {
        if (c == '-') {
            c = '_';
        }
    }
    return normalised;
}

} // namespace Base
