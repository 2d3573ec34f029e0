#include "HttpMessages.h"

#include <algorithm>

namespace http {
namespace {

// Not std::tolower, which depends on the locale.
constexpr char lower(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

struct Phrase {
    int status;
    std::string_view text;
};

constexpr Phrase kPhrases[] = {
    {100, "Continue"},
    {101, "Switching Protocols"},
    {200, "OK"},
    {201, "Created"},
    {204, "No Content"},
    {206, "Partial Content"},
    {301, "Moved Permanently"},
    {302, "Found"},
    {303, "See Other"},
    {304, "Not Modified"},
    {307, "Temporary Redirect"},
    {308, "Permanent Redirect"},
    {400, "Bad Request"},
    {401, "Unauthorized"},
    {403, "Forbidden"},
    {404, "Not Found"},
    {405, "Method Not Allowed"},
    {406, "Not Acceptable"},
    {408, "Request Timeout"},
    {409, "Conflict"},
    {410, "Gone"},
    {411, "Length Required"},
    {412, "Precondition Failed"},
    {413, "Content Too Large"},
    {414, "URI Too Long"},
    {415, "Unsupported Media Type"},
    {416, "Range Not Satisfiable"},
    {417, "Expectation Failed"},
    {421, "Misdirected Request"},
    {422, "Unprocessable Content"},
    {426, "Upgrade Required"},
    {429, "Too Many Requests"},
    {431, "Request Header HeaderFields Too Large"},
    {500, "Internal Server Error"},
    {501, "Not Implemented"},
    {502, "Bad Gateway"},
    {503, "Service Unavailable"},
    {504, "Gateway Timeout"},
    {505, "HTTP Version Not Supported"},
};

}  // namespace

bool equalIgnoringCase(std::string_view left, std::string_view right)
{
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [](char a, char b) { return lower(a) == lower(b); });
}

std::string_view trimmed(std::string_view value)
{
    value.remove_prefix(std::min(value.find_first_not_of(" \t"), value.size()));
    return value.substr(0, value.find_last_not_of(" \t") + 1);
}

void HeaderFields::set(std::string name, std::string value)
{
    m_fields.erase(std::remove_if(m_fields.begin(), m_fields.end(),
                                  [&](const Field& field) { return equalIgnoringCase(field.first, name); }),
                   m_fields.end());
    add(std::move(name), std::move(value));
}

const std::string& HeaderFields::get(std::string_view name) const
{
    static const std::string s_none;
    const auto found = std::find_if(m_fields.begin(), m_fields.end(),
                                    [name](const Field& field) { return equalIgnoringCase(field.first, name); });
    return found == m_fields.end() ? s_none : found->second;
}

bool HeaderFields::has(std::string_view name) const
{
    return std::any_of(m_fields.begin(), m_fields.end(),
                       [name](const Field& field) { return equalIgnoringCase(field.first, name); });
}

std::string_view reasonPhrase(int status)
{
    const auto* const found = std::find_if(std::begin(kPhrases), std::end(kPhrases),
                                           [status](const Phrase& phrase) { return phrase.status == status; });
    return found == std::end(kPhrases) ? "Unknown" : found->text;
}

}  // namespace http
