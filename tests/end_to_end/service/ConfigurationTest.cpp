// Sessions, time, settings from the service, terms, and the upload.
#include <cstdlib>
#include <ctime>
#include <fstream>

#include <gmock/gmock.h>

#include "Television.h"

namespace W::test {
namespace {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::Ge;
using testing::HasSubstr;
using testing::Le;

constexpr int kNoSession = -202;

/// Parses "2026-11-21T06:00:00Z".
std::time_t secondsOf(const std::string& utc)
{
    std::tm parts{};
    return ::strptime(utc.c_str(), "%Y-%m-%dT%H:%M:%SZ", &parts) == nullptr ? 0 : ::timegm(&parts);
}

TEST(Configuration, EachDeviceIsOneUser)
{
    const ServiceProcess service;
    Television one(service, "tv-1");
    Television two(service, "tv-2");
    const Json first = one.results("getAuthSeedkey").at(0);
    const Json again = one.results("getAuthSeedkey").at(0);
    EXPECT_EQ(first.at("UserID"), again.at("UserID"));
    EXPECT_NE(first.at("SessionID"), again.at("SessionID"));
    EXPECT_NE(first.at("UserID"), two.results("getAuthSeedkey").at(0).at("UserID"));
    const std::time_t lasts = secondsOf(first.at("ExpireTime").at("utc")) - std::time(nullptr);
    EXPECT_THAT(lasts, AllOf(Ge(23 * 3600), Le(24 * 3600)));
}

TEST(Configuration, ServiceSendsTimeAddressLogAndCertification)
{
    const ServiceProcess service;
    Television tv(service, "tv-1");
    const Json time = tv.results("getLocalTime").at(0);
    EXPECT_NEAR(static_cast<double>(secondsOf(time.at("UTC").at("utc"))), static_cast<double>(std::time(nullptr)), 30);
    const Json address = tv.results("getServerUrl");
    EXPECT_EQ(address.at(0), service.url());
    EXPECT_GT(secondsOf(address.at(1).at("utc")), std::time(nullptr));
    const Json log = tv.results("getConfLog").at(0);
    EXPECT_EQ(log.at("Name"), "corvaned");
    EXPECT_THAT(column(log.at("Events"), "/Name"), Contains("tune"));
    const Json certification = tv.results("getCertificationRule").at(0);
    EXPECT_EQ(certification.at("Type"), "age");
    EXPECT_THAT(certification.at("Rule").get<std::string>(), HasSubstr("PG"));
}

TEST(Configuration, SessionSurvivesARestart)
{
    ServiceProcess service;
    Television tv(service, "tv-1");
    service.restart();
    EXPECT_EQ(tv.status("getConfLog"), 0);
}

TEST(Configuration, WrongKeyGetsNoSession)
{
    const ServiceProcess service;
    Television tv(service, "tv-1", "H1", {"secret_key=another"});
    EXPECT_EQ(tv.status("getConfLog"), kNoSession);
}

TEST(Configuration, TermsAreKeptPerUser)
{
    ServiceProcess service;
    Television tv(service, "tv-1");
    Television other(service, "tv-2");
    EXPECT_EQ(tv.results("checkAgreement"), Json({"none", "no"}));
    tv.results("confirmAgreement");
    tv.results("setAnonymAgreement", true);
    service.restart();
    EXPECT_EQ(tv.results("checkAgreement"), Json({"agreed", "yes"}));
    EXPECT_EQ(other.results("checkAgreement"), Json({"none", "no"}));
    tv.results("revocateAgreement");
    service.restart();
    EXPECT_EQ(tv.results("checkAgreement"), Json({"revoked", "no"}));
}

TEST(Configuration, UploadStoresTheWholeFile)
{
    ServiceProcess service;
    const std::string file = service.directory() / "channels.json";
    const std::string content = R"({"channels":["1","2"]})" + std::string(100'000, ' ');
    std::ofstream(file) << content;
    Television tv(service, "tv-1", "H1", {"channelinfo_filepath=" + file});
    const Json target = tv.results("checkUpload");
    tv.results("sendChannel", target.at(0), target.at(1));
    service.restart();
    // No operation returns it.
    EXPECT_EQ(service.upload(target.at(1)), content);
}

}  // namespace
}  // namespace W::test
