#pragma once

// GUID creation and formatting. UuidCreate answers RPC_S_UUID_LOCAL_ONLY on machines
// without a network card, which a test can only reproduce through this table.

#include <windows.h>

#include <rpc.h>

namespace Platform {

struct RpcApi {
    decltype(&::UuidCreate) UuidCreate;
    decltype(&::UuidToStringW) UuidToStringW;
    decltype(&::RpcStringFreeW) RpcStringFreeW;
};

RpcApi& Rpc();
const RpcApi& SystemRpc();

} // namespace Platform
