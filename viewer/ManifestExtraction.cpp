#include "viewer/ManifestExtraction.h"

#include "base/Exception.h"
#include "base/Guid.h"
#include "base/TempPath.h"
#include "base/UniqueHandle.h"
#include "platform/FileApi.h"
#include "viewer/DecodingTdh.h"
#include "trace/DebugTrace.h"

#include <windows.h>

namespace Viewer {

namespace {

constexpr wchar_t manifestResourceName[] = L"TRACE_WIN32.MAN";
constexpr wchar_t manifestResourceType[] = L"MANIFEST";

uint32_t WriteManifest(const std::wstring& path, const void* bytes, DWORD size)
{
    const HANDLE created = Platform::File().CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                                                        CREATE_ALWAYS, FILE_ATTRIBUTE_TEMPORARY, nullptr);
    // Only null counts as failure: a creation that answers INVALID_HANDLE_VALUE goes on to
    // the write, which fails and is reported (and cleaned up) there.
    if (created == nullptr) {
        const DWORD error = ::GetLastError();
        Trace::TraceError(L"Failed to create temporary file [%s] with error [%u]", path.c_str(), error);
        return error;
    }
    Base::UniqueKernelHandle file(created);
    DWORD written = 0;
    if (Platform::File().WriteFile(created, bytes, size, &written, nullptr) && written == size) {
        return ERROR_SUCCESS;
    }
    const DWORD error = ::GetLastError();
    Trace::TraceError(L"Failed to write [%u] bytes to file [%s]. [%u] bytes were written with error [%u]", size,
                      path.c_str(), written, error);
    file.Reset();
    if (!Platform::File().DeleteFileW(path.c_str())) {
        const DWORD deleteError = ::GetLastError();
        Trace::TraceWarning(L"Failed to delete file [%s] error [%lu]", path.c_str(), deleteError);
    }
    return error;
}

} // namespace

std::wstring MakeTemporaryFileName()
{
    const std::wstring path = Base::TempPath() + Base::GuidToString(Base::CreateGuid()) + L".tmp";
    Trace::TraceVerbose(L"Generated temporary file [%s]", path.c_str());
    return path;
}

uint32_t ExtractManifest(const std::wstring& path)
{
    Trace::TraceEnter(L"ExtractManifest");
    const HMODULE module = ::GetModuleHandleW(nullptr);
    const HRSRC resource = Platform::File().FindResourceW(module, manifestResourceName, manifestResourceType);
    if (resource == nullptr) {
        const DWORD error = ::GetLastError();
        Trace::TraceError(L"Failed to find resource with error [%u]", error);
        return error;
    }
    const HGLOBAL loaded = Platform::File().LoadResource(module, resource);
    if (loaded == nullptr) {
        const DWORD error = ::GetLastError();
        Trace::TraceError(L"Failed to load resource with error %u", error);
        return error;
    }
    const void* bytes = Platform::File().LockResource(loaded);
    const DWORD size = Platform::File().SizeofResource(module, resource);
    const uint32_t result = WriteManifest(path, bytes, size);
    if (result == ERROR_SUCCESS) {
        Trace::TraceExit(L"ExtractManifest");
    }
    return result;
}

uint32_t LoadInstrumentationManifest()
{
    std::wstring path;
    try {
        path = MakeTemporaryFileName();
    } catch (const Base::ExceptionWin32& failure) {
        // Without a file name there is nothing to extract to, nor anything to delete.
        Trace::TraceError(L"Failed to extract instrumentation manifest with error [%u]", failure.ErrorCode());
        return failure.ErrorCode();
    }
    uint32_t result = ExtractManifest(path);
    if (result != ERROR_SUCCESS) {
        Trace::TraceError(L"Failed to extract instrumentation manifest with error [%u]", result);
    } else {
        result = DecodingTdh().TdhLoadManifest(path.data());
        if (result != ERROR_SUCCESS) {
            Trace::TraceError(L"Failed to load instrumentation manifest with error [%u]", result);
        }
    }
    // TDH holds the manifest in memory from here on; the file has served its purpose.
    if (!Platform::File().DeleteFileW(path.c_str())) {
        // The arguments stay in this order although the placeholders name them the other
        // way round: the line has always read so and log readers match on it. The code
        // goes in as text, since %s would take a bare number for an address.
        const std::wstring resultText = std::to_wstring(result);
        Trace::TraceWarning(L"Failed to delete instrumentation manifest [%s] error [%lu]", resultText.c_str(),
                            path.c_str());
    }
    return result;
}

} // namespace Viewer
