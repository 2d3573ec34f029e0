// Listings are first read into temporary tables, which are on disk, so that memory does not grow with the listing. They
// end with the connection.
#include "GuideImport.h"

#include <algorithm>
#include <optional>
#include <set>
#include <string_view>
#include <unordered_map>
#include <utility>

#include <fmt/format.h>

#include "Digest.h"
#include "Listing.h"
#include "OperatorError.h"

namespace corvaned {
namespace {

constexpr std::int64_t kDay = 86400;
constexpr std::int64_t kWeek = 7 * kDay;
constexpr int kWarningsPerListing = 20;
constexpr std::size_t kMostChannels = 100'000;  // of all listings; their ids are in memory
constexpr std::size_t kMostGenres = 20'000;     // likewise
constexpr int kProgressStep = 1000;

constexpr const char* kStaging = R"sql(
    PRAGMA temp_store = FILE;
    CREATE TEMP TABLE staged_channel (
        id INTEGER PRIMARY KEY, listing_id TEXT NOT NULL UNIQUE, number TEXT NOT NULL, name TEXT NOT NULL,
        icon_url TEXT NOT NULL, icon_width INTEGER NOT NULL, icon_height INTEGER NOT NULL, source_id INTEGER
    );
    CREATE TEMP TABLE staged_airing (
        id INTEGER PRIMARY KEY, channel INTEGER NOT NULL, start INTEGER NOT NULL, stop INTEGER, clump INTEGER NOT NULL,
        content_id INTEGER NOT NULL, type TEXT NOT NULL, season INTEGER NOT NULL, episode INTEGER NOT NULL,
        year INTEGER NOT NULL, runtime INTEGER NOT NULL, image_url TEXT NOT NULL, image_width INTEGER NOT NULL,
        image_height INTEGER NOT NULL, translations INTEGER NOT NULL, lang TEXT NOT NULL, title TEXT NOT NULL,
        ep_title TEXT NOT NULL, short_desc TEXT NOT NULL, series_id INTEGER NOT NULL, rating TEXT NOT NULL,
        UNIQUE (channel, start, content_id)
    );
    CREATE TEMP TABLE staged_translation (
        airing INTEGER NOT NULL, lang TEXT NOT NULL, title TEXT NOT NULL, ep_title TEXT NOT NULL,
        short_desc TEXT NOT NULL, PRIMARY KEY (airing, lang)
    ) WITHOUT ROWID;
    CREATE TEMP TABLE staged_credit (
        content_id INTEGER NOT NULL, place INTEGER NOT NULL, name TEXT NOT NULL, job TEXT NOT NULL, role TEXT NOT NULL,
        PRIMARY KEY (content_id, place)
    ) WITHOUT ROWID;
    CREATE TEMP TABLE staged_genre (id INTEGER PRIMARY KEY, name TEXT NOT NULL, genre_id INTEGER);
    CREATE TEMP TABLE staged_airing_genre (
        airing INTEGER NOT NULL, place INTEGER NOT NULL, genre INTEGER NOT NULL, PRIMARY KEY (airing, place)
    ) WITHOUT ROWID;
)sql";

// A programme without an end lasts until the next one of its channel. If that one begins more than six hours later, the
// listing has a gap, and the programme gets half an hour.
constexpr const char* kMissingStops = R"sql(
    UPDATE staged_airing SET stop = coalesce(
        (SELECT min(later.start) FROM staged_airing AS later
         WHERE later.channel = staged_airing.channel AND later.start > staged_airing.start
               AND later.start <= staged_airing.start + 6 * 3600),
        start + 1800)
    WHERE stop IS NULL
)sql";

constexpr const char* kEmptyGuide = R"sql(
    DELETE FROM channel;
    DELETE FROM airing;
    DELETE FROM translation;
    DELETE FROM airing_genre;
    DELETE FROM credit;
    INSERT OR IGNORE INTO source (listing_id) SELECT listing_id FROM staged_channel ORDER BY id;
    UPDATE staged_channel SET source_id = (SELECT id FROM source WHERE listing_id = staged_channel.listing_id);
    INSERT OR IGNORE INTO genre (name) SELECT name FROM staged_genre ORDER BY id;
    INSERT OR IGNORE INTO person (name) SELECT name FROM staged_credit ORDER BY content_id, place;
    INSERT INTO credit
        SELECT content_id, place, person.id, job, role FROM staged_credit JOIN person ON person.name = staged_credit.name;
    UPDATE staged_genre SET genre_id = (SELECT genre.id FROM genre WHERE genre.name = staged_genre.name);
)sql";

