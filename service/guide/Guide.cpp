#include "Guide.h"

#include <algorithm>
#include <cctype>

namespace corvaned::guide {
namespace {

constexpr std::string_view kChannels =
    "SELECT source_id, number, name, icon_url, icon_width, icon_height FROM channel ORDER BY position";
constexpr std::string_view kOneChannel =
    "SELECT source_id, number, name, icon_url, icon_width, icon_height FROM channel WHERE source_id = ?";

std::string_view primaryTag(std::string_view lang)
{
    return lang.substr(0, lang.find_first_of("-_"));
}

bool sameTag(std::string_view left, std::string_view right)
{
    return std::equal(left.begin(), left.end(), right.begin(), right.end(), [](unsigned char a, unsigned char b) {
        return (a == '_' ? '-' : std::tolower(a)) == (b == '_' ? '-' : std::tolower(b));
    });
}

}  // namespace

std::string digest(sqlite::Connection& connection)
{
    sqlite::Query fact(connection, "SELECT value FROM guide WHERE name = 'digest'");
    return fact.next() ? std::string(fact.text(0)) : std::string();
}

std::string lineupChecksum(sqlite::Connection& connection)
{
    sqlite::Query fact(connection, "SELECT value FROM guide WHERE name = 'lineup'");
    return fact.next() ? std::string(fact.text(0)) : std::string();
}

void forEachChannel(sqlite::Connection& connection, const std::function<void(const Channel&)>& visit)
{
    sqlite::Query rows(connection, kChannels);
    while (rows.next()) {
        visit(channelOf(rows));
    }
}

bool findChannel(sqlite::Connection& connection, std::int64_t source, const std::function<void(const Channel&)>& visit)
{
    sqlite::Query row(connection, kOneChannel);
    if (!row.bind(source).next()) {
        return false;
    }
    visit(channelOf(row));
    return true;
}

Channel channelOf(const sqlite::Query& row)
{
    return {row.number("source_id"),
            row.text("number"),
            row.text("name"),
            {row.text("icon_url"), row.number("icon_width"), row.number("icon_height")}};
}

int languageMatch(std::string_view offered, std::string_view wanted)
{
    if (sameTag(offered, wanted)) {
        return kSameLanguage;
    }
    return !wanted.empty() && sameTag(primaryTag(offered), primaryTag(wanted)) ? 1 : 0;
}

}  // namespace corvaned::guide
