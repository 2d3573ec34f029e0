// The handlers of the rows of EndpointTable.cpp, by the file that defines them. A handler returns the members of "rsp"
// other than "stat", or, if speed counts, appends them as JSON text, each after a comma. It refuses a request by
// throwing a Refusal (Messages.h). Every scalar in a reply is a JSON string.
#pragma once

#include <string>

#include "Clock.h"
#include "JsonTree.h"
#include "Messages.h"
#include "Sqlite.h"

namespace corvaned {

class Arguments;
class ReadySchedules;

/// One request on its way through a handler.
struct Call {
    const ServiceSettings& settings;
    sqlite::Connection& connection;
    const Arguments& arguments;
    const http::Request& request;
    ReadySchedules& schedules;
    Instant now;
    std::string user;  // of the session; empty if the endpoint needs none
};

// EndpointsConfig.cpp
Json answerSeedkey(Call& call);
Json answerLocaltime(Call& call);
Json answerServer(Call& call);
Json answerConfLog(Call& call);
Json answerCertRule(Call& call);
Json answerUploadCheck(Call& call);
Json answerUpload(Call& call);
Json answerLastUpload(Call& call);
Json answerReset(Call& call);

// EndpointsGuide.cpp
Json answerGallery(Call& call);
void answerSchedule(Call& call, std::string& members);
Json answerOnAir(Call& call);
Json answerFocusChannel(Call& call);
Json answerToday(Call& call);
Json answerTodayFile(Call& call);

// EndpointsBrowse.cpp
Json answerGuide(Call& call);
Json answerContentList(Call& call);
Json answerContent(Call& call);
Json answerSeries(Call& call);
Json answerPerson(Call& call);
Json answerSearch(Call& call);
Json answerGenre(Call& call);

// EndpointsViewer.cpp
Json answerSetFavorite(Call& call);
Json answerDeleteFavorite(Call& call);
Json answerFavorite(Call& call);
Json answerFavoriteList(Call& call);
Json answerSendLike(Call& call);
Json answerLikes(Call& call);
Json answerTuneHistory(Call& call);
Json answerCheckAgreement(Call& call);
Json answerConfirmAgreement(Call& call);
Json answerRevokeAgreement(Call& call);
Json answerAnonymousAgreement(Call& call);

// EndpointsLineup.cpp
Json answerHeadend(Call& call);
Json answerHeadendKor(Call& call);
Json answerHeadendBrowse(Call& call);
Json answerLineupTest(Call& call);
Json answerSaveHeadend(Call& call);
Json answerLoadHeadend(Call& call);

// EndpointsRecommend.cpp
Json answerPopularChannels(Call& call);
Json answerSmartChannel(Call& call);
Json answerSmartPopular(Call& call);
Json answerMissed(Call& call);
Json answerCandidateMissed(Call& call);
Json answerRelated(Call& call);
Json answerCombination(Call& call);

}  // namespace corvaned
