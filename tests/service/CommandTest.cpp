// The program as a shell sees it: its output, its exit code, its signals.
#include <csignal>
#include <filesystem>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ServiceProgram.h"
#include "TestSupport.h"

namespace corvaned {
namespace {

using test::ServiceProgram;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::StartsWith;

struct UsageRow {
    std::vector<std::string> arguments;
    int code;
    const char* message;
};

TEST(Command, WrongUseAndWrongFilesEndWithTheirCodes)
{
    TemporaryDatabase folder;
    const std::string db = folder.path();
    const std::string broken = db + ".broken.xml";
    test::writeFile(broken, "<tv>\n<programme>\n");
    const UsageRow rows[] = {
        {{}, 2, "A subcommand is required"},
        {{"fly"}, 2, "subcommand"},
        {{"import"}, 2, "--db is required"},
        {{"import", "--db", db}, 2, "listing is required"},
        {{"serve", "--tls-cert", "x"}, 2, "--tls-cert requires --tls-key"},
        {{"serve", "--session-hours", "0"}, 2, "--session-hours"},
        {{"serve", "--unheard"}, 2, "--unheard"},
        {{"import", "--db", db, "/nonexistent.xml"},
         1,
         "corvaned: cannot open listing /nonexistent.xml: No such file or directory\n"},
        {{"import", "--db", db, broken}, 1, ".broken.xml:3: not well-formed: "},
        {{"import", "--db", "/nonexistent/x.db", broken}, 1, "corvaned: cannot open database /nonexistent/x.db: "},
        {{"serve", "--db", db}, 1, "corvaned: there is no database "},
        {{"serve", "--db", broken}, 1, "file is not a database"},
        {{"serve", "--listen", "nowhere"}, 1, "corvaned: 'nowhere' is not an address to listen on"},
        {{"serve", "--listen", "203.0.113.1:1", "--allow-anonymous"}, 1, "cannot listen on 203.0.113.1:1: "},
        {{"serve", "--zone", "Mars/Olympus"}, 1, "corvaned: zone 'Mars/Olympus' is not known"},
        {{"serve", "--tls-cert", "/none", "--tls-key", "/none"}, 1, "corvaned: cannot read certificate /none: "},
    };
    for (const UsageRow& row : rows) {
        ServiceProgram program(row.arguments);
        EXPECT_EQ(program.readLine(), "") << row.message;
        EXPECT_EQ(program.wait(), row.code) << row.message;
        EXPECT_THAT(program.errors(), HasSubstr(row.message));
        if (row.code == 1) {
            const std::string errors = program.errors();
            EXPECT_EQ(std::count(errors.begin(), errors.end(), '\n'), 1) << errors;
        }
        EXPECT_FALSE(std::filesystem::exists(db)) << row.message;
    }
    ServiceProgram help({"--help"});
    EXPECT_EQ(help.wait(), 0);
}

TEST(Command, ImportReportsItsResult)
{
    TemporaryDatabase folder;
    const std::string listing = folder.path() + ".xml";
    test::writeFile(listing, test::testData("evening.xml"));
    for (const char* expected :
         {" now holds 2 channels and 4 programmes from 2026-11-20T18:00:00Z to 2026-11-20T22:00:00Z (",
          " holds this guide already: nothing changed ("}) {
        ServiceProgram program({"import", "--db", folder.path(), listing});
        EXPECT_EQ(program.readLine(), listing + ": 2 channels, 4 programmes");
        EXPECT_THAT(program.readLine(), HasSubstr(expected));
        EXPECT_EQ(program.wait(), 0);
        EXPECT_EQ(program.errors(), "");
    }
}

TEST(Command, ImportsAnOperatorsPlaces)
{
    TemporaryDatabase folder;
    const std::string listing = folder.path() + ".xml";
    const std::string places = folder.path() + ".places.csv";
    test::writeFile(listing, test::testData("evening.xml"));
    test::writeFile(places, "headend,one,Our Cable,,,,,,\nchannel,two,1,north.example\n");
    ServiceProgram early({"import-places", "--db", folder.path(), places});
    EXPECT_EQ(early.wait(), 1);
    EXPECT_THAT(early.errors(), StartsWith("corvaned: there is no database "));
    ServiceProgram import({"import", "--db", folder.path(), listing});
    EXPECT_EQ(import.wait(), 0);

    ServiceProgram faulty({"import-places", "--db", folder.path(), places});
    EXPECT_EQ(faulty.wait(), 1);
    EXPECT_EQ(faulty.errors(), "corvaned: " + places + ":2: no row above names a headend 'two'; nothing is imported\n");
    test::writeFile(places, "headend,one,Our Cable,,,,,,\nchannel,one,1,north.example\n");
    ServiceProgram good({"import-places", "--db", folder.path(), places});
    EXPECT_EQ(good.readLine(), places + ": 1 headends, 0 cities, 0 postal codes, 0 apps");
    EXPECT_EQ(good.wait(), 0);
    Store store(folder.path(), Store::Mode::Existing);
    EXPECT_THAT(test::rows(store, "SELECT id, name FROM headend"), ::testing::ElementsAre("one|Our Cable"));
}

TEST(Command, ShowsAndExportsWhatIsStored)
{
    TemporaryDatabase folder;
    const std::string listing = folder.path() + ".xml";
    const std::string copy = folder.path() + ".copy.xml";
    test::writeFile(listing, test::testData("evening.xml"));
    ServiceProgram import({"import", "--db", folder.path(), listing});
    EXPECT_EQ(import.wait(), 0);

    ServiceProgram stats({"stats", "--db", folder.path()});
    EXPECT_EQ(stats.readLine(), "channels    2");
    EXPECT_EQ(stats.readLine(), "programmes  4");
    EXPECT_THAT(stats.readAll(), HasSubstr("from        2026-11-20T18:00:00Z\nto          2026-11-20T22:00:00Z\nsize"));
    EXPECT_EQ(stats.wait(), 0);

    {
        Store store(folder.path(), Store::Mode::Existing);
        (*store.lease())
            .execute(
                "INSERT INTO session VALUES ('s', 'ann', 'k', 9999999999), ('t', 'bob', 'k', 1);"
                "INSERT INTO favorite VALUES ('ann', 'channel', 1, 0), ('cid', 'channel', 1, 0);"
                "INSERT INTO vote VALUES ('content', 1, 'ann', 1, 0), ('content', 2, 'ann', 0, 0);"
                "INSERT INTO tuning VALUES ('ann', 1, 0, 1, 0), ('ann', 2, 0, 1, 0), ('ann', 3, 0, 1, 0)");
    }
    ServiceProgram users({"users", "--db", folder.path()});
    EXPECT_THAT(users.readAll(),
                MatchesRegex("user +sessions +favourites +likes +tunings\nann +1 +1 +1 +3\ncid +0 +1 +0 +0\n"));
    EXPECT_EQ(users.wait(), 0);

    ServiceProgram printed({"export", "--db", folder.path()});
    const std::string text = printed.readAll();
    EXPECT_THAT(text, StartsWith("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<tv "));
    ServiceProgram written({"export", "--db", folder.path(), "--output", copy});
    EXPECT_EQ(written.wait(), 0);
    EXPECT_EQ(test::readFile(copy), text);

    ServiceProgram nowhere({"export", "--db", folder.path(), "--output", "/nonexistent/x.xml"});
    EXPECT_EQ(nowhere.wait(), 1);
    EXPECT_THAT(nowhere.errors(), StartsWith("corvaned: cannot write /nonexistent/x.xml: No such file or directory"));
}

TEST(Command, ServeAnnouncesItsAddressAndEndsOnEitherSignal)
{
    for (const int signal : {SIGTERM, SIGINT}) {
        ServiceProgram program({"serve", "--listen", "127.0.0.1:0"});
        EXPECT_THAT(program.readLine(), StartsWith("corvaned listening on http://127.0.0.1:"));
        program.signal(signal);
        EXPECT_EQ(program.wait(), 0);
    }
}

TEST(Command, TheSamplesDatabaseIsRemovedAtTheEnd)
{
    TemporaryDatabase folder;
    const std::string scratch = std::filesystem::path(folder.path()).parent_path().string() + "/scratch";
    std::filesystem::create_directory(scratch);
    setenv("TMPDIR", scratch.c_str(), 1);
    ServiceProgram program({"serve", "--listen", "127.0.0.1:0"});
    unsetenv("TMPDIR");
    program.readLine();
    const auto sampleFolders = [&] {
        return std::count_if(std::filesystem::directory_iterator(scratch), std::filesystem::directory_iterator(),
                             [](const auto& entry) { return std::filesystem::exists(entry.path() / "guide.db"); });
    };
    EXPECT_EQ(sampleFolders(), 1);
    program.signal(SIGTERM);
    EXPECT_EQ(program.wait(), 0);
    EXPECT_EQ(sampleFolders(), 0);
}

}  // namespace
}  // namespace corvaned
