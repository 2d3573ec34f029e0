// Commands of the line-up: channels, headends, cities, and the quiz that identifies the viewer's headend.

#include "VorelCommand.h"

#include <cstdlib>
#include <memory>
#include <new>
#include <stdexcept>

#include <dlfcn.h>
#include <oauth.h>

#include "Lists.h"
#include "ProviderOptions.h"
#include "Reply.h"
#include "RequestQuery.h"

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
#endif

namespace W {

using namespace vorel;

namespace {

constexpr Field<WVLChannel> kChannel[] = {
    {"source", &WVLChannel::setSource},
    {"dtv", &WVLChannel::setDTV},
    {"number", &WVLChannel::setNumber},
    {"major", &WVLChannel::setMajorCH},
    {"minor", &WVLChannel::setMinorCH},
    {"ptc", &WVLChannel::setPtc},
    {"digital_flag", &WVLChannel::setDigital},
    {"qam_flag", &WVLChannel::setQAM},
    {"onid", &WVLChannel::setONID},
    {"tsid", &WVLChannel::setTSID},
    {"sid", &WVLChannel::setSID},
    {"freq", &WVLChannel::setFreq},
    {"name", &WVLChannel::setName},
    {"alias", &WVLChannel::setAlias},
    {"embed", &WVLChannel::setEmbed},
    {"station_img", &WVLChannel::setStationImage},
};

/// An entry for automatic content recognition.
constexpr Field<WVLChannel> kAcrChannel[] = {
    {"source", &WVLChannel::setSource},
    {"dtv", &WVLChannel::setDTV},
    {"name", &WVLChannel::setName},
    {"call_sign", &WVLChannel::setCallSign},
};

constexpr Field<WVLHeadend> kMsoBeforeSatellite[] = {
    {"id", &WVLHeadend::setMsoID},
    {"name", &WVLHeadend::setMsoName},
    {"service_type", &WVLHeadend::setMsoServiceType},
};

constexpr Field<WVLHeadend> kMsoSatellite[] = {{"satellite_enum", &WVLHeadend::setMsoSatellite}};

constexpr Field<WVLHeadend> kMsoAfterSatellite[] = {
    {"rf_device_type", &WVLHeadend::setMsoRfDeviceType},
    {"mbr_name", &WVLHeadend::setMsoMbrName},
};

constexpr Field<WVLHeadend> kHeadend[] = {
    {"id", &WVLHeadend::setHeadendID},
    {"dtv", &WVLHeadend::setHeadendDTV},
    {"city", &WVLHeadend::setHeadendCity},
};

constexpr Field<WVLDevice> kDevice[] = {
    {"type", &WVLDevice::setDeviceType},
    {"name", &WVLDevice::setDeviceName},
};

constexpr Field<WVLHeadend> kStoredHeadend[] = {{"id", &WVLHeadend::setHeadendID}};
constexpr Field<WVLDevice> kStoredDevice[] = {{"type", &WVLDevice::setDeviceType}};

constexpr Field<WVLCityCode> kCity[] = {
    {"code", &WVLCityCode::setCode},
    {"name", &WVLCityCode::setName},
};

constexpr Field<WVLQuiz> kQuiz[] = {
    {"number", &WVLQuiz::setNumber},
    {"major", &WVLQuiz::setMajor},
    {"minor", &WVLQuiz::setMinor},
    {"ptc", &WVLQuiz::setPTC},
};

constexpr Field<WVLAnswer> kAnswer[] = {{"name", &WVLAnswer::setName}};

constexpr Field<WVLAnswer> kAnswerHeadend[] = {
    {"id", &WVLAnswer::setHeadendId},
    {"dtv", &WVLAnswer::setDTV},
    {"city", &WVLAnswer::setCity},
    {"device", &WVLAnswer::setDeviceType},
};

enum class Satellite {
    Read,
    NotRead,
};

/// Reads the three lists of headends.
WSTATUS readHeadends(const std::string& body, const ListRules& rules, Satellite satellite, const Reading& reading,
                     WContainer<WVLHeadend>& out)
{
    return readListReply(body, "mso", rules, reading, out,
                         [satellite](const Json::Value& element, std::list<WVLHeadend>& list) {
                             WVLHeadend& headend = list.emplace_back();
                             readFields<WVLHeadend>(element, kMsoBeforeSatellite, headend);
                             if (satellite == Satellite::Read) {
                                 readFields<WVLHeadend>(element, kMsoSatellite, headend);
                             }
                             readFields<WVLHeadend>(element, kMsoAfterSatellite, headend);
                             readFields<WVLHeadend>(member(element, "headend"), kHeadend, headend);
                             headend.setDeviceList(readElements<WVLDevice>(member(element, "device"), kDevice));
                         });
}

/// The library that encodes postal codes, which are rarely used. It loads a second HTTP library and its cryptography
/// into the process, so it is loaded on first use: that saves four fifths of the plug-in's loading time.
class EscapeLibrary {
public:
    /// @throws std::runtime_error if it cannot be loaded
    static const EscapeLibrary& instance()
    {
        static const EscapeLibrary s_library;
        return s_library;
    }

