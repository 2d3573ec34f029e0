// Failures of the service in words: what failed, the cause if it is known, and what to do.
#pragma once

#include <mutex>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include "Configuration.h"
#include "HttpRequest.h"

namespace W::host {

/// A failure with a hint for people.
class ServiceProblem : public std::runtime_error {
public:
    ServiceProblem(const std::string& what, std::string hint) : std::runtime_error(what), m_hint(std::move(hint)) {}
    const std::string& hint() const { return m_hint; }

private:
    std::string m_hint;
};

/// The failure that a reply describes. The plug-in passes on only a status.
struct ServiceFailure {
    HTTP_RESPONSE_CODE httpCode = 0;  ///< 0 if no reply came
    std::string error;                ///< the service's code and message, as in "code 209: locked"; may be empty
};

/// Keeps the last failure that the executor saw.  [any thread]
class ServiceFailures {
public:
    /// Looks at one reply; see CurlExecutor::ReplyObserver.
    void observe(const HttpRequest& request, SESSION_STATUS status);

    /// The last failure; empty if there was none. Forgets it.
    ServiceFailure take();

private:
    std::mutex m_lock;
    ServiceFailure m_last;
};

/// The failure that a reply describes; empty for a success.
ServiceFailure readFailure(const HttpResponse& response);

/// Describes a failed operation.
/// @param step    what was tried, as in "open a session"
/// @param status  of the operation
ServiceProblem describe(std::string_view step, int status, const ServiceFailure& failure,
                        const Configuration& configuration);

/// Describes why no session could be opened. The hint names the settings that a session needs and that are empty.
ServiceProblem describeRefusedSession(int status, const ServiceFailure& failure, const Configuration& configuration);

}  // namespace W::host
