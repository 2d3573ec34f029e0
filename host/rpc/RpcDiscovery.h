// What `rpc.discover` answers.
#pragma once

#include "RpcConversation.h"

namespace W::host {

/// The OpenRPC document (spec.open-rpc.org, 1.2.6) of all methods that are offered.
Json openRpcDocument(RpcAccess access);

}  // namespace W::host
