// One test for each deliberate irregularity of the requests, and for what commands write from arguments that their
// operations refuse.

#include <algorithm>

#include <gtest/gtest.h>

#include "Calls.h"
#include "FakeHost.h"
#include "RequestRows.h"
#include "VorelCommand.h"

namespace W::test {
namespace {

constexpr char kService[] = "http://base/openapi/service/vorel/";

/// An object that can send every request, and the host that receives them.
struct IrregularRequests : ::testing::Test {
    IrregularRequests()
    {
        setAllOptions(host);
        object.emplace();
        openSession(*object);
        setClock(*object);
    }

    void empty(const char* option) { host.options[option].clear(); }

    template <class Method, class... Arguments>
    const Sent& send(Method method, Arguments... arguments)
    {
        host.reads.clear();
        EXPECT_EQ(calling(method, arguments...)(*object, counter), 0);
        return host.sent.back();
    }

    /// "Missing" if there is none.
    static std::string headerOf(const Sent& sent, const std::string& name)
    {
        for (const HttpHeader::Line& line : sent.headers) {
            if (line.first == name) {
                return line.second;
            }
        }
        return "Missing";
    }

    FakeHost host;
    std::optional<WVorelOAI> object;
    Counter counter;
    using O = WVorelOAI;
};

TEST_F(IrregularRequests, AnEmptyCountryLeavesQuestionMarkAndAmpersand)
{
    empty("vorel_country");
    EXPECT_EQ(send(&O::getMissedContent, "o").url,
              std::string(kService) + "recommend/missed?&lang=en&headend=H1&device=X&order=o");
    empty("vorel_language");
    EXPECT_EQ(send(&O::getPersonDetailInfo, "p").url, std::string(kService) + "browse/person/p?");
}

TEST_F(IrregularRequests, TheDeviceFallbackOfABodyFollowsThePath)
{
    empty("vorel_device_type");
    EXPECT_EQ(send(&O::saveHeadend).url, std::string(kService) + "user/save_headend&device=N");
    EXPECT_EQ(send(&O::saveHeadend).body, "country=US&headend=H1");
    EXPECT_EQ(send(&O::setFavorite, "channel", "7").url, std::string(kService) + "user/favorite&device=N");
    EXPECT_EQ(send(&O::setFavorite, "channel", "7").body, "country=US&headend=H1&type=channel&id=7");
    EXPECT_EQ(send(&O::sendTuneHistory, "t", "s").url, std::string(kService) + "user/tune_history&device=N");
    EXPECT_EQ(send(&O::sendTuneHistory, "t", "s").body, "country=US&headend=H1&ttid=t&sourceid=s");
}

TEST_F(IrregularRequests, TtidIsUpperCaseInRelatedContentAndLowerCaseInTheHistory)
{
    EXPECT_NE(send(&O::getRelatedContent, "t", 0).url.find("&TTID=t"), std::string::npos);
    EXPECT_NE(send(&O::sendTuneHistory, "t", "s").body.find("&ttid=t"), std::string::npos);
}

TEST_F(IrregularRequests, OnAirAndSeriesHaveNoDeviceFallback)
{
    empty("vorel_device_type");
    EXPECT_EQ(send(&O::getOnAir, Strings{"a"}, Numbers{1}).url,
              std::string(kService) + "channel/onair?country=US&lang=en&headend=H1&device=&sourceid=a&imagesize=1");
    EXPECT_EQ(send(&O::getSeriesDetailInfo, "c", "s").url,
              std::string(kService) + "browse/content/c/series?country=US&headend=H1&device=&lang=en&sourceid=s");
}

TEST_F(IrregularRequests, TheConciergeHasAnotherPathAndNoDeviceFallback)
{
    EXPECT_EQ(send(&O::getCombination, "f").url,
              "http://base/openapi/service/concierge/"
              "combination?country=US&lang=en&headend=H1&device=X&modelfirmcode=f");
    empty("vorel_device_type");
    EXPECT_EQ(send(&O::getCombination, "f").url,
              "http://base/openapi/service/concierge/combination?country=US&lang=en&headend=H1&modelfirmcode=f");
}

TEST_F(IrregularRequests, AnImageSizeOfZeroIsWrittenForOneFavoriteAndNowhereElse)
{
    const auto hasSize = [](const Sent& sent) { return sent.url.find("imagesize") != std::string::npos; };
    EXPECT_NE(send(&O::getFavoriteChannel, "t", "7", 0).url.find("&imagesize=0"), std::string::npos);
    EXPECT_NE(send(&O::getFavoriteContent, "t", "7", 0).url.find("&imagesize=0"), std::string::npos);
    EXPECT_FALSE(hasSize(send(&O::getFavoriteChannelList, "t", 0, "", "", 0, 0)));
    EXPECT_FALSE(hasSize(send(&O::getFavoriteContentList, "t", 0, "", "", 0, 0)));
    EXPECT_FALSE(hasSize(send(&O::getRelatedContent, "t", 0)));
    EXPECT_FALSE(hasSize(send(&O::getPopularChannel, 0, 0)));
    EXPECT_FALSE(hasSize(send(&O::getGuide, "c", "", 0, 0, 0, 0, 0)));
    EXPECT_FALSE(hasSize(send(&O::getFocusChannel, "c", 0, 0)));
}

TEST_F(IrregularRequests, TheBodyLineOfASearchShowsTheUrl)
{
    const std::string url = send(&O::searchEPG, "q", "", 0, 0).url;
    EXPECT_TRUE(host.hasLine("[MakeURL] URL:[" + url + "]\n"));
    EXPECT_TRUE(host.hasLine("[MakeURL] BODY:[" + url + "]\n"));
    EXPECT_FALSE(host.hasLine("[MakeURL] BODY:[]\n"));
}

TEST_F(IrregularRequests, TheSeriesReadsTheLanguageSecondAndWritesItAfterTheDevice)
{
    EXPECT_EQ(send(&O::getSeriesDetailInfo, "c", "s").url,
              std::string(kService) + "browse/content/c/series?country=US&headend=H1&device=X&lang=en&sourceid=s");
    host.reads.resize(4);
    EXPECT_EQ(host.reads,
              (std::vector<std::string>{"vorel_country", "vorel_language", "vorel_headend", "vorel_device_type"}));
}

TEST_F(IrregularRequests, TheSearchReadsAllSettingsBeforeItWrites)
{
    EXPECT_EQ(send(&O::searchEPG, "q", "", 0, 0).url,
              std::string(kService) + "search/epg_search?country=US&q=q&start=0&headend=H1&device=X");
    host.reads.resize(3);
    EXPECT_EQ(host.reads, (std::vector<std::string>{"vorel_country", "vorel_headend", "vorel_device_type"}));
}

TEST_F(IrregularRequests, TheServerUrlIsRequestedFromAnotherAddress)
{
    EXPECT_EQ(send(&O::getServerUrl).url, std::string(kService) + "conf/server?country=US");
    host.options["vorel_server_url"] = "http://other";
    EXPECT_EQ(send(&O::getServerUrl).url, "http://other/openapi/service/vorel/conf/server?country=US");
    EXPECT_EQ(send(&O::checkAgreement).url, std::string(kService) + "agreement/check?country=US");
}

TEST_F(IrregularRequests, ChannelsGoToTheUploadUrlOrTheBaseUrl)
{
    EXPECT_EQ(send(&O::sendChannel, "https://up/x", "f").url, "https://up/x?filename=f");
    EXPECT_EQ(send(&O::sendChannel, "up/x", "f").url, "http://base?filename=f");
    EXPECT_EQ(send(&O::sendChannel, "http", "f").url, "http://base?filename=f");
    EXPECT_EQ(send(&O::sendChannel, "", "f").url, "http://base?filename=f");
}

TEST_F(IrregularRequests, ThePostalCodeIsEscapedAndNothingElseIs)
{
    const std::string unreserved = "AZaz09-._~";
    EXPECT_EQ(send(&O::getHeadend, unreserved).url,
              std::string(kService) + "channel/headend?country=US&zipcode=" + unreserved);
    EXPECT_EQ(send(&O::getHeadend, " !\"#$%&'()*+,/:;<=>?@[\\]^`{|}\xC3\xBC").url,
              std::string(kService) +
                  "channel/headend?country=US&zipcode=%20%21%22%23%24%25%26%27%28%29%2A%2B%2C%2F%3A%3B%3C%3D%3E%3F%40"
                  "%5B%5C%5D%5E%60%7B%7C%7D%C3%BC");
    EXPECT_EQ(send(&O::getHeadend_Kor, "a b&c=%20").url,
              std::string(kService) + "channel/headend_kor?country=US&type=headend&code=a b&c=%20");
    host.options["vorel_country"] = "U S&";
    EXPECT_EQ(send(&O::getHeadend, "1").url, std::string(kService) + "channel/headend?country=U S&&zipcode=1");
}

TEST_F(IrregularRequests, TheKeyOfALikeIsAParameterName)
{
    EXPECT_EQ(send(&O::sendLike, "contentid", "7", "dislike").body, "country=US&contentid=7&type=dislike");
    EXPECT_EQ(send(&O::getLikeHistory, "contentid", "7").url,
              std::string(kService) + "user/like?country=US&contentid=7");
}

TEST_F(IrregularRequests, FourOperationsAskForCompression)
{
    EXPECT_EQ(headerOf(send(&O::getGenreList, ""), "Accept-encoding"), "gzip, deflate");
    EXPECT_EQ(headerOf(send(&O::getChannelList, ""), "Accept-encoding"), "gzip, deflate");
    EXPECT_EQ(headerOf(send(&O::getSmartChannel), "Accept-encoding"), "gzip, deflate");
    EXPECT_EQ(headerOf(send(&O::getSmartPopular), "Accept-encoding"), "gzip, deflate");
    EXPECT_EQ(headerOf(send(&O::getPopularChannel, 0, 0), "Accept-encoding"), "Missing");
}

TEST_F(IrregularRequests, AnEmptySecretLeavesThePlusSignInTheToken)
{
    empty("vorel_secret_key");
    // SHA-1 of "K+".
    EXPECT_EQ(headerOf(send(&O::checkAgreement), "Token"), "S+U+cf5e29e0fdd5ceb106e6e3eb19e3765d08386603");
}

TEST_F(IrregularRequests, TheCertificationRuleLogsAnEmptyCountry)
{
    empty("vorel_country");
    const std::string line = "[getCertificationRule] ========= CountryCode is empty!!!!!!! \n";
    EXPECT_EQ(calling(&O::getCertificationRule)(*object, counter), -1);
    EXPECT_TRUE(host.hasLine(line));
    host.forgetLines();
    EXPECT_EQ(calling(&O::getLocalTime)(*object, counter), -1);
    EXPECT_FALSE(host.hasLine("[getLocalTime] ========= CountryCode is empty!!!!!!! \n"));
}

// -- Commands without operations

/// The output of a command with an empty base address.
template <class Command, class... Arguments>
std::string writtenBy(Arguments... arguments)
{
    const WContentProvider provider("p", 1);
    Command command(nullptr, nullptr, nullptr, provider);
    command.MakeURL(arguments..., provider);
    EXPECT_EQ(command.body(), "");
    return command.url();
}

struct CommandAlone : ::testing::Test {
    CommandAlone() { setAllOptions(host); }

