// The program in a shell: its output, exit codes and signals.
#include <csignal>
#include <filesystem>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

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

TEST(Command, WrongUsageAndUnreadableFilesHaveTheirExitCodes)
{
    TemporaryDatabase folder;
    const std::string db = folder.path();
    const std::string broken = db + ".broken.xml";
    test::writeFile(broken, "<tv>\n<programme>\n");
    const std::string packed = db + ".bz2";
    test::writeFile(packed, "BZh91AY&SY");
    const std::string zstd = db + ".zst";
    test::writeFile(zstd, "\x28\xb5\x2f\xfd\x24");
    const std::string loop = db + ".loop";
    std::filesystem::create_symlink(loop, loop);
    const UsageRow rows[] = {
        {{}, 2, "corvaned: a command is required; see corvaned --help\n"},
        {{"fly"}, 2, "corvaned: unknown command 'fly'; see corvaned --help\n"},
        {{"--bogus"}, 2, "corvaned: unknown option '--bogus'; see corvaned --help\n"},
        {{"--bogus", "stats"}, 2, "corvaned: unknown option '--bogus'; see corvaned stats --help\n"},
        {{"stats", "--bogus"}, 2, "corvaned: unknown option '--bogus'; see corvaned stats --help\n"},
        {{"stats", "--db", db, "more"}, 2, "corvaned: unexpected argument 'more'; see corvaned stats --help\n"},
        {{"serve", "--max-body", "1e999"}, 2, "--max-body"},
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
        {{"import", "--db", db, packed}, 1, "bzip2 is not supported; unpack the listing first: bunzip2 FILE\n"},
        {{"import", "--db", db, zstd}, 1, "Zstandard is not supported; unpack the listing first: unzstd FILE\n"},
        {{"serve", "--db", db}, 1, "corvaned: there is no database "},
        {{"serve", "--db", broken}, 1, "file is not a database"},
        {{"stats", "--db", loop}, 1, ".loop: Too many levels of symbolic links\n"},
        {{"users", "--db", db, "--viewers", loop}, 1, ".loop: Too many levels of symbolic links\n"},
        {{"serve", "--listen", "nowhere"}, 1, "corvaned: 'nowhere' is not an address to listen on"},
        {{"serve", "--listen", ":0"},
         1,
         "corvaned: --listen :0 can be reached by other machines; give --secret-file or "},
        {{"serve", "--listen", ":"}, 1, "corvaned: ':' is not an address to listen on"},
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
        EXPECT_THAT(
            program.errors(),
            StartsWith("corvaned: all programmes are in the past, the last one ended at 2026-11-20T22:00:00Z; "));
    }
}

TEST(Command, ImportReportsHowFarItMovedEachListing)
{
    TemporaryDatabase folder;
    const std::string listing = folder.path() + ".xml";
    test::writeFile(listing, test::testData("evening.xml"));
    ServiceProgram program({"import", "--db", folder.path(), "--today", "--zone", "+00:00", listing});
    EXPECT_THAT(program.readLine(),
                MatchesRegex(".*: 2 channels, 4 programmes; moved [0-9]+ (day|week)s? (later|earlier), now from "
                             "2[0-9-]+T18:00:00Z to 2[0-9-]+T22:00:00Z"));
    EXPECT_EQ(program.wait(), 0);
}

TEST(Command, ReadsAndWritesStandardStreams)
{
    TemporaryDatabase folder;
    const support::ProcessResult import = support::runProcess(
        {CORVANED_PROGRAM, {"import", "--db", folder.path(), "-"}, {}}, test::testData("evening.xml"));
    EXPECT_EQ(import.exitCode, 0) << import.errors;
    EXPECT_THAT(import.output, StartsWith("standard input: 2 channels, 4 programmes\n"));
    const support::ProcessResult broken =
        support::runProcess({CORVANED_PROGRAM, {"import", "--db", folder.path(), "-"}, {}}, "<tv>\n<oops>");
    EXPECT_EQ(broken.exitCode, 1);
    EXPECT_THAT(broken.errors, StartsWith("corvaned: standard input:2: not well-formed"));
    const support::ProcessResult exported =
        support::runProcess({CORVANED_PROGRAM, {"export", "--db", folder.path(), "--output", "-"}, {}});
    EXPECT_EQ(exported.exitCode, 0);
    EXPECT_THAT(exported.output, HasSubstr("</tv>\n"));
    EXPECT_FALSE(std::filesystem::exists("-"));
}

TEST(Command, MergesListings)
{
    TemporaryDatabase folder;
    const std::string listing = folder.path() + ".xml";
    test::writeFile(listing, test::testData("evening.xml"));
    EXPECT_EQ(ServiceProgram({"import", "--db", folder.path(), listing}).wait(), 0);
    test::writeFile(listing,
                    "<tv><programme channel='new' start='20261120180000' stop='20261120190000'><title>T</title>"
                    "</programme></tv>");
    ServiceProgram merge({"import", "--db", folder.path(), "--merge", listing});
    EXPECT_THAT(merge.readAll(), HasSubstr(" now holds 3 channels and 5 programmes from 2026-11-20T18:00:00Z to "));
    EXPECT_EQ(merge.wait(), 0);
}

