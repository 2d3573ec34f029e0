// Status by status; the rest by its text.
#include "ServiceProblem.h"

#include "Debug.h"
#include "WTypes.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <optional>
#include <utility>

namespace W::host {

namespace {

struct Advice {
    WSTATUS status;
    const char* problem;
    const char* hint;
};

// {0} is the service's address.
constexpr Advice kAdvice[] = {
    {status::kBadArgument, "an option that it needs is empty",
     "look at app_key, country and headend; \"corvane doctor\" shows where options come from"},
    {status::kNotJson, "what answers at {0} is no Corvane service: its reply is not JSON",
     "name the service's address with --set base_url=URL"},
    {status::kUnreadableReply, "what answers at {0} does not reply as a Corvane service does",
     "name the service's address with --set base_url=URL"},
    {-13, "the transfer from {0} failed", "look at the service's log, and at its certificate when it speaks https"},
    {-500, "{0} did not answer in time", "look at the service's log, or allow more with --timeout SECONDS"},
    {status::kUnreachable, "there is no service at {0}",
     "start one with \"corvaned serve\", or name another address with --set base_url=URL"},
    {status::kNoSession, "the service does not accept the session",
     "set app_key and secret_key to what the service was started with"},
    {-205, "the service refuses or does not know this request", "look at the service's log"},
    {status::kCancelled, "{0} did not answer in time", "allow more with --timeout SECONDS"},
};

/// Code and message of the line that the plug-in writes about a refusal.
std::optional<std::string> fromErrorLine(std::string_view line)
{
    constexpr std::string_view kCode = "Error Code:";
    constexpr std::string_view kMessage = "   ErrorMsg:";
    const std::size_t code = line.find(kCode);
    const std::size_t message = line.find(kMessage);
    if (code == std::string_view::npos || message == std::string_view::npos || message < code)
        return std::nullopt;
    const std::string_view codeText = line.substr(code + kCode.size(), message - code - kCode.size());
    std::string_view messageText = line.substr(message + kMessage.size());
    messageText = messageText.substr(0, messageText.find('\n'));
    return fmt::format("code {}: {}", codeText, messageText);
}

/// The same from a reply that the plug-in dumps: one with an HTTP error is not read by it.
std::optional<std::string> fromReplyDump(std::string_view line)
{
    constexpr std::size_t kMostOfAnError = 4096;
    const std::size_t begin = line.find('{');
    if (begin == std::string_view::npos || line.size() > kMostOfAnError ||
        line.find("\"err\"") == std::string_view::npos)
        return std::nullopt;
    line = line.substr(begin, line.rfind('}') - begin + 1);
    using Json = nlohmann::json;
    const Json reply = Json::parse(line, nullptr, false);
    const Json::json_pointer code("/rsp/err/code");
    const Json::json_pointer message("/rsp/err/msg");
    if (reply.is_discarded() || !reply.contains(code) || !reply[code].is_string())
        return std::nullopt;
    const bool told = reply.contains(message) && reply[message].is_string();
    return fmt::format("code {}: {}", reply[code].get<std::string>(), told ? reply[message].get<std::string>() : "");
}

}  // namespace

ServiceReason::ServiceReason()
{
    watchDebugLines("%s", [this](std::string_view line) { look(line); });
}

ServiceReason::~ServiceReason()
{
    watchDebugLines({}, {});
}

void ServiceReason::look(std::string_view line)
{
    std::optional<std::string> reason = fromErrorLine(line);
    if (!reason)
        reason = fromReplyDump(line);
    if (!reason)
        return;
    const std::lock_guard<std::mutex> lock(m_lock);
    m_sReason = std::move(*reason);
}

std::string ServiceReason::take()
{
    const std::lock_guard<std::mutex> lock(m_lock);
    return std::exchange(m_sReason, {});
}

ServiceProblem describe(std::string_view step, int status, const std::string& reason,
                        const Configuration& configuration)
{
    const std::string start = fmt::format("cannot {}: ", step);
    const std::string& address = configuration.text("base_url");
    for (const Advice& row : kAdvice) {
        if (row.status != status)
            continue;
        std::string problem = fmt::format(fmt::runtime(row.problem), address);
        if (!reason.empty())
            problem += fmt::format(", {}", reason);
        return {fmt::format("{}{} (status {})", start, problem, status), row.hint};
    }
    if (status <= status::kServiceError)
        return {fmt::format("{}the service refuses with {} (status {})", start,
                            reason.empty() ? fmt::format("code {}", status::kServiceError - status) : reason, status),
                "look at the options that the message is about; \"corvane doctor\" shows where they come from"};
    return {fmt::format("{}{} (status {})", start, WSTATUS2STRING(status), status), "look at the service's log"};
}

}  // namespace W::host
