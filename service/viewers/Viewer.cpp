#include "Viewer.h"

#include <algorithm>
#include <map>
#include <tuple>

#include "Recommend.h"

namespace corvaned::viewer {
namespace {

constexpr std::int64_t kTuningsKept = 2000;    // per user; half a year at ten a day
constexpr std::int64_t kFavoritesKept = 1000;  // per user and subject
constexpr std::int64_t kVotesKept = 2000;      // likewise

constexpr std::string_view kRemembered =
    "SELECT content_id, series_id, type, season, episode, year, image_url, image_width, image_height, lang, title, "
    "ep_title FROM remembered_content WHERE content_id = ?";
constexpr std::string_view kInGuide =
    "SELECT content_id, series_id, type, season, episode, year, image_url, image_width, image_height, lang, title, "
    "ep_title FROM airing WHERE content_id = ? ORDER BY start DESC LIMIT 1";

template <typename Row>
RememberedContent contentOf(const Row& row)
{
    const auto text = [&row](const char* column) { return std::string(row.text(column)); };
    const auto number = [&row](const char* column) { return static_cast<int>(row.number(column)); };
    return {row.number("content_id"),
            row.number("series_id"),
            text("type"),
            number("season"),
            number("episode"),
            number("year"),
            text("image_url"),
            row.number("image_width"),
            row.number("image_height"),
            text("lang"),
            text("title"),
            text("ep_title")};
}

// What the guide says about a content; nothing if it has dropped it.
std::optional<RememberedContent> inGuide(sqlite::Connection& guide, std::int64_t content)
{
    sqlite::Query row(guide, kInGuide);
    return row.bind(content).next() ? std::make_optional(contentOf(row)) : std::nullopt;
}

void remember(SqlConnection& connection, const RememberedContent& content)
{
    SqlQuery(connection, R"sql(
        INSERT INTO remembered_content (content_id, series_id, type, season, episode, year, image_url, image_width,
                                        image_height, lang, title, ep_title)
        VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)
        ON CONFLICT (content_id) DO UPDATE
        SET series_id = excluded.series_id, type = excluded.type, season = excluded.season, episode = excluded.episode,
            year = excluded.year, image_url = excluded.image_url, image_width = excluded.image_width,
            image_height = excluded.image_height, lang = excluded.lang, title = excluded.title,
            ep_title = excluded.ep_title
    )sql")
        .bind(content.content, content.series, content.type, std::int64_t{content.season},
              std::int64_t{content.episode}, std::int64_t{content.year}, content.imageUrl, content.imageWidth,
              content.imageHeight, content.lang, content.title, content.episodeTitle)
        .run();
}

bool isRemembered(SqlConnection& connection, std::int64_t content)
{
    return SqlQuery(connection, "SELECT 1 AS one FROM remembered_content WHERE content_id = ?").bind(content).next();
}

bool isInGuide(sqlite::Connection& guide, Subject subject, std::int64_t target)
{
    constexpr std::string_view kLookups[] = {"SELECT 1 FROM source WHERE id = ?",
                                             "SELECT 1 FROM airing WHERE content_id = ?",
                                             "SELECT 1 FROM person WHERE id = ?"};
    return sqlite::Query(guide, kLookups[static_cast<std::size_t>(subject)]).bind(target).next();
}

// Runs `change` if the guide has the target or a copy of it is kept. A content that the guide has is copied, so that it
// can be shown after the guide has dropped it.
bool writeAbout(ViewerStore& viewers, sqlite::Connection& guide, Subject subject, std::int64_t target,
                const ViewerStore::Work& change)
{
    const std::optional<RememberedContent> content =
        subject == Subject::Content ? inGuide(guide, target) : std::nullopt;
    bool isKnown = content || (subject != Subject::Content && isInGuide(guide, subject, target));
    if (!isKnown && subject != Subject::Content) {
        return false;
    }
    viewers.write([&](SqlConnection& connection) {
        isKnown = isKnown || isRemembered(connection, target);
        if (!isKnown) {
            return;
        }
        if (content) {
            remember(connection, *content);
        }
        change(connection);
    });
    return isKnown;
}

// Deletes the user's oldest favourites or votes on such subjects if there are more than `most`, but keeps the one on
// the target.
void keepLatest(SqlConnection& connection, const std::string& table, std::string_view user, Subject subject,
                std::int64_t target, std::int64_t most)
{
    const std::string ofUser = " FROM " + table + " WHERE user_id = ? AND kind = ? ";
    std::int64_t held = 0;
    {
        SqlQuery count(connection, "SELECT count(*) AS held" + ofUser);
        count.bind(user, nameOf(subject)).next();
        held = count.number("held");
    }
    if (held > most) {
        SqlQuery(connection, "DELETE" + ofUser + "AND target IN (SELECT target" + ofUser +
                                 "AND target <> ? ORDER BY since, target LIMIT ?)")
            .bind(user, nameOf(subject), user, nameOf(subject), target, held - most)
            .run();
    }
}

struct FavoriteRow {
    Favorite favorite;
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
    return std::tie(left.since, left.favorite.target) < std::tie(right.since, right.favorite.target);
}

// The favourites without their contents.
std::vector<FavoriteRow> favoriteTargets(ViewerStore& viewers, std::string_view user)
{
    std::vector<FavoriteRow> found;
    viewers.read([&](SqlConnection& connection) {
        found.clear();
        SqlQuery rows(connection, R"sql(
            SELECT since, content_id, title
            FROM favorite JOIN remembered_content ON content_id = target WHERE user_id = ? AND kind = 'content'
        )sql");
        rows.bind(user);
        while (rows.next()) {
            const std::int64_t since = rows.number("since");
            const std::int64_t target = rows.number("content_id");
            found.push_back({{target, {}}, since, std::string(rows.text("title")), 0});
        }
    });
    return found;
}

// Leaves out those that are no longer remembered.
void addContents(ViewerStore& viewers, std::vector<Favorite>& favorites)
{
    std::vector<Favorite> found;
    viewers.read([&](SqlConnection& connection) {
        found.clear();
        for (const Favorite& favorite : favorites) {
            SqlQuery row(connection, kRemembered);
            if (row.bind(favorite.target).next()) {
                found.push_back({favorite.target, contentOf(row)});
            }
        }
    });
    favorites = std::move(found);
}

std::vector<FavoriteRow> favoriteContents(ViewerStore& viewers, std::string_view user)
{
    std::vector<FavoriteRow> found;
    viewers.read([&](SqlConnection& connection) {
        found.clear();
        SqlQuery rows(connection, R"sql(
            SELECT since, content_id, series_id, type, season, episode, year, image_url, image_width, image_height,
                   lang, title, ep_title
            FROM favorite JOIN remembered_content ON content_id = target WHERE user_id = ? AND kind = 'content'
        )sql");
        rows.bind(user);
        while (rows.next()) {
            const std::int64_t since = rows.number("since");
            RememberedContent content = contentOf(rows);
            const std::int64_t target = content.content;
            std::string title = content.title;
            found.push_back({{target, std::move(content)}, since, std::move(title), 0});
        }
    });
    return found;
}

std::vector<FavoriteRow> favoriteChannels(ViewerStore& viewers, sqlite::Connection& guide, std::string_view user)
{
    std::map<std::int64_t, std::int64_t> times;  // by source
    viewers.read([&](SqlConnection& connection) {
        times.clear();
        SqlQuery rows(connection, "SELECT target, since FROM favorite WHERE user_id = ? AND kind = 'channel'");
        rows.bind(user);
        while (rows.next()) {
            times[rows.number("target")] = rows.number("since");
        }
    });
    std::vector<FavoriteRow> found;
    std::int64_t position = 0;
    guide::forEachChannel(guide, [&](const guide::Channel& channel) {
        ++position;
        if (const auto time = times.find(channel.source); time != times.end()) {
            found.push_back({{channel.source, {}}, time->second, std::string(channel.name), position});
        }
    });
    return found;
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

guide::Programme RememberedContent::programme() const
{
    guide::Programme copy;
    copy.content = content;
    copy.series = series;
    copy.type = type;
    copy.season = season;
    copy.episode = episode;
    copy.year = year;
    copy.image = {imageUrl, imageWidth, imageHeight};
    copy.lang = lang;
    copy.title = title;
    copy.episodeTitle = episodeTitle;
    return copy;
}

bool addFavorite(ViewerStore& viewers, sqlite::Connection& guide, std::string_view user, Subject subject,
                 std::int64_t target, Instant now)
{
    return writeAbout(viewers, guide, subject, target, [&](SqlConnection& connection) {
        SqlQuery(connection,
                 "INSERT INTO favorite (user_id, kind, target, since) VALUES (?, ?, ?, ?) ON CONFLICT DO NOTHING")
            .bind(user, nameOf(subject), target, now)
            .run();
        keepLatest(connection, "favorite", user, subject, target, kFavoritesKept);
    });
}

bool removeFavorite(ViewerStore& viewers, std::string_view user, Subject subject, std::int64_t target)
{
    bool wasFavorite = false;
    viewers.write([&](SqlConnection& connection) {
        wasFavorite = SqlQuery(connection, "DELETE FROM favorite WHERE user_id = ? AND kind = ? AND target = ?")
                          .bind(user, nameOf(subject), target)
                          .run() > 0;
    });
    return wasFavorite;
}

bool isFavorite(ViewerStore& viewers, std::string_view user, Subject subject, std::int64_t target)
{
    bool is = false;
    viewers.read([&](SqlConnection& connection) {
        is = SqlQuery(connection, "SELECT 1 AS one FROM favorite WHERE user_id = ? AND kind = ? AND target = ?")
                 .bind(user, nameOf(subject), target)
                 .next();
    });
    return is;
}

std::vector<Favorite> favorites(ViewerStore& viewers, sqlite::Connection& guide, std::string_view user, Subject subject,
                                FavoriteOrder order, bool descending, std::int64_t start, std::int64_t count)
{
    // Reading the contents of a short page one by one is faster than reading all of them.
    constexpr std::int64_t kShort = 200;
    const bool isShortPage = subject == Subject::Content && count <= kShort;
    std::vector<FavoriteRow> found = subject == Subject::Channel ? favoriteChannels(viewers, guide, user)
                                     : isShortPage               ? favoriteTargets(viewers, user)
                                                                 : favoriteContents(viewers, user);
    std::vector<FavoriteRow*> ordered;  // the rows are large
    ordered.reserve(found.size());
    for (FavoriteRow& row : found) {
        ordered.push_back(&row);
    }
    std::sort(ordered.begin(), ordered.end(), [&](const FavoriteRow* left, const FavoriteRow* right) {
        return descending ? comesBefore(*right, *left, order) : comesBefore(*left, *right, order);
    });
    std::vector<Favorite> page;
    for (auto place = static_cast<std::size_t>(start); place < ordered.size() && count > 0; ++place, --count) {
        page.push_back(std::move(ordered[place]->favorite));
    }
    if (isShortPage) {
        addContents(viewers, page);
    }
    return page;
}

bool visitContent(ViewerStore& viewers, sqlite::Connection& guide, std::int64_t content, Instant now,
                  std::string_view lang, const guide::ProgrammeVisit& visit)
{
    if (guide::nextAiring(guide, content, now, lang, visit)) {
        return true;
    }
    std::optional<RememberedContent> remembered;
    viewers.read([&](SqlConnection& connection) {
        remembered.reset();
        SqlQuery row(connection, kRemembered);
        if (row.bind(content).next()) {
            remembered = contentOf(row);
        }
    });
    if (remembered) {
        visit(remembered->programme());
    }
    return remembered.has_value();
}

bool castVote(ViewerStore& viewers, sqlite::Connection& guide, std::string_view user, Subject subject,
              std::int64_t target, Vote vote, Instant now)
{
    return writeAbout(viewers, guide, subject, target, [&](SqlConnection& connection) {
        if (vote == Vote::None) {
            SqlQuery(connection, "DELETE FROM vote WHERE kind = ? AND target = ? AND user_id = ?")
                .bind(nameOf(subject), target, user)
                .run();
            return;
        }
        SqlQuery(connection, R"sql(
            INSERT INTO vote (kind, target, user_id, likes, since) VALUES (?, ?, ?, ?, ?)
            ON CONFLICT (kind, target, user_id) DO UPDATE SET likes = excluded.likes, since = excluded.since
        )sql")
            .bind(nameOf(subject), target, user, std::int64_t{vote == Vote::Like}, now)
            .run();
        keepLatest(connection, "vote", user, subject, target, kVotesKept);
    });
}

VoteCount countVotes(ViewerStore& viewers, std::string_view user, Subject subject, std::int64_t target)
{
    VoteCount count;
    viewers.read([&](SqlConnection& connection) {
        SqlQuery row(connection, R"sql(
            SELECT sum(likes) AS likes, sum(1 - likes) AS dislikes,
                   max(CASE WHEN user_id = ? THEN 2 - likes ELSE 0 END) AS own
            FROM vote WHERE kind = ? AND target = ?
        )sql");
        if (row.bind(user, nameOf(subject), target).next()) {
            count = {row.number("likes"), row.number("dislikes"), static_cast<Vote>(row.number("own"))};
        }
    });
    return count;
}

std::int64_t addTuning(ViewerStore& viewers, sqlite::Connection& guide, std::string_view user, std::int64_t source,
                       std::int64_t content, Instant now)
{
    if (!isInGuide(guide, Subject::Channel, source)) {
        return 0;
    }
    if (content == 0) {
        guide::onAir(guide, source, now, {}, [&](const guide::Programme& programme) { content = programme.content; });
    }
    const std::optional<RememberedContent> known = inGuide(guide, content);
    std::int64_t seq = 0;
    viewers.write([&](SqlConnection& connection) {
        if (known) {
            remember(connection, *known);
        }
        connection.lockUser(user);
        {
            SqlQuery last(connection, "SELECT coalesce(max(seq), 0) + 1 AS seq FROM tuning WHERE user_id = ?");
            last.bind(user).next();
            seq = last.number("seq");
        }
        SqlQuery(connection, "INSERT INTO tuning (user_id, seq, at, source_id, content_id) VALUES (?, ?, ?, ?, ?)")
            .bind(user, seq, now, source, content)
            .run();
        SqlQuery(connection, "DELETE FROM tuning WHERE user_id = ? AND seq <= ?").bind(user, seq - kTuningsKept).run();
        recommend::forgetOldCounts(connection, now);
    });
    return seq;
}

void resetHistory(ViewerStore& viewers, std::string_view user, Instant until)
{
    viewers.write([&](SqlConnection& connection) {
        connection.lockUser(user);
        SqlQuery(connection, "DELETE FROM tuning WHERE user_id = ? AND at <= ?").bind(user, until).run();
        SqlQuery(connection, "DELETE FROM vote WHERE user_id = ? AND since <= ?").bind(user, until).run();
    });
}

Agreement agreementOf(ViewerStore& viewers, std::string_view user)
{
    Agreement agreement;
    viewers.read([&](SqlConnection& connection) {
        SqlQuery row(connection, "SELECT status, anonymous FROM agreement WHERE user_id = ?");
        if (row.bind(user).next()) {
            agreement = {std::string(row.text("status")), row.number("anonymous") != 0};
        }
    });
    return agreement;
}

void setAgreement(ViewerStore& viewers, std::string_view user, std::string_view status)
{
    viewers.write([&](SqlConnection& connection) {
        SqlQuery(connection,
                 "INSERT INTO agreement (user_id, status, anonymous) VALUES (?, ?, 0) "
                 "ON CONFLICT (user_id) DO UPDATE SET status = excluded.status")
            .bind(user, status)
            .run();
    });
}

void setAnonymous(ViewerStore& viewers, std::string_view user, bool anonymous)
{
    viewers.write([&](SqlConnection& connection) {
        SqlQuery(connection,
                 "INSERT INTO agreement (user_id, status, anonymous) VALUES (?, ?, ?) "
                 "ON CONFLICT (user_id) DO UPDATE SET anonymous = excluded.anonymous")
            .bind(user, std::string_view(kNoAgreement), std::int64_t{anonymous})
            .run();
    });
}

void saveHeadend(ViewerStore& viewers, std::string_view user, const HeadendChoice& choice)
{
    viewers.write([&](SqlConnection& connection) {
        SqlQuery(connection, R"sql(
            INSERT INTO saved_headend (user_id, headend_id, device) VALUES (?, ?, ?)
            ON CONFLICT (user_id) DO UPDATE SET headend_id = excluded.headend_id, device = excluded.device
        )sql")
            .bind(user, choice.headend, choice.device)
            .run();
    });
}

std::optional<HeadendChoice> loadHeadend(ViewerStore& viewers, std::string_view user)
{
    std::optional<HeadendChoice> choice;
    viewers.read([&](SqlConnection& connection) {
        choice.reset();
        SqlQuery row(connection, "SELECT headend_id, device FROM saved_headend WHERE user_id = ?");
        if (row.bind(user).next()) {
            choice = {std::string(row.text("headend_id")), std::string(row.text("device"))};
        }
    });
    return choice;
}

std::vector<Summary> summaries(ViewerStore& viewers, Instant now)
{
    std::vector<Summary> users;
    viewers.read([&](SqlConnection& connection) {
        users.clear();
        SqlQuery rows(connection, R"sql(
            WITH known AS (
                SELECT user_id FROM session WHERE expires > ?1 UNION SELECT user_id FROM favorite
                UNION SELECT user_id FROM vote UNION SELECT user_id FROM tuning
            )
            SELECT user_id,
                   (SELECT count(*) FROM session WHERE session.user_id = known.user_id AND expires > ?1) AS sessions,
                   (SELECT count(*) FROM favorite WHERE favorite.user_id = known.user_id) AS favorites,
                   (SELECT count(*) FROM vote WHERE vote.user_id = known.user_id AND likes > 0) AS liked,
                   (SELECT count(*) FROM tuning WHERE tuning.user_id = known.user_id) AS tunings
            FROM known ORDER BY user_id
        )sql");
        rows.bind(now);
        while (rows.next()) {
            users.push_back({std::string(rows.text("user_id")), rows.number("sessions"), rows.number("favorites"),
                             rows.number("liked"), rows.number("tunings")});
        }
    });
    return users;
}

}  // namespace corvaned::viewer
