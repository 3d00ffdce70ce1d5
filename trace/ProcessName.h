#pragma once

#include <string>

namespace Trace {

// The running image's file name without its folder, cut at its first '.', so that
// ksdiag.exe gives "ksdiag" and a.b.exe gives "a". Filled once per process from the
// ANSI module file name (at most MAX_PATH characters); the wide form is that same name
// converted, so the two never differ.
const std::string& ProcessNameNarrow();
const std::wstring& ProcessNameWide();

} // namespace Trace
