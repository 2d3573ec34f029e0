// The start of every command for people: the plug-in, the service's clock, a session, and the line-up that the viewer
// saved.
#pragma once

#include <cstdint>
#include <list>
#include <string>

#include "ChannelChoice.h"
#include "DisplayZone.h"
#include "LineUpChoice.h"
#include "OperationCaller.h"
#include "Runtime.h"
#include "ServiceSession.h"

namespace W::host {

class OpenedService {
public:
    /// Loads the plug-in, checks the address, asks for the clock and opens a session. If no headend is set, the one
    /// that the viewer saved at the service is used.
    /// @throws ServiceProblem, std::runtime_error with one line for the user
    explicit OpenedService(const CommonOptions& options);

    Runtime& runtime() { return m_runtime; }
    WCorvaneOAI& plugin() { return m_runtime.plugin(); }
    ServiceSession& session() { return m_session; }
    OperationCaller& operations() { return m_operations; }
    LineUpChoice& lineUp() { return m_choice; }
    const CommonOptions& options() const { return m_options; }

    /// The service's now, in seconds since 1970-01-01T00:00:00Z.
    std::int64_t now() const;

    /// The zone with this name; without a name that of TZ, or else the service's.
    DisplayZone zone(const std::string& name) const;

    /// The line-up, each channel once and in order of number.
    /// @throws ServiceProblem if it is empty
    std::list<WVLChannel> channels();

private:
    const CommonOptions m_options;
    Runtime m_runtime;
    LineUpChoice m_choice;
    ServiceSession m_session;
    OperationCaller m_operations;
    WVLLocaltime m_localtime;
};

/// The service's zone by its name, so that each instant gets the offset that holds then. If the name is not in the
/// zone database, or contradicts the offset that the service gives for now, that offset is used.
DisplayZone serviceZone(const WVLLocaltime& localtime);

}  // namespace W::host
