// `corvaned stats`, `users` and `export`: what a database contains.
#include "Commands.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>

#include <fmt/format.h>

#include "Export.h"
#include "OperatorError.h"
#include "Store.h"

namespace corvaned {
namespace {

constexpr const char* kGuideFacts = R"sql(
    SELECT (SELECT count(*) FROM channel) AS channels, (SELECT count(*) FROM airing) AS airings,
           (SELECT count(DISTINCT content_id) FROM airing) AS contents, (SELECT count(*) FROM genre) AS genres,
           (SELECT min(start) FROM airing) AS first, (SELECT max(stop) FROM airing) AS last
)sql";

// A row for each user with a session or stored data.
constexpr const char* kUsers = R"sql(
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
)sql";

std::uintmax_t sizeOf(const std::string& database)
{
    std::uintmax_t size = 0;
    for (const char* companion : {"", "-wal"}) {
        std::error_code failed;
        const std::uintmax_t bytes = std::filesystem::file_size(database + companion, failed);
        size += failed ? 0 : bytes;
    }
    return size;
}

int showStats(const std::string& database)
{
    Store store(database, Store::Mode::ReadOnly);
    const Store::Lease lease = store.lease();
    sqlite::Query facts(*lease, kGuideFacts);
    facts.next();
    fmt::print("channels    {}\nprogrammes  {}\ncontents    {}\ngenres      {}\n", facts.number("channels"),
               facts.number("airings"), facts.number("contents"), facts.number("genres"));
    if (facts.number("airings") > 0) {
        fmt::print("from        {}\nto          {}\n", formatUtc(facts.number("first")),
                   formatUtc(facts.number("last")));
    }
    fmt::print("size        {} bytes\n", sizeOf(database));
    return kDone;
}

int showUsers(const std::string& database)
{
    Store store(database, Store::Mode::ReadOnly);
    const Store::Lease lease = store.lease();
    constexpr const char* kRow = "{:<32}  {:>8}  {:>10}  {:>5}  {:>7}\n";
    fmt::print(kRow, "user", "sessions", "favourites", "likes", "tunings");
    sqlite::Query rows(*lease, kUsers);
    rows.bind(systemNow());
    while (rows.next()) {
        fmt::print(kRow, rows.text("user_id"), rows.number("sessions"), rows.number("favorites"), rows.number("liked"),
                   rows.number("tunings"));
    }
    return kDone;
}

[[noreturn]] void failWriting(const std::string& path, int error)
{
    throw OperatorError(fmt::format("cannot write {}: {}; no complete listing was written",
                                    path.empty() ? "to standard output" : path, std::strerror(error)));
}

void exportTo(std::FILE* file, Store& store, const std::string& path)
{
    const Store::Lease lease = store.lease();
    exportListing(*lease, [&](std::string_view piece) {
        if (std::fwrite(piece.data(), 1, piece.size(), file) != piece.size()) {
            failWriting(path, errno);
        }
    });
    if (std::fflush(file) != 0) {
        failWriting(path, errno);
    }
}

// Writes to a temporary file, which is renamed only when it is complete.
int runExport(const std::string& database, const std::string& output)
{
    Store store(database, Store::Mode::ReadOnly);
    if (output.empty() || output == "-") {
        exportTo(stdout, store, "");
        return kDone;
    }
    const std::string partial = output + ".part";
    std::FILE* const file = std::fopen(partial.c_str(), "wbe");
    if (file == nullptr) {
        failWriting(output, errno);
    }
    try {
        exportTo(file, store, output);
    } catch (...) {
        std::fclose(file);
        std::remove(partial.c_str());
        throw;
    }
    if (std::fclose(file) != 0 || std::rename(partial.c_str(), output.c_str()) != 0) {
        const int error = errno;
        std::remove(partial.c_str());
        failWriting(output, error);
    }
    return kDone;
}

std::shared_ptr<std::string> addDatabase(CLI::App& command)
{
    auto database = std::make_shared<std::string>();
    command.add_option("--db", *database, "Read this database, which 'corvaned import' has filled")->required();
    return database;
}

}  // namespace

Command addStats(CLI::App& app)
{
    CLI::App* const stats =
        app.add_subcommand("stats", "Show the number of channels and programmes and the time span.");
    return {stats, [database = addDatabase(*stats)] { return showStats(*database); }};
}

Command addUsers(CLI::App& app)
{
    CLI::App* const users =
        app.add_subcommand("users", "List the users with the number of their sessions, favourites, likes and tunings.");
    return {users, [database = addDatabase(*users)] { return showUsers(*database); }};
}

Command addExport(CLI::App& app)
{
    CLI::App* const command =
        app.add_subcommand("export", "Write the guide as an XMLTV listing, on standard output or to a file.");
    const auto output = std::make_shared<std::string>();
    command->add_option("--output", *output, "Write this file; - is standard output, the default");
    return {command, [database = addDatabase(*command), output] { return runExport(*database, *output); }};
}

}  // namespace corvaned
