// What `rpc.discover` answers.
#pragma once

#include "RpcConversation.h"

namespace W::host {

/// The OpenRPC document (OpenRPC 1.2.6, open-rpc.org) of all methods that are offered.
Json openRpcDocument(RpcAccess access);

}  // namespace W::host
