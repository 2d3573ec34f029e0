#include "Reply.h"

#include "Status.h"

namespace W::vorel {

bool wantsImage(const Json::Value& image, ImageTest test)
{
    switch (test) {
        case ImageTest::Always:
            return true;
        case ImageTest::UrlPresent:
            return !member(image, "url").empty();
        case ImageTest::UrlNonEmpty:
            return !toString(member(image, "url")).empty();
        case ImageTest::HasMembers:
            return hasElements(image);
    }
    return false;
}

std::list<WVLGenre> readGenres(const Json::Value& array)
{
    static constexpr Field<WVLGenre> kGenre[] = {{"id", &WVLGenre::setGenreID}};
    return readElements<WVLGenre>(array, kGenre);
}

bool reportsSuccess(const Json::Value& rsp)
{
    return reportsSuccess(toString(member(rsp, "stat")), member(rsp, "err"));
}

Envelope::Envelope(const std::string& body, Here here)
{
    if (!parseJson(body, m_root)) {
        CCDebug::Print<CWCCDebug>(kTraceLevel, kPlain,
                                  "[%s:%d] This is not JSON format\n=======================\n%s\n"
                                  "=========================",
                                  here.function, here.line, body.c_str());
        return;
    }
    m_rsp = &member(m_root, "rsp");
    std::string message;
    m_verdict = judge(errorCode(toString(member(*m_rsp, "stat")), member(*m_rsp, "err"), message));
}

}  // namespace W::vorel
