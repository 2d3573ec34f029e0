// Writes channels and programmes straight into the tables of a guide's new file, which has no readers yet.
// GuideImport.cpp reads them from listings.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "Digest.h"
#include "Listing.h"
#include "Sqlite.h"

namespace corvaned {

/// The ids under which the guide knows a programme.
struct ProgrammeIds {
    std::int64_t content;
    std::int64_t series;  // 0: of none
};

/// Airings have consecutive ids in the order in which they are added, from 1.
struct AiringRange {
    std::int64_t first = 1;
    std::int64_t last = 0;
};

class GuideWriter {
public:
    /// @param guide  a new file without channels and programmes, in a transaction
    explicit GuideWriter(sqlite::Connection& guide);

    /// Adds a channel to the end of the line-up, under its id in the listings. @return its number
    std::int64_t addChannel(std::string_view listingId);

    /// Sets the number and the other values that a listing gives. Numbers may be empty until finish().
    void declareChannel(std::int64_t source, const ListingChannel& channel);

    /// @return false if the guide has this airing already
    bool addAiring(const ListingProgramme& programme, std::int64_t source, const ProgrammeIds& ids);

    /// The id of the last airing.
    std::int64_t lastAiring() const { return m_lastAiring; }

    /// The number of genres that were added.
    std::size_t genres() const { return m_genres.size(); }

    /// Ends programmes without a stop when the next one of their channel starts. If that is more than six hours later,
    /// the listing has a gap, and half an hour is assumed.
    void setMissingStops();

    /// Adds seconds to the times of airings. None of them may meet an airing of the same content on its channel on the
    /// way, even one that is yet to be moved.
    void move(const AiringRange& airings, std::int64_t seconds);

    /// Adds copies of airings, moved by seconds. @param idsTaken  added to their ids
    void repeat(const AiringRange& airings, std::int64_t idsTaken, std::int64_t seconds);

    /// Adds the line-up of the guide that is attached as "held", with the numbers that its listings gave.
    void addHeldChannels();

    /// Adds the programmes of the guide that is attached as "held", except those that overlap a new one on their
    /// channel. @param idsTaken  added to their ids
    void addHeldAirings(std::int64_t idsTaken);

    /// Gives numbers to channels without one, makes the indexes, fills the search and sets the facts of the guide.
    void finish();

private:
    std::int64_t genreId(const std::string& name);
    void addCredits(const ListingProgramme& programme, std::int64_t content);
    std::string numberChannels();

    sqlite::Connection& m_guide;
    std::vector<std::string> m_indexes;  // statements that make them
    std::int64_t m_channels = 0;
    std::int64_t m_lastAiring = 0;
    std::unordered_map<std::string, std::int64_t> m_genres;  // the caller bounds their number
    sqlite::Query m_insertAiring;
    sqlite::Query m_insertTranslation;
    sqlite::Query m_insertGenre;
    sqlite::Query m_insertDetails;
    sqlite::Query m_insertCredit;
};

/// A fact about the guide as a whole; "" if it is not known.
std::string guideFact(sqlite::Connection& guide, std::string_view name);
void setGuideFact(sqlite::Connection& guide, std::string_view name, std::string_view value);

}  // namespace corvaned