// Parameters of the copies: the number added to the ids of airings, and the seconds added to times.
constexpr std::string_view kCopyAirings = R"sql(
    INSERT INTO airing
    SELECT staged.id + ?1, source_id, start + ?2, stop + ?2, clump, content_id, type, season, episode, year, runtime,
           image_url, image_width, image_height, translations, lang, title, ep_title, short_desc, series_id, rating
    FROM staged_airing AS staged JOIN staged_channel ON staged_channel.id = channel
    ORDER BY staged.id
)sql";
constexpr std::string_view kCopyTranslations =
    "INSERT INTO translation SELECT airing + ?1, lang, title, ep_title, short_desc FROM staged_translation";
constexpr std::string_view kCopyGenres =
    "INSERT INTO airing_genre SELECT airing + ?1, place, genre_id FROM staged_airing_genre "
    "JOIN staged_genre ON staged_genre.id = genre";

// One row per content, however many airings it has. In the order of the row ids, because any other order rewrites the
// index again and again.
constexpr const char* kFillSearch = R"sql(
    INSERT INTO search (search) VALUES ('delete-all');
    INSERT INTO search (rowid, title, ep_title, short_desc, people)
    SELECT content_id,
           title || CASE translations WHEN 0 THEN '' ELSE
               (SELECT ' ' || group_concat(title, ' ') FROM translation WHERE airing_id = first.id) END,
           ep_title || CASE translations WHEN 0 THEN '' ELSE
               (SELECT ' ' || group_concat(ep_title, ' ') FROM translation WHERE airing_id = first.id) END,
           short_desc || CASE translations WHEN 0 THEN '' ELSE
               (SELECT ' ' || group_concat(short_desc, ' ') FROM translation WHERE airing_id = first.id) END,
           (SELECT group_concat(name, ' ') FROM credit JOIN person ON person.id = person_id
            WHERE credit.content_id = first.content_id)
    FROM (SELECT min(id) AS id, content_id, translations, title, ep_title, short_desc
          FROM airing GROUP BY content_id) AS first
    ORDER BY content_id;
)sql";

// Independent of the machine's byte order: the digest's first eight bytes, lowest first.
std::int64_t contentId(const std::string& key)
{
    const Sha1 digest = sha1(key);
    std::uint64_t id = 0;
    for (std::size_t i = 0; i < sizeof id; ++i) {
        id |= std::uint64_t{digest[i]} << (8 * i);
    }
    return static_cast<std::int64_t>(id >> 1);  // positive, so that it has no sign in a URL
}

// The ids of a programme in the guide.
struct ProgrammeIds {
    std::int64_t content;
    std::int64_t series;  // 0: of none
};

ProgrammeIds idsOf(const ListingProgramme& programme)
{
    ProgrammeIds ids{programme.content, programme.series};
    if (ids.content <= 0) {
        ids.content = contentId(programme.key);
    }
    if (ids.series <= 0) {
        ids.series = programme.seriesKey.empty() ? 0 : contentId("series\n" + programme.seriesKey);
    }
    return ids;
}

// The time that one day of the staged guide covers.
struct StagedSpan {
    Instant first = 0;
    Instant last = 0;
};

class Staging : public ListingSink {
public:
    Staging(sqlite::Connection& connection, const ImportOptions& options) : m_connection(connection), m_options(options)
    {
        connection.execute(kStaging);
        m_staging.emplace(connection, sqlite::Transaction::Kind::Read);
    }

    void read(const ListingInput& input)
    {
        m_listing = {};
        m_listing.name = input.name;
        const std::unique_ptr<ByteSource> source = input.open();
        readListing(*source, input.name, *this);
        if (m_listing.skipped > kWarningsPerListing) {
            m_options.warn(fmt::format("{}: {} more like these", input.name, m_listing.skipped - kWarningsPerListing));
        }
        m_report.listings.push_back(m_listing);
    }

    /// Ends the reading and makes the staged rows the guide.
    ImportReport apply();

    void addChannel(const ListingChannel& channel) override;
    void addProgramme(const ListingProgramme& programme) override;
    void skip(int line, const std::string& reason) override;

private:
    struct KnownChannel {
        std::int64_t id;
        bool declared;
    };

