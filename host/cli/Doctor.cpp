// Each check returns what it found, or throws what is wrong and what to do about it. After a failure the other checks
// are skipped: they would fail for the same reason.
#include "Doctor.h"

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <optional>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <netdb.h>

#include "ConnectionProbe.h"
#include "Counted.h"
#include "Guide.h"
#include "GuideTable.h"
#include "HttpWire.h"
#include "OpenedService.h"
#include "ServiceSession.h"

namespace W::host {

namespace {

class Doctor {
public:
    explicit Doctor(const CommonOptions& options) : m_options(options) {}

    int run()
    {
        check("configuration", &Doctor::configuration);
        check("plug-in", &Doctor::plugin);
        check("service address", &Doctor::address);
        check("DNS", &Doctor::nameLookup);
        check("connection", &Doctor::connection);
        check("TLS", &Doctor::tls);
        check("clock", &Doctor::clock);
        check("session", &Doctor::session);
        check("line-up", &Doctor::lineUp);
        check("programmes", &Doctor::programmes);
        if (!m_failed) {
            return 0;
        }
        fmt::print("\nWhat to do: {}.\n", m_hint);
        return 1;
    }

private:
    void check(const char* name, std::string (Doctor::*step)())
    {
        if (m_failed) {
            report("-", name, "skipped");
            return;
        }
        try {
            report("ok", name, (this->*step)());
        } catch (const ServiceProblem& problem) {
            m_failed = true;
            m_hint = problem.hint();
            report("FAIL", name, problem.what());
        }
    }

    static void report(const char* verdict, const char* name, const std::string& finding)
    {
        fmt::print("{:<5} {:<16} {}\n", verdict, name, finding);
        std::fflush(stdout);
    }

    std::string configuration()
    {
        try {
            m_configuration = loadConfiguration(m_options, Defaults::ForPeople);
            m_limits = httpLimits(m_configuration);
        } catch (const std::exception& error) {
            throw ServiceProblem(error.what(), "correct that setting; docs/options.md describes all of them");
        }
        std::size_t set = 0;
        for (const Setting& setting : allSettings()) {
            set += m_configuration.isSet(setting.key) && m_configuration.source(setting.key) != "default" ? 1 : 0;
        }
        const std::string& file = m_configuration.file();
        return fmt::format("{}; {} set", file.empty() ? "no file" : file, counted(set, "setting"));
    }

    std::string plugin()
    {
        try {
            m_runtime.emplace(m_options, m_configuration, Defaults::ForPeople);
            m_service.emplace(*m_runtime, m_options.timeout());
            return m_runtime->library().file();
        } catch (const std::exception& error) {
            throw ServiceProblem(error.what(), "build the plug-in, or name another one with --plugin FILE");
        }
    }

    std::string address()
    {
        m_service->checkAddress();
        const std::string& url = m_configuration.value("base_url");
        m_url = splitUrl(url, UrlEncoding::AsGiven).value();
        return fmt::format("{} ({})", url, m_configuration.source("base_url"));
    }

    std::string nameLookup()
    {
        const std::string host = hostOf(m_url);
        if (host.empty()) {
            throw ServiceProblem(fmt::format("there is no host in {}", m_url.origin), "correct base_url");
        }
        addrinfo wanted{};
        wanted.ai_socktype = SOCK_STREAM;
        addrinfo* found = nullptr;
        if (const int error = ::getaddrinfo(host.c_str(), nullptr, &wanted, &found)) {
            throw ServiceProblem(fmt::format("{} is not found: {}", host, ::gai_strerror(error)),
                                 "correct the host in base_url, or this machine's DNS settings");
        }
        std::string text = host;
        for (const addrinfo* one = found; one; one = one->ai_next) {
            char shown[NI_MAXHOST];
            if (::getnameinfo(one->ai_addr, one->ai_addrlen, shown, sizeof shown, nullptr, 0, NI_NUMERICHOST) == 0) {
                text += fmt::format("{} {}", one == found ? " is" : ",", shown);
            }
        }
        ::freeaddrinfo(found);
        return text;
    }

