#include "FaultInjector.h"

#include <algorithm>
#include <charconv>
#include <iterator>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "ContentCoding.h"
#include "Messages.h"
#include "OperatorError.h"

namespace corvaned {
namespace {

using Json = nlohmann::json;
using End = http::ReplyDelivery::End;

constexpr std::string_view kServicePath = "/openapi/service/vorel/";

// --- faults in the content of replies --------------------------------------------------------------------------------

void replaceByHtml(http::Reply& reply, std::int64_t /*unused*/)
{
    reply.body = "<html><body>Please sign in to this network.</body></html>";
}

// Turns strings into numbers and lists into objects. Keeps "stat", because clients read nothing without it.
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

void replaceTypes(http::Reply& reply, std::int64_t /*unused*/)
{
    Json body = Json::parse(reply.body, nullptr, false);
    if (!body.is_discarded()) {
        exchangeTypes(body, "");
        reply.body = body.dump();
    }
}

void replaceByBomb(http::Reply& reply, std::int64_t mebibytes)
{
    reply.body = http::gzipped(std::string(static_cast<std::size_t>(mebibytes) << 20, '\0'));
    reply.headers.set("Content-Encoding", "gzip");
    reply.mayCompress = false;
}

void replaceByStatus(http::Reply& reply, std::int64_t status)
{
    reply = failure(ServiceCode::Fault, "injected failure");
    reply.status = static_cast<int>(status);
}

// --- faults in the delivery of replies -------------------------------------------------------------------------------

void sendLate(std::string& /*bytes*/, http::ReplyDelivery& delivery, std::int64_t milliseconds)
{
    delivery.delay = std::chrono::milliseconds(milliseconds);
}

void sendDrops(std::string& /*bytes*/, http::ReplyDelivery& delivery, std::int64_t milliseconds)
{
    delivery.drip = std::chrono::milliseconds(milliseconds);
}

template <End end>
void sendPart(std::string& /*bytes*/, http::ReplyDelivery& delivery, std::int64_t bytes)
{
    delivery.most = static_cast<std::size_t>(bytes);
    delivery.end = end;
}

void sendWrongLength(std::string& bytes, http::ReplyDelivery& delivery, std::int64_t difference)
{
    constexpr std::string_view kLength = "Content-Length: ";
    const std::size_t begin = bytes.find(kLength);
    if (begin != std::string::npos) {
        const std::size_t digits = begin + kLength.size();
        const std::size_t end = bytes.find('\r', digits);
        const std::int64_t length = std::stoll(bytes.substr(digits, end - digits)) + difference;
        bytes.replace(digits, end - digits, std::to_string(std::max<std::int64_t>(length, 0)));
    }
    delivery.end = End::Close;
}

struct FaultKind {
    const char* name;
    std::int64_t standard;  // the argument if the rule has none
    std::int64_t least;
    std::int64_t most;
    void (*alter)(http::Reply& reply, std::int64_t argument);                                   // or null
    void (*deliver)(std::string& bytes, http::ReplyDelivery& delivery, std::int64_t argument);  // or null
};

constexpr std::int64_t kHour = 3'600'000;  // milliseconds
constexpr std::int64_t kMany = 1 << 30;
constexpr FaultKind kFaultKinds[] = {
    {"delay", 1000, 0, kHour, nullptr, &sendLate},               // milliseconds before the reply
    {"drip", 100, 1, kHour, nullptr, &sendDrops},                // milliseconds after each byte
    {"stall", 20, 0, kMany, nullptr, &sendPart<End::Stall>},     // bytes, then nothing more
    {"truncate", 20, 0, kMany, nullptr, &sendPart<End::Close>},  // bytes, then the end
    {"reset", 0, 0, kMany, nullptr, &sendPart<End::Reset>},      // bytes, then a reset
    {"length", -1, -kMany, kMany, nullptr, &sendWrongLength},    // added to Content-Length
    {"html", 0, 0, 0, &replaceByHtml, nullptr},                  // an HTML page instead of the reply
    {"types", 0, 0, 0, &replaceTypes, nullptr},                  // numbers for strings, objects for lists
    {"bomb", 100, 1, 1024, &replaceByBomb, nullptr},             // MiB of zeros, compressed
    {"status", 503, 400, 599, &replaceByStatus, nullptr},        // of HTTP
};

std::string kindNames()
{
    std::string names;
    for (const FaultKind& kind : kFaultKinds) {
        names += (names.empty() ? "" : ", ") + std::string(kind.name);
    }
    return names;
}

}  // namespace

InjectedFault InjectedFault::parse(const std::string& text)
{
    const std::size_t equal = text.find('=');
    const std::string what = equal == std::string::npos ? "" : text.substr(equal + 1);
    const std::string name = what.substr(0, what.find(' '));
    const auto* const kind = std::find_if(std::begin(kFaultKinds), std::end(kFaultKinds),
                                          [&](const FaultKind& each) { return each.name == name; });
    if (equal == 0 || kind == std::end(kFaultKinds)) {
        throw OperatorError(fmt::format(
            "'{}' is not a fault; give a path and one of {}, as in 'channel/schedule=delay 500'", text, kindNames()));
    }
    InjectedFault fault{text.substr(0, equal), static_cast<std::size_t>(kind - kFaultKinds), kind->standard};
    while (fault.path.size() > 1 && fault.path.back() == '/') {
        fault.path.pop_back();
    }
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

bool InjectedFault::concerns(std::string_view requestPath) const
{
    if (path == "*") {
        return true;
    }
    if (path.front() != '/' && requestPath.substr(0, kServicePath.size()) == kServicePath) {
        requestPath.remove_prefix(kServicePath.size());
    }
    // Parameters may follow the path.
    return requestPath.substr(0, path.size()) == path &&
           (requestPath.size() == path.size() || requestPath[path.size()] == '/' || requestPath[path.size()] == '&');
}

FaultInjector::FaultInjector(const std::vector<std::string>& faults)
{
    std::transform(faults.begin(), faults.end(), std::back_inserter(m_faults), &InjectedFault::parse);
}

const InjectedFault* FaultInjector::faultOf(std::string_view path) const
{
    const auto found = std::find_if(m_faults.begin(), m_faults.end(),
                                    [path](const InjectedFault& fault) { return fault.concerns(path); });
    return found == m_faults.end() ? nullptr : &*found;
}

void FaultInjector::alter(const http::Request& request, http::Reply& reply)
{
    const InjectedFault* const fault = faultOf(request.path);
    if (fault != nullptr && kFaultKinds[fault->kind].alter != nullptr) {
        kFaultKinds[fault->kind].alter(reply, fault->argument);
    }
}

void FaultInjector::deliver(const http::Request& request, std::string& bytes, http::ReplyDelivery& delivery)
{
    const InjectedFault* const fault = faultOf(request.path);
    if (fault != nullptr && kFaultKinds[fault->kind].deliver != nullptr) {
        kFaultKinds[fault->kind].deliver(bytes, delivery, fault->argument);
    }
}

}  // namespace corvaned
