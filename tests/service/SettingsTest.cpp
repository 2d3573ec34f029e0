// Settings of corvaned outside the command line: which source wins, and what is refused.
#include <algorithm>
#include <csignal>
#include <filesystem>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "ChildProcess.h"
#include "TestSupport.h"
#include "WebClient.h"

namespace corvaned {
namespace {

using http::test::WebClient;
using support::ChildProcess;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::Not;
using ::testing::StartsWith;

/// A configuration file in a folder that lasts as long as the object.
class SettingsFile {
public:
    explicit SettingsFile(const std::string& content) { test::writeFile(path, content); }

private:
    TemporaryDatabase m_folder;

public:
    const std::string path = m_folder.path() + ".toml";
    const std::string scratch = m_folder.path();
};

support::ProcessResult run(std::vector<std::string> arguments, std::vector<std::string> environment = {})
{
    return support::runProcess({CORVANED_PROGRAM, std::move(arguments), std::move(environment)});
}

TEST(Settings, ALaterSourceWins)
{
    const struct {
        const char* file;
        std::vector<std::string> environment;
        std::vector<std::string> arguments;
        const char* listensOn;
    } rows[] = {
        {"listen = '127.0.0.1:0'", {}, {}, "127.0.0.1"},
        {"[serve]\nlisten = '127.0.0.2:0'", {}, {}, "127.0.0.2"},
        {"listen = '127.0.0.1:0'\n[serve]\nlisten = '127.0.0.2:0'", {}, {}, "127.0.0.2"},
        {"[serve]\nlisten = '127.0.0.2:0'\n[serve.limits]\nmax-connections = 100", {}, {}, "127.0.0.2"},
        {"listen = '127.0.0.2:0'\n[limits]\nmax_connections = 100", {}, {}, "127.0.0.2"},
        {"listen = '127.0.0.2:0'", {"CORVANED_LISTEN=127.0.0.3:0"}, {}, "127.0.0.3"},
        {"listen = '127.0.0.2:0'", {"CORVANED_LISTEN=127.0.0.3:0"}, {"--listen", "127.0.0.4:0"}, "127.0.0.4"},
        {"listen = '127.0.0.2:0'", {}, {"--listen=127.0.0.4:0"}, "127.0.0.4"},
        // Of another command, and of options that exclude each other.
        {"listen = '127.0.0.2:0'\n[import]\nlistings = ['x']\ntoday = true", {}, {}, "127.0.0.2"},
        {"listen = '127.0.0.2:0'\nsecret = 'x'", {}, {"--secret-file", "/proc/self/comm"}, "127.0.0.2"},
        {"listen = '127.0.0.2:0'\nsecret_file = '/nonexistent'", {"CORVANED_SECRET=x"}, {}, "127.0.0.2"},
        // An empty value is a value.
        {"listen = '127.0.0.2:0'\ndb = '/nonexistent'", {"CORVANED_DB="}, {}, "127.0.0.2"},
        {"listen = '127.0.0.2:0'\nallow_faults = true", {"CORVANED_ALLOW_FAULTS=false"}, {}, "127.0.0.2"},
    };
    for (const auto& row : rows) {
        const SettingsFile file(row.file);
        std::vector<std::string> arguments{"serve", "--config", file.path};
        arguments.insert(arguments.end(), row.arguments.begin(), row.arguments.end());
        ChildProcess service({CORVANED_PROGRAM, arguments, row.environment});
        EXPECT_THAT(service.readLine(), StartsWith(fmt::format("corvaned listening on http://{}:", row.listensOn)))
            << row.file << service.errors();
        service.signal(SIGTERM);
        EXPECT_EQ(service.wait(), 0) << row.file;
    }
}

TEST(Settings, InvalidSettingsAreRefusedWithTheirPlace)
{
    const struct {
        const char* file;
        std::vector<std::string> environment;
        const char* message;  // after the file's name
    } rows[] = {
        {"[serve]\nworkers = 0", {}, ":2: --workers: Value 0 not in range"},
        {"[serve]\nworkers = 'many'", {}, ":2: "},
        {"\nworkrs = 1", {}, ":2: unknown setting \"workrs\"; see corvaned.toml(5), or corvaned COMMAND --help"},
        {"[serve]\ntoday = true", {}, ":2: unknown setting \"today\"; [serve] may have db, viewers, create, listen"},
        {"[import]\nlisten = 'x'", {}, ":2: unknown setting \"listen\"; [import] may have "},
        {"zone = [1]", {}, ":1: zone must be a string, a number or a boolean"},
        {"allow_anonymous = 'maybe'", {}, ":1: allow_anonymous is \"maybe\"; it must be true or false"},
        {"zone = 'UTC'\n[limits]\nzone = 'UTC'", {}, ":3: zone is set a second time, after line 1; remove one"},
        {"secret = 'x'\nsecret_file = 'y'", {}, ":2: --secret-file excludes --secret"},
        {"listen = ", {}, ":1: "},
        {"zone = 'Mars/Olympus'", {}, "corvaned: zone 'Mars/Olympus' is not known"},
        {"workers = 4", {"CORVANED_WORKERS=none"}, "corvaned: CORVANED_WORKERS: "},
        {"fault = ['conf=status 429']", {"CORVANED_FAULT=a=b\nc=d"}, "CORVANED_FAULT: --fault requires --allow-faults"},
    };
    for (const auto& row : rows) {
        const SettingsFile file(row.file);
        const support::ProcessResult made =
            run({"serve", "--listen", "127.0.0.1:0", "--config", file.path}, row.environment);
        EXPECT_EQ(made.exitCode, 1) << row.file << made.errors;
        EXPECT_THAT(made.errors, HasSubstr(*row.message == ':' ? file.path + row.message : row.message)) << row.file;
        EXPECT_EQ(std::count(made.errors.begin(), made.errors.end(), '\n'), 1) << made.errors;
    }
    EXPECT_THAT(run({"serve", "--config", "/nonexistent.toml"}).errors,
                HasSubstr("cannot read the configuration file /nonexistent.toml: No such file or directory; name "));
    EXPECT_THAT(run({"serve"}, {"CORVANED_CONFIG=/proc"}).errors,
                HasSubstr("cannot read the configuration file /proc: Is a directory; name "));
}

TEST(Settings, AWrongCommandLineIsWrongUsageDespiteAFile)
{
    const SettingsFile file("zone = 'UTC'\n");
    const support::ProcessResult made = run({"serve", "--config", file.path, "--workers", "0"}, {"CORVANED_WORKERS=4"});
    EXPECT_EQ(made.exitCode, 2);
    EXPECT_THAT(made.errors, HasSubstr("--workers: Value 0 not in range"));
    EXPECT_EQ(run({"serve", "--config", file.path, "stray"}).exitCode, 2);
}

TEST(Settings, AnUnknownVariableIsReported)
{
    const support::ProcessResult made = run({"stats", "--db", "/nonexistent"}, {"CORVANED_WORKRS=1"});
    EXPECT_THAT(made.errors, StartsWith("corvaned: CORVANED_WORKRS: unknown setting; see corvaned.toml(5)\n"));
}

TEST(Settings, ReportsASecretInAFileThatAllUsersCanRead)
{
    const SettingsFile file("listen = '0.0.0.0:0'\nsecret = 'open sesame'\n");
    for (const auto& [mode, isReported] : {std::pair(0644, true), {0640, false}}) {
        ::chmod(file.path.c_str(), static_cast<mode_t>(mode));
        ChildProcess service({CORVANED_PROGRAM, {"serve", "--config", file.path}, {}});
        EXPECT_THAT(service.readLine(), StartsWith("corvaned listening on ")) << service.errors();
        service.signal(SIGTERM);
        service.wait();
        EXPECT_EQ(service.errors().find("can read the secret in " + file.path) != std::string::npos, isReported);
    }
}

TEST(Settings, ImportReadsItsListingsFromTheFile)
{
    const SettingsFile file("");
    const std::string listing = file.scratch + ".xml";
    test::writeFile(listing, test::testData("evening.xml"));
    test::writeFile(file.path, fmt::format("db = '{}'\n[import]\nlistings = ['{}']\n", file.scratch, listing));
    EXPECT_THAT(run({"import", "--config", file.path}).output, StartsWith(listing + ": 2 channels, 4 programmes\n"));
    // Those of the command line replace them.
    EXPECT_THAT(run({"import", "--config", file.path, "/nonexistent.xml"}).errors,
                HasSubstr("cannot open listing /nonexistent.xml"));
    EXPECT_THAT(run({"stats", "--config", file.path}).output, StartsWith("channels    2\n"));
}

TEST(Settings, AnEmptyListOfListingsImportsNothing)
{
    const SettingsFile file("db = '/nonexistent/guide.db'\n[import]\nlistings = []\n");
    const support::ProcessResult made = run({"import", "--config", file.path});
    EXPECT_EQ(made.exitCode, 0);
    EXPECT_EQ(made.errors, "corvaned: " + file.path + ":3: listings is empty: there is nothing to do\n");
}

TEST(ServeCreate, CreatesTheDatabaseAndReportsThatItIsEmpty)
{
    const SettingsFile file("listen = '127.0.0.1:0'\n");
    const std::vector<std::string> arguments{"serve", "--config", file.path, "--db", file.scratch};
    EXPECT_THAT(run(arguments).errors, HasSubstr("there is no database"));
    std::vector<std::string> creating = arguments;
    creating.emplace_back("--create");
    ChildProcess service({CORVANED_PROGRAM, creating, {}});
    const std::string address = service.readLine();
    ASSERT_THAT(address, StartsWith("corvaned listening on "));
    WebClient client(std::stoi(address.substr(address.rfind(':') + 1)));
    EXPECT_EQ(client.get("/openapi/service/vorel/conf/localtime")->status, 200);
    service.signal(SIGTERM);
    EXPECT_EQ(service.wait(), 0);
    EXPECT_THAT(service.errors(), HasSubstr(file.scratch + " has no guide yet; fill it with: corvaned import"));
    EXPECT_TRUE(std::filesystem::exists(file.scratch));
}

}  // namespace
}  // namespace corvaned
