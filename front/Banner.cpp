#include "front/Banner.h"

#include "base/Exception.h"

#include <windows.h>

#include <iostream>
#include <vector>

namespace Front {

namespace {

std::wstring RunningModulePath()
{
    // Long enough for any path the system can start a program from.
    std::wstring path(32768, L'\0');
    const DWORD length = ::GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
    if (length == 0) {
        throw Base::ExceptionWin32("Failed to determine the program's file name", ::GetLastError());
    }
    path.resize(length);
    return path;
}

// The whole version resource, in the form VerQueryValueW expects.
std::vector<unsigned char> VersionResource(const std::wstring& modulePath)
{
    DWORD ignored = 0;
    const DWORD size = ::GetFileVersionInfoSizeW(modulePath.c_str(), &ignored);
    if (size == 0) {
        throw Base::ExceptionWin32("Failed to read the program's version information", ::GetLastError());
    }
    std::vector<unsigned char> resource(size);
    if (!::GetFileVersionInfoW(modulePath.c_str(), 0, size, resource.data())) {
        throw Base::ExceptionWin32("Failed to read the program's version information", ::GetLastError());
    }
    return resource;
}

} // namespace

std::string FileVersionText()
{
    std::vector<unsigned char> resource = VersionResource(RunningModulePath());
    void* value = nullptr;
    UINT length = 0;
    if (!::VerQueryValueW(resource.data(), L"\\", &value, &length) || length < sizeof(VS_FIXEDFILEINFO)) {
        throw Base::ExceptionWin32("The program's version information has no fixed file information",
                                   ERROR_RESOURCE_TYPE_NOT_FOUND);
    }
    const auto* fixed = static_cast<const VS_FIXEDFILEINFO*>(value);
    return std::to_string(HIWORD(fixed->dwFileVersionMS)) + "." + std::to_string(LOWORD(fixed->dwFileVersionMS)) + "." +
           std::to_string(HIWORD(fixed->dwFileVersionLS)) + "." + std::to_string(LOWORD(fixed->dwFileVersionLS));
}

void PrintBanner()
{
    std::cout << ProductName << " Diagnostics Utility, Version " << FileVersionText() << "\n\n";
}

} // namespace Front
