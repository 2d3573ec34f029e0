// Handlers of auth/... and conf/....
#include "Arguments.h"
#include "EndpointHandlers.h"
#include "Session.h"

namespace corvaned {

// A session's own id for its device comes with every answer, so nothing of it is kept here.
Json answerSeedkey(Call& call)
{
    const Session session =
        openSession(call.connection, call.arguments.text("DUID"), call.now, call.settings.sessionLifetime);
    return {{"session",
             {{"id", session.id},
              {"user", {{"id", session.user}}},
              {"seedkey", session.seedkey},
              {"expired", formatUtc(session.expires)}}}};
}

Json answerLocaltime(Call& call)
{
    const Zone& zone = call.settings.zone;
    return {{"date", formatUtc(call.now)},
            {"localdate", zone.formatLocal(call.now)},
            {"timezone", zone.name()},
            {"difference", zone.formatOffset(call.now)}};
}

}  // namespace corvaned
