// The paths of `corvane web`: the page's files, JSON-RPC at /rpc, GET /health.json and POST /line-up.
#pragma once

#include <memory>
#include <mutex>
#include <string>

#include "HttpServer.h"
#include "LineUpChoice.h"
#include "RpcConversation.h"
#include "SessionKeeper.h"
#include "StaticContent.h"
#include "WebAccess.h"

namespace W::host {

/// Its application() is given to an http::HttpServer, which must be destroyed before this object.  [any thread]
class WebSite {
public:
    /// @param runtime, session, lineUp, dispatcher, access  outlive it
    /// @param assets  folder that is read again for each load of the page; empty for the built-in files
    /// @throws std::runtime_error if the folder cannot be read
    WebSite(Runtime& runtime, SessionKeeper& session, LineUpChoice& lineUp, RpcDispatcher& dispatcher,
            WebAccess& access, std::string assets);

    /// @param patience  for each request of a health report
    http::HttpApplication application(std::chrono::milliseconds patience);

private:
    std::optional<http::Reply> admit(const http::Request& request);
    http::Reply answer(const http::Request& request, std::chrono::milliseconds patience);
    http::Reply locked(WebAccess::Admission verdict) const;
    http::Reply chooseLineUp(const http::Request& request);
    std::shared_ptr<const http::StaticContent> content(bool fresh);

    Runtime& m_runtime;
    SessionKeeper& m_session;
    LineUpChoice& m_lineUp;
    RpcDispatcher& m_dispatcher;
    WebAccess& m_access;
    const std::string m_assets;
    std::mutex m_lock;  ///< guards what follows
    std::shared_ptr<const http::StaticContent> m_content;
};

}  // namespace W::host
