// The host's HTTP executor. Its contract, which every plug-in relies on and every host keeps:
//
// X1  addRequest() < 0: the request is not kept, never completed, never touched or deleted.
//     addRequest() >= 0: exactly one completion follows, never on the caller's stack. It may run before addRequest()
//     has returned.
// X2  The completion runs with no executor lock held and outside any callback of a transfer library. When it returns,
//     the executor no longer touches the request, which may have been deleted.
// X3  HttpRequest::setCancel() only marks the request and calls wake(): it never calls back, never blocks, and may be
//     called from construction to deletion. A request that is marked before its outcome is fixed completes with 600.
// X4  flushHttpRequests(id) ends every queued or running request of that id with 600 and returns only when none of them
//     is inside its completion or will still enter one; requests of that id which a completion adds while the flush
//     waits are ended too. Called from inside a completion it does not wait for that one. It never deletes a request.
// X5  Every accepted request has a time-out, so a completion always comes.
//
// Nothing here throws.
#pragma once

#include "HttpRequest.h"
#include "WTypes.h"

#pragma GCC visibility push(default)
namespace W {

class HttpDelegator {
public:
    virtual ~HttpDelegator() = default;

    /// The executor of the process; never null, outlives every plug-in object.  [any thread]
    static HttpDelegator* getInstance();

    /// Queues a request. The caller owns it and must keep it alive until its completion.  [any thread]
    /// @return >= 0 accepted; < 0 refused, with the status that the caller should report
    virtual int addRequest(HttpRequest* request) = 0;

    /// Ends all requests that carry `id` (HttpRequest::setID).  [any thread]
    virtual void flushHttpRequests(UINT64 id) = 0;

    /// Tells the executor that setCancel() has marked a request, so that it does not have to poll for marks. An
    /// executor that checks HttpRequest::isCancelled() by itself need not override it. Never blocks, never calls back.
    /// [any thread]
    virtual void wake() {}
};

inline void HttpRequest::setCancel()
{
    m_cancel.store(true, std::memory_order_release);
    HttpDelegator::getInstance()->wake();
}

}  // namespace W
#pragma GCC visibility pop
