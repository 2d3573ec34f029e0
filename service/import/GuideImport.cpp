// Staging tables are temporary and go to disk, so memory stays flat; they end with the connection to the new file.
// StagingStatements.h has them and the statements that make them the guide.
#include "GuideImport.h"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <optional>
#include <set>
#include <string_view>
#include <unordered_map>
#include <utility>

#include <fmt/format.h>

#include "Digest.h"
#include "GuideFile.h"
#include "Listing.h"
#include "NewGuide.h"
#include "OperatorError.h"
#include "PlacesImport.h"
#include "StagingStatements.h"

namespace corvaned {
namespace {

constexpr std::int64_t kWeek = 7 * kDay;
constexpr int kWarningsPerListing = 20;
constexpr std::size_t kMostChannels = 100'000;  // of all listings; their ids are in memory
constexpr std::size_t kMostGenres = 20'000;     // likewise
constexpr int kProgressStep = 1000;

// The same on every machine, whatever its byte order: the digest's first eight bytes, lowest first.
std::int64_t contentId(const std::string& key)
{
    const Sha1 digest = sha1(key);
    std::uint64_t id = 0;
    for (std::size_t i = 0; i < sizeof id; ++i) {
        id |= std::uint64_t{digest[i]} << (8 * i);
    }
    return static_cast<std::int64_t>(id >> 1);  // positive, so that it has no sign in a URL
}

std::string digestOf(std::string_view first, std::string_view second)
{
    Digest digest;
    digest.add(first);
    digest.add(second);
    return digest.hex();
}

// The ids under which the guide knows a programme.
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

class Staging : public ListingSink {
public:
    Staging(const std::string& guide, sqlite::Connection& connection, const ImportOptions& options)
        : m_path(guide), m_connection(connection), m_options(options)
    {
        connection.execute(kStaging);
        m_staging.emplace(connection, sqlite::Transaction::Kind::Read);
        m_heldDigest = fact("digest");
        if (options.isMerge) {
            stageHeldChannels();
        }
    }

    void read(const ListingInput& input)
    {
        m_listing = {};
        m_listing.name = input.name;
        const std::unique_ptr<ByteSource> source = input.open();
        sqlite::Query(m_connection, "INSERT INTO staged_listing VALUES (?1, ?1)").bind(listingId()).run();
        readListing(*source, input.name, *this);
        if (m_listing.skipped > kWarningsPerListing) {
            m_options.warn(fmt::format("{}: {} more like these", input.name, m_listing.skipped - kWarningsPerListing));
        }
        m_report.listings.push_back(m_listing);
    }

    /// Ends the reading and makes what was staged the guide.
    ImportReport apply();

    void addChannel(const ListingChannel& channel) override;
    void addProgramme(const ListingProgramme& programme) override;
    void skip(int line, const std::string& reason) override;

private:
    struct KnownChannel {
        std::int64_t id;
        bool declared;
    };

    // Of the listing that is being read; its place in m_report.listings.
    std::int64_t listingId() const { return static_cast<std::int64_t>(m_report.listings.size()); }

    void checkCount(std::size_t count, std::size_t most, const char* what) const;
    std::int64_t channelId(const std::string& listingId);
    std::int64_t genreId(const std::string& name);
    bool stageAiring(const ListingProgramme& programme, const ProgrammeIds& ids, std::int64_t airing);
    void stageTranslations(const ListingProgramme& programme, std::int64_t airing);
    void stageGenres(const ListingProgramme& programme, std::int64_t airing);
    void stageCredits(const ListingProgramme& programme, std::int64_t content);
    void stageDetails(const ListingProgramme& programme, std::int64_t airing);
    void digestProgramme(const ListingProgramme& programme, const ProgrammeIds& ids);
    void bundleListings();
    std::size_t moveListings();
    std::string lineup();
    void replaceGuide(std::size_t passes);
    void fillGuide(std::size_t passes);
    std::int64_t longestAiring();
    void describeGuide(sqlite::Connection& guide);
    void stageHeldChannels();
    void keepHeldGuide(std::int64_t idsTaken);
    std::string fact(std::string_view name);
    void setFact(std::string_view name, std::string_view value);
    void setFact(std::string_view name, std::int64_t value);

