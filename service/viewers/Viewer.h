// Viewers' data: favourites, votes, the history of tunings, the agreement to the terms. It belongs to the session's
// user and survives restarts and imports. Each writing function is one transaction. Functions first read the viewer's
// small lists, then the guide's data about them, so that no query needs both databases.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Clock.h"
#include "Programmes.h"
#include "Sqlite.h"
#include "ViewerStore.h"

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
/// Only the latest of each subject are kept.
/// @return false if neither the guide nor remembered_content has the target; nothing is changed then
bool addFavorite(ViewerStore& viewers, sqlite::Connection& guide, std::string_view user, Subject subject,
                 std::int64_t target, Instant now);

/// @return whether it was a favourite
bool removeFavorite(ViewerStore& viewers, std::string_view user, Subject subject, std::int64_t target);

bool isFavorite(ViewerStore& viewers, std::string_view user, Subject subject, std::int64_t target);

enum class FavoriteOrder : std::uint8_t {
    Time,    // by the time when they became favourites
    Title,   // by the title of a content or the name of a channel
    Number,  // by the number of a channel in the line-up; contents as Time
};

/// What the guide said about a content when a viewer named it, for use after the guide has dropped it.
struct RememberedContent {
    std::int64_t content = 0;
    std::int64_t series = 0;
    std::string type;
    int season = 0;
    int episode = 0;
    int year = 0;
    std::string imageUrl;
    std::int64_t imageWidth = 0;
    std::int64_t imageHeight = 0;
    std::string lang;
    std::string title;
    std::string episodeTitle;

    /// The same without a channel and times. Its strings are those of this object.
    guide::Programme programme() const;
};

struct Favorite {
    std::int64_t target = 0;
    RememberedContent content;  // of Subject::Content
};

/// The user's favourites. Channels that the line-up no longer has are left out.
/// @param start  the number of favourites to skip
/// @param count  the largest number of favourites to return
std::vector<Favorite> favorites(ViewerStore& viewers, sqlite::Connection& guide, std::string_view user, Subject subject,
                                FavoriteOrder order, bool descending, std::int64_t start, std::int64_t count);

/// Reads a content that a viewer has named: from the guide (guide::nextAiring) or, if the guide has dropped it, from
/// the remembered copy, which has no channel and no times.
/// @return whether the content is known
bool visitContent(ViewerStore& viewers, sqlite::Connection& guide, std::int64_t content, Instant now,
                  std::string_view lang, const guide::ProgrammeVisit& visit);

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

/// Replaces the user's vote on the target; Vote::None withdraws it. Only the latest on each subject are kept.
/// @return false if the channel or content is unknown; nothing is changed then
bool castVote(ViewerStore& viewers, sqlite::Connection& guide, std::string_view user, Subject subject,
              std::int64_t target, Vote vote, Instant now);

VoteCount countVotes(ViewerStore& viewers, std::string_view user, Subject subject, std::int64_t target);

/// Records that the user tuned to a channel. Only the latest tunings are kept.
/// @param content  the content chosen there; 0: whatever is on
/// @return the number of the user's tunings since the history began; 0 if the channel has never existed
std::int64_t addTuning(ViewerStore& viewers, sqlite::Connection& guide, std::string_view user, std::int64_t source,
                       std::int64_t content, Instant now);

/// Deletes the user's tunings and votes up to and including that moment. Favourites, the headend and the agreement
/// stay.
void resetHistory(ViewerStore& viewers, std::string_view user, Instant until);

inline constexpr const char* kNoAgreement = "none";
inline constexpr const char* kAgreed = "agreed";
inline constexpr const char* kRevoked = "revoked";

struct Agreement {
    std::string status = kNoAgreement;  // kNoAgreement, kAgreed or kRevoked
    bool anonymous = false;             // the user wishes to stay anonymous
};

Agreement agreementOf(ViewerStore& viewers, std::string_view user);
void setAgreement(ViewerStore& viewers, std::string_view user, std::string_view status);
void setAnonymous(ViewerStore& viewers, std::string_view user, bool anonymous);

/// The headend that a user has chosen.
struct HeadendChoice {
    std::string headend;
    std::string device;
};

void saveHeadend(ViewerStore& viewers, std::string_view user, const HeadendChoice& choice);
std::optional<HeadendChoice> loadHeadend(ViewerStore& viewers, std::string_view user);

/// What is kept of one user, in numbers.
struct Summary {
    std::string user;
    std::int64_t sessions = 0;  // that have not expired
    std::int64_t favorites = 0;
    std::int64_t likes = 0;
    std::int64_t tunings = 0;
};

/// The users with a session that has not expired or any stored data, by user.
std::vector<Summary> summaries(ViewerStore& viewers, Instant now);

}  // namespace corvaned::viewer