TEST(Command, OutputThatCannotBeWrittenIsAFailure)
{
    TemporaryDatabase folder;
    const std::string listing = folder.path() + ".xml";
    test::writeFile(listing, test::testData("evening.xml"));
    EXPECT_EQ(ServiceProgram({"import", "--db", folder.path(), listing}).wait(), 0);
    for (const std::string& command :
         {"stats --db " + folder.path(), "users --db " + folder.path(), "export --db " + folder.path(),
          "import --db " + folder.path() + " " + listing, std::string("--help")}) {
        for (const char* const redirection : {">/dev/full", ">&-"}) {
            const support::ProcessResult result = support::runProcess(
                {"/bin/sh", {"-c", std::string(CORVANED_PROGRAM) + " " + command + " " + redirection}, {}});
            EXPECT_EQ(result.exitCode, 1) << command << redirection;
            EXPECT_THAT(result.errors, HasSubstr("corvaned: cannot write ")) << command << redirection;
        }
    }
}

TEST(Command, ReadsADatabaseThatItCannotWrite)
{
    TemporaryDatabase folder;
    const std::string listing = folder.path() + ".xml";
    test::writeFile(listing, test::testData("evening.xml"));
    EXPECT_EQ(ServiceProgram({"import", "--db", folder.path(), listing}).wait(), 0);
    const std::string before = test::readFile(folder.path());
    const std::filesystem::path parent = std::filesystem::path(folder.path()).parent_path();
    // File permissions do not restrict root, so the program runs as another user.
    const bool isRoot = ::geteuid() == 0;
    constexpr uid_t kNobody = 65534;
    if (isRoot) {
        ASSERT_EQ(::chown(folder.path().c_str(), kNobody, kNobody), 0);
        ASSERT_EQ(::chown(parent.c_str(), kNobody, kNobody), 0);
    }
    using std::filesystem::perms;
    std::filesystem::permissions(folder.path(), perms::owner_read);
    std::filesystem::permissions(parent, perms::owner_read | perms::owner_exec);
    for (const char* const command : {"stats", "users", "export"}) {
        std::vector<std::string> arguments = {
            "-c", std::string("exec ") + CORVANED_PROGRAM + " \"$@\"", "sh", command, "--db", folder.path()};
        std::string program = "/bin/sh";
        if (isRoot) {
            arguments.insert(arguments.begin(), {"--reuid=65534", "--regid=65534", "--clear-groups", program});
            program = "/usr/bin/setpriv";
        }
        const support::ProcessResult result = support::runProcess({program, arguments, {}});
        EXPECT_NE(result.output, "") << command;
        EXPECT_EQ(result.exitCode, 0) << command << ": " << result.errors;
    }
    std::filesystem::permissions(parent, perms::owner_all);
    EXPECT_EQ(test::readFile(folder.path()), before);
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
    EXPECT_EQ(good.readLine(), places + ": 1 headend, 0 cities, 0 postal codes, 0 apps");
    EXPECT_EQ(good.wait(), 0);
    GuideFile store(folder.path());
    EXPECT_THAT(test::rows(store, "SELECT id, name FROM headend"), ::testing::ElementsAre("one|Our Cable"));
}

TEST(Command, VersionNamesCommitAndLibraries)
{
    ServiceProgram program({"--version"});
    EXPECT_THAT(program.readLine(),
                MatchesRegex("corvaned [0-9]+\\.[0-9]+\\.[0-9]+( \\(commit [0-9a-f]{12}(-dirty)?\\))?"));
    const std::string libraries = program.readAll();
    for (const char* const library :
         {"libcurl/7.", "Boost 1.", "CLI11 2.", "fmt 9.", "libxml2 2.", "nlohmann-json 3.", "SQLite 3.", "toml++ 3."}) {
        EXPECT_THAT(libraries, HasSubstr(library));
    }
    EXPECT_EQ(program.wait(), 0);
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

    ServiceProgram unused({"users", "--db", folder.path()});
    EXPECT_EQ(unused.readAll(), "no viewers yet; 'corvaned serve' makes " + viewersBeside(folder.path()) + "\n");
    EXPECT_EQ(unused.wait(), 0);

    {
        const std::unique_ptr<ViewerStore> viewers = openViewers(viewersBeside(folder.path()));
        viewers->write([](SqlConnection& connection) {
            connection.execute(
                "INSERT INTO session VALUES ('s', 'ann', 'k', 9999999999), ('t', 'bob', 'k', 1);"
                "INSERT INTO favorite VALUES ('ann', 'channel', 1, 0), ('cid', 'channel', 1, 0);"
                "INSERT INTO vote VALUES ('content', 1, 'ann', 1, 0), ('content', 2, 'ann', 0, 0);"
                "INSERT INTO tuning VALUES ('ann', 1, 0, 1, 0), ('ann', 2, 0, 1, 0), ('ann', 3, 0, 1, 0)");
        });
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

TEST(Command, ListensOnEveryAddressIfNoneIsNamed)
{
    ServiceProgram program({"serve", "--listen", ":0", "--allow-anonymous"});
    EXPECT_THAT(program.readLine(), StartsWith("corvaned listening on http://0.0.0.0:"));
    program.signal(SIGTERM);
    EXPECT_EQ(program.wait(), 0);
}

TEST(Command, ServeReportsAGuideThatHasEnded)
{
    TemporaryDatabase folder;
    const std::string listing = folder.path() + ".xml";
    test::writeFile(listing, test::testData("evening.xml"));
    EXPECT_EQ(ServiceProgram({"import", "--db", folder.path(), listing}).wait(), 0);
    ServiceProgram program({"serve", "--db", folder.path(), "--listen", "127.0.0.1:0"});
    program.readLine();
    program.signal(SIGTERM);
    EXPECT_EQ(program.wait(), 0);
    EXPECT_EQ(program.errors(),
              "corvaned: all programmes are in the past, the last one ended at 2026-11-20T22:00:00Z; import a newer "
              "listing\n");
}

TEST(Command, TheDatabaseOfASampleIsRemovedAtTheEnd)
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
