// Channels, then programmes in the order in which they were imported; children in the order of XMLTV's document type.
#include "Export.h"

#include <algorithm>
#include <ctime>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <fmt/format.h>
#include <libxml/xmlwriter.h>

#include "Clock.h"
#include "Listing.h"

namespace corvaned {
namespace {

class ListingWriter {
public:
    explicit ListingWriter(std::FILE* file) : m_writer(nullptr, &xmlFreeTextWriter)
    {
        xmlOutputBuffer* const buffer = xmlOutputBufferCreateFile(file, nullptr);
        m_writer.reset(buffer == nullptr ? nullptr : xmlNewTextWriter(buffer));
        if (!m_writer) {
            throw std::runtime_error("libxml2 cannot write the listing");
        }
        xmlTextWriterSetIndent(m_writer.get(), 1);
        xmlTextWriterStartDocument(m_writer.get(), nullptr, "UTF-8", nullptr);
    }

    void begin(const char* element) { xmlTextWriterStartElement(m_writer.get(), xml(element)); }
    void end() { xmlTextWriterEndElement(m_writer.get()); }
    void attribute(const char* name, const std::string& value)
    {
        xmlTextWriterWriteAttribute(m_writer.get(), xml(name), xml(value.c_str()));
    }
    void text(const std::string& text) { xmlTextWriterWriteString(m_writer.get(), xml(text.c_str())); }

    /// An element with one attribute, left out if its value is empty, and content.
    void field(const char* element, const char* name, const std::string& value, const std::string& content)
    {
        begin(element);
        if (!value.empty()) {
            attribute(name, value);
        }
        text(content);
        end();
    }

    void icon(const std::string& url, std::int64_t width, std::int64_t height)
    {
        if (url.empty()) {
            return;
        }
        begin("icon");
        attribute("src", url);
        if (width > 0) {
            attribute("width", std::to_string(width));
        }
        if (height > 0) {
            attribute("height", std::to_string(height));
        }
        end();
    }

private:
    static const xmlChar* xml(const char* text) { return reinterpret_cast<const xmlChar*>(text); }

