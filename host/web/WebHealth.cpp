#include "WebHealth.h"

#include <array>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <string_view>

#include <fmt/format.h>

#include "Counted.h"
#include "ServiceSession.h"

namespace W::host {

namespace {

constexpr long kMostSecondsApart = 120;
constexpr std::array<std::string_view, 3> kSecrets{"secret_key", "auth_token", "app_key"};

/// After a failure the remaining checks are skipped: they would fail for the same reason.
class Checks {
public:
    void check(const char* name, const std::function<std::string()>& step)
    {
        if (!m_hint.empty()) {
            add("-", name, "skipped");
            return;
        }
        try {
            add("ok", name, step());
        } catch (const ServiceProblem& problem) {
            m_hint = problem.hint();
            add("FAIL", name, problem.what());
        }
    }

    const Json& rows() const { return m_rows; }
    const std::string& hint() const { return m_hint; }

private:
    void add(const char* verdict, const char* name, const std::string& finding)
    {
        m_rows.push_back({{"verdict", verdict}, {"name", name}, {"finding", finding}});
    }

    Json m_rows = Json::array();
    std::string m_hint;
};

std::string clockCheck(ServiceSession& service)
{
    const WVLLocaltime localtime = service.fetchLocaltime();
    if (!localtime.getUTC().hasInstant()) {
        throw ServiceProblem("the service's time cannot be read", "check the service's log");
    }
    const long apart = static_cast<long>(std::time(nullptr) - localtime.getUTC().toTime_t());
    if (std::labs(apart) > kMostSecondsApart) {
        throw ServiceProblem(fmt::format("this machine's clock is {} s {} the service's", std::labs(apart),
                                         apart > 0 ? "ahead of" : "behind"),
                             "set the clock, as with \"timedatectl set-ntp true\"");
    }
    return fmt::format("{} at the service, {}", localtime.getUTC().toString(), localtime.getTimezone());
}

std::string lineUpCheck(ServiceSession& service, const std::string& headend)
{
    const std::size_t channels = service.fetchChannels().size();
    if (channels == 0) {
        throw ServiceProblem(fmt::format("headend \"{}\" has no channels", headend),
                             "choose another line-up, or fill the service with \"corvaned import\"");
    }
    return fmt::format("{} at headend \"{}\"", counted(channels, "channel"), headend);
}

Json settings(const Configuration& configuration, LineUpChoice& lineUp)
{
    Json rows = Json::array();
    for (const Setting& setting : allSettings()) {
        const std::string key(setting.key);
        std::string value = configuration.value(key);
        std::string source = configuration.source(key);
        if (key == "headend" || key == "device_type") {
            const std::string chosen = key == "headend" ? lineUp.headend() : lineUp.device();
            if (chosen != value) {
                value = chosen;
                source = "chosen on the page";
            }
        }
        for (const std::string_view secret : kSecrets) {
            if (key == secret && !value.empty()) {
                value = "(hidden)";
            }
        }
        rows.push_back({{"name", key}, {"value", value}, {"source", source}});
    }
    return rows;
}

}  // namespace

Json webHealth(Runtime& runtime, SessionKeeper& session, LineUpChoice& lineUp, std::chrono::milliseconds patience)
{
    const Configuration& configuration = runtime.configuration();
    ServiceSession service(runtime, patience);
    Checks checks;
    checks.check("plug-in", [&] { return runtime.library().file(); });
    checks.check("service address", [&] {
        service.checkAddress();
        return fmt::format("{} ({})", configuration.value("base_url"), configuration.source("base_url"));
    });
    checks.check("clock", [&] { return clockCheck(service); });
    checks.check("session", [&]() -> std::string {
        if (const auto problem = session.problem()) {
            throw ServiceProblem(*problem);
        }
        return fmt::format("opened as device \"{}\"", configuration.value("duid"));
    });
    checks.check("line-up", [&] { return lineUpCheck(service, lineUp.headend()); });
    const auto expires = session.expires();
    return {{"checks", checks.rows()},
            {"hint", checks.hint()},
            {"session", {{"open", expires.has_value()}, {"expires", expires.value_or(0)}}},
            {"settings", settings(configuration, lineUp)}};
}

}  // namespace W::host
