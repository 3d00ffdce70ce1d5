#include "base/ProcessArguments.h"

#include "base/Exception.h"
#include "base/ParseUInt.h"
#include "base/RegistryKeyWin32.h"
#include "base/TextConversion.h"
#include "base/TextUtilities.h"
#include "trace/Log.h"
#include "trace/ProcessName.h"

#include <windows.h>

#include <unordered_map>
#include <vector>

namespace Base {

namespace {

Trace::Category argumentsLog("arguments");

constexpr char environmentPrefix[] = "KESTROVA_";
constexpr char productKeyPath[] = "Software\\Kestrova\\Arguments";

struct Store {
    std::vector<Argument> entries;
    std::unordered_map<std::string, size_t> index;
    size_t commandLineStart = 0;
    size_t commandLineEnd = 0;

    void Add(Argument argument)
    {
        const bool indexed = (argument.flags & (KindNamed | KindFlag)) != 0;
        const std::string key = ProcessArguments::NormaliseName(argument.name);
        entries.push_back(std::move(argument));
        if (indexed) {
            index.emplace(key, entries.size() - 1); // an earlier entry of the name stays
        }
    }

    const Argument* Find(std::string_view name) const
    {
        const auto found = index.find(ProcessArguments::NormaliseName(name));
        return found != index.end() ? &entries[found->second] : nullptr;
    }
};

Store& TheStore()
{
    static Store store;
    return store;
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

std::vector<std::string> EnvironmentStrings()
{
    std::vector<std::string> strings;
    LPCH block = ::GetEnvironmentStrings();
    if (block == nullptr) {
        return strings;
    }
    for (const char* entry = block; *entry != '\0'; entry += std::char_traits<char>::length(entry) + 1) {
        strings.emplace_back(entry);
    }
    ::FreeEnvironmentStringsA(block);
    return strings;
}

void ReadEnvironment(Store& store)
{
    constexpr size_t prefixLength = sizeof(environmentPrefix) - 1;
    for (const std::string& entry : EnvironmentStrings()) {
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
        store.Add(std::move(argument));
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
        if ((type == REG_SZ || type == REG_EXPAND_SZ) && size > 0) {
            std::wstring text;
            if (!key->QueryString(name, text)) {
                continue;
            }
            argument.value = WideToConsole(text);
        } else if (type == REG_DWORD) {
            uint32_t number = 0;
            if (!key->QueryDword(name, number)) {
                continue;
            }
            argument.value = std::to_string(number);
        } else {
            continue;
        }
        store.Add(std::move(argument));
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

void ProcessArguments::Populate(int count, const char* const* vector)
{
    Store& store = TheStore();
    store.entries.clear();
    store.index.clear();
    store.commandLineStart = 0;
    store.commandLineEnd = 0;

    for (int position = 0; position < count; ++position) {
        store.Add(ParseCommandLineToken(StripQuotes(vector[position] != nullptr ? vector[position] : "")));
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
    return TheStore().Find(name) != nullptr;
}

bool ProcessArguments::Get(std::string_view name, Argument& argument)
{
    const Argument* found = TheStore().Find(name);
    if (found == nullptr) {
        return false;
    }
    argument = *found;
    return true;
}

bool ProcessArguments::GetBool(std::string_view name)
{
    const Argument* found = TheStore().Find(name);
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
    const Argument* found = TheStore().Find(name);
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
