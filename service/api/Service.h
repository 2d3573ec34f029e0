// Answers requests. The endpoints are the rows of EndpointTable.cpp; messages/Arguments.h checks their parameters.
#pragma once

#include <memory>

#include "GuideFile.h"
#include "Messages.h"
#include "ServiceFigure.h"
#include "SettledClock.h"
#include "ViewerStore.h"

namespace corvaned {

class ReadySchedules;
class SessionCheck;

/// The service over a guide and a viewers' store.  [any thread]
class Service {
public:
    /// @param guide, viewers  must outlive the service
    Service(GuideFile& guide, ViewerStore& viewers, ServiceSettings settings);
    ~Service();

    /// Answers one request; whatever the request contains, the reply is valid.
    http::Reply answer(const http::Request& request);

    /// The path of the endpoint table that a path fits, whatever the method: "/.../content/{}". Empty if there is none.
    /// @param path  as received
    static std::string_view endpointPath(std::string_view path);

    /// Why the service cannot answer requests now, on one line; empty if it can.
    std::string problem();

    /// The figures of the service and its stores.
    ServiceFigures figures();

private:
    http::Reply answerChecked(const http::Request& request);

    GuideFile& m_guide;
    ViewerStore& m_viewers;
    const ServiceSettings m_settings;
    const std::unique_ptr<ReadySchedules> m_schedules;
    const std::unique_ptr<SessionCheck> m_sessions;
    SettledClock m_clock;
};

}  // namespace corvaned
