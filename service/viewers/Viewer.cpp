#include "Viewer.h"

#include <algorithm>
#include <tuple>

#include "Recommend.h"

namespace corvaned::viewer {
namespace {

constexpr std::int64_t kTuningsKept = 2000;  // per user; half a year at ten a day

using sqlite::Query;
using sqlite::Transaction;

// Copies what the guide says about a content. If the guide has dropped the content, an earlier copy stays.
void remember(sqlite::Connection& connection, std::int64_t content)
{
    Query(connection, R"sql(
        INSERT OR REPLACE INTO remembered_content
        SELECT content_id, series_id, type, season, episode, year, image_url, image_width, image_height, lang, title,
               ep_title
        FROM airing WHERE content_id = ? ORDER BY start DESC LIMIT 1
    )sql")
        .bind(content)
        .run();
}

bool isKnown(sqlite::Connection& connection, Subject subject, std::int64_t target)
{
    constexpr std::string_view kLookups[] = {"SELECT 1 FROM source WHERE id = ?",
                                             "SELECT 1 FROM remembered_content WHERE content_id = ?",
                                             "SELECT 1 FROM person WHERE id = ?"};
    return Query(connection, kLookups[static_cast<std::size_t>(subject)]).bind(target).next();
}

// Copies a content that becomes a favourite, so that it can be shown after the guide has dropped it.
bool rememberKnown(sqlite::Connection& connection, Subject subject, std::int64_t target)
{
    if (subject == Subject::Content) {
        remember(connection, target);
    }
    return isKnown(connection, subject, target);
}

constexpr std::string_view kFavoriteChannels =
    "SELECT target, since, name AS title, position FROM favorite JOIN channel ON source_id = target "
    "WHERE user_id = ? AND kind = 'channel'";
constexpr std::string_view kFavoriteContents =
    "SELECT target, since, '' AS title, 0 AS position FROM favorite WHERE user_id = ? AND kind = 'content'";
constexpr std::string_view kFavoriteContentsWithTitles =
    "SELECT target, since, title, 0 AS position FROM favorite JOIN remembered_content ON content_id = target "
    "WHERE user_id = ? AND kind = 'content'";

std::string_view favoritesQuery(Subject subject, FavoriteOrder order)
{
    if (subject == Subject::Channel) {
        return kFavoriteChannels;
    }
    return order == FavoriteOrder::Title ? kFavoriteContentsWithTitles : kFavoriteContents;
}

// Reads the remembered copy, which has no channel and no times.
bool visitRemembered(sqlite::Connection& connection, std::int64_t content, const guide::ProgrammeVisit& visit)
{
    Query row(
        connection,
        "SELECT series_id, type, season, episode, year, image_url, image_width, image_height, lang, title, ep_title "
        "FROM remembered_content WHERE content_id = ?");
    if (!row.bind(content).next()) {
        return false;
    }
    guide::Programme programme;
    programme.content = content;
    programme.series = row.number("series_id");
    programme.type = row.text("type");
    programme.season = static_cast<int>(row.number("season"));
    programme.episode = static_cast<int>(row.number("episode"));
    programme.year = static_cast<int>(row.number("year"));
    programme.image = {row.text("image_url"), row.number("image_width"), row.number("image_height")};
    programme.lang = row.text("lang");
    programme.title = row.text("title");
    programme.episodeTitle = row.text("ep_title");
    visit(programme);
    return true;
}

struct FavoriteRow {
    std::int64_t target;
    std::int64_t since;
    std::string title;
    std::int64_t position;
};

bool comesBefore(const FavoriteRow& left, const FavoriteRow& right, FavoriteOrder order)
{
    if (order == FavoriteOrder::Title && left.title != right.title) {
        return left.title < right.title;
    }
    if (order == FavoriteOrder::Number && left.position != right.position) {
        return left.position < right.position;
    }
    return std::tie(left.since, left.target) < std::tie(right.since, right.target);
}

}  // namespace

std::string_view nameOf(Subject subject)
{
    switch (subject) {
        case Subject::Channel:
            return "channel";
        case Subject::Content:
            return "content";
        case Subject::Person:
            return "person";
    }
    return {};
}

bool addFavorite(sqlite::Connection& connection, std::string_view user, Subject subject, std::int64_t target,
                 Instant now)
{
    Transaction transaction(connection, Transaction::Kind::Write);
    if (!rememberKnown(connection, subject, target)) {
        return false;
    }
    Query(connection, "INSERT OR IGNORE INTO favorite VALUES (?, ?, ?, ?)")
        .bind(user, nameOf(subject), target, now)
        .run();
    transaction.commit();
    return true;
}

bool removeFavorite(sqlite::Connection& connection, std::string_view user, Subject subject, std::int64_t target)
{
    Query(connection, "DELETE FROM favorite WHERE user_id = ? AND kind = ? AND target = ?")
        .bind(user, nameOf(subject), target)
        .run();
    return connection.changes() > 0;
}

bool isFavorite(sqlite::Connection& connection, std::string_view user, Subject subject, std::int64_t target)
{
    Query row(connection, "SELECT 1 FROM favorite WHERE user_id = ? AND kind = ? AND target = ?");
    return row.bind(user, nameOf(subject), target).next();
}

std::vector<std::int64_t> favorites(sqlite::Connection& connection, std::string_view user, Subject subject,
                                    FavoriteOrder order, bool descending, std::int64_t start, std::int64_t count)
{
    std::vector<FavoriteRow> found;
    Query rows(connection, favoritesQuery(subject, order));
    rows.bind(user);
    while (rows.next()) {
        found.push_back(
            {rows.number("target"), rows.number("since"), std::string(rows.text("title")), rows.number("position")});
    }
    std::sort(found.begin(), found.end(), [&](const FavoriteRow& left, const FavoriteRow& right) {
        return descending ? comesBefore(right, left, order) : comesBefore(left, right, order);
    });
    std::vector<std::int64_t> targets;
    for (auto place = static_cast<std::size_t>(start); place < found.size() && count > 0; ++place, --count) {
        targets.push_back(found[place].target);
    }
    return targets;
}

bool visitContent(sqlite::Connection& connection, std::int64_t content, Instant now, std::string_view lang,
                  const guide::ProgrammeVisit& visit)
{
    return guide::nextAiring(connection, content, now, lang, visit) || visitRemembered(connection, content, visit);
}

void describeContents(sqlite::Connection& connection, const std::vector<std::int64_t>& contents, std::string_view lang,
                      const guide::ProgrammeVisit& visit)
{
    auto next = contents.begin();
    guide::describeContents(connection, contents, lang, [&](const guide::Programme& programme) {
        for (; *next != programme.content; ++next) {
            visitRemembered(connection, *next, visit);
        }
        visit(programme);
        ++next;
    });
    for (; next != contents.end(); ++next) {
        visitRemembered(connection, *next, visit);
    }
}

bool castVote(sqlite::Connection& connection, std::string_view user, Subject subject, std::int64_t target, Vote vote,
              Instant now)
{
    Transaction transaction(connection, Transaction::Kind::Write);
    if (!rememberKnown(connection, subject, target)) {
        return false;
    }
    if (vote == Vote::None) {
        Query(connection, "DELETE FROM vote WHERE kind = ? AND target = ? AND user_id = ?")
            .bind(nameOf(subject), target, user)
            .run();
    } else {
        Query(connection, "INSERT OR REPLACE INTO vote VALUES (?, ?, ?, ?, ?)")
            .bind(nameOf(subject), target, user, std::int64_t{vote == Vote::Like}, now)
            .run();
    }
    transaction.commit();
    return true;
}

VoteCount countVotes(sqlite::Connection& connection, std::string_view user, Subject subject, std::int64_t target)
{
    VoteCount count;
    Query row(connection, R"sql(
        SELECT sum(likes) AS likes, sum(1 - likes) AS dislikes,
               max(CASE WHEN user_id = ? THEN 2 - likes ELSE 0 END) AS own
        FROM vote WHERE kind = ? AND target = ?
    )sql");
    if (row.bind(user, nameOf(subject), target).next()) {
        count = {row.number("likes"), row.number("dislikes"), static_cast<Vote>(row.number("own"))};
    }
    return count;
}

std::int64_t addTuning(sqlite::Connection& connection, std::string_view user, std::int64_t source, std::int64_t content,
                       Instant now)
{
    Transaction transaction(connection, Transaction::Kind::Write);
    if (!isKnown(connection, Subject::Channel, source)) {
        return 0;
    }
    if (content == 0) {
        guide::onAir(connection, source, now, {},
                     [&](const guide::Programme& programme) { content = programme.content; });
    }
    remember(connection, content);
    std::int64_t seq = 0;
    {
        Query last(connection, "SELECT coalesce(max(seq), 0) + 1 FROM tuning WHERE user_id = ?");
        last.bind(user).next();
        seq = last.number(0);
    }
    Query(connection, "INSERT INTO tuning VALUES (?, ?, ?, ?, ?)").bind(user, seq, now, source, content).run();
    Query(connection, "DELETE FROM tuning WHERE user_id = ? AND seq <= ?").bind(user, seq - kTuningsKept).run();
    recommend::forgetOldCounts(connection, now);
    transaction.commit();
    return seq;
}

void resetHistory(sqlite::Connection& connection, std::string_view user, Instant until)
{
    Transaction transaction(connection, Transaction::Kind::Write);
    Query(connection, "DELETE FROM tuning WHERE user_id = ? AND at <= ?").bind(user, until).run();
    Query(connection, "DELETE FROM vote WHERE user_id = ? AND since <= ?").bind(user, until).run();
    transaction.commit();
}

Agreement agreementOf(sqlite::Connection& connection, std::string_view user)
{
    Agreement agreement;
    Query row(connection, "SELECT status, anonymous FROM agreement WHERE user_id = ?");
    if (row.bind(user).next()) {
        agreement = {std::string(row.text("status")), row.number("anonymous") != 0};
    }
    return agreement;
}

void setAgreement(sqlite::Connection& connection, std::string_view user, std::string_view status)
{
    Query(connection,
          "INSERT INTO agreement VALUES (?1, ?2, 0) ON CONFLICT (user_id) DO UPDATE SET status = excluded.status")
        .bind(user, status)
        .run();
}

void setAnonymous(sqlite::Connection& connection, std::string_view user, bool anonymous)
{
    Query(
        connection,
        "INSERT INTO agreement VALUES (?1, ?2, ?3) ON CONFLICT (user_id) DO UPDATE SET anonymous = excluded.anonymous")
        .bind(user, std::string_view(kNoAgreement), std::int64_t{anonymous})
        .run();
}

}  // namespace corvaned::viewer
