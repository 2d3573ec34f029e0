#include "Lineup.h"

#include <algorithm>
#include <cctype>
#include <map>
#include <set>

namespace corvaned::lineup {
namespace {

using sqlite::Query;

// A headend is shown with its first city in the operator's order.
constexpr std::string_view kHeadendsAt = R"sql(
    SELECT headend.id, headend.name, operator_id, operator_name, service_type, satellite, city.name AS city, min(city.place)
    FROM headend JOIN headend_city ON headend_id = headend.id JOIN city ON city.code = city_code
    WHERE city.code = ?1 OR city.state_code = ?1
    GROUP BY headend.id ORDER BY headend.place
)sql";

constexpr std::string_view kNeighbours = R"sql(
    SELECT headend.id, headend.name, operator_id, operator_name, service_type, satellite, city.name AS city, min(city.place)
    FROM headend LEFT JOIN headend_city ON headend_id = headend.id LEFT JOIN city ON city.code = city_code
    WHERE ?1 = '' OR headend.id = ?1
          OR city_code IN (SELECT city_code FROM headend_city WHERE headend_id = ?1)
    GROUP BY headend.id ORDER BY headend.place
)sql";

constexpr std::string_view kOwnLineup = R"sql(
    SELECT headend_channel.number, channel.source_id, channel.name
    FROM headend_channel JOIN source USING (listing_id) JOIN channel ON channel.source_id = source.id
    WHERE headend_id = ? ORDER BY CAST(headend_channel.number AS INTEGER), length(headend_channel.number), headend_channel.number
)sql";

std::vector<Place> placesOf(Query& rows)
{
    std::vector<Place> places;
    while (rows.next()) {
        places.push_back({std::string(rows.text("code")), std::string(rows.text("name"))});
    }
    return places;
}

std::vector<Headend> headendsOf(sqlite::Connection& connection, std::string_view sql, std::string_view key)
{
    std::vector<Headend> headends;
    Query rows(connection, sql);
    rows.bind(key);
    while (rows.next()) {
        const auto text = [&rows](const char* column) { return std::string(rows.text(column)); };
        headends.push_back({text("id"),
                            text("name"),
                            text("operator_id"),
                            text("operator_name"),
                            text("service_type"),
                            text("satellite"),
                            text("city"),
                            {}});
        Query devices(connection, "SELECT type, name FROM headend_device WHERE headend_id = ? ORDER BY place");
        devices.bind(headends.back().id);
        while (devices.next()) {
            headends.back().devices.push_back({std::string(devices.text("type")), std::string(devices.text("name"))});
        }
    }
    return headends;
}

// A line-up derived from the guide's line-up, for a headend without one.
std::vector<Station> derivedLineup(sqlite::Connection& connection, std::size_t leaveOut, std::size_t rotate)
{
    std::vector<Station> stations;
    std::vector<std::string> numbers;
    Query rows(connection, "SELECT number, source_id, name FROM channel ORDER BY position");
    for (std::size_t place = 1; rows.next(); ++place) {
        if (leaveOut == 0 || place % leaveOut != 0) {
            stations.push_back({"", rows.number("source_id"), std::string(rows.text("name"))});
            numbers.emplace_back(rows.text("number"));
        }
    }
    // The numbers are in order, so the channel that has the first of them comes first.
    if (!stations.empty()) {
        std::rotate(stations.begin(), stations.end() - static_cast<std::ptrdiff_t>(rotate % stations.size()),
                    stations.end());
    }
    for (std::size_t i = 0; i < stations.size(); ++i) {
        stations[i].number = numbers[i];
    }
    return stations;
}

using Numbers = std::map<std::string, std::string, std::less<>>;  // number to channel

std::string channelAt(const Numbers& numbers, const std::string& number)
{
    const auto found = numbers.find(number);
    return found == numbers.end() ? std::string() : found->second;
}

