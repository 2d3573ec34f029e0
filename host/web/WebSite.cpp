#include "WebSite.h"

#include <stdexcept>
#include <utility>

#include <fmt/format.h>

#include "PageConnection.h"
#include "WebAssets.h"
#include "WebHealth.h"

namespace W::host {

namespace {

/// Only pictures, whose addresses are in listings, are loaded from other servers; strings of listings cannot become
/// code.
constexpr const char* kPolicy =
    "default-src 'none'; script-src 'self'; style-src 'self'; connect-src 'self'; img-src 'self' data: http: https:; "
    "form-action 'self'; base-uri 'none'; frame-ancestors 'none'";

http::Reply plainReply(int status, const std::string& text)
{
    http::Reply reply;
    reply.status = status;
    reply.headers.add("Content-Type", "text/plain; charset=utf-8");
    reply.headers.add("Cache-Control", "no-store");
    reply.headers.add("X-Content-Type-Options", "nosniff");
    reply.body = text + "\n";
    return reply;
}

http::Reply jsonReply(const Json& json)
{
    http::Reply reply;
    reply.headers.add("Content-Type", "application/json");
    reply.headers.add("Cache-Control", "no-store");
    reply.headers.add("X-Content-Type-Options", "nosniff");
    reply.body = toLine(json);
    return reply;
}

std::shared_ptr<const http::StaticContent> readContent(const std::string& folder)
{
    auto content = std::make_shared<http::StaticContent>();
    content->setHeader("Content-Security-Policy", kPolicy);
    content->setHeader("X-Content-Type-Options", "nosniff");
    content->setHeader("Referrer-Policy", "no-referrer");
    content->setHeader("Cross-Origin-Opener-Policy", "same-origin");
    content->setHeader("Cross-Origin-Resource-Policy", "same-origin");
    // Revalidated at each load; the entity tag makes that cheap.
    content->setHeader("Cache-Control", "no-cache");
    for (std::size_t i = 0; i < kWebAssetCount; ++i) {
        const WebAsset& asset = kWebAssets[i];
        if (folder.empty() || asset.path == "/statuses.md") {
            content->add(std::string(asset.path), std::string(asset.content));
        }
    }
    if (!folder.empty()) {
        content->addFolder(folder);
        if (!content->has("/index.html")) {
            throw std::runtime_error(
                fmt::format("{} has no index.html; name the folder web of the sources with --assets", folder));
        }
    }
    return content;
}

/// A page for people, without scripts. Its style sheet is served without a cookie.
std::string lockedPage(const std::string& title, const std::string& content)
{
    return fmt::format(
        "<!doctype html><html lang=\"en\"><head><meta charset=\"utf-8\">"
        "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">"
        "<title>{0} · Corvane</title><link rel=\"stylesheet\" href=\"/style/base.css\">"
        "<link rel=\"icon\" href=\"/favicon.svg\"></head><body><main><div class=\"state\"><h1>{0}</h1>"
        "{1}</div></main></body></html>\n",
        title, content);
}

bool isPublic(const std::string& path)
{
    return path == "/style/base.css" || path == "/favicon.svg";
}

}  // namespace

WebSite::WebSite(Runtime& runtime, SessionKeeper& session, LineUpChoice& lineUp, RpcDispatcher& dispatcher,
                 WebAccess& access, std::string assets)
    : m_runtime(runtime),
      m_session(session),
      m_lineUp(lineUp),
      m_dispatcher(dispatcher),
      m_access(access),
      m_assets(std::move(assets)),
      m_content(readContent(m_assets))
{}

http::HttpApplication WebSite::application(std::chrono::milliseconds patience)
{
    http::HttpApplication application;
    application.admit = [this](const http::Request& request) { return admit(request); };
    application.answer = [this, patience](const http::Request& request) { return answer(request, patience); };
    application.refuse = [](int status, const std::string& message) { return plainReply(status, message); };
    application.openWebSocket = [this](const http::Request& request) -> std::shared_ptr<http::WebSocketHandler> {
        if (request.path != "/rpc") {
            return nullptr;
        }
        return std::make_shared<PageConnection>(m_dispatcher);
    };
    return application;
}

std::optional<http::Reply> WebSite::admit(const http::Request& request)
{
    const WebAccess::Admission verdict = m_access.judge(request);
    switch (verdict) {
        case WebAccess::Admission::Admitted:
            return std::nullopt;
        case WebAccess::Admission::SignedIn:
            return m_access.signIn();
        case WebAccess::Admission::Locked:
            if (isPublic(request.path)) {
                return std::nullopt;
            }
            break;
        default:
            break;
    }
    return locked(verdict);
}

http::Reply WebSite::locked(WebAccess::Admission verdict) const
{
    if (verdict == WebAccess::Admission::WrongHost) {
        return plainReply(403, "This server has another name. Open the address that corvane web printed.");
    }
    if (verdict == WebAccess::Admission::WrongOrigin) {
        return plainReply(403, "Requests from pages of other servers are refused.");
    }
    http::Reply reply = plainReply(401, "");
    reply.headers.set("Content-Type", "text/html; charset=utf-8");
    reply.headers.set("Content-Security-Policy", kPolicy);
    if (!m_access.asksForPassword()) {
        reply.body = lockedPage("This guide is locked",
                                "<p>Open the address that <code>corvane web</code> printed when it was started. It "
                                "ends with a token that lets this browser in.</p>");
        return reply;
    }
    std::string message = "<p>Enter the password of this guide.</p>";
    if (verdict == WebAccess::Admission::WrongPassword) {
        message = "<p class=\"cause\" role=\"alert\">This password is wrong.</p>";
    } else if (verdict == WebAccess::Admission::TooManyTries) {
        reply.status = 429;
        reply.headers.add("Retry-After", "60");
        message = "<p class=\"cause\" role=\"alert\">Too many wrong passwords. Wait a minute and try again.</p>";
    }
    reply.body =
        lockedPage("Sign in", message +
                                  "<form method=\"post\" action=\"/sign-in\" class=\"actions\">"
                                  "<input class=\"field\" type=\"password\" name=\"password\" required autofocus "
                                  "aria-label=\"Password\" autocomplete=\"current-password\"> "
                                  "<button class=\"button primary\">Sign in</button></form>");
    return reply;
}

std::shared_ptr<const http::StaticContent> WebSite::content(bool fresh)
{
    if (fresh && !m_assets.empty()) {
        auto content = readContent(m_assets);
        const std::lock_guard<std::mutex> lock(m_lock);
        m_content = std::move(content);
    }
    const std::lock_guard<std::mutex> lock(m_lock);
    return m_content;
}

http::Reply WebSite::chooseLineUp(const http::Request& request)
{
    if (request.method != "POST") {
        http::Reply reply = plainReply(405, "Choose a line-up with POST.");
        reply.headers.add("Allow", "POST");
        return reply;
    }
    const Json choice = Json::parse(request.body, nullptr, false);
    const auto text = [&choice](const char* key) {
        const Json value = choice.is_object() ? choice.value(key, Json()) : Json();
        return value.is_string() ? value.get<std::string>() : std::string();
    };
    if (text("headend").empty()) {
        return plainReply(400, "The body must be a JSON object with \"headend\" and \"device\".");
    }
    m_lineUp.choose(text("headend"), text("device"));
    return jsonReply({{"headend", m_lineUp.headend()}, {"device", m_lineUp.device()}});
}

http::Reply WebSite::answer(const http::Request& request, std::chrono::milliseconds patience)
{
    if (request.path == "/health.json") {
        return jsonReply(webHealth(m_runtime, m_session, m_lineUp, patience));
    }
    if (request.path == "/line-up") {
        return chooseLineUp(request);
    }
    try {
        return content(request.path == "/")->answer(request);
    } catch (const std::exception& error) {
        return plainReply(500, error.what());
    }
}

}  // namespace W::host
