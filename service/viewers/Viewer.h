// What viewers do: favourites, votes, the history of tunings, the answer to the terms. It belongs to the session's user
// and survives restarts and imports. Each writing function is one transaction.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Clock.h"
#include "Programmes.h"
#include "Sqlite.h"

namespace corvaned::viewer {

/// What a favourite or a vote is about. A channel is named by its source, a content by its id, a person by its id.
enum class Subject : std::uint8_t {
    Channel,
    Content,
    Person,
};

/// "channel", "content" or "person".
std::string_view nameOf(Subject subject);

/// Makes the target a favourite of the user. A target that is one already keeps its place.
/// @return false if neither the guide nor remembered_content has the target; nothing is changed then
bool addFavorite(sqlite::Connection& connection, std::string_view user, Subject subject, std::int64_t target,
                 Instant now);

/// @return whether it was a favourite
bool removeFavorite(sqlite::Connection& connection, std::string_view user, Subject subject, std::int64_t target);

bool isFavorite(sqlite::Connection& connection, std::string_view user, Subject subject, std::int64_t target);

enum class FavoriteOrder : std::uint8_t {
    Time,    // by the time when they became favourites
    Title,   // by the title of a content or the name of a channel
    Number,  // by the number of a channel in the line-up; contents as Time
};

/// The targets of the user's favourites. Channels that the line-up no longer has are left out.
/// @param start  the number of targets to skip
/// @param count  the largest number of targets to return
std::vector<std::int64_t> favorites(sqlite::Connection& connection, std::string_view user, Subject subject,
                                    FavoriteOrder order, bool descending, std::int64_t start, std::int64_t count);

/// Reads contents that the user has named, in the order given: from the guide (guide::describeContents) or, if the
/// guide has dropped a content, from the remembered copy. Unknown contents are left out.
void describeContents(sqlite::Connection& connection, const std::vector<std::int64_t>& contents, std::string_view lang,
                      const guide::ProgrammeVisit& visit);

/// Reads a content that a viewer has named: from the guide (guide::nextAiring) or, if the guide has dropped it, from
/// the remembered copy, which has no channel and no times.
/// @return whether the content is known
bool visitContent(sqlite::Connection& connection, std::int64_t content, Instant now, std::string_view lang,
                  const guide::ProgrammeVisit& visit);

enum class Vote : std::uint8_t {
    None,
    Like,
    Dislike,
};

struct VoteCount {
    std::int64_t likes = 0;
    std::int64_t dislikes = 0;
    Vote own = Vote::None;
};

/// Replaces the user's vote on the target; Vote::None withdraws it.
/// @return false if the channel or content is unknown; nothing is changed then
bool castVote(sqlite::Connection& connection, std::string_view user, Subject subject, std::int64_t target, Vote vote,
              Instant now);

VoteCount countVotes(sqlite::Connection& connection, std::string_view user, Subject subject, std::int64_t target);

/// Records that the user tuned to a channel. Only the latest tunings are kept.
/// @param content  the content chosen there; 0: whatever is on
/// @return the number of the user's tunings since the history began; 0 if the channel has never existed
std::int64_t addTuning(sqlite::Connection& connection, std::string_view user, std::int64_t source, std::int64_t content,
                       Instant now);

/// Deletes the user's tunings and votes up to and including that moment. Favourites, the headend and the agreement
/// stay.
void resetHistory(sqlite::Connection& connection, std::string_view user, Instant until);

inline constexpr const char* kNoAgreement = "none";
inline constexpr const char* kAgreed = "agreed";
inline constexpr const char* kRevoked = "revoked";

struct Agreement {
    std::string status = kNoAgreement;  // kNoAgreement, kAgreed or kRevoked
    bool anonymous = false;             // the user wishes to stay anonymous
};

Agreement agreementOf(sqlite::Connection& connection, std::string_view user);
void setAgreement(sqlite::Connection& connection, std::string_view user, std::string_view status);
void setAnonymous(sqlite::Connection& connection, std::string_view user, bool anonymous);

}  // namespace corvaned::viewer
