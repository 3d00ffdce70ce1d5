#include "base/Guid.h"

#include "base/Exception.h"
#include "platform/RpcApi.h"
#include "trace/Log.h"

namespace Base {

namespace {

Trace::Category guidLog("guid");

} // namespace

GUID CreateGuid()
{
    GUID guid{};
    const RPC_STATUS status = Platform::Rpc().UuidCreate(&guid);
    if (status != RPC_S_OK && status != RPC_S_UUID_LOCAL_ONLY) {
        guidLog->Error("Failed to create GUID", Trace::Field{"status", status});
        throw ExceptionWin32(static_cast<uint32_t>(status));
    }
    return guid;
}

std::wstring GuidToString(const GUID& guid)
{
    // Older SDKs declare the parameter non-const; the function never writes it.
    GUID copy = guid;
    RPC_WSTR text = nullptr;
    const RPC_STATUS status = Platform::Rpc().UuidToStringW(&copy, &text);
    if (status != RPC_S_OK) {
        guidLog->Error("Failed to convert GUID to string", Trace::Field{"status", status});
        throw ExceptionWin32(static_cast<uint32_t>(status));
    }
    std::wstring result(reinterpret_cast<const wchar_t*>(text));
    Platform::Rpc().RpcStringFreeW(&text);
    return result;
}

} // namespace Base