// Splits each group of headends by the channel that they have at that number.
std::vector<std::vector<std::size_t>> splitBy(const std::vector<std::vector<std::size_t>>& groups,
                                              const std::vector<Numbers>& lineups, const std::string& number)
{
    std::vector<std::vector<std::size_t>> result;
    for (const std::vector<std::size_t>& group : groups) {
        std::map<std::string, std::vector<std::size_t>> parts;
        for (const std::size_t headend : group) {
            parts[channelAt(lineups[headend], number)].push_back(headend);
        }
        for (auto& part : parts) {
            result.push_back(std::move(part.second));
        }
    }
    return result;
}

}  // namespace

std::string plainPostalCode(std::string_view code)
{
    std::string plain;
    for (const unsigned char c : code) {
        if (std::isspace(c) == 0 && c != '-') {
            plain += static_cast<char>(std::toupper(c));
        }
    }
    return plain;
}

std::vector<Place> states(sqlite::Connection& connection)
{
    Query rows(connection, "SELECT code, name FROM state ORDER BY place");
    return placesOf(rows);
}

std::vector<Place> citiesOf(sqlite::Connection& connection, std::string_view state)
{
    Query rows(connection, "SELECT code, name FROM city WHERE state_code = ? ORDER BY place");
    return placesOf(rows.bind(state));
}

std::vector<Headend> headendsAt(sqlite::Connection& connection, std::string_view code)
{
    return headendsOf(connection, kHeadendsAt, code);
}

std::vector<Headend> headendsAtPostalCode(sqlite::Connection& connection, std::string_view code)
{
    const std::string plain = plainPostalCode(code);
    std::string city;
    {
        Query row(connection,
                  "SELECT city_code FROM postal_code WHERE code = substr(?1, 1, length(code)) "
                  "ORDER BY length(code) DESC LIMIT 1");
        if (row.bind(plain).next()) {
            city = row.text(0);
        }
    }
    return city.empty() ? std::vector<Headend>() : headendsAt(connection, city);
}

bool isHeadend(sqlite::Connection& connection, std::string_view id)
{
    return Query(connection, "SELECT 1 FROM headend WHERE id = ?").bind(id).next();
}

std::vector<Station> lineupOf(sqlite::Connection& connection, std::string_view headend)
{
    std::vector<Station> stations;
    {
        Query rows(connection, kOwnLineup);
        rows.bind(headend);
        while (rows.next()) {
            stations.push_back(
                {std::string(rows.text("number")), rows.number("source_id"), std::string(rows.text("name"))});
        }
    }
    Query pattern(connection,
                  "SELECT leave_out, rotate FROM headend WHERE id = ?1 "
                  "AND NOT EXISTS (SELECT 1 FROM headend_channel WHERE headend_id = ?1)");
    if (pattern.bind(headend).next()) {
        stations = derivedLineup(connection, static_cast<std::size_t>(pattern.number("leave_out")),
                                 static_cast<std::size_t>(pattern.number("rotate")));
    }
    return stations;
}

std::vector<Question> quiz(sqlite::Connection& connection, std::string_view headend)
{
    const std::vector<Headend> headends = headendsOf(connection, kNeighbours, headend);
    std::vector<Numbers> lineups;
    std::set<std::string> numbers;
    std::vector<std::vector<std::size_t>> groups(1);
    for (const Headend& one : headends) {
        groups[0].push_back(lineups.size());
        Numbers& own = lineups.emplace_back();
        for (const Station& station : lineupOf(connection, one.id)) {
            own.emplace(station.number, station.name);
            numbers.insert(station.number);
        }
    }
    // Always chooses the number that distinguishes the most headends; of several, the first.
    std::vector<Question> questions;
    while (groups.size() < headends.size()) {
        std::vector<std::vector<std::size_t>> best;
        std::string asked;
        for (const std::string& number : numbers) {
            std::vector<std::vector<std::size_t>> parts = splitBy(groups, lineups, number);
            if (parts.size() > std::max(best.size(), groups.size())) {
                best = std::move(parts);
                asked = number;
            }
        }
        if (best.empty()) {
            break;
        }
        groups = std::move(best);
        Question& question = questions.emplace_back();
        question.number = asked;
        for (std::size_t i = 0; i < headends.size(); ++i) {
            question.answers.push_back({headends[i], channelAt(lineups[i], asked)});
        }
    }
    return questions;
}

}  // namespace corvaned::lineup
