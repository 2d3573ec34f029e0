// Channels, then programmes in the order in which they were imported; children in the order of XMLTV's document type.
// What a channel or programme has beyond the guide's fields is kept as lines of XML (ListingDetails.h), which are put
// among the lines made from the fields.
#include "Export.h"

#include <algorithm>
#include <charconv>
#include <ctime>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <libxml/xmlwriter.h>

#include "Clock.h"
#include "Listing.h"
#include "ListingDetails.h"
#include "ListingValues.h"

namespace corvaned {
namespace {

constexpr std::size_t kPiece = 1 << 16;

class PieceWriter {
public:
    explicit PieceWriter(const std::function<void(std::string_view)>& write) : m_write(write) {}

    template <typename... Parts>
    void add(const Parts&... parts)
    {
        (m_piece.append(parts), ...);
        if (m_piece.size() >= kPiece) {
            flush();
        }
    }

    void flush()
    {
        m_write(m_piece);
        m_piece.clear();
    }

private:
    const std::function<void(std::string_view)>& m_write;
    std::string m_piece;
};

// The children of one channel or programme.
class Children {
public:
    /// @param details  must outlive the object
    explicit Children(std::string_view details) : m_details(splitDetails(details)) {}

    /// Adds an element made from a field, unless it says nothing.
    void add(const ListingElement& element) { add(element.name, detailOf(element)); }
    void add(std::string_view name, std::string line)
    {
        if (!line.empty()) {
            m_lines.push_back({placeOf(name), std::move(line)});
        }
    }

    /// Whether a detail begins like this.
    bool hasDetail(std::string_view begin) const
    {
        return std::any_of(m_details.begin(), m_details.end(),
                           [&](std::string_view line) { return line.substr(0, begin.size()) == begin; });
    }

    /// Whether a detail ends like this.
    bool hasDetailEnding(std::string_view end) const
    {
        return std::any_of(m_details.begin(), m_details.end(), [&](std::string_view line) {
            return line.size() >= end.size() && line.substr(line.size() - end.size()) == end;
        });
    }

    /// Details of the record's start tag (RecordReader::beginProgramme).
    /// @param start  that the times among them refer to
    std::string attributes(Instant start) const;

