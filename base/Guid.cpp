#include "base/Guid.h"

#include "base/Exception.h"
#include "base/UniqueHandle.h"
#include "platform/RpcApi.h"
#include "trace/Log.h"

namespace Base {

namespace {

Trace::Category guidLog("guid");

// The string UuidToStringW allocates; freed through the same table that made it, so a
// test that replaces one replaces both.
struct RpcStringTraits {
    using Type = RPC_WSTR;
    static Type Invalid() noexcept { return nullptr; }
    static bool IsValid(Type text) noexcept { return text != nullptr; }
    static void Close(Type text) noexcept { Platform::Rpc().RpcStringFreeW(&text); }
};
using UniqueRpcString = UniqueHandle<RpcStringTraits>;

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
    UniqueRpcString text;
    const RPC_STATUS status = Platform::Rpc().UuidToStringW(&copy, text.Put());
    if (status != RPC_S_OK) {
        guidLog->Error("Failed to convert GUID to string", Trace::Field{"status", status});
        throw ExceptionWin32(static_cast<uint32_t>(status));
    }
    return std::wstring(reinterpret_cast<const wchar_t*>(text.Get()));
}

} // namespace Base
