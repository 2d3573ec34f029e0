// Failures of the service in words: what failed, why as far as it is known, and what to do about it.
#pragma once

#include "Configuration.h"

#include <mutex>
#include <stdexcept>
#include <string>
#include <string_view>

namespace W::host {

/// A failure for people.
class ServiceProblem : public std::runtime_error {
public:
    ServiceProblem(const std::string& what, std::string hint) : std::runtime_error(what), m_sHint(std::move(hint)) {}
    const std::string& hint() const { return m_sHint; }

private:
    std::string m_sHint;
};

/// The reason that the service gave for its last refusal. The plug-in delivers a status only; code and message stand in
/// its debug lines, which this reads.
class ServiceReason {
public:
    /// Watches the debug lines. Make it before, and let it outlive, whatever prints them.
    ServiceReason();
    ~ServiceReason();
    ServiceReason(const ServiceReason&) = delete;
    ServiceReason& operator=(const ServiceReason&) = delete;

    /// Code and message; empty when none was seen. Forgets them.
    std::string take();

private:
    void look(std::string_view line);

    std::mutex m_lock;
    std::string m_sReason;
};

/// Says what went wrong.
/// @param step    what was tried, as in "open a session"
/// @param status  of the operation
ServiceProblem describe(std::string_view step, int status, const std::string& reason,
                        const Configuration& configuration);

}  // namespace W::host
