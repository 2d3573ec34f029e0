// Commands of the details: genres, programmes with their airings, persons, series with their episodes.

#include "VorelCommand.h"

#include "Lists.h"
#include "ProviderOptions.h"
#include "Reply.h"
#include "RequestQuery.h"

namespace W {

using namespace vorel;

namespace {

constexpr Field<WVLGenre> kGenre[] = {
    {"id", &WVLGenre::setGenreID},
    {"rep_id", &WVLGenre::setGenreRepID},
    {"name", &WVLGenre::setGenreName},
    {"genre_img", &WVLGenre::setGenreImages},
};

constexpr Field<WVLRepGenre> kRepGenre[] = {
    {"rep_id", &WVLRepGenre::setGenreRepID},
    {"name", &WVLRepGenre::setGenreRepName},
};

constexpr Field<WVLContent> kDetail[] = {
    {"id", &WVLContent::setID},
    {"lang", &WVLContent::setLang},
    {"title", &WVLContent::setTitle},
    {"ep_title", &WVLContent::setEpisodeTitle},
    {"ep_number", &WVLContent::setEpisodeNum},
    {"cert_flag", &WVLContent::setCerti_flag},
    {"type", &WVLContent::setType},
    {"genres", &WVLContent::setGenrelist},
    {"year", &WVLContent::setYear},
    {"release", &WVLContent::setRelease},
    {"runtime", &WVLContent::setRuntime},
    {"origin", &WVLContent::setOrigin},
    {"vd_quality", &WVLContent::setVideoQuality},
    {"summary", &WVLContent::setSummary},
    {"poster", &WVLContent::setPoster},
};

constexpr Field<WVLPerson> kDirector[] = {
    {"id", &WVLPerson::setID},
    {"name", &WVLPerson::setName},
    {"biography", &WVLPerson::setBiography},
};

constexpr Field<WVLPerson> kCasting[] = {
    {"id", &WVLPerson::setID},
    {"name", &WVLPerson::setName},
    {"role", &WVLPerson::setRole},
};

constexpr Field<WVLContent> kDetailAfterPersons[] = {
    {"certificates", &WVLContent::setCertification},
    {"vod", &WVLContent::setVod},
};

constexpr Field<WVLChannel> kDetailChannel[] = {
    {"source", &WVLChannel::setSource},
    {"dtv", &WVLChannel::setDTV},
    {"number", &WVLChannel::setNumber},
    {"station_img", &WVLChannel::setStationImage},
};

/// The quality of the airing overrides that of the programme.
constexpr Field<WVLContent> kAiring[] = {
    {"starttime", &WVLContent::setStartTime},
    {"duration", &WVLContent::setDuration},
    {"vd_quality", &WVLContent::setVideoQuality},
};

constexpr Field<WVLPerson> kPerson[] = {
    {"id", &WVLPerson::setID},
    {"name", &WVLPerson::setName},
    {"occupation", &WVLPerson::setOccupation},
    {"birthdate", &WVLPerson::setBirthdate},
    {"deathdate", &WVLPerson::setDeathdate},
    {"like", &WVLPerson::setLike},
    {"dislike", &WVLPerson::setDislike},
    {"biography", &WVLPerson::setBiography},
    {"face_img", &WVLPerson::setFaceImage},
};

constexpr Field<WVLContent> kSeries[] = {
    {"id", &WVLContent::setID},           {"title", &WVLContent::setTitle}, {"startyear", &WVLContent::setStartYear},
    {"endyear", &WVLContent::setEndYear}, {"type", &WVLContent::setType},   {"poster", &WVLContent::setPoster},
};

constexpr Field<WVLChannel> kEpisodeChannel[] = {
    {"source", &WVLChannel::setSource},
    {"name", &WVLChannel::setName},
    {"number", &WVLChannel::setNumber},
};

constexpr Field<WVLContent> kEpisode[] = {
    {"starttime", &WVLContent::setStartTime},
    {"id", &WVLContent::setID},
    {"title", &WVLContent::setTitle},
    {"season_seq", &WVLContent::setSeasonNum},
    {"episode_seq", &WVLContent::setEpisodeNum},
    {"cert_flag", &WVLContent::setCerti_flag},
    {"genres", &WVLContent::setGenrelist},
    {"year", &WVLContent::setYear},
    {"release", &WVLContent::setRelease},
    {"duration", &WVLContent::setDuration},
    {"short_desc", &WVLContent::setShortDesc},
    {"poster", &WVLContent::setPoster},
};

/// The airings of a programme on one channel: one copy of the programme for each, or a single one without a time.
void appendAirings(const Json::Value& object, const WVLContent& programme, const WDateTime& clock,
                   std::list<WVLContent>& list)
{
    ReadingRules rules{&clock, ImageTest::UrlNonEmpty};
    WVLChannel channel;
    readFields<WVLChannel>(object, kDetailChannel, channel, rules);
    WVLContent onChannel = programme;
    onChannel.setChannel(std::move(channel));

    const Json::Value& schedule = member(object, "schedule");
    if (!hasElements(schedule)) {
        list.push_back(std::move(onChannel));
        return;
    }
    for (Json::ArrayIndex index = 0, count = schedule.size(); index < count; ++index) {
        readFields<WVLContent>(schedule[index], kAiring, list.emplace_back(onChannel), rules);
    }
}

}  // namespace

VorelGetGenreListCMD::VorelGetGenreListCMD(Callback done, void* userData, WVorelOAI* service,
                                           const WContentProvider& provider)
    : VorelRequestCMD(done, userData, service, provider)
{}

VorelGetGenreListCMD::~VorelGetGenreListCMD() = default;

void VorelGetGenreListCMD::MakeURL(const std::string& checksum, const WContentProvider& provider)
{
    const ProviderOptions options(provider, Country | Language);
    urlQuery("conf/genre", options).country().languageIfSet().stringIfSet("&checksum=", checksum);
}

int VorelGetGenreListCMD::ParseGenreList(const std::string& body, WContainer<WVLGenre>& genres,
                                         WContainer<WVLRepGenre>& repGenres, std::string& checksum, bool& changed,
                                         UINT64 reference)
{
    static constexpr char kParser[] = "VorelGetGenreListCMD::ParseGenreList";
    const Reading reading{*this, reference};
    const auto clear = [&] {
        genres.clear();
        repGenres.clear();
    };
    const auto read = [&](const Json::Value& rsp) -> WSTATUS {
        const Json::Value& mark = member(rsp, "checksum");
        changed = toString(member(mark, "stat")) == "new";
        checksum = toString(member(mark, "code"));
        if (!changed) {
            return status::kOk;
        }

        ReadingRules rules;
        rules.imageFields = kImageWithoutSize;
        // Quirk: -57 for an empty catalogue, but -55 for an empty line-up.
        WSTATUS result = readList(member(rsp, "genre"), {kParser, "Genre size is zero", status::kUnreadableReply},
                                  reading, genres, [&](const Json::Value& element, std::list<WVLGenre>& list) {
                                      readFields<WVLGenre>(element, kGenre, list.emplace_back(), rules);
                                  });
        if (result != status::kOk) {
            if (result == status::kCancelled) {
                repGenres.clear();
            }
            return result;
        }
        // Not an error: a catalogue need not have representative genres.
        result = readList(member(rsp, "rep_genre"),
                          {kParser, "[--VorelGetGenreListCMD::ParseGenreList] rep_genre size is zero"}, reading,
                          repGenres, [](const Json::Value& element, std::list<WVLRepGenre>& list) {
                              readFields<WVLRepGenre>(element, kRepGenre, list.emplace_back());
                          });
        if (result == status::kCancelled) {
            genres.clear();
        }
        return result;
    };
    return readReplyOrUndo(body, read, clear);
}

VorelGetContentDetailInfoCMD::VorelGetContentDetailInfoCMD(Callback done, void* userData, WVorelOAI* service,
                                                           const WContentProvider& provider)
    : VorelRequestCMD(done, userData, service, provider)
{}

VorelGetContentDetailInfoCMD::~VorelGetContentDetailInfoCMD() = default;

void VorelGetContentDetailInfoCMD::MakeURL(const std::string& contentId, const std::string& source,
                                           unsigned long startTime, const WDateTime& clock,
                                           const WContentProvider& provider)
{
    const ProviderOptions options(provider, Country | Language | Headend | Device);
    urlQuery("browse/content/" + contentId, options)
        .countryIfSet()
        .languageIfSet()
        .headend()
        .deviceOrN()
        .stringIfSet("&sourceid=", source)
        .timeIfSet("&starttime=", startTime, clock);
}

int VorelGetContentDetailInfoCMD::ParseContentDetailInfo(const std::string& body, WDateTime clock,
                                                         WContainer<WVLContent>& out)
{
    // Quirk: this parser and that of the series catch nothing; their handlers do.
    return readReplyUnguarded(body, [&](const Json::Value& rsp) {
        const Json::Value& object = member(rsp, "content");
        const ReadingRules rules{&clock, ImageTest::UrlPresent};
        WVLContent programme;
        readFields<WVLContent>(object, kDetail, programme, rules);
        programme.setDirectors(readElements<WVLPerson>(member(object, "directors"), kDirector));
        programme.setCastings(readElements<WVLPerson>(member(object, "castings"), kCasting));
        readFields<WVLContent>(object, kDetailAfterPersons, programme, rules);

        std::list<WVLContent> list;
        const Json::Value& channels = member(object, "channel");
        for (Json::ArrayIndex index = 0, count = channels.size(); index < count; ++index) {
            appendAirings(channels[index], programme, clock, list);
        }
        if (!hasElements(channels)) {
            list.push_back(std::move(programme));
        }
        handOver(std::move(list), out);
        return status::kOk;
    });
}

VorelGetPersonDetailInfoCMD::VorelGetPersonDetailInfoCMD(Callback done, void* userData, WVorelOAI* service,
                                                         const WContentProvider& provider)
    : VorelRequestCMD(done, userData, service, provider)
{}

VorelGetPersonDetailInfoCMD::~VorelGetPersonDetailInfoCMD() = default;

void VorelGetPersonDetailInfoCMD::MakeURL(const std::string& personId, const WContentProvider& provider)
{
    const ProviderOptions options(provider, Country | Language);
    urlQuery("browse/person/" + personId, options).countryIfSet().languageIfSet();
}

int VorelGetPersonDetailInfoCMD::ParsePersonDetailInfo(const std::string& body, WVLPerson& out)
{
    return readReply(body, [&](const Json::Value& rsp) {
        readFields<WVLPerson>(member(rsp, "person"), kPerson, out);
        return status::kOk;
    });
}

VorelGetSeriesDetailInfoCMD::VorelGetSeriesDetailInfoCMD(Callback done, void* userData, WVorelOAI* service,
                                                         const WContentProvider& provider)
    : VorelRequestCMD(done, userData, service, provider)
{}

VorelGetSeriesDetailInfoCMD::~VorelGetSeriesDetailInfoCMD() = default;

void VorelGetSeriesDetailInfoCMD::MakeURL(const std::string& contentId, const std::string& source,
                                          const WContentProvider& provider)
{
    const ProviderOptions options(provider, Country | Language | Headend | Device);
    // Quirk: the language comes after the device, and there is no "&device=N".
    urlQuery("browse/content/" + contentId + "/series", options)
        .country()
        .headend()
        .device()
        .languageIfSet()
        .text("&sourceid=", source);
}

int VorelGetSeriesDetailInfoCMD::ParseSeriesDetailInfo(const std::string& body, WDateTime clock, WVLContent& series,
                                                       WContainer<WVLContent>& episodes, UINT64 reference)
{
    static constexpr char kParser[] = "VorelGetSeriesDetailInfoCMD::ParseSeriesDetailInfo";
    const Reading reading{*this, reference};
    const ReadingRules rules{&clock, ImageTest::UrlNonEmpty};
    std::list<WVLContent> list;
    const auto appendEpisodes = [&](const Json::Value& array) {
        return appendList(array, {kParser}, reading, list, episodes,
                          [&rules](const Json::Value& element, std::list<WVLContent>& to) {
                              WVLContent& episode = to.emplace_back();
                              WVLChannel channel;
                              readFields<WVLChannel>(element, kEpisodeChannel, channel);
                              episode.setChannel(std::move(channel));
                              readFields<WVLContent>(element, kEpisode, episode, rules);
                          });
    };
    const auto printSize = [&](const char* what, const Json::Value& array) {
        CCDebug::Print<CWCCDebug>(kTraceLevel, kPlain, "[%s:%d] %s size = [%d]\n", reading.here.function,
                                  reading.here.line, what, static_cast<int>(array.size()));
    };
    return readReplyUnguarded(body, [&](const Json::Value& rsp) -> WSTATUS {
        const Json::Value& object = member(rsp, "series");
        readFields<WVLContent>(object, kSeries, series, rules);

        const Json::Value& seasons = member(object, "season");
        printSize("season", seasons);
        WSTATUS result = status::kOk;
        if (!hasElements(seasons)) {
            const Json::Value& ownEpisodes = member(object, "episode");
            printSize("episode", ownEpisodes);
            result = appendEpisodes(ownEpisodes);
        }
        for (Json::ArrayIndex index = 0, count = seasons.size(); index < count && result == status::kOk; ++index) {
            result = appendEpisodes(member(seasons[index], "episode"));
        }
        if (result == status::kOk) {
            handOver(std::move(list), episodes);
        }
        return result;
    });
}

}  // namespace W