    void checkCount(std::size_t count, std::size_t most, const char* what) const;
    std::int64_t channelId(const std::string& listingId);
    std::int64_t genreId(const std::string& name);
    bool stageAiring(const ListingProgramme& programme, const ProgrammeIds& ids, std::int64_t airing);
    void stageTranslations(const ListingProgramme& programme, std::int64_t airing);
    void stageGenres(const ListingProgramme& programme, std::int64_t airing);
    void stageCredits(const ListingProgramme& programme, std::int64_t content);
    void digestProgramme(const ListingProgramme& programme, const ProgrammeIds& ids);
    StagedSpan spanOfStaged();
    std::string lineup();
    void replaceGuide(const std::vector<std::int64_t>& shifts);
    void setFact(std::string_view name, std::string_view value);
    void setFact(std::string_view name, std::int64_t value);

    sqlite::Connection& m_connection;
    const ImportOptions& m_options;
    ListingReport m_listing;
    ImportReport m_report;
    std::int64_t m_stagedAirings = 0;
    Digest m_digest;
    std::optional<sqlite::Transaction> m_staging;  // while listings are read
    // Bounded: these grow with the channels and genres, not with the programmes.
    std::unordered_map<std::string, KnownChannel> m_channels;
    std::unordered_map<std::string, std::int64_t> m_genres;
};

void Staging::checkCount(std::size_t count, std::size_t most, const char* what) const
{
    if (count > most) {
        throw OperatorError(
            fmt::format("{}: more than {} {}; import a part of the listing", m_listing.name, most, what));
    }
}

std::int64_t Staging::channelId(const std::string& listingId)
{
    const auto [known, added] =
        m_channels.try_emplace(listingId, KnownChannel{static_cast<std::int64_t>(m_channels.size()) + 1, false});
    if (added) {
        checkCount(m_channels.size(), kMostChannels, "channels");
        sqlite::Query(m_connection, "INSERT INTO staged_channel VALUES (?, ?, '', ?, '', 0, 0, NULL)")
            .bind(known->second.id, listingId, listingId)
            .run();
    }
    return known->second.id;
}

std::int64_t Staging::genreId(const std::string& name)
{
    const auto [known, added] = m_genres.try_emplace(name, static_cast<std::int64_t>(m_genres.size()) + 1);
    if (added) {
        checkCount(m_genres.size(), kMostGenres, "genres");
        sqlite::Query(m_connection, "INSERT INTO staged_genre VALUES (?, ?, NULL)").bind(known->second, name).run();
    }
    return known->second;
}

void Staging::addChannel(const ListingChannel& channel)
{
    ++m_listing.channels;
    const std::int64_t id = channelId(channel.id);
    bool& declared = m_channels.at(channel.id).declared;
    if (std::exchange(declared, true)) {
        return;
    }
    sqlite::Query(m_connection,
                  "UPDATE staged_channel SET number = ?, name = ?, icon_url = ?, icon_width = ?, icon_height = ? "
                  "WHERE id = ?")
        .bind(channel.number, channel.name, channel.icon.url, std::int64_t{channel.icon.width},
              std::int64_t{channel.icon.height}, id)
        .run();
    m_digest.add("channel");
    for (const std::string& text : {channel.id, channel.number, channel.name, channel.icon.url}) {
        m_digest.add(text);
    }
    m_digest.add(channel.icon.width);
    m_digest.add(channel.icon.height);
}

void Staging::addProgramme(const ListingProgramme& programme)
{
    if (++m_listing.programmes % kProgressStep == 0) {
        m_options.progress(m_listing.name, m_listing.programmes);
    }
    const ProgrammeIds ids = idsOf(programme);
    const std::int64_t airing = m_stagedAirings + 1;
    if (!stageAiring(programme, ids, airing)) {
        ++m_listing.repeated;
        return;
    }
    m_stagedAirings = airing;
    digestProgramme(programme, ids);
    stageTranslations(programme, airing);
    stageGenres(programme, airing);
    stageCredits(programme, ids.content);
}

// Returns false if the listings have this airing already.
bool Staging::stageAiring(const ListingProgramme& programme, const ProgrammeIds& ids, std::int64_t airing)
{
    constexpr int kStopParameter = 4;
    const ListingText& first = programme.texts.front();
    const auto translations = static_cast<std::int64_t>(programme.texts.size() - 1);
    sqlite::Query insert(
        m_connection,
        "INSERT OR IGNORE INTO staged_airing (id, channel, start, stop, clump, content_id, type, season, "
        "episode, year, runtime, image_url, image_width, image_height, translations, lang, title, "
        "ep_title, short_desc, series_id, rating) "
        "VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)");
    insert.bind(airing, channelId(programme.channel), programme.start, programme.stop.value_or(0),
                std::int64_t{programme.clump}, ids.content, programme.type, std::int64_t{programme.season},
                std::int64_t{programme.episode}, std::int64_t{programme.year}, std::int64_t{programme.runtime},
                programme.image.url, std::int64_t{programme.image.width}, std::int64_t{programme.image.height},
                translations, first.lang, first.title, first.episodeTitle, first.description, ids.series,
                programme.rating);
    if (!programme.stop) {
        insert.bindNull(kStopParameter);
    }
    insert.run();
    return m_connection.changes() > 0;
}