    /// Fields first, then details, by their places.
    void write(PieceWriter& writer);

private:
    struct DetailLine {
        std::size_t place;
        std::string xml;
    };
    std::vector<std::string_view> m_details;
    std::vector<DetailLine> m_lines;
};

std::string stringOf(const sqlite::Query& row, std::string_view column)
{
    return std::string(row.text(column));
}

std::string xmltvTime(Instant instant)
{
    const std::time_t time = instant;
    std::tm parts{};
    gmtime_r(&time, &parts);
    return fmt::format("{:04}{:02}{:02}{:02}{:02}{:02} +0000", parts.tm_year + 1900, parts.tm_mon + 1, parts.tm_mday,
                       parts.tm_hour, parts.tm_min, parts.tm_sec);
}

std::string Children::attributes(Instant start) const
{
    std::string all;
    for (const std::string_view line : m_details) {
        if (line.front() == ' ') {
            all.append(line);
        } else if (line.front() == '@') {
            const std::size_t blank = line.find(' ');
            std::int64_t seconds = 0;
            std::from_chars(line.data() + blank + 1, line.data() + line.size(), seconds);
            all += fmt::format(" {}=\"{}\"", line.substr(1, blank - 1), xmltvTime(start + seconds));
        }
    }
    return all;
}

void Children::write(PieceWriter& writer)
{
    for (const std::string_view line : m_details) {
        if (line.front() == '<') {
            m_lines.push_back({placeOf(nameOfDetail(line)), std::string(line)});
        }
    }
    std::stable_sort(m_lines.begin(), m_lines.end(),
                     [](const DetailLine& left, const DetailLine& right) { return left.place < right.place; });
    for (const DetailLine& line : m_lines) {
        writer.add("    ", line.xml, "\n");
    }
}

std::string attribute(std::string_view name, std::string_view value)
{
    std::string written = fmt::format(" {}=\"", name);
    appendEscaped(written, value);
    return written + '"';
}

ListingElement iconOf(const sqlite::Query& row, const std::string& prefix)
{
    const auto number = [&](const char* column) {
        const std::int64_t value = row.number(prefix + column);
        return value > 0 ? std::to_string(value) : std::string();
    };
    return {"icon",
            {{"src", stringOf(row, prefix + "_url")}, {"width", number("_width")}, {"height", number("_height")}},
            {},
            {}};
}

// Numbers that the import has chosen are left out, so that the next import chooses them again.
void exportChannels(sqlite::Connection& connection, PieceWriter& writer)
{
    sqlite::Query rows(connection,
                       "SELECT listing_id, number, name, icon_url, icon_width, icon_height, details, is_number_listed "
                       "FROM channel JOIN source ON source.id = source_id ORDER BY position");
    while (rows.next()) {
        const std::string details = stringOf(rows, "details");
        Children children(details);
        if (!children.hasDetail("<display-name")) {
            children.add({"display-name", {}, stringOf(rows, "name"), {}});
            if (rows.number("is_number_listed") != 0) {
                children.add({"display-name", {}, stringOf(rows, "number"), {}});
            }
        }
        children.add(iconOf(rows, "icon"));
        writer.add("  <channel", attribute("id", rows.text("listing_id")), ">\n");
        children.write(writer);
        writer.add("  </channel>\n");
    }
}

std::vector<ListingStrings> stringsOf(sqlite::Connection& connection, const sqlite::Query& airing)
{
    std::vector<ListingStrings> strings = {{stringOf(airing, "lang"), stringOf(airing, "title"),
                                            stringOf(airing, "ep_title"), stringOf(airing, "short_desc")}};
    if (airing.number("translations") > 0) {
        sqlite::Query rows(
            connection, "SELECT lang, title, ep_title, short_desc FROM translation WHERE airing_id = ? ORDER BY lang");
        rows.bind(airing.number("id"));
        while (rows.next()) {
            strings.push_back({stringOf(rows, "lang"), stringOf(rows, "title"), stringOf(rows, "ep_title"),
                               stringOf(rows, "short_desc")});
        }
    }
    return strings;
}

void addStrings(const std::vector<ListingStrings>& strings, Children& children)
{
    for (const ListingStrings& each : strings) {
        children.add({"title", {{"lang", each.lang}}, each.title.empty() ? kNoTitle : each.title, {}});
        children.add({"sub-title", {{"lang", each.lang}}, each.episodeTitle, {}});
        children.add({"desc", {{"lang", each.lang}}, each.description, {}});
    }
}

void addGenres(sqlite::Connection& connection, const sqlite::Query& airing, Children& children)
{
    sqlite::Query rows(
        connection,
        "SELECT name FROM airing_genre JOIN genre ON genre.id = genre_id WHERE airing_id = ? ORDER BY place");
    rows.bind(airing.number("id"));
    while (rows.next()) {
        children.add({"category", {{"lang", stringOf(airing, "genre_lang")}}, stringOf(rows, "name"), {}});
    }
}

void addCredits(sqlite::Connection& connection, std::int64_t content, Children& children)
{
    sqlite::Query rows(connection,
                       "SELECT job, role, name, details FROM credit JOIN person ON person.id = person_id "
                       "WHERE content_id = ? ORDER BY place");
    rows.bind(content);
    std::string credits;
    while (rows.next()) {
        const std::string line =
            rows.text("details").empty()
                ? detailOf({stringOf(rows, "job"), {{"role", stringOf(rows, "role")}}, stringOf(rows, "name"), {}})
                : stringOf(rows, "details");
        credits.append("\n      ").append(line);
    }
    if (!credits.empty()) {
        children.add("director", fmt::format("<credits>{}\n    </credits>", credits));
    }
}

// Of a field and details of the same kind, an export has what ListingRecords.cpp counts on.
void addPlainFields(const sqlite::Query& airing, Children& children)
{
    if (airing.number("year") > 0 && !children.hasDetail("<date")) {
        children.add({"date", {}, fmt::format("{:04}", airing.number("year")), {}});
    }
    if (airing.number("runtime") > 0 && !children.hasDetail("<length")) {
        children.add({"length", {{"units", "minutes"}}, std::to_string(airing.number("runtime")), {}});
    }
    ListingElement icon = iconOf(airing, "image");
    std::string inImage = ">";
    appendEscaped(inImage, icon.attribute("src"));
    if (!children.hasDetailEnding(inImage + "</image>")) {
        children.add(icon);
    }
    const std::int64_t season = airing.number("season");
    const std::int64_t episode = airing.number("episode");
    if (season + episode > 0 && !children.hasDetail("<episode-num system=\"xmltv_ns\"")) {
        children.add({"episode-num", {{"system", "xmltv_ns"}}, episodeNumbers(season, episode), {}});
    }
    children.add({"episode-num", {{"system", kContentIdSystem}}, std::to_string(airing.number("content_id")), {}});
    if (airing.number("series_id") > 0) {
        children.add({"episode-num", {{"system", kSeriesIdSystem}}, std::to_string(airing.number("series_id")), {}});
    }
    if (!children.hasDetail("<rating")) {
        children.add({"rating", {}, {}, {{"value", {}, stringOf(airing, "rating"), {}}}});
    }
}

void exportProgrammes(sqlite::Connection& connection, PieceWriter& writer)
{
    sqlite::Query rows(connection, R"sql(
        SELECT airing.id, listing_id, start, stop, clump, content_id, season, episode, year, runtime,
               image_url, image_width, image_height, translations, lang, title, ep_title, short_desc,
               (SELECT max(clump) + 1 FROM airing AS beside
                WHERE beside.source_id = airing.source_id AND beside.start = airing.start) AS clumps,
               series_id, rating, coalesce(genre_lang, '') AS genre_lang, coalesce(details, '') AS details
        FROM airing JOIN source ON source.id = source_id LEFT JOIN airing_details ON airing_id = airing.id
        ORDER BY airing.id
    )sql");
    while (rows.next()) {
        const std::string details = stringOf(rows, "details");
        Children children(details);
        addStrings(stringsOf(connection, rows), children);
        addCredits(connection, rows.number("content_id"), children);
        addGenres(connection, rows, children);
        addPlainFields(rows, children);
        const Instant start = rows.number("start");
        writer.add("  <programme", attribute("start", xmltvTime(start)),
                   attribute("stop", xmltvTime(rows.number("stop"))), children.attributes(start),
                   attribute("channel", rows.text("listing_id")));
        if (rows.number("clumps") > 1) {
            writer.add(attribute("clumpidx", fmt::format("{}/{}", rows.number("clump"), rows.number("clumps"))));
        }
        writer.add(">\n");
        children.write(writer);
        writer.add("  </programme>\n");
    }
}

}  // namespace

void exportListing(sqlite::Connection& connection, const std::function<void(std::string_view piece)>& write)
{
    const sqlite::Transaction view(connection, sqlite::Transaction::Kind::Read);
    PieceWriter writer(write);
    writer.add("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<tv generator-info-name=\"corvaned\">\n");
    exportChannels(connection, writer);
    exportProgrammes(connection, writer);
    writer.add("</tv>\n");
    writer.flush();
}

}  // namespace corvaned
