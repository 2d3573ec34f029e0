#include "Meddler.h"

#include <fmt/format.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <thread>

#include "Connections.h"
#include "ContentCoding.h"
#include "OperatorError.h"

namespace corvaned {
namespace {

using Json = nlohmann::json;
namespace fs = std::filesystem;

constexpr std::string_view kServicePath = "/openapi/service/vorel/";
constexpr std::string_view kEndOfHead = "\r\n\r\n";

// --- faults of what a reply says -------------------------------------------------------------------------------------

void sendHtml(Reply& reply, std::int64_t /*unused*/, bool& /*unused*/)
{
    reply.body = "<html><body>Please sign in to this network.</body></html>";
}

// Texts become numbers and lists objects, so that nothing is what it should be; "stat" stays, or nobody would read on.
void exchangeTypes(Json& value, const std::string& key)
{
    if (value.is_array()) {
        value = Json::object({{"0", value.empty() ? Json() : value.front()}});
    } else if (value.is_string() && key != "stat") {
        value = 7;
    }
    if (value.is_object()) {
        for (auto& [name, member] : value.items()) {
            exchangeTypes(member, name);
        }
    }
}

void sendWrongTypes(Reply& reply, std::int64_t /*unused*/, bool& /*unused*/)
{
    Json body = Json::parse(reply.body);
    exchangeTypes(body, "");
    reply.body = body.dump();
}

void sendBomb(Reply& reply, std::int64_t mebibytes, bool& packed)
{
    reply.body = gzipped(std::string(static_cast<std::size_t>(mebibytes) << 20, '\0'));
    packed = true;
}

void sendStatus(Reply& reply, std::int64_t status, bool& /*unused*/)
{
    reply = failure(ServiceCode::Fault, "this failure was asked for");
    reply.status = static_cast<int>(status);
}

// --- faults of how it is sent ----------------------------------------------------------------------------------------

/// Sends at once. @return false when the client is gone
bool send(Connection& connection, std::string_view bytes)
{
    return connection.write(bytes.data(), bytes.size()) >= 0 && connection.flush();
}

/// Sleeps. @return false when the client has gone meanwhile, or the service ends
bool pause(const Connection& connection, std::int64_t milliseconds)
{
    pollfd look{connection.socket(), POLLRDHUP, 0};
    return ::poll(&look, 1, static_cast<int>(milliseconds)) == 0;
}

bool sendLate(Connection& connection, const std::string& reply, std::int64_t milliseconds)
{
    return pause(connection, milliseconds) && send(connection, reply);
}

bool sendDrops(Connection& connection, const std::string& reply, std::int64_t milliseconds)
{
    return std::all_of(reply.begin(), reply.end(), [&](const char& byte) {
        return send(connection, {&byte, 1}) && pause(connection, milliseconds);
    });
}

bool sendAndStall(Connection& connection, const std::string& reply, std::int64_t bytes)
{
    constexpr std::int64_t kForGood = 86'400'000;  // a day
    if (send(connection, std::string_view(reply).substr(0, static_cast<std::size_t>(bytes)))) {
        pause(connection, kForGood);
    }
    return false;
}

bool sendAndClose(Connection& connection, const std::string& reply, std::int64_t bytes)
{
    send(connection, std::string_view(reply).substr(0, static_cast<std::size_t>(bytes)));
    return false;
}

bool sendAndReset(Connection& connection, const std::string& reply, std::int64_t bytes)
{
    sendAndClose(connection, reply, bytes);
    // Undoing the connection is how Linux is asked for a reset.
    sockaddr nobody{};
    nobody.sa_family = AF_UNSPEC;
    (void)::connect(connection.socket(), &nobody, sizeof nobody);
    return false;
}

bool sendWrongLength(Connection& connection, const std::string& right, std::int64_t difference)
{
    std::string reply = right;
    constexpr std::string_view kLength = "Content-Length: ";
    const std::size_t begin = reply.find(kLength);
    if (begin != std::string::npos) {
        const std::size_t digits = begin + kLength.size();
        const std::size_t end = reply.find('\r', digits);
        const std::int64_t length = std::stoll(reply.substr(digits, end - digits)) + difference;
        reply.replace(digits, end - digits, std::to_string(std::max<std::int64_t>(length, 0)));
    }
    send(connection, reply);
    return false;
}

struct FaultKind {
    const char* name;
    std::int64_t standard;  // the argument where none is given
    std::int64_t least;
    std::int64_t most;
    void (*alter)(Reply& reply, std::int64_t argument, bool& packed);                       // or null
    bool (*send)(Connection& connection, const std::string& reply, std::int64_t argument);  // or null
};

constexpr std::int64_t kHour = 3'600'000;  // milliseconds
constexpr std::int64_t kMany = 1 << 30;
constexpr FaultKind kFaultKinds[] = {
    {"delay", 1000, 0, kHour, nullptr, &sendLate},             // milliseconds before the reply
    {"drip", 100, 0, kHour, nullptr, &sendDrops},              // milliseconds behind each byte
    {"stall", 20, 0, kMany, nullptr, &sendAndStall},           // bytes, then silence
    {"truncate", 20, 0, kMany, nullptr, &sendAndClose},        // bytes, then the end
    {"reset", 0, 0, kMany, nullptr, &sendAndReset},            // bytes, then a reset
    {"length", -1, -kMany, kMany, nullptr, &sendWrongLength},  // by so much is Content-Length wrong
    {"html", 0, 0, 0, &sendHtml, nullptr},                     // a page for people
    {"types", 0, 0, 0, &sendWrongTypes, nullptr},              // numbers for texts, objects for lists
    {"bomb", 100, 1, 1024, &sendBomb, nullptr},                // MiB of zeros, packed
    {"status", 503, 400, 599, &sendStatus, nullptr},           // of HTTP
};

std::string kindNames()
{
    std::string names;
    for (const FaultKind& kind : kFaultKinds) {
        names += (names.empty() ? "" : ", ") + std::string(kind.name);
    }
    return names;
}

Meddler::Fault parseFault(const std::string& text)
{
    const std::size_t equal = text.find('=');
    const std::string what = equal == std::string::npos ? "" : text.substr(equal + 1);
    const std::string name = what.substr(0, what.find(' '));
    const auto* const kind = std::find_if(std::begin(kFaultKinds), std::end(kFaultKinds),
                                          [&](const FaultKind& each) { return each.name == name; });
    if (equal == 0 || kind == std::end(kFaultKinds)) {
        throw OperatorError(fmt::format(
            "'{}' is no fault; give a path and one of {}, as in 'channel/schedule=delay 500'", text, kindNames()));
    }
    Meddler::Fault fault{text.substr(0, equal), static_cast<std::size_t>(kind - kFaultKinds), kind->standard};
    if (name.size() < what.size()) {
        const char* const first = what.data() + name.size() + 1;
        const char* const last = what.data() + what.size();
        const std::from_chars_result read = std::from_chars(first, last, fault.argument);
        if (read.ec != std::errc() || read.ptr != last || fault.argument < kind->least || fault.argument > kind->most) {
            throw OperatorError(
                fmt::format("'{}' takes a number from {} to {} in '{}'", name, kind->least, kind->most, text));
        }
    }
    return fault;
}

// --- exchanges -------------------------------------------------------------------------------------------------------

/// "GET /path?query", by which a request is found again.
std::string requestLine(const std::string& request)
{
    const std::string line = request.substr(0, request.find('\r'));
    return line.substr(0, line.rfind(' '));
}

/// "/path" of it.
std::string_view pathOf(std::string_view line)
{
    line.remove_prefix(std::min(line.find(' ') + 1, line.size()));
    return line.substr(0, line.find('?'));
}

/// The request without what proves who sent it.
std::string withoutSecrets(const std::string& request)
{
    constexpr std::string_view kSecret[] = {"Token:", "AuthToken:", "AppKey:", "DUID:"};
    const std::size_t end = std::min(request.find(kEndOfHead), request.size());
    std::string kept;
    for (std::size_t begin = 0; begin < end;) {
        const std::size_t next = std::min(request.find("\r\n", begin), end);
        const std::string_view line = std::string_view(request).substr(begin, next - begin);
        if (std::none_of(std::begin(kSecret), std::end(kSecret),
                         [&](std::string_view name) { return line.substr(0, name.size()) == name; })) {
            kept.append(line).append("\r\n");
        }
        begin = next + 2;
    }
    return kept + request.substr(std::min(end + 2, request.size()));
}

std::string contentOf(const fs::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

std::string fileName(int number, const char* kind)
{
    return fmt::format("{:06}.{}", number, kind);
}

/// What the library reads and writes, seen on its way; nothing goes out by itself.
class Tap final : public httplib::Stream {
public:
    explicit Tap(Connection& connection) : m_connection(connection) {}

    std::string request;
    std::string reply;

    bool is_readable() const override { return m_connection.is_readable(); }
    bool is_writable() const override { return m_connection.is_writable(); }
    ssize_t read(char* data, std::size_t size) override
    {
        const ssize_t count = m_connection.read(data, size);
        if (count > 0) {
            request.append(data, static_cast<std::size_t>(count));
        }
        return count;
    }
    ssize_t write(const char* data, std::size_t size) override
    {
        reply.append(data, size);
        return static_cast<ssize_t>(size);
    }
    using httplib::Stream::write;
    void get_remote_ip_and_port(std::string& ip, int& port) const override
    {
        m_connection.get_remote_ip_and_port(ip, port);
    }
    void get_local_ip_and_port(std::string& ip, int& port) const override
    {
        m_connection.get_local_ip_and_port(ip, port);
    }
    socket_t socket() const override { return m_connection.socket(); }

private:
    Connection& m_connection;
};

}  // namespace

Meddler::Meddler(const MeddlerOptions& options) : m_record(options.record), m_replaying(!options.replay.empty())
{
    std::transform(options.faults.begin(), options.faults.end(), std::back_inserter(m_faults), &parseFault);
    std::error_code failed;
    if (!m_record.empty()) {
        fs::create_directories(m_record, failed);
        fs::permissions(m_record, fs::perms::owner_all, failed);
        if (failed || !fs::is_empty(m_record, failed)) {
            throw OperatorError(fmt::format("cannot record in {}: {}; name a folder that is empty, or a new one",
                                            m_record, failed ? failed.message() : "it holds something"));
        }
    }
    // Backwards, so that the earliest one is at the end of its list.
    int number = 1;
    while (m_replaying && fs::exists(fs::path(options.replay) / fileName(number, "request"))) {
        ++number;
    }
    if (m_replaying && number == 1) {
        throw OperatorError(fmt::format("cannot replay {}: it holds no {}; name a folder that --record has filled",
                                        options.replay, fileName(1, "request")));
    }
    while (--number > 0) {
        const fs::path folder = options.replay;
        m_replies[requestLine(contentOf(folder / fileName(number, "request")))].push_back(
            contentOf(folder / fileName(number, "reply")));
    }
}

const Meddler::Fault* Meddler::faultOf(std::string_view path) const
{
    if (path.substr(0, kServicePath.size()) == kServicePath) {
        path.remove_prefix(kServicePath.size());
    }
    const auto found = std::find_if(m_faults.begin(), m_faults.end(), [path](const Fault& fault) {
        return fault.path == "*" || path.substr(0, fault.path.size()) == fault.path;
    });
    return found == m_faults.end() ? nullptr : &*found;
}

void Meddler::alter(std::string_view path, Reply& reply, bool& packed) const
{
    const Fault* const fault = faultOf(path);
    if (fault != nullptr && kFaultKinds[fault->kind].alter != nullptr) {
        kFaultKinds[fault->kind].alter(reply, fault->argument, packed);
    }
}

bool Meddler::pass(Connection& connection, const std::function<bool(httplib::Stream& stream)>& process)
{
    Tap tap(connection);
    const bool more = process(tap);
    if (tap.reply.empty()) {
        return more;
    }
    if (m_replaying) {
        tap.reply = replayed(tap.request);
    }
    if (!m_record.empty()) {
        keep(withoutSecrets(tap.request), tap.reply);
    }
    const Fault* const fault = faultOf(pathOf(requestLine(tap.request)));
    if (fault != nullptr && kFaultKinds[fault->kind].send != nullptr) {
        return kFaultKinds[fault->kind].send(connection, tap.reply, fault->argument) && more;
    }
    return send(connection, tap.reply) && more;
}

void Meddler::keep(const std::string& request, const std::string& reply)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    ++m_kept;
    for (const auto& [kind, content] : {std::pair("reply", &reply), std::pair("request", &request)}) {
        const fs::path file = fs::path(m_record) / fileName(m_kept, kind);
        if (!(std::ofstream(file, std::ios::binary) << *content << std::flush)) {
            fmt::print(stderr, "corvaned: cannot write {}; this exchange is not kept\n", file.string());
            return;
        }
    }
}

std::string Meddler::replayed(const std::string& request)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    const auto found = m_replies.find(requestLine(request));
    if (found == m_replies.end()) {
        const Reply reply = failure(ServiceCode::NotFound, "no such exchange was recorded");
        return fmt::format("HTTP/1.1 {} Not Found\r\nContent-Type: application/json\r\nContent-Length: {}{}{}",
                           reply.status, reply.body.size(), kEndOfHead, reply.body);
    }
    std::vector<std::string>& replies = found->second;
    std::string reply = replies.back();
    if (replies.size() > 1) {
        replies.pop_back();  // the last one stays, for whoever asks again
    }
    return reply;
}

}  // namespace corvaned
