#include "RequestQuery.h"

#include <algorithm>
#include <cstdint>

namespace W::vorel {

namespace {

const std::string& asString(const std::string& text)
{
    return text;
}

std::string asString(int number)
{
    return std::to_string(number);
}

template <class Element>
void append(std::string& out, std::string_view name, const std::list<Element>& values)
{
    out += name;
    bool first = true;
    for (const Element& value : values) {
        if (!first) {
            out += ',';
        }
        out += asString(value);
        first = false;
    }
}

}  // namespace

RequestQuery::RequestQuery(std::string& url, std::string& body, Destination destination, const ProviderOptions& options,
                           Here here)
    : m_url(url), m_body(body), m_out(destination == Destination::Url ? url : body), m_options(options), m_here(here)
{}

RequestQuery::~RequestQuery()
{
    CCDebug::Print<CWCCDebug>(kTraceLevel, kPlain, "[%s:%d] URL:[%s]\n", m_here.function, m_here.line, m_url.c_str());
    CCDebug::Print<CWCCDebug>(kTraceLevel, kPlain, "[%s:%d] BODY:[%s]\n", m_here.function, m_here.line,
                              m_showsUrlAsBody ? m_url.c_str() : m_body.c_str());
}

RequestQuery& RequestQuery::country()
{
    return text("country=", m_options[Country]);
}

RequestQuery& RequestQuery::countryIfSet()
{
    return stringIfSet("country=", m_options[Country]);
}

RequestQuery& RequestQuery::languageIfSet()
{
    return stringIfSet("&lang=", m_options[Language]);
}

RequestQuery& RequestQuery::headend()
{
    return text("&headend=", m_options[Headend]);
}

RequestQuery& RequestQuery::headendIfSet()
{
    return stringIfSet("&headend=", m_options[Headend]);
}

RequestQuery& RequestQuery::device()
{
    return text("&device=", m_options[Device]);
}

RequestQuery& RequestQuery::deviceIfSet()
{
    return stringIfSet("&device=", m_options[Device]);
}

RequestQuery& RequestQuery::deviceOrN()
{
    if (m_options[Device].empty()) {
        m_url += "&device=N";
    } else {
        device();
    }
    return *this;
}

RequestQuery& RequestQuery::text(std::string_view name, std::string_view value)
{
    m_out += name;
    m_out += value;
    return *this;
}

RequestQuery& RequestQuery::stringIfSet(std::string_view name, std::string_view value)
{
    return value.empty() ? *this : text(name, value);
}

RequestQuery& RequestQuery::number(std::string_view name, int value)
{
    return text(name, std::to_string(value));
}

RequestQuery& RequestQuery::numberIfSet(std::string_view name, int value)
{
    return numberIf(value != 0, name, value);
}

RequestQuery& RequestQuery::numberIf(bool given, std::string_view name, int value)
{
    return given ? number(name, value) : *this;
}

RequestQuery& RequestQuery::list(std::string_view name, const std::list<std::string>& values)
{
    append(m_out, name, values);
    return *this;
}

RequestQuery& RequestQuery::list(std::string_view name, const std::list<int>& values)
{
    append(m_out, name, values);
    return *this;
}

RequestQuery& RequestQuery::listIfSet(std::string_view name, const std::list<int>& values)
{
    return values.empty() ? *this : list(name, values);
}

RequestQuery& RequestQuery::timeIfSet(std::string_view name, unsigned long seconds, const WDateTime& clock)
{
    if (seconds == 0) {
        return *this;
    }
    const auto instant = static_cast<std::int64_t>(std::min<std::uint64_t>(seconds, INT64_MAX));
    WDateTime time = WDateTime::fromTime_t(instant);
    time.setOffset(clock.getOffsetSign(), clock.getOffsetTime());
    time.toUTC();
    return text(name, time.toString());
}

RequestQuery& RequestQuery::showingUrlAsBody()
{
    m_showsUrlAsBody = true;
    return *this;
}

}  // namespace W::vorel
