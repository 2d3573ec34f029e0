// The kinds of rows come first: their columns, and the statement that stores each.
#include "PlacesImport.h"

#include <algorithm>
#include <charconv>
#include <vector>

#include <fmt/format.h>

#include "Lineup.h"
#include "OperatorError.h"

namespace corvaned {
namespace {

enum class Column {
    Unused,
    Key,      // not empty
    Text,     // may be empty
    Number,   // from 0; empty means 0
    Postal,   // as Key, stored in its plain form
    State,    // the code of a state in an earlier row
    City,     // the code of a city in an earlier row
    Headend,  // the id of a headend in an earlier row
};

constexpr std::size_t kMostColumns = 8;

struct ColumnRule {
    const char* name = "";
    Column column = Column::Unused;
};

struct RowKind {
    std::string_view name;
    const char* empty;        // clears the tables that rows of this group fill
    std::string_view insert;  // parameters: the columns, then the number of the line
    ColumnRule columns[kMostColumns];
};

constexpr const char* kEmptyPlaces =
    "DELETE FROM state; DELETE FROM city; DELETE FROM postal_code; DELETE FROM headend; DELETE FROM headend_city; "
    "DELETE FROM headend_device; DELETE FROM headend_channel";
constexpr const char* kEmptyApps = "DELETE FROM app";

constexpr RowKind kRows[] = {
    {"state",
     kEmptyPlaces,
     "INSERT OR IGNORE INTO state (code, name, place) VALUES (?, ?, ?)",
     {{"code", Column::Key}, {"name", Column::Key}}},
    {"city",
     kEmptyPlaces,
     "INSERT OR IGNORE INTO city (code, state_code, name, place) VALUES (?, ?, ?, ?)",
     {{"code", Column::Key}, {"state", Column::State}, {"name", Column::Key}}},
    {"postal",
     kEmptyPlaces,
     "INSERT OR IGNORE INTO postal_code (code, city_code) SELECT ?1, ?2 WHERE ?3 > 0",
     {{"code", Column::Postal}, {"city", Column::City}}},
    {"headend",
     kEmptyPlaces,
     "INSERT OR IGNORE INTO headend (id, name, operator_id, operator_name, service_type, satellite, leave_out, rotate, "
     "place) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?)",
     {{"id", Column::Key},
      {"name", Column::Key},
      {"operator id", Column::Text},
      {"operator name", Column::Text},
      {"service type", Column::Text},
      {"satellite", Column::Text},
      {"leave out", Column::Number},
      {"rotate", Column::Number}}},
    {"serves",
     kEmptyPlaces,
     "INSERT OR IGNORE INTO headend_city (headend_id, city_code) SELECT ?1, ?2 WHERE ?3 > 0",
     {{"headend", Column::Headend}, {"city", Column::City}}},
    {"device",
     kEmptyPlaces,
     "INSERT OR IGNORE INTO headend_device (headend_id, type, name, place) VALUES (?, ?, ?, ?)",
     {{"headend", Column::Headend}, {"type", Column::Key}, {"name", Column::Text}}},
    {"channel",
     kEmptyPlaces,
     "INSERT OR IGNORE INTO headend_channel (headend_id, number, listing_id) SELECT ?1, ?2, ?3 WHERE ?4 > 0",
     {{"headend", Column::Headend}, {"number", Column::Key}, {"listing id", Column::Key}}},
    {"app",
     kEmptyApps,
     "INSERT OR IGNORE INTO app (id, title, category, image_url, image_width, image_height, place) "
     "VALUES (?, ?, ?, ?, ?, ?, ?)",
     {{"id", Column::Key},
      {"title", Column::Key},
      {"category", Column::Text},
      {"image", Column::Text},
      {"width", Column::Number},
      {"height", Column::Number}}},
};

class PlacesReader {
public:
    PlacesReader(sqlite::Connection& connection, const std::string& name) : m_connection(connection), m_name(name) {}

    void readLine(std::string_view line);
    const PlacesReport& report() const { return m_report; }
    bool holdsPlaces() const { return std::find(m_emptied.begin(), m_emptied.end(), kEmptyPlaces) != m_emptied.end(); }

private:
    [[noreturn]] void refuse(const std::string& reason) const
    {
        throw OperatorError(fmt::format("{}:{}: {}; nothing is imported", m_name, m_line, reason));
    }

    std::vector<std::string> split(std::string_view line) const;
    void check(const ColumnRule& rule, std::string& value);
    bool isThere(std::string_view lookup, std::string_view key)
    {
        return sqlite::Query(m_connection, lookup).bind(key).next();
    }