    std::string connection()
    {
        // The next check verifies the certificate.
        const ProbeResult probe = probeConnection(m_url.origin, m_limits, CertificateCheck::None);
        if (probe.status == session::kCompleted || probe.status == session::kTlsFailed) {
            return fmt::format("{} answers", m_url.origin);
        }
        throw ServiceProblem(probe.reason,
                             fmt::format("start the service with \"corvaned serve\", or set another address with "
                                         "--set base_url=URL; it is {}",
                                         m_configuration.value("base_url")));
    }

    std::string tls()
    {
        if (!m_url.tls) {
            return "not used: the address is http";
        }
        const ProbeResult probe = probeConnection(m_url.origin, m_limits, CertificateCheck::Full);
        if (probe.status == session::kCompleted) {
            return "the certificate is trusted";
        }
        throw ServiceProblem(probe.reason,
                             "name the file with the service's certificate authority with --set ca_file=FILE, or give "
                             "the service a certificate for the host in base_url");
    }

    std::string clock()
    {
        constexpr long kMostSeconds = 120;
        const WVLLocaltime localtime = m_service->fetchLocaltime();
        if (!localtime.getUTC().hasInstant() || !localtime.getDifference().getOffsetTime().isValid()) {
            throw ServiceProblem("the service's time cannot be read", "check the service's log");
        }
        m_now = localtime.getUTC().toTime_t();
        m_zone = serviceZone(localtime);
        const long apart = static_cast<long>(std::time(nullptr) - m_now);
        if (apart > kMostSeconds || apart < -kMostSeconds) {
            throw ServiceProblem(fmt::format("this machine's clock is {} s {} the service's", std::abs(apart),
                                             apart > 0 ? "ahead of" : "behind"),
                                 "set the clock, as with \"timedatectl set-ntp true\"");
        }
        return fmt::format("{} at the service, {}", localtime.getUTC().toString(), localtime.getTimezone());
    }

    std::string session()
    {
        m_service->open();
        return fmt::format("opened as device \"{}\"", m_configuration.value("duid"));
    }

    std::string lineUp()
    {
        for (const WVLChannel& channel : m_service->fetchChannels()) {
            m_sources.push_back(channel.getSource());
        }
        if (m_sources.empty()) {
            throw ServiceProblem(
                fmt::format("headend \"{}\" has no channels", m_configuration.value("headend")),
                "choose another one with --set headend=ID, or fill the service with \"corvaned import\"");
        }
        return fmt::format("{} at headend \"{}\"", counted(m_sources.size(), "channel"),
                           m_configuration.value("headend"));
    }

    std::string programmes()
    {
        constexpr const char* kImport = "import a current listing with \"corvaned import\"";
        const std::optional<TimeSpan> span = m_service->fetchSpan(m_sources, m_now);
        if (!span) {
            throw ServiceProblem("there are none within a month of now", kImport);
        }
        const std::string shown =
            fmt::format("from {} to {}", shownTime(span->first, m_zone), shownTime(span->second, m_zone));
        if (span->second <= m_now || span->first > m_now) {
            throw ServiceProblem(fmt::format("there is nothing for now, only {}", shown), kImport);
        }
        return shown;
    }

    const CommonOptions& m_options;
    Configuration m_configuration;
    HttpLimits m_limits;
    WireUrl m_url;
    std::int64_t m_now = 0;  ///< at the service
    DisplayZone m_zone = DisplayZone::fixed(0);
    std::vector<std::string> m_sources;
    std::optional<Runtime> m_runtime;
    std::optional<ServiceSession> m_service;
    bool m_failed = false;
    std::string m_hint;
};

}  // namespace

int runDoctor(const CommonOptions& options)
{
    return Doctor(options).run();
}

}  // namespace W::host
