// Access control: admits requests for a name of this server, from its own pages, with the token of this start or the
// password. Pages of other servers can neither reach it under another name (DNS rebinding) nor open its WebSocket.
#pragma once

#include <chrono>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "HttpMessages.h"
#include "HttpServer.h"

namespace W::host {

/// [any thread, after setPort()]
class WebAccess {
public:
    /// @param password  empty if the token in the address admits
    WebAccess(const http::ListenAddress& address, std::string password);

    /// The port that was bound. Call it before the first request.
    void setPort(int port) { m_port = port; }

    /// The address to open: with the token, unless there is a password.
    std::string address(const std::string& url) const;

    enum class Admission {
        Admitted,
        SignedIn,     ///< the right token or password: signIn() is the reply
        Locked,       ///< no cookie of this start
        WrongHost,    ///< not a name of this server
        WrongOrigin,  ///< from a page of another server
        WrongPassword,
        TooManyTries,  ///< wrong passwords in the last minute
    };
    Admission judge(const http::Request& request);

    /// Gives the browser its cookie and sends it to the page.
    http::Reply signIn() const;

    bool asksForPassword() const { return !m_password.empty(); }

private:
    bool isOwnHost(std::string_view host) const;
    bool hasCookie(const http::Request& request) const;
    std::string cookieName() const;
    Admission tryPassword(const http::Request& request);

    const http::ListenAddress m_address;
    const std::string m_password;
    const std::string m_token;
    std::string m_machine;  ///< this machine's name
    int m_port = 0;
    std::mutex m_lock;  ///< guards what follows
    int m_wrongTries = 0;
    std::chrono::steady_clock::time_point m_firstTry;
};

}  // namespace W::host