    sqlite::Connection& m_connection;
    const std::string& m_name;
    int m_line = 0;
    std::vector<const char*> m_emptied;
    PlacesReport m_report;
};

// A field that contains a comma is quoted; a quote within it is doubled.
std::vector<std::string> PlacesReader::split(std::string_view line) const
{
    std::vector<std::string> fields(1);
    bool quoted = false;
    for (std::size_t i = 0; i < line.size(); ++i) {
        const char c = line[i];
        if (quoted && c == '"' && i + 1 < line.size() && line[i + 1] == '"') {
            fields.back() += line[++i];
        } else if (c == '"' && (quoted || fields.back().empty())) {
            quoted = !quoted;
        } else if (c == ',' && !quoted) {
            fields.emplace_back();
        } else {
            fields.back() += c;
        }
    }
    if (quoted) {
        refuse("a quoted field does not end on its line");
    }
    return fields;
}

void PlacesReader::check(const ColumnRule& rule, std::string& value)
{
    if (rule.column == Column::Postal) {
        value = lineup::plainPostalCode(value);
    }
    if (rule.column == Column::Number) {
        int number = 0;
        const char* const end = value.data() + value.size();
        const std::from_chars_result read = std::from_chars(value.data(), end, number);
        if (value.empty()) {
            value = "0";
        } else if (read.ec != std::errc() || read.ptr != end || number < 0) {
            refuse(fmt::format("{} is '{:.60}'; it must be a number from 0 on", rule.name, value));
        }
        return;
    }
    if (value.empty() && rule.column != Column::Text) {
        refuse(fmt::format("{} is empty", rule.name));
    }
    const bool known = rule.column == Column::State     ? isThere("SELECT 1 FROM state WHERE code = ?", value)
                       : rule.column == Column::City    ? isThere("SELECT 1 FROM city WHERE code = ?", value)
                       : rule.column == Column::Headend ? isThere("SELECT 1 FROM headend WHERE id = ?", value)
                                                        : true;
    if (!known) {
        refuse(fmt::format("no row above names a {} '{:.60}'", rule.name, value));
    }
}

void PlacesReader::readLine(std::string_view line)
{
    ++m_line;
    if (!line.empty() && line.back() == '\r') {
        line.remove_suffix(1);
    }
    if (line.empty() || line.front() == '#') {
        return;
    }
    std::vector<std::string> fields = split(line);
    const auto* const kind =
        std::find_if(std::begin(kRows), std::end(kRows), [&](const RowKind& row) { return row.name == fields[0]; });
    if (kind == std::end(kRows)) {
        std::string known;
        for (const RowKind& row : kRows) {
            known.append(known.empty() ? "" : ", ").append(row.name);
        }
        refuse(fmt::format("'{:.60}' is not a kind of row; the kinds are {}", fields[0], known));
    }
    std::string names;
    std::size_t columns = 0;
    while (columns < kMostColumns && kind->columns[columns].column != Column::Unused) {
        names.append(",").append(kind->columns[columns++].name);
    }
    if (fields.size() != columns + 1) {
        refuse(fmt::format("a row of this kind has {} fields, this one {}: {}{}", columns + 1, fields.size(),
                           kind->name, names));
    }
    if (std::find(m_emptied.begin(), m_emptied.end(), kind->empty) == m_emptied.end()) {
        m_emptied.push_back(kind->empty);
        m_connection.execute(kind->empty);
    }
    for (std::size_t i = 0; i < columns; ++i) {
        check(kind->columns[i], fields[i + 1]);
    }
    const std::string place = std::to_string(m_line);
    sqlite::Query insert(m_connection, kind->insert);
    for (std::size_t i = 0; i < columns; ++i) {
        insert.bindText(static_cast<int>(i) + 1, fields[i + 1]);
    }
    insert.bindText(static_cast<int>(columns) + 1, place);
    insert.run();
    if (m_connection.changes() == 0) {
        refuse(fmt::format("duplicate row: {},{} is in a row above; remove one of the two", kind->name, fields[1]));
    }
    m_report.cities += kind->name == "city" ? 1 : 0;
    m_report.postalCodes += kind->name == "postal" ? 1 : 0;
    m_report.headends += kind->name == "headend" ? 1 : 0;
    m_report.apps += kind->name == "app" ? 1 : 0;
}

}  // namespace

PlacesReport importPlaces(sqlite::Connection& connection, std::string_view csv, const std::string& name)
{
    constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf";
    if (csv.substr(0, kByteOrderMark.size()) == kByteOrderMark) {
        csv.remove_prefix(kByteOrderMark.size());
    }
    PlacesReader reader(connection, name);
    while (!csv.empty()) {
        const std::string_view line = csv.substr(0, csv.find('\n'));
        reader.readLine(line);
        csv.remove_prefix(std::min(line.size() + 1, csv.size()));
    }
    const PlacesReport& report = reader.report();
    if (report.headends == 0 && (report.apps == 0 || reader.holdsPlaces())) {
        throw OperatorError(fmt::format("{} has no headend row; nothing is imported", name));
    }
    return report;
}

void addSamplePlaces(sqlite::Connection& connection)
{
    if (!sqlite::Query(connection, "SELECT 1 FROM headend LIMIT 1").next()) {
        importPlaces(connection, samplePlaces(), "the places built in");
    }
}

}  // namespace corvaned
