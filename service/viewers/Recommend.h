// Recommendations, computed from viewers' data (Viewer.h) and the guide: small lists come from the viewers' store and
// are then looked up in the guide. Functions return ids of the guide's airings, which guide::airing reads on the same
// connection.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Clock.h"
#include "Sqlite.h"
#include "ViewerStore.h"

namespace corvaned::recommend {

/// The sources of the line-up by popularity: first those to which most viewers tuned on most of the last 28 days of
/// UTC. Ties are in the order of the line-up.
std::vector<std::int64_t> popularChannels(ViewerStore& viewers, sqlite::Connection& guide, Instant now,
                                          std::int64_t count);

/// Deletes counts of tunings that are older than four weeks. Call it in the transaction of a new tuning.
void forgetOldCounts(SqlConnection& connection, Instant now);

/// The slot of three hours, by the zone's wall clock: slot 1 begins at midnight, slot 8 is the last.
int timeslotOf(const Zone& zone, Instant at);

/// Why a programme was picked.
enum class PickReason : std::uint8_t {
    History,  // the viewer's own habit at that time of day
    Popular,  // the habit of all viewers
    OnNow,    // without any habit: it is on, or comes next
};

struct SlotPick {
    std::int64_t airing = 0;
    int timeslot = 0;
    int sequence = 0;  // place within the slot, from 1
    PickReason reason = PickReason::OnNow;
};

/// Picks for the current slot and the seven after it: the programmes on the channels to which the viewer usually tunes
/// at that time of day, the most frequent channel first. For the current slot they are on now, for the others at the
/// beginning of the slot. Without a history, returns slotsOfAll().
std::vector<SlotPick> slotsOf(ViewerStore& viewers, sqlite::Connection& guide, std::string_view user, const Zone& zone,
                              Instant now);

/// Like slotsOf, from the history of all viewers; without any history, what is on now or comes next.
std::vector<SlotPick> slotsOfAll(ViewerStore& viewers, sqlite::Connection& guide, const Zone& zone, Instant now);

enum class Wish : std::uint8_t {
    Followed,  // favourites and liked contents, and episodes of their series
    Watched,   // also contents to which the viewer has tuned
};

enum class MissedOrder : std::uint8_t {
    Time,  // latest first
    Title,
    Channel,  // in the order of the line-up
};

/// Airings that ended within the last seven days, whose content interests the viewer and is not disliked, and which the
/// viewer has missed: no tuning to the content, nor to the channel during the airing. The latest airing of each
/// content.
std::vector<std::int64_t> missed(ViewerStore& viewers, sqlite::Connection& guide, std::string_view user, Instant now,
                                 Wish wish, MissedOrder order);

/// Contents of the guide that share a series, people or genres with the given one, the closest first.
/// @param series  of that content; 0: none
std::vector<std::int64_t> related(sqlite::Connection& guide, std::int64_t content, std::int64_t series, Instant now,
                                  std::int64_t count);

/// Airings for one viewer.
struct PersonalChoice {
    /// On now or within a day: first what interests the viewer, then what is on at the viewer's most frequent channels,
    /// then at the most popular ones.
    std::vector<std::int64_t> television;

    /// On now or within two days; first those that share most genres with what interests the viewer.
    std::vector<std::int64_t> films;
};

/// @param count  the largest number of airings of each kind
PersonalChoice personalChoice(ViewerStore& viewers, sqlite::Connection& guide, std::string_view user, Instant now,
                              std::int64_t count);

struct App {
    std::string id;
    std::string title;
    std::string category;
    std::string imageUrl;
    std::int64_t imageWidth = 0;
    std::int64_t imageHeight = 0;
};

/// The operator's apps, in the operator's order.
std::vector<App> apps(sqlite::Connection& guide);

}  // namespace corvaned::recommend
