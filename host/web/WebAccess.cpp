#include "WebAccess.h"

#include <array>
#include <cerrno>
#include <stdexcept>
#include <utility>

#include <arpa/inet.h>
#include <fmt/format.h>
#include <sys/random.h>
#include <unistd.h>

#include "UrlDecoding.h"

namespace W::host {

namespace {

constexpr std::size_t kTokenBytes = 24;
constexpr int kMostWrongTries = 5;
constexpr std::chrono::seconds kTriesForgotten{60};

std::string makeToken()
{
    std::array<unsigned char, kTokenBytes> bytes{};
    if (::getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size())) {
        throw std::runtime_error("cannot read random numbers from the system");
    }
    std::string token;
    for (const unsigned char byte : bytes) {
        token += fmt::format("{:02x}", byte);
    }
    return token;
}

/// Compares in constant time, so that the time does not reveal where the strings differ.
bool sameSecret(std::string_view given, std::string_view secret)
{
    unsigned char difference = given.size() == secret.size() ? 0 : 1;
    for (std::size_t i = 0; i < given.size(); ++i) {
        difference |= static_cast<unsigned char>(given[i] ^ secret[i % secret.size()]);
    }
    return difference == 0;
}

bool isAddressLiteral(const std::string& host)
{
    std::array<unsigned char, sizeof(in6_addr)> address{};
    if (host.size() > 2 && host.front() == '[' && host.back() == ']') {
        return ::inet_pton(AF_INET6, host.substr(1, host.size() - 2).c_str(), address.data()) == 1;
    }
    return ::inet_pton(AF_INET, host.c_str(), address.data()) == 1;
}

std::string machineName()
{
    std::array<char, 256> name{};
    return ::gethostname(name.data(), name.size() - 1) == 0 ? name.data() : "";
}

}  // namespace

WebAccess::WebAccess(const http::ListenAddress& address, std::string password)
    : m_address(address), m_password(std::move(password)), m_token(makeToken()), m_machine(machineName())
{}

std::string WebAccess::address(const std::string& url) const
{
    return asksForPassword() ? url + "/" : fmt::format("{}/?token={}", url, m_token);
}

bool WebAccess::isOwnHost(std::string_view host) const
{
    const std::string port = fmt::format(":{}", m_port);
    if (host.size() <= port.size() || host.substr(host.size() - port.size()) != port) {
        // Browsers leave the default port out.
        if (m_port != 80) {
            return false;
        }
    } else {
        host.remove_suffix(port.size());
    }
    const std::string name(host);
    if (http::equalIgnoringCase(name, "localhost") || name == m_address.host || name == "127.0.0.1" ||
        name == "[::1]") {
        return true;
    }
    // DNS rebinding needs a name that the attacker controls: not an address, not this machine's own name.
    return !m_address.isLoopback() && (isAddressLiteral(name) || http::equalIgnoringCase(name, m_machine));
}

std::string WebAccess::cookieName() const
{
    // Cookies do not distinguish ports, so two programs on one machine would overwrite each other's.
    return fmt::format("corvane-{}", m_port);
}

bool WebAccess::hasCookie(const http::Request& request) const
{
    std::string_view cookies = request.header("Cookie");
    const std::string wanted = cookieName() + "=";
    while (!cookies.empty()) {
        const std::size_t end = cookies.find(';');
        std::string_view one = cookies.substr(0, end);
        cookies.remove_prefix(end == std::string_view::npos ? cookies.size() : end + 1);
        while (!one.empty() && one.front() == ' ') {
            one.remove_prefix(1);
        }
        if (one.substr(0, wanted.size()) == wanted && sameSecret(one.substr(wanted.size()), m_token)) {
            return true;
        }
    }
    return false;
}

WebAccess::Admission WebAccess::tryPassword(const http::Request& request)
{
    const auto fields = http::parseQuery(request.body);
    const auto given = fields.find("password");
    const std::lock_guard<std::mutex> lock(m_lock);
    const auto now = std::chrono::steady_clock::now();
    if (now - m_firstTry > kTriesForgotten) {
        m_wrongTries = 0;
    }
    if (m_wrongTries >= kMostWrongTries) {
        return Admission::TooManyTries;
    }
    if (given != fields.end() && sameSecret(given->second, m_password)) {
        m_wrongTries = 0;
        return Admission::SignedIn;
    }
    if (m_wrongTries++ == 0) {
        m_firstTry = now;
    }
    return Admission::WrongPassword;
}

WebAccess::Admission WebAccess::judge(const http::Request& request)
{
    const std::string& host = request.header("Host");
    if (!isOwnHost(host)) {
        return Admission::WrongHost;
    }
    if (request.headers.has("Origin") && request.header("Origin") != "http://" + host) {
        return Admission::WrongOrigin;
    }
    if (!asksForPassword()) {
        const auto token = request.query.find("token");
        if (request.path == "/" && token != request.query.end() && sameSecret(token->second, m_token)) {
            return Admission::SignedIn;
        }
    } else if (request.method == "POST" && request.path == "/sign-in") {
        return tryPassword(request);
    }
    return hasCookie(request) ? Admission::Admitted : Admission::Locked;
}

http::Reply WebAccess::signIn() const
{
    http::Reply reply;
    reply.status = 303;
    reply.headers.add("Location", "/");
    reply.headers.add("Set-Cookie", fmt::format("{}={}; Path=/; HttpOnly; SameSite=Strict", cookieName(), m_token));
    reply.headers.add("Cache-Control", "no-store");
    reply.headers.add("Referrer-Policy", "no-referrer");
    return reply;
}

}  // namespace W::host
