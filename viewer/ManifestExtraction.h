#pragma once

// The provider's instrumentation manifest travels inside the executable as resource
// "TRACE_WIN32.MAN" of type "MANIFEST". TdhLoadManifest takes only a file, so the
// resource is written to a temporary file, loaded and deleted at once: TDH keeps the
// manifest in memory for the rest of the process.

#include <cstdint>
#include <string>

namespace Viewer {

// The temporary directory, a new GUID and ".tmp". Throws Base::ExceptionWin32 when the
// temporary directory or the GUID cannot be had.
std::wstring MakeTemporaryFileName();

// Writes the resource's bytes to the path; a Win32 error code, 0 on success. A failed
// write leaves no file behind.
uint32_t ExtractManifest(const std::wstring& path);

// Extracts, loads and deletes the manifest; the code of the first step that failed, 0
// on success. Callers carry on either way: without it product events cannot be decoded.
uint32_t LoadInstrumentationManifest();

} // namespace Viewer
