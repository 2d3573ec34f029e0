#include "Calls.h"

#include <cstdio>

namespace W::test {

namespace {

using Strings = std::list<std::string>;
using Numbers = std::list<int>;

const Counter::Callback kDone;

// Made beforehand, so that only the operation itself allocates memory during a call.
const Strings kSources = {"a", "b"};
const Numbers kSizes = {1, 2};
const Numbers kGenres = {7, 8};
const std::string kFileUrl = "http://host/b.ts";

const std::string& directory()
{
    static const std::string s_directory = ::testing::TempDir();
    return s_directory;
}

}  // namespace

const std::vector<OperationCall>& operationCalls()
{
    directory();
    static const std::vector<OperationCall> kCalls = {
        {3, [](WCorvaneOAI& o, Counter& c) { return o.getAuthSeedkey(kDone, &c, c.out); }},
        {4, [](WCorvaneOAI& o, Counter& c) { return o.getGenreList(kDone, "sum", &c, c.out); }},
        {5, [](WCorvaneOAI& o, Counter& c) { return o.getConfLog(kDone, &c, c.out); }},
        {6, [](WCorvaneOAI& o, Counter& c) { return o.getLocalTime(kDone, &c, c.out); }},
        {7, [](WCorvaneOAI& o, Counter& c) { return o.resetHistory(kDone, 86400, &c, c.out); }},
        {8, [](WCorvaneOAI& o, Counter& c) { return o.getServerUrl(kDone, &c, c.out); }},
        {9, [](WCorvaneOAI& o, Counter& c) { return o.checkUpload(kDone, &c, c.out); }},
        {10, [](WCorvaneOAI& o, Counter& c) { return o.sendChannel(kDone, "http://up/load", "ch.json", &c, c.out); }},
        {11, [](WCorvaneOAI& o, Counter& c) { return o.getCertificationRule(kDone, &c, c.out); }},
        {12, [](WCorvaneOAI& o, Counter& c) { return o.getChannelList(kDone, "sum", &c, c.out); }},
        {13, [](WCorvaneOAI& o, Counter& c) { return o.getHeadend(kDone, "12 345", &c, c.out); }},
        {14, [](WCorvaneOAI& o, Counter& c) { return o.getCityList(kDone, &c, c.out); }},
        {15, [](WCorvaneOAI& o, Counter& c) { return o.getCityList_browse(kDone, &c, c.out); }},
        {16, [](WCorvaneOAI& o, Counter& c) { return o.getHeadend_Kor(kDone, "c16", &c, c.out); }},
        {17, [](WCorvaneOAI& o, Counter& c) { return o.getHeadend_browse(kDone, "c17", &c, c.out); }},
        {18,
         [](WCorvaneOAI& o, Counter& c) {
             return o.getSchedule(kDone, kSources, 86400, 6, kSizes, &c, c.out);
         }},
        {19, [](WCorvaneOAI& o, Counter& c) { return o.getOnAir(kDone, kSources, kSizes, &c, c.out); }},
        {20, [](WCorvaneOAI& o, Counter& c) { return o.getTodayURL(kDone, &c, c.out); }},
        {21, [](WCorvaneOAI& o, Counter& c) { return o.getFocusChannel(kDone, "a", 2, 3, &c, c.out); }},
        {22, [](WCorvaneOAI& o, Counter& c) { return o.getLineupTest(kDone, "h22", &c, c.out); }},
        {23, [](WCorvaneOAI& o, Counter& c) { return o.getContentList(kDone, kGenres, 86400, 2, 3, &c, c.out); }},
        {24, [](WCorvaneOAI& o, Counter& c) { return o.getContentDetailInfo(kDone, "id24", "s", 86400, &c, c.out); }},
        {25,
         [](WCorvaneOAI& o, Counter& c) { return o.getGuide(kDone, "ch", "11-1", 86400, 6, 2, 3, 4, &c, c.out); }},
        {26, [](WCorvaneOAI& o, Counter& c) { return o.getPersonDetailInfo(kDone, "p26", &c, c.out); }},
        {27, [](WCorvaneOAI& o, Counter& c) { return o.getSeriesDetailInfo(kDone, "id27", "s", &c, c.out); }},
        {28, [](WCorvaneOAI& o, Counter& c) { return o.setFavorite(kDone, "channel", "7", &c, c.out); }},
        {29, [](WCorvaneOAI& o, Counter& c) { return o.deleteFavorite(kDone, "channel", "7", &c, c.out); }},
        {30, [](WCorvaneOAI& o, Counter& c) { return o.getFavoriteChannel(kDone, "channel", "7", 2, &c, c.out); }},
        {31, [](WCorvaneOAI& o, Counter& c) { return o.getFavoriteContent(kDone, "content", "7", 2, &c, c.out); }},
        {32,
         [](WCorvaneOAI& o, Counter& c) {
             return o.getFavoriteChannelList(kDone, "channel", 2, "o", "s", 3, 4, &c, c.out);
         }},
        {33,
         [](WCorvaneOAI& o, Counter& c) {
             return o.getFavoriteContentList(kDone, "content", 2, "o", "s", 3, 4, &c, c.out);
         }},
        {34, [](WCorvaneOAI& o, Counter& c) { return o.sendTuneHistory(kDone, "tt", "src", &c, c.out); }},
        {35, [](WCorvaneOAI& o, Counter& c) { return o.sendLike(kDone, "id", "7", "like", &c, c.out); }},
        {36, [](WCorvaneOAI& o, Counter& c) { return o.getLikeHistory(kDone, "id", "7", &c, c.out); }},
        {37, [](WCorvaneOAI& o, Counter& c) { return o.saveHeadend(kDone, &c, c.out); }},
        {38, [](WCorvaneOAI& o, Counter& c) { return o.loadHeadend(kDone, &c, c.out); }},
        {39, [](WCorvaneOAI& o, Counter& c) { return o.getSmartChannel(kDone, &c, c.out); }},
        {40, [](WCorvaneOAI& o, Counter& c) { return o.getSmartPopular(kDone, &c, c.out); }},
        {41, [](WCorvaneOAI& o, Counter& c) { return o.getPopularChannel(kDone, 2, 5, &c, c.out); }},
        {42, [](WCorvaneOAI& o, Counter& c) { return o.getRelatedContent(kDone, "tt", 2, &c, c.out); }},
        {43, [](WCorvaneOAI& o, Counter& c) { return o.getMissedContent(kDone, "time", &c, c.out); }},
        {44, [](WCorvaneOAI& o, Counter& c) { return o.getCandidateMissedContent(kDone, &c, c.out); }},
        {45, [](WCorvaneOAI& o, Counter& c) { return o.getCombination(kDone, "fw", &c, c.out); }},
        {46, [](WCorvaneOAI& o, Counter& c) { return o.searchEPG(kDone, "news", "yes", 0, 5, &c, c.out); }},
        {47, [](WCorvaneOAI& o, Counter& c) { return o.checkAgreement(kDone, &c, c.out); }},
        {48, [](WCorvaneOAI& o, Counter& c) { return o.confirmAgreement(kDone, &c, c.out); }},
        {49, [](WCorvaneOAI& o, Counter& c) { return o.setAnonymAgreement(kDone, true, &c, c.out); }},
        {50, [](WCorvaneOAI& o, Counter& c) { return o.revocateAgreement(kDone, &c, c.out); }},
        {51,
         [](WCorvaneOAI& o, Counter& c) {
             return o.download(o.getContentProvider(), kFileUrl, directory(), "corvane-b.ts", kDone,
                               &c, c.out);
         }},
    };
    return kCalls;
}

const OperationCall& callOf(unsigned int key)
{
    return operationCalls().at(key - vorel::kFirstKey);
}

int callAt(const std::string& baseUrl, unsigned int key, WCorvaneOAI& object, Counter& counter,
           const std::string& localDirectory)
{
    if (key == VorelSendChannelCMD::kKey) {
        return object.sendChannel(kDone, baseUrl + "/up", "ch.json", &counter, counter.out);
    }
    if (key == VorelDownloadCMD::kKey) {
        return object.download(object.getContentProvider(), baseUrl + "/b.ts",
                               localDirectory.empty() ? directory() : localDirectory, "corvane-b.ts", kDone, &counter,
                               counter.out);
    }
    return callOf(key).call(object, counter);
}

std::map<std::string, std::string> allOptions()
{
    const std::string path = ::testing::TempDir() + "corvane-channels.json";
    if (std::FILE* const file = std::fopen(path.c_str(), "wb")) {
        std::fputs("{}", file);
        std::fclose(file);
    }
    return {
        {"vorel_base_url", "http://base"},
        {"vorel_app_key", "app"},
        {"vorel_duid", "duid"},
        {"vorel_model_id", "model"},
        {"vorel_auth_token", "auth"},
        {"vorel_country", "US"},
        {"vorel_language", "en"},
        {"vorel_headend", "H1"},
        {"vorel_device_type", "X"},
        {"vorel_secret_key", "secret"},
        {"vorel_channelinfo_filepath", path},
    };
}

void openSession(WCorvaneOAI& object)
{
    WVLSession session;
    session.setSessionID("S");
    session.setUserID("U");
    session.setSeedKey("K");
    object.setAuthSeedkey(session);
}

std::string emptyReply(unsigned int key)
{
    // Lists that must not be empty get one empty element.
    static const std::map<unsigned int, std::string> kElements = {
        {4, R"("checksum":{"stat":"new"},"genre":[{}])"},
        {12, R"("checksum":{"stat":"new"},"channel":[{}])"},
        {13, R"("mso":[{}])"},
        {16, R"("mso":[{}])"},
        {17, R"("mso":[{}])"},
        {20, R"("VOREL_url":[{}])"},
        {21, R"("content":[{}])"},
        {39, R"("channel_guide":[{}])"},
        {40, R"("channel_guide":[{}])"},
    };
    const auto found = kElements.find(key);
    return R"({"rsp":{"stat":"OK")" + (found == kElements.end() ? std::string() : "," + found->second) + "}}";
}

}  // namespace W::test