void Staging::stageTranslations(const ListingProgramme& programme, std::int64_t airing)
{
    for (std::size_t i = 1; i < programme.texts.size(); ++i) {
        const ListingText& text = programme.texts[i];
        sqlite::Query(m_connection, "INSERT INTO staged_translation VALUES (?, ?, ?, ?, ?)")
            .bind(airing, text.lang, text.title, text.episodeTitle, text.description)
            .run();
    }
}

void Staging::stageGenres(const ListingProgramme& programme, std::int64_t airing)
{
    std::int64_t place = 0;
    for (const std::string& genre : programme.genres) {
        sqlite::Query(m_connection, "INSERT INTO staged_airing_genre VALUES (?, ?, ?)")
            .bind(airing, place++, genreId(genre))
            .run();
    }
}

// The first airing with credits decides for all airings of its content.
void Staging::stageCredits(const ListingProgramme& programme, std::int64_t content)
{
    if (programme.credits.empty() ||
        sqlite::Query(m_connection, "SELECT 1 FROM staged_credit WHERE content_id = ? LIMIT 1").bind(content).next()) {
        return;
    }
    std::int64_t place = 0;
    for (const ListingCredit& credit : programme.credits) {
        sqlite::Query(m_connection, "INSERT INTO staged_credit VALUES (?, ?, ?, ?, ?)")
            .bind(content, place++, credit.name, credit.job, credit.role)
            .run();
    }
}

// The order of the fields matters: a database compares this digest with that of its next import.
void Staging::digestProgramme(const ListingProgramme& programme, const ProgrammeIds& ids)
{
    m_digest.add("programme");
    m_digest.add(programme.channel);
    m_digest.add(programme.start);
    m_digest.add(programme.stop.value_or(-1));
    m_digest.add(programme.type);
    m_digest.add(programme.image.url);
    m_digest.add(ids.content);
    m_digest.add(ids.series);
    m_digest.add(programme.rating);
    for (const int number : {programme.season, programme.episode, programme.year, programme.runtime,
                             programme.image.width, programme.image.height, programme.clump}) {
        m_digest.add(number);
    }
    for (const ListingText& text : programme.texts) {
        for (const std::string* const part : {&text.lang, &text.title, &text.episodeTitle, &text.description}) {
            m_digest.add(*part);
        }
    }
    for (const std::string& genre : programme.genres) {
        m_digest.add(genre);
    }
    for (const ListingCredit& credit : programme.credits) {
        for (const std::string* const part : {&credit.job, &credit.name, &credit.role}) {
            m_digest.add(*part);
        }
    }
}

void Staging::skip(int line, const std::string& reason)
{
    if (++m_listing.skipped <= kWarningsPerListing) {
        m_options.warn(fmt::format("{}:{}: skipped: {}", m_listing.name, line, reason));
    }
}

ImportReport Staging::apply()
{
    m_report.channels = static_cast<std::int64_t>(m_channels.size());
    const bool allBroken =
        std::all_of(m_report.listings.begin(), m_report.listings.end(),
                    [](const ListingReport& listing) { return listing.programmes == 0 && listing.skipped > 0; });
    if (allBroken) {
        throw OperatorError("no programme in the listings can be used; the guide is unchanged");
    }
    if (m_report.channels == 0) {
        throw OperatorError("the listings contain neither channels nor programmes; the guide is unchanged");
    }

    m_connection.execute(kMissingStops);
    m_staging->commit();
    std::vector<std::int64_t> shifts = {0};
    if (m_stagedAirings > 0) {
        const StagedSpan span = spanOfStaged();
        shifts = m_options.shifts(span.first, span.last);
        m_report.first = span.first + shifts.front();
        m_report.last = span.last + shifts.back();
        m_report.shift = shifts.front();
        m_report.airings = m_stagedAirings * static_cast<std::int64_t>(shifts.size());
    }
    for (const std::int64_t shift : shifts) {
        m_digest.add(shift);
    }
    replaceGuide(shifts);
    return m_report;
}

StagedSpan Staging::spanOfStaged()
{
    sqlite::Query span(m_connection, "SELECT min(start) AS first, max(stop) AS last FROM staged_airing");
    span.next();
    return {span.number("first"), span.number("last")};
}

