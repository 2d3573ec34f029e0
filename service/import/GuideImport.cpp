// Programmes go into the new file as they are read. What is known only when all have been read, such as by how much
// they are moved, is set there afterwards. GuideWriter.h has the tables.
#include "GuideImport.h"

#include <algorithm>
#include <cstdlib>
#include <initializer_list>
#include <limits>
#include <optional>
#include <set>
#include <string_view>
#include <unordered_map>
#include <utility>

#include <fmt/format.h>

#include "Digest.h"
#include "GuideFile.h"
#include "GuideWriter.h"
#include "Listing.h"
#include "NewGuide.h"
#include "OperatorError.h"
#include "PlacesImport.h"

namespace corvaned {
namespace {

constexpr std::int64_t kWeek = 7 * kDay;
constexpr int kWarningsPerListing = 20;
constexpr std::size_t kMostChannels = 100'000;  // of all listings; their ids are in memory
constexpr std::size_t kMostGenres = 20'000;     // likewise
constexpr int kProgressStep = 1000;
constexpr Instant kFarAway = Instant{1} << 40;  // further than the times of listings reach

// The same on every machine, whatever its byte order: the digest's first eight bytes, lowest first.
std::int64_t contentId(Digest& digest, std::initializer_list<std::string_view> key)
{
    for (const std::string_view part : key) {
        digest.addBytes(part);
    }
    const Sha1 bytes = digest.finish();
    std::uint64_t id = 0;
    for (std::size_t i = 0; i < sizeof id; ++i) {
        id |= std::uint64_t{bytes[i]} << (8 * i);
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

class ListingImport : public ListingSink {
public:
    /// @param made  must be new; of a merge, the guide that it will replace is added to it
    ListingImport(const std::string& guide, NewGuide& made, const ImportOptions& options);

    void read(const ListingInput& input);

    /// Ends the reading and completes the guide.
    ImportReport finish();

    void addChannel(const ListingChannel& channel) override;
    void addProgramme(const ListingProgramme& programme) override;
    void skip(int line, const std::string& reason) override;

private:
    struct KnownChannel {
        std::int64_t source = 0;
        bool declared = false;
        std::size_t listing = 0;  // the last one with programmes of it, from 1; 0: none
    };
    struct ReadListing {
        AiringRange airings;
        std::size_t bundle;  // listings that are moved as one have the same
        bool lacksStops = false;
    };

    void checkCount(std::size_t count, std::size_t most, const char* what) const;
    KnownChannel& channel(const std::string& listingId);
    void bundle(KnownChannel& channel);
    ProgrammeIds idsOf(const ListingProgramme& programme);
    void digestProgramme(const ListingProgramme& programme, const ProgrammeIds& ids);
    void setMissingStops();
    std::size_t moveListings();
    std::vector<std::int64_t> moveBundle(std::size_t bundle);
    Instant middleOf(const std::vector<std::size_t>& listings);
    void replaceGuide(std::size_t passes);
    void describeGuide(sqlite::Connection& guide);

    const std::string& m_path;  // of the present guide
    sqlite::Connection& m_guide;
    const ImportOptions& m_options;
    const bool m_addsToHeld;
    std::optional<sqlite::Transaction> m_transaction;
    std::optional<GuideWriter> m_writer;
    ImportReport m_report;
    ListingReport m_listing;              // the one that is read
    std::vector<ReadListing> m_listings;  // as in m_report.listings
    Digest m_digest;
    Digest m_ids;
    std::unordered_map<std::string, KnownChannel> m_channels;  // bounded, unlike programmes
};

ListingImport::ListingImport(const std::string& guide, NewGuide& made, const ImportOptions& options)
    : m_path(guide), m_guide(made.connection()), m_options(options), m_addsToHeld(options.isMerge && made.hadGuide())
{
    if (m_addsToHeld) {
        sqlite::Query(m_guide, "ATTACH ? AS held").run(immutableUri(guide));
    }
    m_transaction.emplace(m_guide, sqlite::Transaction::Kind::Write);
    m_writer.emplace(m_guide);
    if (m_addsToHeld) {
        // Held channels come first, so that those without a listed number keep the number that they have.
        m_writer->addHeldChannels();
        sqlite::Query rows(m_guide, "SELECT listing_id, source_id FROM channel JOIN source ON source.id = source_id");
        while (rows.next()) {
            m_channels[std::string(rows.text("listing_id"))].source = rows.number("source_id");
        }
    }
}

void ListingImport::read(const ListingInput& input)
{
    m_listing = {};
    m_listing.name = input.name;
    m_listings.push_back({{m_writer->lastAiring() + 1, m_writer->lastAiring()}, m_listings.size()});
    const std::unique_ptr<ByteSource> source = input.open();
    readListing(*source, input.name, *this);
    if (m_listing.skipped > kWarningsPerListing) {
        m_options.warn(fmt::format("{}: {} more like these", input.name, m_listing.skipped - kWarningsPerListing));
    }
    m_report.listings.push_back(m_listing);
}

void ListingImport::checkCount(std::size_t count, std::size_t most, const char* what) const
{
    if (count > most) {
        throw OperatorError(
            fmt::format("{}: more than {} {}; import a part of the listing", m_listing.name, most, what));
    }
}

ListingImport::KnownChannel& ListingImport::channel(const std::string& listingId)
{
    KnownChannel& known = m_channels[listingId];
    if (known.source == 0) {
        checkCount(m_channels.size(), kMostChannels, "channels");
        known.source = m_writer->addChannel(listingId);
    }
    return known;
}

void ListingImport::addChannel(const ListingChannel& channel)
{
    ++m_listing.channels;
    KnownChannel& known = this->channel(channel.id);
    if (std::exchange(known.declared, true)) {
        return;
    }
    m_writer->declareChannel(known.source, channel);
    m_digest.add("channel");
    for (const std::string* const part :
         {&channel.id, &channel.number, &channel.name, &channel.icon.url, &channel.details}) {
        m_digest.add(*part);
    }
    m_digest.add(channel.icon.width);
    m_digest.add(channel.icon.height);
}

void ListingImport::addProgramme(const ListingProgramme& programme)
{
    if (++m_listing.programmes % kProgressStep == 0) {
        m_options.progress(m_listing.name, m_listing.programmes);
    }
    KnownChannel& channel = this->channel(programme.channel);
    const ProgrammeIds ids = idsOf(programme);
    if (!m_writer->addAiring(programme, channel.source, ids)) {
        ++m_listing.repeated;
        return;
    }
    checkCount(m_writer->genres(), kMostGenres, "genres");
    bundle(channel);
    ReadListing& listing = m_listings.back();
    const bool isFirst = listing.airings.last < listing.airings.first;
    listing.airings.last = m_writer->lastAiring();
    listing.lacksStops = listing.lacksStops || !programme.stop;
    const Instant stop = programme.stop.value_or(programme.start);
    m_listing.first = isFirst ? programme.start : std::min(m_listing.first, programme.start);
    m_listing.last = isFirst ? stop : std::max(m_listing.last, stop);
    digestProgramme(programme, ids);
}

// Moved apart, listings of different days for the same channel would overlap.
void ListingImport::bundle(KnownChannel& channel)
{
    const std::size_t earlier = std::exchange(channel.listing, m_listings.size());
    if (earlier == 0 || earlier == channel.listing) {
        return;
    }
    const std::size_t joined = m_listings.back().bundle;
    for (ReadListing& listing : m_listings) {
        if (listing.bundle == joined) {
            listing.bundle = m_listings[earlier - 1].bundle;
        }
    }
}

ProgrammeIds ListingImport::idsOf(const ListingProgramme& programme)
{
    ProgrammeIds ids{programme.content, programme.series};
    if (ids.content <= 0) {
        ids.content = contentId(m_ids, {programme.key});
    }
    if (ids.series <= 0) {
        ids.series = programme.seriesKey.empty() ? 0 : contentId(m_ids, {"series\n", programme.seriesKey});
    }
    return ids;
}

// The order matters: a database keeps the digest of its guide from one import to the next.
void ListingImport::digestProgramme(const ListingProgramme& programme, const ProgrammeIds& ids)
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

void ListingImport::skip(int line, const std::string& reason)
{
    if (++m_listing.skipped <= kWarningsPerListing) {
        m_options.warn(fmt::format("{}:{}: skipped: {}", m_listing.name, line, reason));
    }
}

ImportReport ListingImport::finish()
{
    const bool allBroken =
        std::all_of(m_report.listings.begin(), m_report.listings.end(),
                    [](const ListingReport& listing) { return listing.programmes == 0 && listing.skipped > 0; });
    if (allBroken) {
        throw OperatorError("no programme in the listings can be used; the guide is unchanged");
    }
    if (m_writer->lastAiring() == 0) {
        throw OperatorError(m_channels.empty()
                                ? "the listings contain neither channels nor programmes; the guide is unchanged"
                                : "the listings contain channels but no programmes; the guide is unchanged");
    }

    setMissingStops();
    replaceGuide(moveListings());
    return m_report;
}

void ListingImport::setMissingStops()
{
    const auto lacksStops = [](const ReadListing& listing) { return listing.lacksStops; };
    if (std::none_of(m_listings.begin(), m_listings.end(), lacksStops)) {
        return;
    }
    m_writer->setMissingStops();
    for (std::size_t i = 0; i < m_listings.size(); ++i) {
        if (m_listings[i].lacksStops) {
            sqlite::Query last(m_guide, "SELECT max(stop) FROM airing WHERE id BETWEEN ? AND ?");
            last.bind(m_listings[i].airings.first, m_listings[i].airings.last).next();
            m_report.listings[i].last = last.number(0);
        }
    }
}

// @return the number of times that the guide is repeated
std::size_t ListingImport::moveListings()
{
    std::set<std::size_t> bundles;
    for (const ReadListing& listing : m_listings) {
        if (listing.airings.first <= listing.airings.last) {
            bundles.insert(listing.bundle);
        }
    }
    std::size_t passes = 0;
    for (const std::size_t bundle : bundles) {
        const std::vector<std::int64_t> shifts = moveBundle(bundle);
        passes = shifts.size();
        for (const std::int64_t shift : shifts) {
            m_digest.add(shift);
        }
    }
    return passes;
}

// Decides by how much a bundle is moved, and moves it. @return as Shifts
std::vector<std::int64_t> ListingImport::moveBundle(std::size_t bundle)
{
    std::vector<std::size_t> members;
    ListedSpan span{std::numeric_limits<Instant>::max(), std::numeric_limits<Instant>::min(),
                    [&] { return middleOf(members); }};
    for (std::size_t i = 0; i < m_listings.size(); ++i) {
        if (m_listings[i].bundle == bundle && m_listings[i].airings.first <= m_listings[i].airings.last) {
            members.push_back(i);
            span.first = std::min(span.first, m_report.listings[i].first);
            span.last = std::max(span.last, m_report.listings[i].last);
        }
    }
    const std::vector<std::int64_t> shifts = m_options.shifts(span);
    const std::int64_t shift = shifts.front();
    const auto move = [&](std::int64_t seconds) {
        for (const std::size_t i : members) {
            m_writer->move(m_listings[i].airings, seconds);
        }
    };
    if (std::abs(shift) >= span.last - span.first) {
        move(shift);
    } else if (shift != 0) {
        // A programme that is repeated weekly would meet itself.
        move(kFarAway);
        move(shift - kFarAway);
    }
    const std::int64_t ids = m_writer->lastAiring();
    for (const std::size_t i : members) {
        for (std::size_t pass = 1; pass < shifts.size(); ++pass) {
            m_writer->repeat(m_listings[i].airings, ids * static_cast<std::int64_t>(pass), shifts[pass] - shift);
        }
        m_report.listings[i].shift = shift;
        m_report.listings[i].first += shift;
        m_report.listings[i].last += shift;
    }
    return shifts;
}

Instant ListingImport::middleOf(const std::vector<std::size_t>& listings)
{
    std::int64_t airings = 0;
    std::vector<std::string> ranges;
    for (const std::size_t i : listings) {
        const AiringRange& range = m_listings[i].airings;
        airings += range.last + 1 - range.first;
        ranges.push_back(fmt::format("({}, {})", range.first, range.last));
    }
    sqlite::Query middle(m_guide, fmt::format("WITH range (first, last) AS (VALUES {}) SELECT start FROM range "
                                              "JOIN airing ON id BETWEEN first AND last "
                                              "ORDER BY start LIMIT 1 OFFSET {}",
                                              fmt::join(ranges, ", "), airings / 2));
    middle.next();
    return middle.number(0);
}

void ListingImport::replaceGuide(std::size_t passes)
{
    const std::string digest = m_digest.hex();
    // A merge depends on the guide that it adds to.
    m_report.changed = guideFact(m_guide, m_options.isMerge ? "merged" : "digest") != digest;
    if (!m_report.changed && !m_options.always) {
        describeGuide(*openGuide(m_path));
        return;
    }
    if (m_addsToHeld) {
        m_writer->addHeldAirings(m_writer->lastAiring() * static_cast<std::int64_t>(passes));
    }
    m_writer->finish();
    if (m_report.changed) {
        setGuideFact(m_guide, "digest", m_options.isMerge ? digestOf(guideFact(m_guide, "digest"), digest) : digest);
        setGuideFact(m_guide, "merged", m_options.isMerge ? digest : "");
    }
    describeGuide(m_guide);
    addSamplePlaces(m_guide);
    m_options.complete(m_guide);
    m_transaction->commit();
}

void ListingImport::describeGuide(sqlite::Connection& guide)
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
    NewGuide made(guide, NewGuide::Begin::Numbers, options.warn);
    ImportReport report;
    try {
        ListingImport import(guide, made, options);
        for (const ListingInput& listing : listings) {
            import.read(listing);
        }
        report = import.finish();
    } catch (const sqlite::SqliteError& error) {
        throw OperatorError(fmt::format("{}; the guide is unchanged", error.what()));
    }
    if (report.changed || options.always) {
        made.place();
    }
    return report;
}

}  // namespace corvaned
