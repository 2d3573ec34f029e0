// Commands of the session, of the service's configuration and of its terms.

#include "VorelCommand.h"

#include "ProviderOptions.h"
#include "Reply.h"
#include "RequestQuery.h"

namespace W {

using namespace vorel;

namespace {

constexpr Field<WVLSession> kSessionId[] = {{"id", &WVLSession::setSessionID}};
constexpr Field<WVLSession> kSessionUser[] = {{"id", &WVLSession::setUserID}};
constexpr Field<WVLSession> kSessionKey[] = {
    {"seedkey", &WVLSession::setSeedKey},
    {"expired", &WVLSession::setExpireTime},
};

constexpr Field<WVLLog> kLog[] = {
    {"name", &WVLLog::setName},          {"url", &WVLLog::setURL},
    {"queue_max", &WVLLog::setQueueMax}, {"expiration", &WVLLog::setExpiration},
    {"loglevel", &WVLLog::setLogLevel},
};

constexpr Field<WVLEvent> kLogEvent[] = {
    {"name", &WVLEvent::setName},
    {"loglevel", &WVLEvent::setLogLevel},
};

constexpr Field<WVLLocaltime> kLocaltime[] = {
    {"date", &WVLLocaltime::setUTC},
    {"localdate", &WVLLocaltime::setLocaltime, WDateTime::FORMAT_LOCAL},
    {"timezone", &WVLLocaltime::setTimezone},
    {"difference", &WVLLocaltime::setDifference, WDateTime::FORMAT_OFFSET},
};

constexpr Field<WVLCertificationRule> kCertificationRule[] = {
    {"first_screen", &WVLCertificationRule::setFirstScreen}, {"adult_default", &WVLCertificationRule::setAdultDefault},
    {"bar_mode", &WVLCertificationRule::setBarMode},         {"bar_ratio", &WVLCertificationRule::setBarRatio},
    {"cert_type", &WVLCertificationRule::setType},           {"rule", &WVLCertificationRule::setRule},
    {"uptime_begin", &WVLCertificationRule::setBeginTime},   {"uptime_end", &WVLCertificationRule::setEndTime},
};

}  // namespace

VorelGetAuthSeedkeyCMD::VorelGetAuthSeedkeyCMD(Callback done, void* userData, WVorelOAI* service,
                                               const WContentProvider& provider)
    : VorelRequestCMD(done, userData, service, provider)
{}

VorelGetAuthSeedkeyCMD::~VorelGetAuthSeedkeyCMD() = default;

void VorelGetAuthSeedkeyCMD::MakeURL()
{
    urlOnly("/openapi/service/vorel/auth/seedkey");
}

int VorelGetAuthSeedkeyCMD::ParseSessionInfo(const std::string& body, WVLSession& session)
{
    return readReply(body, [&](const Json::Value& rsp) {
        const Json::Value& object = member(rsp, "session");
        readFields<WVLSession>(object, kSessionId, session);
        readFields<WVLSession>(member(object, "user"), kSessionUser, session);
        readFields<WVLSession>(object, kSessionKey, session);
        return status::kOk;
    });
}

VorelGetConfLogCMD::VorelGetConfLogCMD(Callback done, void* userData, WVorelOAI* service,
                                       const WContentProvider& provider)
    : VorelRequestCMD(done, userData, service, provider)
{}

VorelGetConfLogCMD::~VorelGetConfLogCMD() = default;

void VorelGetConfLogCMD::MakeURL(const WContentProvider& provider)
{
    const ProviderOptions options(provider, Country | Headend | Device);
    urlQuery("conf/log", options).country().headend().deviceOrN();
}

int VorelGetConfLogCMD::ParseConfLog(const std::string& body, WVLLog& out)
{
    return readReply(body, [&](const Json::Value& rsp) {
        const Json::Value& service = member(rsp, "service");
        readFields<WVLLog>(service, kLog, out);
        out.setEvents(readElements<WVLEvent>(member(service, "event"), kLogEvent));
        return status::kOk;
    });
}

VorelGetLocaltimeCMD::VorelGetLocaltimeCMD(Callback done, void* userData, WVorelOAI* service,
                                           const WContentProvider& provider)
    : VorelRequestCMD(done, userData, service, provider)
{}

VorelGetLocaltimeCMD::~VorelGetLocaltimeCMD() = default;

void VorelGetLocaltimeCMD::MakeURL(const WContentProvider& provider)
{
    const ProviderOptions options(provider, Country | Headend | Device);
    urlQuery("conf/localtime", options).country().headend().deviceOrN();
}

int VorelGetLocaltimeCMD::ParseLocaltime(const std::string& body, WVLLocaltime& out)
{
    return readReply(body, [&](const Json::Value& rsp) {
        readFields<WVLLocaltime>(rsp, kLocaltime, out);
        return status::kOk;
    });
}

VorelResetHistoryCMD::VorelResetHistoryCMD(Callback done, void* userData, WVorelOAI* service,
                                           const WContentProvider& provider)
    : VorelRequestCMD(done, userData, service, provider)
{}

VorelResetHistoryCMD::~VorelResetHistoryCMD() = default;

void VorelResetHistoryCMD::MakeURL(unsigned long time, const WDateTime& clock, const WContentProvider& provider)
{
    const ProviderOptions options(provider, Country);
    urlQuery("conf/reset", options).country().timeIfSet("&timestamp=", time, clock);
}

int VorelResetHistoryCMD::ParseResetHistory(const std::string& body)
{
    return readAcknowledgement(body);
}

VorelGetServerUrlCMD::VorelGetServerUrlCMD(Callback done, void* userData, WVorelOAI* service,
                                           const WContentProvider& provider)
    : VorelRequestCMD(done, userData, service, provider)
{}

VorelGetServerUrlCMD::~VorelGetServerUrlCMD() = default;

void VorelGetServerUrlCMD::MakeURL(const WContentProvider& provider)
{
    const ProviderOptions options(provider, Country);
    urlQuery("conf/server", options).country();
}

int VorelGetServerUrlCMD::ParseServerUrl(const std::string& body, WDateTime offsetSource, std::string& url,
                                         WDateTime& expired)
{
    return readReply(body, [&](const Json::Value& rsp) {
        url = toString(member(rsp, "url"));
        expired = toDateTime(member(rsp, "expired"), WDateTime::FORMAT_DATETIME);
        // Quirk: tests the source of the offset, not the time that was read.
        if (offsetSource.isValid()) {
            expired.setOffset(offsetSource.getOffsetSign(), offsetSource.getOffsetTime());
        }
        return status::kOk;
    });
}

VorelCheckUploadCMD::VorelCheckUploadCMD(Callback done, void* userData, WVorelOAI* service,
                                         const WContentProvider& provider)
    : VorelRequestCMD(done, userData, service, provider)
{}

VorelCheckUploadCMD::~VorelCheckUploadCMD() = default;

void VorelCheckUploadCMD::MakeURL(const WContentProvider& provider)
{
    const ProviderOptions options(provider, Country | Headend | Device);
    urlQuery("conf/upload_check", options).country().headend().deviceOrN();
}

int VorelCheckUploadCMD::ParseCheckUpload(const std::string& body, std::string& url, std::string& fileName)
{
    return readReply(body, [&](const Json::Value& rsp) {
        url = toString(member(rsp, "url"));
        fileName = toString(member(rsp, "filename"));
        return status::kOk;
    });
}

VorelSendChannelCMD::VorelSendChannelCMD(Callback done, void* userData, WVorelOAI* service,
                                         const WContentProvider& provider)
    : VorelRequestCMD(done, userData, service, provider)
{}

VorelSendChannelCMD::~VorelSendChannelCMD() = default;

void VorelSendChannelCMD::MakeURL(const std::string& fileName, const WContentProvider& /*provider*/)
{
    urlOnly("?filename=" + fileName);
}

int VorelSendChannelCMD::ParseSendChannel(const std::string& body)
{
    return readAcknowledgement(body);
}

VorelGetCertificationRuleCMD::VorelGetCertificationRuleCMD(Callback done, void* userData, WVorelOAI* service,
                                                           const WContentProvider& provider)
    : VorelRequestCMD(done, userData, service, provider)
{}

VorelGetCertificationRuleCMD::~VorelGetCertificationRuleCMD() = default;

void VorelGetCertificationRuleCMD::MakeURL(const WContentProvider& provider)
{
    const ProviderOptions options(provider, Country | Headend | Device);
    urlQuery("conf/cert_rule", options).country().headend().deviceOrN();
}

int VorelGetCertificationRuleCMD::ParseCertificationRule(const std::string& body, WVLCertificationRule& out)
{
    return readReply(body, [&](const Json::Value& rsp) {
        readFields<WVLCertificationRule>(member(rsp, "service"), kCertificationRule, out);
        return status::kOk;
    });
}

VorelCheckAgreementCMD::VorelCheckAgreementCMD(Callback done, void* userData, WVorelOAI* service,
                                               const WContentProvider& provider)
    : VorelRequestCMD(done, userData, service, provider)
{}

VorelCheckAgreementCMD::~VorelCheckAgreementCMD() = default;

void VorelCheckAgreementCMD::MakeURL(const WContentProvider& provider)
{
    const ProviderOptions options(provider, Country);
    urlQuery("agreement/check", options).country();
}

int VorelCheckAgreementCMD::ParseCheckAgreement(const std::string& body, std::string& agreed, std::string& confirmed)
{
    return readReply(body, [&](const Json::Value& rsp) {
        const Json::Value& registration = member(rsp, "reg_info");
        agreed = toString(member(registration, "status"));
        confirmed = toString(member(registration, "confirmed"));
        return status::kOk;
    });
}

VorelConfirmAgreementCMD::VorelConfirmAgreementCMD(Callback done, void* userData, WVorelOAI* service,
                                                   const WContentProvider& provider)
    : VorelRequestCMD(done, userData, service, provider)
{}

VorelConfirmAgreementCMD::~VorelConfirmAgreementCMD() = default;

void VorelConfirmAgreementCMD::MakeURL(const WContentProvider& provider)
{
    const ProviderOptions options(provider, Country);
    urlQuery("agreement/confirm", options).country();
}

int VorelConfirmAgreementCMD::ParseConfirmAgreement(const std::string& body)
{
    return readAcknowledgement(body);
}

VorelSetAnonymAgreementCMD::VorelSetAnonymAgreementCMD(Callback done, void* userData, WVorelOAI* service,
                                                       const WContentProvider& provider)
    : VorelRequestCMD(done, userData, service, provider)
{}

VorelSetAnonymAgreementCMD::~VorelSetAnonymAgreementCMD() = default;

void VorelSetAnonymAgreementCMD::MakeURL(bool anonymous, const WContentProvider& provider)
{
    const ProviderOptions options(provider, Country);
    urlQuery("agreement/anonym", options).country().text("&flag=", anonymous ? "yes" : "no");
}

int VorelSetAnonymAgreementCMD::ParseSetAnonymAgreement(const std::string& body)
{
    return readAcknowledgement(body);
}

VorelRevocateAgreementCMD::VorelRevocateAgreementCMD(Callback done, void* userData, WVorelOAI* service,
                                                     const WContentProvider& provider)
    : VorelRequestCMD(done, userData, service, provider)
{}

VorelRevocateAgreementCMD::~VorelRevocateAgreementCMD() = default;

void VorelRevocateAgreementCMD::MakeURL(const WContentProvider& provider)
{
    const ProviderOptions options(provider, Country);
    urlQuery("agreement/revocation", options).country();
}

int VorelRevocateAgreementCMD::ParseRevocateAgreement(const std::string& body)
{
    return readAcknowledgement(body);
}

}  // namespace W
