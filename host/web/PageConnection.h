// One page's WebSocket: carries JSON-RPC messages between the browser and the plug-in. When the page leaves, its
// outstanding requests are cancelled.
#pragma once

#include <memory>
#include <optional>

#include "RpcConversation.h"
#include "WebSocket.h"

namespace W::host {

class PageConnection final : public http::WebSocketHandler {
public:
    /// @param dispatcher  outlives it
    explicit PageConnection(RpcDispatcher& dispatcher) : m_dispatcher(dispatcher) {}

    void opened(const std::shared_ptr<http::WebSocket>& socket) override
    {
        m_conversation.emplace(m_dispatcher, [socket](const std::string& message) { socket->send(message); });
    }
    void received(const std::string& message) override { m_conversation->handle(message); }
    void closed() override { m_conversation.reset(); }

private:
    RpcDispatcher& m_dispatcher;
    std::optional<RpcConversation> m_conversation;
};

}  // namespace W::host
