#pragma once

// The process-wide store of everything that configures a run: command-line tokens,
// KESTROVA_ environment variables, and values under HKLM\Software\Kestrova\Arguments
// (the executable's own subkey first, then the product-wide key). Lookups are by
// normalised name (lower case, '-' and '_' alike); the first entry of a name wins, which
// gives the precedence command line, environment, registry.
//
// Filled once on the main thread before anything reads it; no lock.

#include <cstdint>
#include <string>
#include <string_view>

namespace Base {

enum ArgumentFlag : uint32_t {
    SourceCommandLine = 1,
    SourceEnvironment = 2,
    SourceRegistry = 4,
    KindNamed = 16, // "/name:value", "/name=value", NAME=VALUE, a registry value
    KindFlag = 32,  // "/name", NAME= with an empty value
    KindField = 64, // anything else on the command line, the program path included
};

struct Argument {
    uint32_t flags = 0;
    std::string full;  // the token, the NAME=VALUE string, or the registry key path
    std::string name;  // as written, not normalised
    std::string value; // empty for flags and fields

    bool operator==(const Argument&) const = default;
};

class ProcessArguments {
public:
    ProcessArguments() = delete;

    // Rebuilds the store from the argument vector, the environment and the registry.
    // Registry failures are logged and never stop it. wideVector, when given, holds the
    // same command line in UTF-16 as CommandLineToArgvW splits it (count entries): the
    // runtime's narrow argv has only the characters of the ANSI code page. A wide token
    // that does not convert to its narrow one is not used; without it, a narrow value is
    // read in the ANSI code page.
    static void Populate(int count, const char* const* vector, const wchar_t* const* wideVector = nullptr);
    // Empties the store, as it is before the first Populate: for test suites that run
    // many tests in one process. The program fills the store once.
    static void Clear();

    // One VERBOSE message per entry, in store order, in category "arguments".
    static void LogArguments();
    // The message of one entry, chosen by its kind bit ("Found argument" for an entry
    // without one, which only a caller-built entry can be).
    static void LogArgument(const Argument& entry);

    static bool Has(std::string_view name);
    // Copies the entry out; the output is untouched when the name is absent.
    static bool Get(std::string_view name, Argument& argument);
    // The value in UTF-16 as its source gave it, every character kept: the command-line
    // token (see Populate), the KESTROVA_ variable as the wide environment holds it, the
    // registry value as read (a REG_DWORD as decimal text). Empty for a flag. The output
    // is untouched when the name is absent.
    static bool GetWideValue(std::string_view name, std::wstring& value);
    // A flag is true; a value of "1" or "true" (any case) is true; all else is false.
    static bool GetBool(std::string_view name);
    // ParseUInt of the value; the default when absent or unparsable.
    static uint32_t GetUInt(std::string_view name, uint32_t defaultValue);

    // Command-line entries, the program path included.
    static size_t CommandLineCount();
    // Throws Base::Exception "Out of range" beyond the bound. The bound admits an index
    // equal to the count; callers check CommandLineCount first.
    static Argument CommandLineAt(size_t index);

    // Lower case with '-' as '_': "Trace-Level" and "TRACE_LEVEL" are the same name.
    static std::string NormaliseName(std::string_view name);
};

} // namespace Base
