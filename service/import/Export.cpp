// Channels, then programmes in the order in which they were imported; children in the order of XMLTV's document type.
#include "Export.h"

#include <fmt/format.h>
#include <libxml/xmlwriter.h>

#include <algorithm>
#include <ctime>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "Clock.h"
#include "Listing.h"

namespace corvaned {
namespace {

class Writer {
public:
    explicit Writer(std::FILE* file) : m_writer(nullptr, &xmlFreeTextWriter)
    {
        xmlOutputBuffer* const buffer = xmlOutputBufferCreateFile(file, nullptr);
        m_writer.reset(buffer == nullptr ? nullptr : xmlNewTextWriter(buffer));
        if (!m_writer) {
            throw std::bad_alloc();
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

    /// An element with one attribute, left out where its value is empty, and a text.
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

std::string textOf(const sqlite::Query& row, int column)
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

// Numbers that the import gave to channels without one are left out, so that it gives them again: written down, they
// would move their channels forward among the others. Those channels stand behind all that have a number, so they
// begin where the numbers stop rising, or where a name of digits only can have come from nothing but the id.
void exportChannels(sqlite::Connection& connection, Writer& writer)
{
    sqlite::Query rows(connection,
                       "SELECT listing_id, number, name, icon_url, icon_width, icon_height, CAST(number AS INTEGER) "
                       "FROM channel JOIN source ON source.id = source_id ORDER BY position");
    bool numbered = true;
    for (std::int64_t last = 0; rows.next(); last = rows.number(6)) {
        const std::string number = textOf(rows, 1);
        const std::string name = textOf(rows, 2);
        numbered = numbered && rows.number(6) >= last && (!isNumber(name) || name == number);
        writer.begin("channel");
        writer.attribute("id", textOf(rows, 0));
        if (!isNumber(name)) {
            writer.field("display-name", "lang", "", name);
        }
        if (numbered) {
            writer.field("lcn", "system", "", number);
        }
        writer.icon(textOf(rows, 3), rows.number(4), rows.number(5));
        writer.end();
    }
}

std::vector<ListingText> textsOf(sqlite::Connection& connection, const sqlite::Query& airing)
{
    std::vector<ListingText> texts = {{textOf(airing, 14), textOf(airing, 15), textOf(airing, 16), textOf(airing, 17)}};
    if (airing.number(13) > 0) {
        sqlite::Query rows(
            connection, "SELECT lang, title, ep_title, short_desc FROM translation WHERE airing_id = ? ORDER BY lang");
        rows.bind(airing.number(0));
        while (rows.next()) {
            texts.push_back({textOf(rows, 0), textOf(rows, 1), textOf(rows, 2), textOf(rows, 3)});
        }
    }
    return texts;
}

void exportTexts(const std::vector<ListingText>& texts, Writer& writer)
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

void exportGenres(sqlite::Connection& connection, std::int64_t airing, Writer& writer)
{
    sqlite::Query rows(
        connection,
        "SELECT name FROM airing_genre JOIN genre ON genre.id = genre_id WHERE airing_id = ? ORDER BY place");
    rows.bind(airing);
    while (rows.next()) {
        writer.field("category", "lang", "", textOf(rows, 0));
    }
}

void exportCredits(sqlite::Connection& connection, std::int64_t content, Writer& writer)
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
        writer.field(textOf(rows, 0).c_str(), "role", textOf(rows, 1), textOf(rows, 2));
    } while (rows.next());
    writer.end();
}

// "xmltv_ns" counts from 0 and leaves out what is not known.
std::string episodeNumbers(std::int64_t season, std::int64_t episode)
{
    const auto zeroBased = [](std::int64_t number) { return number > 0 ? std::to_string(number - 1) : std::string(); };
    return zeroBased(season) + "." + zeroBased(episode) + ".";
}

void exportProgrammes(sqlite::Connection& connection, Writer& writer)
{
    sqlite::Query rows(connection, R"sql(
        SELECT airing.id, listing_id, start, stop, clump, content_id, season, episode, year, runtime,
               image_url, image_width, image_height, translations, lang, title, ep_title, short_desc,
               (SELECT max(clump) + 1 FROM airing AS beside
                WHERE beside.source_id = airing.source_id AND beside.start = airing.start),
               series_id, rating
        FROM airing JOIN source ON source.id = source_id ORDER BY airing.id
    )sql");
    while (rows.next()) {
        writer.begin("programme");
        writer.attribute("start", xmltvTime(rows.number(2)));
        writer.attribute("stop", xmltvTime(rows.number(3)));
        writer.attribute("channel", textOf(rows, 1));
        if (rows.number(18) > 1) {
            writer.attribute("clumpidx", fmt::format("{}/{}", rows.number(4), rows.number(18)));
        }
        exportTexts(textsOf(connection, rows), writer);
        exportCredits(connection, rows.number(5), writer);
        if (rows.number(8) > 0) {
            writer.field("date", "", "", fmt::format("{:04}", rows.number(8)));
        }
        exportGenres(connection, rows.number(0), writer);
        if (rows.number(9) > 0) {
            writer.field("length", "units", "minutes", std::to_string(rows.number(9)));
        }
        writer.icon(textOf(rows, 10), rows.number(11), rows.number(12));
        if (rows.number(6) + rows.number(7) > 0) {
            writer.field("episode-num", "system", "xmltv_ns", episodeNumbers(rows.number(6), rows.number(7)));
        }
        writer.field("episode-num", "system", kContentIdSystem, std::to_string(rows.number(5)));
        if (rows.number(19) > 0) {
            writer.field("episode-num", "system", kSeriesIdSystem, std::to_string(rows.number(19)));
        }
        if (const std::string rating = textOf(rows, 20); !rating.empty()) {
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
    Writer writer(file);
    writer.begin("tv");
    writer.attribute("generator-info-name", "corvaned");
    exportChannels(connection, writer);
    exportProgrammes(connection, writer);
    writer.end();
}

}  // namespace corvaned
