#pragma once

#include <string>

namespace Trace {

// The running image's file name without its folder, cut at its first '.', so that
// ksdiag.exe gives "ksdiag" and a.b.exe gives "a". Filled once per process.
const std::string& ProcessNameNarrow();
const std::wstring& ProcessNameWide();

} // namespace Trace