    FakeHost host;
};

TEST_F(CommandAlone, EmptyListsKeepTheNamesThatAreAlwaysWritten)
{
    EXPECT_EQ((writtenBy<VorelGetScheduleCMD>(Strings{}, 0, WDateTime(), 0, Numbers{})),
              "/openapi/service/vorel/channel/schedule?country=US&lang=en&sourceid=&imagesize=&interval=0");
    EXPECT_EQ((writtenBy<VorelGetOnAirCMD>(Strings{}, Numbers{})),
              "/openapi/service/vorel/channel/onair?country=US&lang=en&headend=H1&device=X&sourceid=&imagesize=");
    EXPECT_EQ((writtenBy<VorelGetContentListCMD>(Numbers{}, 0, 0, 0, WDateTime())),
              "/openapi/service/vorel/browse/content/list?country=US&lang=en&headend=H1&device=X");
}

TEST_F(CommandAlone, WritesWhatItsOperationRefuses)
{
    EXPECT_EQ(writtenBy<VorelGetContentDetailInfoCMD>("", "", 0, WDateTime()),
              "/openapi/service/vorel/browse/content/?country=US&lang=en&headend=H1&device=X");
    EXPECT_EQ(writtenBy<VorelGetSeriesDetailInfoCMD>("", ""),
              "/openapi/service/vorel/browse/content//series?country=US&headend=H1&device=X&lang=en&sourceid=");
    EXPECT_EQ(writtenBy<VorelGetPersonDetailInfoCMD>(""), "/openapi/service/vorel/browse/person/?country=US&lang=en");
    EXPECT_EQ(writtenBy<VorelSendChannelCMD>(""), "?filename=");
    host.options["vorel_country"].clear();
    host.options["vorel_headend"].clear();
    EXPECT_EQ(writtenBy<VorelGetLocaltimeCMD>(), "/openapi/service/vorel/conf/localtime?country=&headend=&device=X");
    EXPECT_EQ(writtenBy<VorelGetCertificationRuleCMD>(),
              "/openapi/service/vorel/conf/cert_rule?country=&headend=&device=X");
}

TEST_F(CommandAlone, AppendsToItsStrings)
{
    const WContentProvider provider("p", 1);
    VorelLoadHeadendCMD command(nullptr, nullptr, nullptr, provider);
    command.setUrl("left");
    command.MakeURL(provider);
    command.MakeURL(provider);
    EXPECT_EQ(command.url(),
              "left/openapi/service/vorel/user/load_headend?country=US"
              "/openapi/service/vorel/user/load_headend?country=US");
}

TEST_F(CommandAlone, ALikeRemembersItsType)
{
    const WContentProvider provider("p", 1);
    VorelSendLikeCMD command(nullptr, nullptr, nullptr, provider);
    EXPECT_EQ(command.GetType(), "");
    command.MakeURL("id", "7", "like", provider);
    EXPECT_EQ(command.GetType(), "like");
    EXPECT_EQ(command.body(), "country=US&id=7&type=like");
}

TEST_F(CommandAlone, ADownloadKeepsItsStringsAndWritesNothing)
{
    VorelDownloadCMD command(nullptr, nullptr, nullptr, WContentProvider("p", 1));
    command.MakeURL("http://h/f", "/dir/f", "f");
    EXPECT_EQ(command.url(), "");
    EXPECT_EQ(command.body(), "");
    EXPECT_EQ(command.takeLocalPath(), "/dir/f");
    EXPECT_TRUE(host.hasLine("[MakeURL] URL:[]\n"));
    EXPECT_EQ(host.lines().size(), 1u);
}

}  // namespace
}  // namespace W::test
