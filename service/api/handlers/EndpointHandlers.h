// The handlers of the rows of EndpointTable.cpp, by the file that defines them. A handler returns the members of "rsp"
// other than "stat" or, where speed matters, appends them as JSON, each after a comma. It refuses a request by throwing
// a Refusal (Messages.h). Every scalar in a reply is a JSON string.
#pragma once

#include <string>

#include "Clock.h"
#include "JsonTree.h"
#include "Messages.h"
#include "Sqlite.h"
#include "ViewerStore.h"

namespace corvaned {

class Arguments;
class ReadySchedules;

/// One request while a handler answers it.
struct EndpointCall {
    const ServiceSettings& settings;
    sqlite::Connection& guide;  // one file while the call lasts
    ViewerStore& viewers;
    const Arguments& arguments;
    const http::Request& request;
    ReadySchedules& schedules;
    Instant now;
    Instant removable;  // what expired up to this moment may be deleted (SettledClock.h)
    std::string user;   // of the session; empty if the endpoint needs none
};

// EndpointsConfig.cpp
Json answerSeedkey(EndpointCall& call);
Json answerLocaltime(EndpointCall& call);
Json answerServer(EndpointCall& call);
Json answerConfLog(EndpointCall& call);
Json answerCertRule(EndpointCall& call);
Json answerUploadCheck(EndpointCall& call);
Json answerUpload(EndpointCall& call);
Json answerLastUpload(EndpointCall& call);
Json answerReset(EndpointCall& call);

// EndpointsGuide.cpp
Json answerGallery(EndpointCall& call);
void answerSchedule(EndpointCall& call, std::string& members);
Json answerOnAir(EndpointCall& call);
Json answerFocusChannel(EndpointCall& call);
Json answerToday(EndpointCall& call);
Json answerTodayFile(EndpointCall& call);

// EndpointsBrowse.cpp
Json answerGuide(EndpointCall& call);
Json answerContentList(EndpointCall& call);
Json answerContent(EndpointCall& call);
Json answerSeries(EndpointCall& call);
Json answerPerson(EndpointCall& call);
Json answerSearch(EndpointCall& call);
Json answerGenre(EndpointCall& call);

// EndpointsViewer.cpp
Json answerSetFavorite(EndpointCall& call);
Json answerDeleteFavorite(EndpointCall& call);
Json answerFavorite(EndpointCall& call);
void answerFavoriteList(EndpointCall& call, std::string& members);
Json answerSendLike(EndpointCall& call);
Json answerLikes(EndpointCall& call);
Json answerTuneHistory(EndpointCall& call);
Json answerCheckAgreement(EndpointCall& call);
Json answerConfirmAgreement(EndpointCall& call);
Json answerRevokeAgreement(EndpointCall& call);
Json answerAnonymousAgreement(EndpointCall& call);

// EndpointsLineup.cpp
Json answerHeadend(EndpointCall& call);
Json answerHeadendKor(EndpointCall& call);
Json answerHeadendBrowse(EndpointCall& call);
Json answerLineupTest(EndpointCall& call);
Json answerSaveHeadend(EndpointCall& call);
Json answerLoadHeadend(EndpointCall& call);

// EndpointsRecommend.cpp
Json answerPopularChannels(EndpointCall& call);
Json answerSmartChannel(EndpointCall& call);
Json answerSmartPopular(EndpointCall& call);
Json answerMissed(EndpointCall& call);
Json answerCandidateMissed(EndpointCall& call);
Json answerRelated(EndpointCall& call);
Json answerCombination(EndpointCall& call);

}  // namespace corvaned
