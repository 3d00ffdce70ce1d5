// A DLL that stands in for one planted next to a program: it exports the functions
// ksdiag takes from VERSION.dll and tdh.dll (each answering failure) and, when it is
// loaded, leaves a file named after itself with ".loaded" added, so that a test can
// see whether a program loaded it.

#include <windows.h>

#include <cwchar>

extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID)
{
    if (reason == DLL_PROCESS_ATTACH) {
        // No C++ library here: the DLL must load with nothing but system DLLs beside it.
        static const wchar_t suffix[] = L".loaded";
        wchar_t marker[MAX_PATH + sizeof(suffix) / sizeof(wchar_t)] = {};
        const DWORD length = ::GetModuleFileNameW(module, marker, MAX_PATH);
        std::wmemcpy(marker + length, suffix, sizeof(suffix) / sizeof(wchar_t));
        const HANDLE file =
            ::CreateFileW(marker, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
        if (file != INVALID_HANDLE_VALUE) {
            ::CloseHandle(file);
        }
    }
    return TRUE;
}

// Exported under the system's names by PlantedModule.def.
extern "C" DWORD WINAPI PlantedGetFileVersionInfoSize(LPCWSTR, LPDWORD)
{
    ::SetLastError(ERROR_RESOURCE_TYPE_NOT_FOUND);
    return 0;
}

extern "C" BOOL WINAPI PlantedGetFileVersionInfo(LPCWSTR, DWORD, DWORD, LPVOID)
{
    ::SetLastError(ERROR_RESOURCE_TYPE_NOT_FOUND);
    return FALSE;
}

extern "C" BOOL WINAPI PlantedVerQueryValue(LPCVOID, LPCWSTR, LPVOID*, PUINT)
{
    return FALSE;
}

extern "C" ULONG WINAPI PlantedTdhFunction()
{
    return ERROR_NOT_SUPPORTED;
}
