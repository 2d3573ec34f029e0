// Commands of the guide and the search. Programmes are delivered channel by channel, in the reply's order; the
// programmes of a channel share the contents of its record.

#include "VorelCommand.h"

#include "Lists.h"
#include "Programmes.h"
#include "ProviderOptions.h"
#include "Reply.h"
#include "RequestQuery.h"

namespace W {

using namespace vorel;

namespace {

constexpr Field<WVLChannel> kScheduleChannel[] = {
    {"source", &WVLChannel::setSource},
    {"name", &WVLChannel::setName},
    {"station_img", &WVLChannel::setStationImage},
};

constexpr Field<WVLContent> kScheduleContent[] = {
    {"id", &WVLContent::setID},
    {"lang", &WVLContent::setLang},
    {"title", &WVLContent::setTitle},
    {"type", &WVLContent::setType},
    {"starttime", &WVLContent::setStartTime},
    {"duration", &WVLContent::setDuration},
    {"genres", &WVLContent::setGenrelist},
    {"poster", &WVLContent::setPoster},
};

constexpr Field<WVLChannel> kOnAirChannel[] = {
    {"source", &WVLChannel::setSource},
    {"dtv", &WVLChannel::setDTV},
    {"name", &WVLChannel::setName},
};

constexpr Field<WVLContent> kOnAirContent[] = {
    {"id", &WVLContent::setID},
    {"lang", &WVLContent::setLang},
    {"title", &WVLContent::setTitle},
    {"ep_title", &WVLContent::setEpisodeTitle},
    {"ep_number", &WVLContent::setEpisodeNum},
    {"type", &WVLContent::setType},
    {"starttime", &WVLContent::setStartTime},
    {"duration", &WVLContent::setDuration},
    {"genres", &WVLContent::setGenrelist},
    {"poster", &WVLContent::setPoster},
};

constexpr Field<WVLContent> kFocusContent[] = {
    {"id", &WVLContent::setID},
    {"lang", &WVLContent::setLang},
    {"title", &WVLContent::setTitle},
    {"ep_title", &WVLContent::setEpisodeTitle},
    {"ep_number", &WVLContent::setEpisodeNum},
    {"type", &WVLContent::setType},
    {"genres", &WVLContent::setGenrelist},
    {"short_desc", &WVLContent::setShortDesc},
    {"starttime", &WVLContent::setStartTime},
    {"duration", &WVLContent::setDuration},
    {"poster", &WVLContent::setPoster},
};

constexpr Field<WVLContent> kListedContent[] = {
    {"id", &WVLContent::setID},           {"lang", &WVLContent::setLang},        {"title", &WVLContent::setTitle},
    {"type", &WVLContent::setType},       {"genres", &WVLContent::setGenrelist}, {"year", &WVLContent::setYear},
    {"runtime", &WVLContent::setRuntime}, {"poster", &WVLContent::setPoster},
};

constexpr Field<WVLChannel> kGuideChannel[] = {
    {"source", &WVLChannel::setSource},
    {"name", &WVLChannel::setName},
    {"number", &WVLChannel::setNumber},
};

constexpr Field<WVLContent> kGuideContent[] = {
    {"id", &WVLContent::setID},
    {"lang", &WVLContent::setLang},
    {"starttime", &WVLContent::setStartTime},
    {"duration", &WVLContent::setDuration},
    {"title", &WVLContent::setTitle},
    {"poster", &WVLContent::setPoster},
    {"genres", &WVLContent::setGenrelist},
};

constexpr Field<WVLDownloadURL> kDownloadUrl[] = {
    {"url", &WVLDownloadURL::setURL},
    {"filename", &WVLDownloadURL::setFilename},
};

}  // namespace

VorelGetScheduleCMD::VorelGetScheduleCMD(Callback done, void* userData, WVorelOAI* service,
                                         const WContentProvider& provider)
    : VorelRequestCMD(done, userData, service, provider)
{}

VorelGetScheduleCMD::~VorelGetScheduleCMD() = default;

void VorelGetScheduleCMD::MakeURL(const std::list<std::string>& sources, unsigned long start, const WDateTime& clock,
                                  int interval, const std::list<int>& imageSizes, const WContentProvider& provider)
{
    const ProviderOptions options(provider, Country | Language);
    urlQuery("channel/schedule", options)
        .countryIfSet()
        .languageIfSet()
        .list("&sourceid=", sources)
        .timeIfSet("&starttime=", start, clock)
        .list("&imagesize=", imageSizes)
        .number("&interval=", interval);
}

int VorelGetScheduleCMD::ParseSchedule(const std::string& body, WDateTime clock, WContainer<WVLContent>& out,
                                       UINT64 reference)
{
    const ReadingRules rules{&clock, ImageTest::UrlPresent};
    return readListReply(body, "channel", {"VorelGetScheduleCMD::ParseSchedule", "Schedule Data size is zero."},
                         {*this, reference}, out, [&rules](const Json::Value& element, std::list<WVLContent>& list) {
                             readProgrammes(element, kScheduleChannel, kScheduleContent, rules, list);
                         });
}

VorelGetOnAirCMD::VorelGetOnAirCMD(Callback done, void* userData, WVorelOAI* service, const WContentProvider& provider)
    : VorelRequestCMD(done, userData, service, provider)
{}

VorelGetOnAirCMD::~VorelGetOnAirCMD() = default;

void VorelGetOnAirCMD::MakeURL(const std::list<std::string>& sources, const std::list<int>& imageSizes,
                               const WContentProvider& provider)
{
    const ProviderOptions options(provider, Country | Language | Headend | Device);
    // Quirk: no "&device=N" here; an empty setting is written as an empty value.
    urlQuery("channel/onair", options)
        .countryIfSet()
        .languageIfSet()
        .headend()
        .device()
        .list("&sourceid=", sources)
        .list("&imagesize=", imageSizes);
}

int VorelGetOnAirCMD::ParseOnAir(const std::string& body, WDateTime clock, WContainer<WVLContent>& out,
                                 UINT64 reference)
{
    const ReadingRules rules{&clock, ImageTest::HasMembers};
    return readListReply(body, "channel", {"VorelGetOnAirCMD::ParseOnAir", "Channel Data size is zero."},
                         {*this, reference}, out, [&rules](const Json::Value& element, std::list<WVLContent>& list) {
                             WVLContent& content = list.emplace_back();
                             content.setChannel(readChannel(element, kOnAirChannel, rules));
                             readFields<WVLContent>(member(element, "content"), kOnAirContent, content, rules);
                         });
}

VorelGetTodayCMD::VorelGetTodayCMD(Callback done, void* userData, WVorelOAI* service, const WContentProvider& provider)
    : VorelRequestCMD(done, userData, service, provider)
{}

VorelGetTodayCMD::~VorelGetTodayCMD() = default;

void VorelGetTodayCMD::MakeURL(const WContentProvider& provider)
{
    const ProviderOptions options(provider, Country | Language | Headend | Device);
    urlQuery("channel/today", options).country().languageIfSet().headend().deviceOrN();
}

int VorelGetTodayCMD::ParseToday(const std::string& body, std::list<WVLDownloadURL>& out)
{
    const Here here;
    return readReply(body, [&](const Json::Value& rsp) -> WSTATUS {
        const Json::Value& array = member(rsp, "VOREL_url");
        if (!hasElements(array)) {
            printLine(here, "VOREL_url size is zero.");
            return status::kEmptyList;
        }
        for (Json::ArrayIndex index = 0, count = array.size(); index < count; ++index) {
            WVLDownloadURL url;
            const TimeSpan span = toTimeSpan(toString(member(array[index], "time")));
            url.setStartTime(static_cast<unsigned int>(span.first));
            url.setEndTime(static_cast<unsigned int>(span.second));
            readFields<WVLDownloadURL>(array[index], kDownloadUrl, url);
            out.push_back(std::move(url));
        }
        return status::kOk;
    });
}

VorelGetFocusChannelCMD::VorelGetFocusChannelCMD(Callback done, void* userData, WVorelOAI* service,
                                                 const WContentProvider& provider)
    : VorelRequestCMD(done, userData, service, provider)
{}

VorelGetFocusChannelCMD::~VorelGetFocusChannelCMD() = default;

void VorelGetFocusChannelCMD::MakeURL(const std::string& source, int imageSize, int num,
                                      const WContentProvider& provider)
{
    const ProviderOptions options(provider, Country | Language);
    urlQuery("channel/focus_channel", options)
        .countryIfSet()
        .languageIfSet()
        .text("&sourceid=", source)
        .numberIfSet("&imagesize=", imageSize)
        .numberIfSet("&num=", num);
}

int VorelGetFocusChannelCMD::ParseFocusChannel(const std::string& body, WDateTime clock, WContainer<WVLContent>& out,
                                               UINT64 reference)
{
    const ReadingRules rules{&clock, ImageTest::UrlPresent};
    const Reading reading{*this, reference};
    return readReplyOrUndo(
        body,
        [&](const Json::Value& rsp) {
            const WVLChannel channel = readChannel(rsp, kScheduleChannel, rules);
            return readList(
                member(rsp, "content"),
                {"VorelGetFocusChannelCMD::ParseFocusChannel", "Contents Data size is zero.", status::kEmptyList},
                reading, out, [&](const Json::Value& element, std::list<WVLContent>& list) {
                    WVLContent& content = list.emplace_back();
                    readFields<WVLContent>(element, kFocusContent, content, rules);
                    content.setChannel(channel);
                });
        },
        [&] { out.clear(); });
}

VorelGetContentListCMD::VorelGetContentListCMD(Callback done, void* userData, WVorelOAI* service,
                                               const WContentProvider& provider)
    : VorelRequestCMD(done, userData, service, provider)
{}

VorelGetContentListCMD::~VorelGetContentListCMD() = default;

void VorelGetContentListCMD::MakeURL(const std::list<int>& genres, unsigned long time, int start, int num,
                                     const WDateTime& clock, const WContentProvider& provider)
{
    const ProviderOptions options(provider, Country | Language | Headend | Device);
    urlQuery("browse/content/list", options)
        .countryIfSet()
        .languageIfSet()
        .headend()
        .deviceOrN()
        .listIfSet("&genre=", genres)
        .timeIfSet("&timestamp=", time, clock)
        .numberIfSet("&start=", start)
        .numberIfSet("&num=", num);
}

int VorelGetContentListCMD::ParseContentList(const std::string& body, WDateTime clock, WContainer<WVLContent>& out,
                                             UINT64 reference)
{
    const ReadingRules rules{&clock, ImageTest::UrlPresent};
    return readListReply(body, "content", {"VorelGetContentListCMD::ParseContentList", "Content List size is zero."},
                         {*this, reference}, out, [&rules](const Json::Value& element, std::list<WVLContent>& list) {
                             readFields<WVLContent>(element, kListedContent, list.emplace_back(), rules);
                         });
}

VorelGetGuideCMD::VorelGetGuideCMD(Callback done, void* userData, WVorelOAI* service, const WContentProvider& provider)
    : VorelRequestCMD(done, userData, service, provider)
{}

VorelGetGuideCMD::~VorelGetGuideCMD() = default;

void VorelGetGuideCMD::MakeURL(const std::string& channel, const std::string& channelNumber, unsigned long time,
                               int interval, int imageSize, int start, int num, const WDateTime& clock,
                               const WContentProvider& provider)
{
    const ProviderOptions options(provider, Country | Headend | Device);
    urlQuery("browse/guide", options)
        .countryIfSet()
        .headend()
        .deviceOrN()
        .text("&channel=", channel)
        .stringIfSet("&chnum=", channelNumber)
        .number("&interval=", interval)
        .numberIfSet("&imagesize=", imageSize)
        .numberIfSet("&start=", start)
        .numberIfSet("&num=", num)
        .timeIfSet("&timestamp=", time, clock);
}

int VorelGetGuideCMD::ParseGuide(const std::string& body, WDateTime clock, WContainer<WVLContent>& out,
                                 UINT64 reference)
{
    const ReadingRules rules{&clock, ImageTest::Always};
    return readListReply(body, "channel", {"VorelGetGuideCMD::ParseGuide"}, {*this, reference}, out,
                         [&rules](const Json::Value& element, std::list<WVLContent>& list) {
                             readProgrammes(element, kGuideChannel, kGuideContent, rules, list);
                         });
}

VorelSearchEpgCMD::VorelSearchEpgCMD(Callback done, void* userData, WVorelOAI* service,
                                     const WContentProvider& provider)
    : VorelRequestCMD(done, userData, service, provider)
{}

VorelSearchEpgCMD::~VorelSearchEpgCMD() = default;

void VorelSearchEpgCMD::MakeURL(const std::string& query, const std::string& exact, int start, int num,
                                const WContentProvider& provider)
{
    const ProviderOptions options(provider, Country | Headend | Device);
    // Quirk: the BODY line shows the URL, and a start of 0 is written, which other operations leave out.
    urlQuery("search/epg_search", options)
        .showingUrlAsBody()
        .country()
        .text("&q=", query)
        .stringIfSet("&exact=", exact)
        .numberIf(start >= 0, "&start=", start)
        .numberIf(num > 0, "&num=", num)
        .headend()
        .deviceOrN();
}

}  // namespace W
