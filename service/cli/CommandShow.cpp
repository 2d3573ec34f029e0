// `corvaned stats`, `users` and `export`: what the guide and the viewers' store contain.
#include "Commands.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>

#include <fmt/format.h>

#include "Export.h"
#include "GuideFile.h"
#include "OperatorError.h"
#include "Viewer.h"
#include "ViewerStore.h"

namespace corvaned {
namespace {

constexpr const char* kGuideFacts = R"sql(
    SELECT (SELECT count(*) FROM channel) AS channels, (SELECT count(*) FROM airing) AS airings,
           (SELECT count(DISTINCT content_id) FROM airing) AS contents, (SELECT count(*) FROM genre) AS genres,
           (SELECT min(start) FROM airing) AS first, (SELECT max(stop) FROM airing) AS last
)sql";

int showStats(const std::string& database)
{
    const std::unique_ptr<sqlite::Connection> guide = openGuide(database);
    sqlite::Query facts(*guide, kGuideFacts);
    facts.next();
    fmt::print("channels    {}\nprogrammes  {}\ncontents    {}\ngenres      {}\n", facts.number("channels"),
               facts.number("airings"), facts.number("contents"), facts.number("genres"));
    if (facts.number("airings") > 0) {
        fmt::print("from        {}\nto          {}\n", formatUtc(facts.number("first")),
                   formatUtc(facts.number("last")));
    }
    fmt::print("size        {} bytes\n", std::filesystem::file_size(database));
    return kDone;
}

// Before the first start of the service there is no viewers' file.
bool hasNoViewersYet(const std::string& database, const std::string& viewers)
{
    std::error_code failed;
    if (!viewers.empty() || std::filesystem::exists(viewersBeside(database), failed)) {
        return false;
    }
    openGuide(database);  // reports a missing one, and one that holds viewers' data itself
    return true;
}

int showUsers(const std::string& database, const std::string& viewers)
{
    constexpr const char* kRow = "{:<32}  {:>8}  {:>10}  {:>5}  {:>7}\n";
    if (hasNoViewersYet(database, viewers)) {
        fmt::print("no viewers yet; 'corvaned serve' makes {}\n", viewersBeside(database));
        return kDone;
    }
    const std::unique_ptr<ViewerStore> store = openViewersReadOnly(viewers.empty() ? viewersBeside(database) : viewers);
    fmt::print(kRow, "user", "sessions", "favourites", "likes", "tunings");
    for (const viewer::Summary& user : viewer::summaries(*store, systemNow())) {
        fmt::print(kRow, user.user, user.sessions, user.favorites, user.likes, user.tunings);
    }
    return kDone;
}

[[noreturn]] void failWriting(const std::string& path, int error)
{
    throw OperatorError(fmt::format("cannot write {}: {}; no complete listing was written",
                                    path.empty() ? "to standard output" : path, std::strerror(error)));
}

void exportTo(std::FILE* file, sqlite::Connection& guide, const std::string& path)
{
    exportListing(guide, [&](std::string_view piece) {
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
    const std::unique_ptr<sqlite::Connection> guide = openGuide(database);
    if (output.empty() || output == "-") {
        exportTo(stdout, *guide, "");
        return kDone;
    }
    const std::string partial = output + ".part";
    std::FILE* const file = std::fopen(partial.c_str(), "wbe");
    if (file == nullptr) {
        failWriting(output, errno);
    }
    try {
        exportTo(file, *guide, output);
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
    command.add_option("--db", *database, "Read the guide in this file, made by 'corvaned import'")->required();
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
    const auto database = std::make_shared<std::string>();
    const auto viewers = std::make_shared<std::string>();
    users->add_option("--db", *database, "Read the users of this guide file from viewers.db in its folder")->required();
    addViewersOption(*users, *viewers);
    return {users, [database, viewers] { return showUsers(*database, *viewers); }};
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
