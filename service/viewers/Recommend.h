// What to recommend, computed from what viewers have done (Viewer.h) and what is on. Rules give numbers of the guide's
// airings, read with guide::airing; callers hold a read transaction, so that an import cannot come in between.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Clock.h"
#include "Sqlite.h"

namespace corvaned::recommend {

/// The sources of the line-up, those first that most viewers tuned to on most days of the last 28 days of UTC; equals
/// in the order of the line-up.
std::vector<std::int64_t> popularChannels(sqlite::Connection& connection, Instant now, std::int64_t count);

/// Deletes the counts of tunings of more than four weeks ago. Call it in the transaction of a new tuning.
void forgetOldCounts(sqlite::Connection& connection, Instant now);

/// The day's slots of three hours, by the zone's wall clock: 1 begins at midnight, 8 is the last.
int timeslotOf(const Zone& zone, Instant at);

/// Why a programme was picked.
enum class Reason : std::uint8_t {
    History,  // the viewer's own habit at that time of day
    Popular,  // the habit of all viewers
    OnNow,    // no habit: it is on, or next
};

struct SlotPick {
    std::int64_t airing = 0;
    int timeslot = 0;
    int sequence = 0;  // place within the slot, from 1
    Reason reason = Reason::OnNow;
};

/// For the slot that runs and the seven after it, what is on then at the channels that the viewer tunes to at that time
/// of day, most frequent first: now for the slot that runs, the slot's beginning for the others. Without a history,
/// slotsOfAll.
std::vector<SlotPick> slotsOf(sqlite::Connection& connection, std::string_view user, const Zone& zone, Instant now);

/// The same from the history of all viewers; without any, what is on now or next.
std::vector<SlotPick> slotsOfAll(sqlite::Connection& connection, const Zone& zone, Instant now);

enum class Wish : std::uint8_t {
    Followed,  // favourites and liked ones: the content itself and its series
    Watched,   // these, and what the viewer has tuned to before
};

enum class MissedOrder : std::uint8_t {
    Time,  // latest first
    Title,
    Channel,  // as the line-up has them
};

/// Airings over within the last seven days whose content the viewer wishes, has not disliked and has not tuned to, nor
/// to the channel while it was on. Of a content the latest airing.
std::vector<std::int64_t> missed(sqlite::Connection& connection, std::string_view user, Instant now, Wish wish,
                                 MissedOrder order);

/// Contents of the guide that share a series, people or genres with the one given, the closest first.
/// @param series  of that content; 0: none
std::vector<std::int64_t> related(sqlite::Connection& connection, std::int64_t content, std::int64_t series,
                                  Instant now, std::int64_t count);

/// What is on or comes within a day: first what the viewer wishes, then what is on at the channels that the viewer
/// tunes to most, then at those that everybody does.
std::vector<std::int64_t> television(sqlite::Connection& connection, std::string_view user, Instant now,
                                     std::int64_t count);

/// Films that are on or come within two days, those first that share most genres with what the viewer wishes.
std::vector<std::int64_t> films(sqlite::Connection& connection, std::string_view user, Instant now, std::int64_t count);

struct App {
    std::string id;
    std::string title;
    std::string category;
    std::string imageUrl;
    std::int64_t imageWidth = 0;
    std::int64_t imageHeight = 0;
};

/// The operator's, in the operator's order.
std::vector<App> apps(sqlite::Connection& connection);

}  // namespace corvaned::recommend