    decltype(&oauth_url_escape) escape() const { return m_escape; }

    EscapeLibrary(const EscapeLibrary&) = delete;
    EscapeLibrary& operator=(const EscapeLibrary&) = delete;

private:
    EscapeLibrary() : m_library(dlopen("liboauth.so.0", RTLD_NOW | RTLD_LOCAL))
    {
        if (m_library != nullptr) {
            m_escape = reinterpret_cast<decltype(m_escape)>(dlsym(m_library.get(), "oauth_url_escape"));
        }
        if (m_escape == nullptr) {
            CCDebug::Print<CWCCDebug>(kErrorLevel, kPlain, "[%s:%d] cannot load liboauth, install it: %s", __func__,
                                      __LINE__, dlerror());
            throw std::runtime_error("liboauth is missing");
        }
    }

    struct Unload {
        void operator()(void* library) const { dlclose(library); }
    };
    std::unique_ptr<void, Unload> m_library;
    decltype(&oauth_url_escape) m_escape = nullptr;
};

/// Whether there is memory for blocks of a size, twice and four times that size. Once freed, they serve the next
/// allocations of these sizes.
bool hasRoom(std::size_t size)
{
    void* volatile blocks[] = {std::malloc(size), std::malloc(2 * size), std::malloc(4 * size)};
    bool all = true;
    for (void* const block : blocks) {
        all = all && block != nullptr;
        std::free(block);
    }
    return all;
}

/// Percent-encodes a postal code (RFC 5849, section 3.6). Quirk: the copy that the library returns is never freed.
std::string escaped(const std::string& text)
{
    // The library ends the process if it runs out of memory. It allocates the size of the string, and doubles that
    // whenever it is too small.
    if (!hasRoom(text.size() + 1)) {
        throw std::bad_alloc();
    }
#if defined(__SANITIZE_ADDRESS__)
    // The only known leak. It must not hide others.
    const __lsan::ScopedDisabler leaksOnPurpose;
#endif
    const char* const copy = EscapeLibrary::instance().escape()(text.c_str());
    if (copy == nullptr) {
        throw std::bad_alloc();
    }
    return copy;
}

}  // namespace

VorelGetChannelListCMD::VorelGetChannelListCMD(Callback done, void* userData, WVorelOAI* service,
                                               const WContentProvider& provider)
    : VorelRequestCMD(done, userData, service, provider)
{}

VorelGetChannelListCMD::~VorelGetChannelListCMD() = default;

void VorelGetChannelListCMD::MakeURL(const std::string& checksum, const WContentProvider& provider)
{
    const ProviderOptions options(provider, Country | Language | Headend | Device);
    urlQuery("channel/gallery", options)
        .country()
        .languageIfSet()
        .headend()
        .deviceOrN()
        .stringIfSet("&checksum=", checksum);
}

int VorelGetChannelListCMD::ParseChannelList(const std::string& body, WContainer<WVLChannel>& channels,
                                             std::string& checksum, bool& changed, UINT64 reference)
{
    static constexpr char kParser[] = "VorelGetChannelListCMD::ParseChannelList";
    const Reading reading{*this, reference};
    const auto read = [&](const Json::Value& rsp) -> WSTATUS {
        const Json::Value& mark = member(rsp, "checksum");
        changed = toString(member(mark, "stat")) == "new";
        checksum = toString(member(mark, "code"));
        if (!changed) {
            return status::kOk;
        }

        ReadingRules rules;
        rules.imageTest = ImageTest::UrlPresent;
        std::list<WVLChannel> list;
        WSTATUS result =
            appendList(member(rsp, "channel"), {kParser, "Channel size is zero.", status::kEmptyList}, reading, list,
                       channels, [&](const Json::Value& element, std::list<WVLChannel>& to) {
                           readFields<WVLChannel>(element, kChannel, to.emplace_back(), rules);
                       });
        if (result == status::kOk) {
            result = appendList(member(rsp, "ACR"), {kParser}, reading, list, channels,
                                [&](const Json::Value& element, std::list<WVLChannel>& to) {
                                    readFields<WVLChannel>(element, kAcrChannel, to.emplace_back());
                                });
        }
        if (result == status::kOk) {
            handOver(std::move(list), channels);
        }
        return result;
    };
    return readReplyOrUndo(body, read, [&channels] { channels.clear(); });
}

VorelGetHeadendCMD::VorelGetHeadendCMD(Callback done, void* userData, WVorelOAI* service,
                                       const WContentProvider& provider)
    : VorelRequestCMD(done, userData, service, provider)
{}

VorelGetHeadendCMD::~VorelGetHeadendCMD() = default;

void VorelGetHeadendCMD::MakeURL(const std::string& zipCode, const WContentProvider& provider)
{
    const ProviderOptions options(provider, Country);
    urlQuery("channel/headend", options).country().text("&zipcode=", escaped(zipCode));
}

int VorelGetHeadendCMD::ParseHeadend(const std::string& body, WContainer<WVLHeadend>& out, UINT64 reference)
{
    // Quirk: the two similar parsers spell the line about an empty list differently.
    return readHeadends(body, {"VorelGetHeadendCMD::ParseHeadend", "Headend Data size is Zero", status::kEmptyList},
                        Satellite::Read, {*this, reference}, out);
}

VorelGetCityListCMD::VorelGetCityListCMD(Callback done, void* userData, WVorelOAI* service,
                                         const WContentProvider& provider)
    : VorelRequestCMD(done, userData, service, provider)
{}

VorelGetCityListCMD::~VorelGetCityListCMD() = default;

void VorelGetCityListCMD::MakeURL(const WContentProvider& provider)
{
    const ProviderOptions options(provider, Country);
    urlQuery("channel/headend_kor", options).country().text("&type=", "city");
}

int VorelGetCityListCMD::ParseCityList(const std::string& body, std::map<int, std::string>& states,
                                       std::multimap<int, WVLCityCode>& cities, UINT64 reference)
{
    const Reading reading{*this, reference};
    return readReply(body, [&](const Json::Value& rsp) -> WSTATUS {
        const Json::Value& array = member(rsp, "state");
        for (Json::ArrayIndex index = 0, count = array.size(); index < count; ++index) {
            const Json::Value& state = array[index];
            const int key = static_cast<int>(index);
            states.emplace(key, toString(member(state, "name")));
            const bool complete = walk(member(state, "city"), reading, [&](const Json::Value& element) {
                WVLCityCode city;
                readFields<WVLCityCode>(element, kCity, city);
                cities.emplace(key, std::move(city));
            });
            // Quirk: the maps keep what was added before the cancel.
            if (!complete) {
                printCancelled(reading, "VorelGetCityListCMD::ParseCityList");
                return status::kCancelled;
            }
        }
        return status::kOk;
    });
}

VorelGetCityListBrowseCMD::VorelGetCityListBrowseCMD(Callback done, void* userData, WVorelOAI* service,
                                                     const WContentProvider& provider)
    : VorelRequestCMD(done, userData, service, provider)
{}

VorelGetCityListBrowseCMD::~VorelGetCityListBrowseCMD() = default;

void VorelGetCityListBrowseCMD::MakeURL(const WContentProvider& provider)
{
    const ProviderOptions options(provider, Country);
    urlQuery("channel/headend_browse", options).country().text("&type=", "list");
}

int VorelGetCityListBrowseCMD::ParseCityList(const std::string& body, WContainer<WVLCityCode>& out, UINT64 reference)
{
    // Quirk: only here the cancel line is printed before the container is cleared.
    ListRules rules{"VorelGetCityListBrowseCMD::ParseCityList"};
    rules.printsCancelFirst = true;
    return readListReply(body, "geo_level_1", rules, {*this, reference}, out,
                         [](const Json::Value& element, std::list<WVLCityCode>& list) {
                             readFields<WVLCityCode>(element, kCity, list.emplace_back());
                         });
}

VorelGetHeadendKorCMD::VorelGetHeadendKorCMD(Callback done, void* userData, WVorelOAI* service,
                                             const WContentProvider& provider)
    : VorelRequestCMD(done, userData, service, provider)
{}

VorelGetHeadendKorCMD::~VorelGetHeadendKorCMD() = default;

void VorelGetHeadendKorCMD::MakeURL(const std::string& code, const WContentProvider& provider)
{
    const ProviderOptions options(provider, Country);
    urlQuery("channel/headend_kor", options).country().text("&type=", "headend").text("&code=", code);
}

int VorelGetHeadendKorCMD::ParseHeadendKor(const std::string& body, WContainer<WVLHeadend>& out, UINT64 reference)
{
    return readHeadends(body,
                        {"VorelGetHeadendKorCMD::ParseHeadendKor", "Headend Data Size is zero.", status::kEmptyList},
                        Satellite::NotRead, {*this, reference}, out);
}

VorelGetHeadendBrowseCMD::VorelGetHeadendBrowseCMD(Callback done, void* userData, WVorelOAI* service,
                                                   const WContentProvider& provider)
    : VorelRequestCMD(done, userData, service, provider)
{}

VorelGetHeadendBrowseCMD::~VorelGetHeadendBrowseCMD() = default;

void VorelGetHeadendBrowseCMD::MakeURL(const std::string& code, const WContentProvider& provider)
{
    const ProviderOptions options(provider, Country);
    urlQuery("channel/headend_browse", options).country().text("&type=", "headend").text("&code=", code);
}

int VorelGetHeadendBrowseCMD::ParseHeadendBrowse(const std::string& body, WContainer<WVLHeadend>& out, UINT64 reference)
{
    // Quirk: the cancel line names the function of another command.
    return readHeadends(body,
                        {"VorelGetHeadendBrowseCMD::ParseHeadendKor", "Headend Data Size is zero.", status::kEmptyList},
                        Satellite::NotRead, {*this, reference}, out);
}

VorelGetLineupTestCMD::VorelGetLineupTestCMD(Callback done, void* userData, WVorelOAI* service,
                                             const WContentProvider& provider)
    : VorelRequestCMD(done, userData, service, provider)
{}

VorelGetLineupTestCMD::~VorelGetLineupTestCMD() = default;

void VorelGetLineupTestCMD::MakeURL(const std::string& headend, const WContentProvider& provider)
{
    const ProviderOptions options(provider, Country);
    urlQuery("channel/lineup_test", options).country().text("&headend=", headend);
}

int VorelGetLineupTestCMD::ParseLineupTest(const std::string& body, WContainer<WVLQuiz>& out)
{
    return readReplyOrUndo(
        body,
        [&](const Json::Value& rsp) {
            const Json::Value& array = member(rsp, "quiz");
            std::list<WVLQuiz> list;
            for (Json::ArrayIndex index = 0, count = array.size(); index < count; ++index) {
                WVLQuiz& quiz = list.emplace_back();
                readFields<WVLQuiz>(array[index], kQuiz, quiz);
                const Json::Value& given = member(array[index], "answer");
                std::list<WVLAnswer> answers;
                for (Json::ArrayIndex number = 0, last = given.size(); number < last; ++number) {
                    WVLAnswer& answer = answers.emplace_back();
                    readFields<WVLAnswer>(given[number], kAnswer, answer);
                    readFields<WVLAnswer>(member(given[number], "headend"), kAnswerHeadend, answer);
                }
                quiz.setAnswerList(std::move(answers));
            }
            handOver(std::move(list), out);
            return status::kOk;
        },
        [&] { out.clear(); });
}

VorelSaveHeadendCMD::VorelSaveHeadendCMD(Callback done, void* userData, WVorelOAI* service,
                                         const WContentProvider& provider)
    : VorelRequestCMD(done, userData, service, provider)
{}

VorelSaveHeadendCMD::~VorelSaveHeadendCMD() = default;

void VorelSaveHeadendCMD::MakeURL(const WContentProvider& provider)
{
    const ProviderOptions options(provider, Country | Headend | Device);
    bodyQuery("user/save_headend", options).countryIfSet().headend().deviceOrN();
}

int VorelSaveHeadendCMD::ParseSaveHeadend(const std::string& body)
{
    return readAcknowledgement(body);
}

VorelLoadHeadendCMD::VorelLoadHeadendCMD(Callback done, void* userData, WVorelOAI* service,
                                         const WContentProvider& provider)
    : VorelRequestCMD(done, userData, service, provider)
{}

VorelLoadHeadendCMD::~VorelLoadHeadendCMD() = default;

void VorelLoadHeadendCMD::MakeURL(const WContentProvider& provider)
{
    const ProviderOptions options(provider, Country);
    urlQuery("user/load_headend", options).country();
}

int VorelLoadHeadendCMD::ParseLoadHeadend(const std::string& body, WVLHeadend& out)
{
    return readReply(body, [&](const Json::Value& rsp) {
        readFields<WVLHeadend>(member(rsp, "headend"), kStoredHeadend, out);
        std::list<WVLDevice> devices(1);
        readFields<WVLDevice>(member(rsp, "device"), kStoredDevice, devices.front());
        out.setDeviceList(std::move(devices));
        return status::kOk;
    });
}

}  // namespace W
