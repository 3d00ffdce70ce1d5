#include "viewer/Minidump.h"

#include "base/Base64.h"
#include "base/Guid.h"
#include "base/TempPath.h"
#include "base/UniqueHandle.h"
#include "platform/FileApi.h"
#include "trace/DebugTrace.h"
#include "viewer/PropertyReader.h"

#include <exception>
#include <iostream>
#include <string>
#include <vector>

namespace Viewer {

namespace {

std::wstring MakeDumpFileName()
{
    return Base::TempPath() + L"fault_" + Base::GuidToString(Base::CreateGuid()) + L".dmp";
}

void WriteDump(const std::vector<uint8_t>& dump)
{
    const std::wstring path = MakeDumpFileName();
    const HANDLE created = Platform::File().CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                                        CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    // Every error code is taken before anything is written: the stream's own calls may
    // change the last error on the way.
    //
    // Only null counts as failure here, as in the manifest extraction: an invalid handle
    // goes on to the write, which then fails and is reported.
    if (created == nullptr) {
        const DWORD error = ::GetLastError();
        std::wcout << L"CreateFile on " << path << L" failed with error " << error << std::endl;
        return;
    }
    Base::UniqueKernelHandle file(created);
    const DWORD size = static_cast<DWORD>(dump.size());
    DWORD written = 0;
    if (Platform::File().WriteFile(created, dump.data(), size, &written, nullptr) && written == size) {
        std::wcout << L"Minidump written to " << path << std::endl;
        return;
    }
    const DWORD error = ::GetLastError();
    std::wcout << L"WriteFile on " << path << L" returned error " << error << L" and wrote " << written << L" of "
               << size << L" bytes" << std::endl;
    file.Reset();
    // A partial dump would only mislead a debugger.
    if (!Platform::File().DeleteFileW(path.c_str())) {
        const DWORD deleteError = ::GetLastError();
        std::wcout << L"Failed to delete dump file " << path << L" error " << deleteError << L"." << std::endl;
    }
}

} // namespace

void SaveFaultMinidump(const EVENT_RECORD& record)
{
    std::string text;
    if (const ULONG status = ReadAnsiProperty(record, L"debug", text); status != ERROR_SUCCESS) {
        std::wcout << L"Failed to locate minidump with error " << status << std::endl;
        return;
    }
    try {
        WriteDump(Base::DecodeBase64(text));
    } catch (const std::exception& failure) {
        Trace::TraceError(L"Failed to save minidump error [%S]", failure.what());
    }
}

} // namespace Viewer