    std::unique_ptr<xmlTextWriter, void (*)(xmlTextWriter*)> m_writer;
};

std::string textOf(const sqlite::Query& row, std::string_view column)
{
    return std::string(row.text(column));
}

bool isNumber(const std::string& text)
{
    return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

std::string xmltvTime(Instant instant)
{
    const std::time_t time = instant;
    std::tm parts{};
    gmtime_r(&time, &parts);
    return fmt::format("{:04}{:02}{:02}{:02}{:02}{:02} +0000", parts.tm_year + 1900, parts.tm_mon + 1, parts.tm_mday,
                       parts.tm_hour, parts.tm_min, parts.tm_sec);
}

// Numbers that the import has given to channels without one are left out, so that the next import gives them again;
// written, they would move their channels forward. Those channels come after all that have a number of the listing, so
// they begin where the numbers stop rising, or with a name of digits, which is then the channel's id.
void exportChannels(sqlite::Connection& connection, ListingWriter& writer)
{
    sqlite::Query rows(
        connection,
        "SELECT listing_id, number, name, icon_url, icon_width, icon_height, CAST(number AS INTEGER) AS place "
        "FROM channel JOIN source ON source.id = source_id ORDER BY position");
    bool numbered = true;
    for (std::int64_t last = 0; rows.next(); last = rows.number("place")) {
        const std::string number = textOf(rows, "number");
        const std::string name = textOf(rows, "name");
        numbered = numbered && rows.number("place") >= last && (!isNumber(name) || name == number);
        writer.begin("channel");
        writer.attribute("id", textOf(rows, "listing_id"));
        if (!isNumber(name)) {
            writer.field("display-name", "lang", "", name);
        }
        if (numbered) {
            writer.field("lcn", "system", "", number);
        }
        writer.icon(textOf(rows, "icon_url"), rows.number("icon_width"), rows.number("icon_height"));
        writer.end();
    }
}

std::vector<ListingText> textsOf(sqlite::Connection& connection, const sqlite::Query& airing)
{
    std::vector<ListingText> texts = {
        {textOf(airing, "lang"), textOf(airing, "title"), textOf(airing, "ep_title"), textOf(airing, "short_desc")}};
    if (airing.number("translations") > 0) {
        sqlite::Query rows(
            connection, "SELECT lang, title, ep_title, short_desc FROM translation WHERE airing_id = ? ORDER BY lang");
        rows.bind(airing.number("id"));
        while (rows.next()) {
            texts.push_back(
                {textOf(rows, "lang"), textOf(rows, "title"), textOf(rows, "ep_title"), textOf(rows, "short_desc")});
        }
    }
    return texts;
}

void exportTexts(const std::vector<ListingText>& texts, ListingWriter& writer)
{
    for (const ListingText& text : texts) {
        writer.field("title", "lang", text.lang, text.title);
    }
    for (const ListingText& text : texts) {
        if (!text.episodeTitle.empty()) {
            writer.field("sub-title", "lang", text.lang, text.episodeTitle);
        }
    }
    for (const ListingText& text : texts) {
        if (!text.description.empty()) {
            writer.field("desc", "lang", text.lang, text.description);
        }
    }
}

void exportGenres(sqlite::Connection& connection, std::int64_t airing, ListingWriter& writer)
{
    sqlite::Query rows(
        connection,
        "SELECT name FROM airing_genre JOIN genre ON genre.id = genre_id WHERE airing_id = ? ORDER BY place");
    rows.bind(airing);
    while (rows.next()) {
        writer.field("category", "lang", "", textOf(rows, "name"));
    }
}

void exportCredits(sqlite::Connection& connection, std::int64_t content, ListingWriter& writer)
{
    sqlite::Query rows(connection,
                       "SELECT job, role, name FROM credit JOIN person ON person.id = person_id WHERE content_id = ? "
                       "ORDER BY place");
    rows.bind(content);
    if (!rows.next()) {
        return;
    }
    writer.begin("credits");
    do {
        writer.field(textOf(rows, "job").c_str(), "role", textOf(rows, "role"), textOf(rows, "name"));
    } while (rows.next());
    writer.end();
}

// "xmltv_ns" counts from 0 and leaves out what is not known.
std::string episodeNumbers(std::int64_t season, std::int64_t episode)
{
    const auto zeroBased = [](std::int64_t number) { return number > 0 ? std::to_string(number - 1) : std::string(); };
    return zeroBased(season) + "." + zeroBased(episode) + ".";
}

void exportProgrammes(sqlite::Connection& connection, ListingWriter& writer)
{
    sqlite::Query rows(connection, R"sql(
        SELECT airing.id, listing_id, start, stop, clump, content_id, season, episode, year, runtime,
               image_url, image_width, image_height, translations, lang, title, ep_title, short_desc,
               (SELECT max(clump) + 1 FROM airing AS beside
                WHERE beside.source_id = airing.source_id AND beside.start = airing.start) AS clumps,
               series_id, rating
        FROM airing JOIN source ON source.id = source_id ORDER BY airing.id
    )sql");
    while (rows.next()) {
        writer.begin("programme");
        writer.attribute("start", xmltvTime(rows.number("start")));
        writer.attribute("stop", xmltvTime(rows.number("stop")));
        writer.attribute("channel", textOf(rows, "listing_id"));
        if (rows.number("clumps") > 1) {
            writer.attribute("clumpidx", fmt::format("{}/{}", rows.number("clump"), rows.number("clumps")));
        }
        exportTexts(textsOf(connection, rows), writer);
        exportCredits(connection, rows.number("content_id"), writer);
        if (rows.number("year") > 0) {
            writer.field("date", "", "", fmt::format("{:04}", rows.number("year")));
        }
        exportGenres(connection, rows.number("id"), writer);
        if (rows.number("runtime") > 0) {
            writer.field("length", "units", "minutes", std::to_string(rows.number("runtime")));
        }
        writer.icon(textOf(rows, "image_url"), rows.number("image_width"), rows.number("image_height"));
        if (rows.number("season") + rows.number("episode") > 0) {
            writer.field("episode-num", "system", "xmltv_ns",
                         episodeNumbers(rows.number("season"), rows.number("episode")));
        }
        writer.field("episode-num", "system", kContentIdSystem, std::to_string(rows.number("content_id")));
        if (rows.number("series_id") > 0) {
            writer.field("episode-num", "system", kSeriesIdSystem, std::to_string(rows.number("series_id")));
        }
        if (const std::string rating = textOf(rows, "rating"); !rating.empty()) {
            writer.begin("rating");
            writer.field("value", "", "", rating);
            writer.end();
        }
        writer.end();
    }
}

}  // namespace

void exportListing(sqlite::Connection& connection, std::FILE* file)
{
    const sqlite::Transaction view(connection, sqlite::Transaction::Kind::Read);
    ListingWriter writer(file);
    writer.begin("tv");
    writer.attribute("generator-info-name", "corvaned");
    exportChannels(connection, writer);
    exportProgrammes(connection, writer);
    writer.end();
}

}  // namespace corvaned
