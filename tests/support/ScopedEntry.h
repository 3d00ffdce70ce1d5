#pragma once

// Replaces one entry of a platform table for a scope and puts the previous one back.
// Doubles that share a table (the ETW controller, consumer and provider emulators all
// live in Platform::Etw()) each own only their entries, so they may be installed and
// removed in any order without undoing each other.
//
//   Testing::ScopedEntry<decltype(&::OpenTraceW)> openTrace{Platform::Etw().OpenTraceW, OpenTraceThunk};

namespace Testing {

template <typename Function> class ScopedEntry {
public:
    ScopedEntry(Function& entry, Function replacement) : entry(entry), saved(entry) { entry = replacement; }
    ScopedEntry(const ScopedEntry&) = delete;
    ScopedEntry& operator=(const ScopedEntry&) = delete;
    ~ScopedEntry() { entry = saved; }

private:
    Function& entry;
    Function saved;
};

} // namespace Testing
