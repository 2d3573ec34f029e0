#include "HttpWork.h"

#include <algorithm>

namespace http {

IoState sendReply(Transport& transport, const OutgoingReply& reply, std::size_t& sent)
{
    const std::string_view head = reply.head;
    const std::string_view body = reply.content();
    while (sent < head.size() + body.size()) {
        const std::size_t inHead = std::min(sent, head.size());
        const IoResult result = transport.write(head.substr(inHead), body.substr(sent - inHead));
        if (result.state != IoState::Done) {
            return result.state;
        }
        sent += result.count;
    }
    return IoState::Done;
}

}  // namespace http