    const std::string& m_path;         // of the present guide
    sqlite::Connection& m_connection;  // to the new file
    const ImportOptions& m_options;
    ListingReport m_listing;
    ImportReport m_report;
    std::int64_t m_stagedAirings = 0;
    Digest m_digest;
    std::string m_heldDigest;                      // of the guide that was held when the reading began
    std::optional<sqlite::Transaction> m_staging;  // while listings are read
    // These grow with channels and genres, which are bounded, not with programmes.
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
        sqlite::Query(m_connection, "INSERT INTO staged_channel VALUES (?, ?, '', ?, '', 0, 0, '', NULL)")
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

// Held channels come first, so that those without a listed number keep the number that they have.
void Staging::stageHeldChannels()
{
    sqlite::Query rows(m_connection,
                       "SELECT listing_id, iif(is_number_listed, number, '') AS number, name, icon_url, icon_width, "
                       "icon_height, details FROM channel JOIN source ON source.id = source_id ORDER BY position");
    while (rows.next()) {
        const std::int64_t id = channelId(std::string(rows.text("listing_id")));
        sqlite::Query(m_connection, kDeclareChannel)
            .bind(rows.text("number"), rows.text("name"), rows.text("icon_url"), rows.number("icon_width"),
                  rows.number("icon_height"), rows.text("details"), id)
            .run();
    }
}

void Staging::addChannel(const ListingChannel& channel)
{
    ++m_listing.channels;
    const std::int64_t id = channelId(channel.id);
    bool& declared = m_channels.at(channel.id).declared;
    if (std::exchange(declared, true)) {
        return;
    }
    sqlite::Query(m_connection, kDeclareChannel)
        .bind(channel.number, channel.name, channel.icon.url, std::int64_t{channel.icon.width},
              std::int64_t{channel.icon.height}, channel.details, id)
        .run();
    m_digest.add("channel");
    for (const std::string& part : {channel.id, channel.number, channel.name, channel.icon.url, channel.details}) {
        m_digest.add(part);
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
    stageDetails(programme, airing);
}

// Returns false if the listings have this airing already.
bool Staging::stageAiring(const ListingProgramme& programme, const ProgrammeIds& ids, std::int64_t airing)
{
    constexpr int kStopParameter = 4;
    const ListingStrings& first = programme.strings.front();
    const auto translations = static_cast<std::int64_t>(programme.strings.size() - 1);
    sqlite::Query insert(
        m_connection,
        "INSERT OR IGNORE INTO staged_airing (id, channel, start, stop, clump, content_id, type, season, "
        "episode, year, runtime, image_url, image_width, image_height, translations, lang, title, "
        "ep_title, short_desc, series_id, rating, listing) "
        "VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)");
    insert.bind(airing, channelId(programme.channel), programme.start, programme.stop.value_or(0),
                std::int64_t{programme.clump}, ids.content, programme.type, std::int64_t{programme.season},
                std::int64_t{programme.episode}, std::int64_t{programme.year}, std::int64_t{programme.runtime},
                programme.image.url, std::int64_t{programme.image.width}, std::int64_t{programme.image.height},
                translations, first.lang, first.title, first.episodeTitle, first.description, ids.series,
                programme.rating, listingId());
    if (!programme.stop) {
        insert.bindNull(kStopParameter);
    }
    insert.run();
    return m_connection.changes() > 0;
}

void Staging::stageTranslations(const ListingProgramme& programme, std::int64_t airing)
{
    for (std::size_t i = 1; i < programme.strings.size(); ++i) {
        const ListingStrings& translated = programme.strings[i];
        sqlite::Query(m_connection, "INSERT INTO staged_translation VALUES (?, ?, ?, ?, ?)")
            .bind(airing, translated.lang, translated.title, translated.episodeTitle, translated.description)
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
        sqlite::Query(m_connection, "INSERT INTO staged_credit VALUES (?, ?, ?, ?, ?, ?)")
            .bind(content, place++, credit.name, credit.job, credit.role, credit.details)
            .run();
    }
}

void Staging::stageDetails(const ListingProgramme& programme, std::int64_t airing)
{
    if (!programme.details.empty() || !programme.genreLang.empty()) {
        sqlite::Query(m_connection, "INSERT INTO staged_details VALUES (?, ?, ?)")
            .bind(airing, programme.genreLang, programme.details)
            .run();
    }
}

// The order matters: a database keeps the digest of its guide from one import to the next.
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
    for (const ListingStrings& each : programme.strings) {
        for (const std::string* const part : {&each.lang, &each.title, &each.episodeTitle, &each.description}) {
            m_digest.add(*part);
        }
    }
    for (const std::string& genre : programme.genres) {
        m_digest.add(genre);
    }
    for (const ListingCredit& credit : programme.credits) {
        for (const std::string* const part : {&credit.job, &credit.name, &credit.role, &credit.details}) {
            m_digest.add(*part);
        }
    }
    m_digest.add(programme.genreLang);
    m_digest.add(programme.details);
}

void Staging::skip(int line, const std::string& reason)
{
    if (++m_listing.skipped <= kWarningsPerListing) {
        m_options.warn(fmt::format("{}:{}: skipped: {}", m_listing.name, line, reason));
    }
}

ImportReport Staging::apply()
{
    const bool allBroken =
        std::all_of(m_report.listings.begin(), m_report.listings.end(),
                    [](const ListingReport& listing) { return listing.programmes == 0 && listing.skipped > 0; });
    if (allBroken) {
        throw OperatorError("no programme in the listings can be used; the guide is unchanged");
    }
    if (m_stagedAirings == 0) {
        throw OperatorError(m_channels.empty()
                                ? "the listings contain neither channels nor programmes; the guide is unchanged"
                                : "the listings contain channels but no programmes; the guide is unchanged");
    }

    m_connection.execute(kMissingStops);
    bundleListings();
    const std::size_t passes = moveListings();
    m_staging->commit();
    replaceGuide(passes);
    return m_report;
}

// Moved apart, listings of different days for the same channel would overlap.
void Staging::bundleListings()
{
    if (m_report.listings.size() < 2) {
        return;
    }
    sqlite::Query rows(m_connection, "SELECT DISTINCT channel, listing FROM staged_airing ORDER BY channel, listing");
    sqlite::Query join(m_connection,
                       "UPDATE staged_listing SET bundle = (SELECT bundle FROM staged_listing WHERE id = ?1) "
                       "WHERE bundle = (SELECT bundle FROM staged_listing WHERE id = ?2)");
    std::int64_t channel = 0;
    for (std::int64_t listing = 0; rows.next(); listing = rows.number("listing")) {
        if (rows.number("channel") == channel) {
            join.bind(listing, rows.number("listing")).run();
        }
        channel = rows.number("channel");
    }
}

// Decides by how much each bundle is moved. @return the number of times that the guide is repeated
std::size_t Staging::moveListings()
{
    std::size_t passes = 0;
    sqlite::Query bundles(m_connection,
                          "SELECT bundle, min(start) AS first, max(stop) AS last, count(*) AS airings "
                          "FROM staged_airing JOIN staged_listing ON staged_listing.id = listing GROUP BY bundle");
    while (bundles.next()) {
        const std::int64_t bundle = bundles.number("bundle");
        const auto middle = [&] {
            sqlite::Query starts(m_connection,
                                 "SELECT start FROM staged_airing JOIN staged_listing ON staged_listing.id = listing "
                                 "WHERE bundle = ? ORDER BY start LIMIT 1 OFFSET ?");
            starts.bind(bundle, bundles.number("airings") / 2).next();
            return starts.number("start");
        };
        const std::vector<std::int64_t> shifts =
            m_options.shifts({bundles.number("first"), bundles.number("last"), middle});
        passes = shifts.size();
        for (std::size_t pass = 0; pass < passes; ++pass) {
            sqlite::Query(m_connection, "INSERT INTO staged_move VALUES (?, ?, ?)")
                .bind(bundle, static_cast<std::int64_t>(pass), shifts[pass])
                .run();
            m_digest.add(shifts[pass]);
        }
    }
    sqlite::Query listings(m_connection,
                           "SELECT listing, shift, min(start) + shift AS first, max(stop) + shift AS last "
                           "FROM staged_airing JOIN staged_listing ON staged_listing.id = listing "
                           "JOIN staged_move ON staged_move.bundle = staged_listing.bundle AND pass = 0 "
                           "GROUP BY listing");
    while (listings.next()) {
        ListingReport& listing = m_report.listings.at(static_cast<std::size_t>(listings.number("listing")));
        listing.shift = listings.number("shift");
        listing.first = listings.number("first");
        listing.last = listings.number("last");
    }
    return passes;
}

void Staging::replaceGuide(std::size_t passes)
{
    const std::string digest = m_digest.hex();
    // A merge depends on the guide that it adds to.
    const char* const factName = m_options.isMerge ? "merged" : "digest";
    m_report.changed = fact(factName) != digest;
    // The new file of a merge begins with the whole guide, any other one with nothing of it.
    if (!m_report.changed && !m_options.always) {
        describeGuide(*openGuide(m_path));
        return;
    }
    sqlite::Transaction transaction(m_connection, sqlite::Transaction::Kind::Write);
    if (m_report.changed || !m_options.isMerge) {
        fillGuide(passes);
        setFact("digest", m_options.isMerge ? digestOf(m_heldDigest, digest) : digest);
        setFact("merged", m_options.isMerge ? digest : "");
    }
    describeGuide(m_connection);
    addSamplePlaces(m_connection);
    m_options.complete(m_connection);
    transaction.commit();
}

// Empties the guide's tables and fills them with what is staged and, of a merge, with what it leaves of the guide held.
void Staging::fillGuide(std::size_t passes)
{
    if (m_options.isMerge) {
        m_connection.execute(kHoldGuide);
    }
    m_connection.execute(kDropIndexes);
    m_connection.execute(kEmptyGuide);
    std::int64_t idsTaken = 0;
    for (std::size_t pass = 0; pass < passes; ++pass) {
        sqlite::Query(m_connection, kCopyAirings).bind(idsTaken, static_cast<std::int64_t>(pass)).run();
        for (const std::string_view copy : {kCopyTranslations, kCopyGenres, kCopyDetails}) {
            sqlite::Query(m_connection, copy).bind(idsTaken).run();
        }
        idsTaken += m_stagedAirings;
    }
    if (m_options.isMerge) {
        keepHeldGuide(idsTaken);
    }
    m_connection.execute(kMakeIndexes);
    m_connection.execute(kFillSearch);
    setFact("lineup", lineup());
    setFact("longest", longestAiring());
}

void Staging::keepHeldGuide(std::int64_t idsTaken)
{
    sqlite::Query(m_connection, kDropReplaced).bind(longestAiring()).run();
    for (const std::string_view copy : kKeepHeld) {
        sqlite::Query(m_connection, copy).bind(idsTaken).run();
    }
    m_connection.execute(kKeepCredits);
}

std::int64_t Staging::longestAiring()
{
    sqlite::Query longest(m_connection, "SELECT coalesce(max(stop - start), 0) FROM airing");
    longest.next();
    return longest.number(0);
}

void Staging::describeGuide(sqlite::Connection& guide)
{
    sqlite::Query facts(guide,
                        "SELECT (SELECT count(*) FROM channel) AS channels, count(*) AS airings, min(start) AS first, "
                        "max(stop) AS last FROM airing");
    facts.next();
    m_report.channels = facts.number("channels");
    m_report.airings = facts.number("airings");
    m_report.first = facts.number("first");
    m_report.last = facts.number("last");
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
    // A number may have two parts, as in "5.1".
    sqlite::Query rows(m_connection, R"sql(
        SELECT source_id, number, name, icon_url, icon_width, icon_height, details FROM staged_channel
        ORDER BY number = '', CAST(number AS INTEGER),
                 CAST(substr(number, length(rtrim(number, '0123456789')) + 1) AS INTEGER)
                     * (length(rtrim(number, '0123456789')) > 0), id
    )sql");
    for (std::int64_t position = 0; rows.next(); ++position) {
        std::string number(rows.text("number"));
        const bool isListed = !number.empty();
        if (!isListed) {
            do {
                number = std::to_string(++lastGiven);
            } while (taken.count(number) > 0);
        }
        const std::int64_t source = rows.number("source_id");
        const std::string_view name = rows.text("name");
        const std::string_view iconUrl = rows.text("icon_url");
        const std::int64_t iconWidth = rows.number("icon_width");
        const std::int64_t iconHeight = rows.number("icon_height");
        sqlite::Query(m_connection, "INSERT INTO channel VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?)")
            .bind(source, position, number, name, iconUrl, iconWidth, iconHeight, rows.text("details"),
                  std::int64_t{isListed})
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

std::string Staging::fact(std::string_view name)
{
    sqlite::Query value(m_connection, "SELECT value FROM guide WHERE name = ?");
    value.bind(name);
    return value.next() ? std::string(value.text(0)) : std::string();
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

std::vector<std::int64_t> asListed(const ListedSpan&)
{
    return {0};
}

Shifts movedToToday(Instant now, const Zone& zone)
{
    return [now, zone](const ListedSpan& span) -> std::vector<std::int64_t> {
        const auto covers = [&](std::int64_t shift) { return span.first + shift <= now && now < span.last + shift; };
        if (covers(0)) {
            return {0};
        }
        const std::int64_t unit = span.last - span.first >= kWeek ? kWeek : kDay;
        const Instant middle = span.middle();
        // Of the shifts that make it cover now, the one that brings its middle nearest to now. That one is among these:
        // a listing of at least one unit always has a programme within a unit of its middle on either side.
        std::int64_t best = 0;
        std::pair<bool, std::int64_t> least{true, std::numeric_limits<std::int64_t>::max()};
        for (std::int64_t units = (now - middle) / unit - 2; units <= (now - middle) / unit + 2; ++units) {
            const std::int64_t plain = units * unit;
            const std::int64_t shift = plain + zone.offsetAt(middle) - zone.offsetAt(middle + plain);
            const std::pair<bool, std::int64_t> rank{!covers(shift), std::abs(middle + shift - now)};
            if (rank < least) {
                least = rank;
                best = shift;
            }
        }
        return {best};
    };
}

ImportReport importGuide(const std::string& guide, const std::vector<ListingInput>& listings,
                         const ImportOptions& options)
{
    NewGuide made(guide, options.isMerge ? NewGuide::Begin::Whole : NewGuide::Begin::Numbers, options.warn);
    ImportReport report;
    try {
        Staging staging(guide, made.connection(), options);
        for (const ListingInput& listing : listings) {
            staging.read(listing);
        }
        report = staging.apply();
    } catch (const sqlite::SqliteError& error) {
        throw OperatorError(fmt::format("{}; the guide is unchanged", error.what()));
    }
    if (report.changed || options.always) {
        made.place();
    }
    return report;
}

}  // namespace corvaned
