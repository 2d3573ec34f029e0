// `corvaned import-places`: the operator's own places, headends, line-ups and apps instead of the built-in ones.
#include <memory>

#include <fmt/format.h>

#include "ByteSource.h"
#include "CombinedDatabase.h"
#include "Commands.h"
#include "GuideFile.h"
#include "NewGuide.h"
#include "OperatorError.h"
#include "PlacesImport.h"

namespace corvaned {
namespace {

struct PlacesArguments {
    std::string database;
    std::string viewers;
    std::string file;
};

std::string readPlaces(const std::string& path)
{
    constexpr std::size_t kMost = 64 << 20;
    constexpr std::size_t kPiece = 1 << 16;
    const std::unique_ptr<ByteSource> source = openFile(path);
    std::string content;
    std::size_t used = 0;
    for (std::size_t got = 1; got > 0; used += got) {
        if (used > kMost) {
            throw OperatorError(fmt::format("{} is longer than 64 MiB; is it the right file?", path));
        }
        content.resize(used + kPiece);
        got = source->read(content.data() + used, kPiece);
    }
    content.resize(used);
    return content;
}

int runImportPlaces(const PlacesArguments& arguments)
{
    const std::string content = readPlaces(arguments.file);
    const auto warn = [](const std::string& line) { fmt::print(stderr, "{}\n", line); };
    splitCombinedDatabase(arguments.database, arguments.viewers, warn);
    openGuide(arguments.database);  // reports a missing one
    NewGuide made(arguments.database, NewGuide::Begin::Whole, warn);
    sqlite::Transaction transaction(made.connection(), sqlite::Transaction::Kind::Write);
    const PlacesReport report = importPlaces(made.connection(), content, arguments.file);
    transaction.commit();
    made.place();
    fmt::print("{}: {}, {}, {}, {}\n", arguments.file, counted(report.headends, "headend", "headends"),
               counted(report.cities, "city", "cities"), counted(report.postalCodes, "postal code", "postal codes"),
               counted(report.apps, "app", "apps"));
    return kDone;
}

}  // namespace

Command addImportPlaces(CLI::App& app)
{
    const auto arguments = std::make_shared<PlacesArguments>();
    CLI::App* const import =
        app.add_subcommand("import-places", "Replace the built-in places, headends and apps by those of a CSV file.");
    import->add_option("--db", arguments->database, "Change the guide in this file, made by 'corvaned import'")
        ->required();
    addViewersOption(*import, arguments->viewers);
    import->add_option("places", arguments->file, "Read this CSV file; docs/running-the-service.md describes its rows")
        ->required();
    return {import, [arguments] { return runImportPlaces(*arguments); }};
}

}  // namespace corvaned
