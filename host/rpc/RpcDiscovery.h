// The result of `rpc.discover`.
#pragma once

#include "RpcConversation.h"

namespace W::host {

/// The OpenRPC document (OpenRPC 1.2.6, open-rpc.org) of all available methods.
Json openRpcDocument(RpcAccess access);

}  // namespace W::host