void Staging::replaceGuide(const std::vector<std::int64_t>& shifts)
{
    const std::string digest = m_digest.hex();
    sqlite::Transaction transaction(m_connection, sqlite::Transaction::Kind::Write);
    {
        sqlite::Query held(m_connection, "SELECT value FROM guide WHERE name = 'digest'");
        m_report.changed = !held.next() || held.text(0) != digest;
    }
    if (!m_report.changed) {
        return;
    }
    m_connection.execute(kEmptyGuide);
    std::int64_t idsTaken = 0;
    for (const std::int64_t shift : shifts) {
        sqlite::Query(m_connection, kCopyAirings).bind(idsTaken, shift).run();
        sqlite::Query(m_connection, kCopyTranslations).bind(idsTaken).run();
        sqlite::Query(m_connection, kCopyGenres).bind(idsTaken).run();
        idsTaken += m_stagedAirings;
    }
    m_connection.execute(kFillSearch);
    const std::string checksum = lineup();
    setFact("digest", digest);
    setFact("lineup", checksum);
    {
        sqlite::Query longest(m_connection, "SELECT coalesce(max(stop - start), 0) FROM airing");
        longest.next();
        setFact("longest", longest.number(0));
    }
    transaction.commit();
}

// Writes the line-up and returns its checksum. A channel without a number in the listings gets the next free one.
std::string Staging::lineup()
{
    std::set<std::string, std::less<>> taken;
    {
        sqlite::Query numbers(m_connection, "SELECT number FROM staged_channel WHERE number <> ''");
        while (numbers.next()) {
            taken.emplace(numbers.text(0));
        }
    }
    Digest checksum;
    std::int64_t lastGiven = 0;
    sqlite::Query rows(m_connection,
                       "SELECT source_id, number, name, icon_url, icon_width, icon_height FROM staged_channel "
                       "ORDER BY number = '', CAST(number AS INTEGER), id");
    for (std::int64_t position = 0; rows.next(); ++position) {
        std::string number(rows.text("number"));
        if (number.empty()) {
            do {
                number = std::to_string(++lastGiven);
            } while (taken.count(number) > 0);
        }
        const std::int64_t source = rows.number("source_id");
        const std::string_view name = rows.text("name");
        const std::string_view iconUrl = rows.text("icon_url");
        const std::int64_t iconWidth = rows.number("icon_width");
        const std::int64_t iconHeight = rows.number("icon_height");
        sqlite::Query(m_connection, "INSERT INTO channel VALUES (?, ?, ?, ?, ?, ?, ?)")
            .bind(source, position, number, name, iconUrl, iconWidth, iconHeight)
            .run();
        checksum.add(source);
        checksum.add(number);
        checksum.add(name);
        checksum.add(iconUrl);
        checksum.add(iconWidth);
        checksum.add(iconHeight);
    }
    return checksum.hex();
}

void Staging::setFact(std::string_view name, std::string_view value)
{
    sqlite::Query(m_connection, "INSERT OR REPLACE INTO guide VALUES (?, ?)").bind(name, value).run();
}

void Staging::setFact(std::string_view name, std::int64_t value)
{
    sqlite::Query(m_connection, "INSERT OR REPLACE INTO guide VALUES (?, ?)").bind(name, value).run();
}

}  // namespace

std::vector<std::int64_t> asListed(Instant, Instant)
{
    return {0};
}

Shifts movedToToday(Instant now, const Zone& zone)
{
    const Instant today = zone.midnight(now);
    return [now, today](Instant first, Instant last) -> std::vector<std::int64_t> {
        if (last > now) {
            return {0};
        }
        // Takes the week that brings most of the guide to today; if two weeks bring as much, the later one.
        const auto covered = [&](std::int64_t shift) {
            return std::min(last + shift, today + kDay) - std::max(first + shift, today);
        };
        const std::int64_t latest = (today + kDay - first) / kWeek * kWeek;
        const std::int64_t best = covered(latest) >= covered(latest - kWeek) ? latest : latest - kWeek;
        if (covered(best) > 0) {
            return {best};
        }
        return {(today + kDay - 1 - first) / kDay * kDay};
    };
}

ImportReport importGuide(Store& store, const std::vector<ListingInput>& listings, const ImportOptions& options)
{
    const std::unique_ptr<sqlite::Connection> connection = store.connect();
    Staging staging(*connection, options);
    for (const ListingInput& listing : listings) {
        staging.read(listing);
    }
    return staging.apply();
}

}  // namespace corvaned
