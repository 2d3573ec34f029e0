// The command corvane in use by people and scripts: exit codes, one clear line for each failure, and the guide of a
// scripted service.
#include <ctime>
#include <filesystem>
#include <string>

#include <fmt/chrono.h>
#include <fmt/format.h>
#include <gmock/gmock.h>

#include "CommandRun.h"
#include "RawServer.h"
#include "Scratch.h"

namespace W::host {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

TEST(Command, EveryCommandHasHelp)
{
    for (const char* arguments :
         {"--help", "guide --help", "today --help", "download --help", "rpc --help", "doctor --help"}) {
        const Outcome outcome = corvane(arguments);
        EXPECT_EQ(outcome.exitCode, 0) << arguments;
        EXPECT_THAT(outcome.output, AllOf(HasSubstr("Usage:"), HasSubstr("--set KEY=VALUE"), HasSubstr("--config FILE"),
                                          HasSubstr("--timeout SECONDS")))
            << arguments;
        EXPECT_EQ(outcome.errors, "");
    }
}

TEST(Command, ReportsOutputThatCannotBeWritten)
{
    const ScratchDirectory scratch;
    const std::string request = scratch.write("request", R"({"jsonrpc":"2.0","id":1,"method":"checkAgreement"})");
    for (const std::string& arguments : {std::string("--help"), "rpc <" + request}) {
        const std::string errors = scratch.file("errors");
        for (const char* const output : {">/dev/full", ">&-"}) {
            EXPECT_EQ(corvane(arguments + " " + output + " 2>" + errors + "; echo $?").output, "1\n")
                << arguments << output;
            EXPECT_THAT(readFile(errors), HasSubstr("corvane: cannot write all of the output")) << arguments << output;
        }
    }
}

TEST(Command, WrongUsageIsExitCode2)
{
    for (const char* arguments : {"",
                                  "nonsense",
                                  "--nonsense rpc",
                                  "rpc extra",
                                  "--set country rpc",
                                  "--set =x rpc",
                                  "--log-level x rpc",
                                  "--log-level -1 rpc",
                                  "--timeout -1 rpc",
                                  "guide --hours 0",
                                  "guide --hours 25",
                                  "guide --date 21.11.2026",
                                  "guide --zone Mars/Olympus",
                                  "guide --color sometimes",
                                  "guide --width 5",
                                  "guide --channels",
                                  "today f g",
                                  "today f --hours 0",
                                  "download",
                                  "download u",
                                  "download u d n x"}) {
        const Outcome outcome = corvane(arguments);
        EXPECT_EQ(outcome.exitCode, 2) << arguments;
        EXPECT_EQ(outcome.output, "") << arguments;
        EXPECT_NE(outcome.errors, "") << arguments;
    }
}

TEST(Command, UsageErrorsNameWhatIsWrong)
{
    const struct {
        const char* arguments;
        const char* message;
    } rows[] = {
        {"--bogus", "corvane: unknown option --bogus; see corvane --help\n"},
        {"--bogus guide", "corvane: unknown option --bogus; see corvane guide --help\n"},
        {"guide --bogus", "corvane: unknown option --bogus; see corvane guide --help\n"},
        {"nonsense", "corvane: unknown command nonsense; see corvane --help\n"},
        {"", "corvane: no command given; see corvane --help\n"},
        {"rpc extra", "corvane: unexpected argument extra; see corvane rpc --help\n"},
        {"--log-level -1 guide", "corvane: --log-level: Value -1 not in range 0 to 99; see corvane guide --help\n"},
        {"guide --zone Nowhere",
         "corvane: --zone: unknown zone Nowhere; write its name, as in Europe/Berlin; see corvane "
         "guide --help\n"},
    };
    for (const auto& row : rows) {
        EXPECT_THAT(corvane(row.arguments).errors, StartsWith(row.message));
    }
}

TEST(Command, UnreadableInputIsOneLineAndExitCode1)
{
    const ScratchDirectory scratch;
    const struct {
        std::string arguments;
        const char* message;
    } rows[] = {
        {"--plugin /no/such.so rpc", "corvane: there is no plug-in at /no/such.so"},
        {"--plugin /etc/passwd rpc", "corvane: cannot load the plug-in: /etc/passwd"},
        {"--config /no/such.toml rpc", "corvane: cannot read the configuration file /no/such.toml"},
        {"--config " + scratch.write("bad.toml", "country US") + " rpc", "bad.toml:1: "},
        {"--set total_timeout=soon rpc", "corvane: --set: the setting \"total_timeout\" is \"soon\""},
        {"--log /no/such/log rpc", "corvane: cannot write the log file /no/such/log"},
        {"--plugin /no/such.so guide", "corvane: there is no plug-in at /no/such.so"},
    };
    for (const auto& row : rows) {
        const Outcome outcome = corvane(row.arguments);
        EXPECT_EQ(outcome.exitCode, 1) << row.arguments;
        EXPECT_EQ(outcome.output, "") << row.arguments;
        EXPECT_THAT(outcome.errors, HasSubstr(row.message));
        EXPECT_EQ(lineCount(outcome.errors), 1) << outcome.errors;
    }
}

TEST(Command, ReadsTomlWhateverTheOptionsPosition)
{
    const ScratchDirectory scratch;
    const std::string file = scratch.write("own.toml", "[limits]\ntotal_timeout = \"soon\"\n");
    for (const std::string& arguments : {"--config " + file + " rpc", "rpc --config " + file}) {
        EXPECT_THAT(corvane(arguments).errors, HasSubstr(file + ":2: the setting \"total_timeout\" is \"soon\""));
    }
}

TEST(Command, RpcAnswersAndLogs)
{
    const ScratchDirectory scratch;
    const std::string input = "{\"jsonrpc\":\"2.0\",\"id\":1,\"method\":\"getConfLog\",\"params\":[]}\n";
    const Outcome outcome = corvane("--log " + scratch.file("log") + " --log-level 8 rpc", input);
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.output,
              "{\"jsonrpc\":\"2.0\",\"id\":1,\"result\":{\"return\":-202,\"requestID\":5,\"reference\":0,\"status\":-"
              "202}}\n");
    EXPECT_EQ(outcome.errors, "");
    EXPECT_THAT(readFile(scratch.file("log")),
                AllOf(HasSubstr("Session is not available"), HasSubstr("#ERROR WSTATUS:")));
    const Outcome unlogged = corvane("rpc", input);
    EXPECT_THAT(unlogged.errors, AllOf(HasSubstr("#ERROR WSTATUS:"), Not(HasSubstr("Session is not available"))));
    EXPECT_EQ(lineCount(unlogged.errors), 1);
    EXPECT_EQ(corvane("rpc", "").exitCode, 0);
}

/// A scripted service. Its replies can be replaced.
struct ScriptedService {
    std::string localtime;
    std::string seedkey =
        R"({"rsp":{"stat":"OK","session":{"id":"S","user":{"id":"U"},"seedkey":"K","expired":"2099-01-01T00:00:00Z"}}})";
    std::string gallery = R"({"rsp":{"stat":"OK"}})";
    std::string schedule = R"({"rsp":{"stat":"OK","channel":[]}})";
    std::string today = R"({"rsp":{"stat":"OK","VOREL_url":[]}})";
    std::string status = "200 OK";

    RawServer::Script script() const
    {
        return [this](RawServer::RawConnection& connection) {
            while (const auto request = connection.readRequest()) {
                const std::string& body = bodyFor(*request);
                connection.send(fmt::format("HTTP/1.1 {}\r\nContent-Length: {}\r\n\r\n{}", status, body.size(), body));
            }
        };
    }
    const std::string& bodyFor(const std::string& request) const
    {
        const std::pair<const char*, const std::string*> replies[] = {
            {"/localtime", &localtime}, {"/seedkey", &seedkey}, {"/schedule", &schedule}, {"/channel/today", &today}};
        for (const auto& [path, body] : replies) {
            if (request.find(path) != std::string::npos) {
                return *body;
            }
        }
        return gallery;
    }
    static std::string localtimeNow(std::time_t ahead = 0)
    {
        return localtimeAt(std::time(nullptr) + ahead, "UTC", "+00:00");
    }
    static std::string localtimeAt(std::time_t now, const std::string& zone, const std::string& difference)
    {
        return fmt::format(
            R"({{"rsp":{{"stat":"OK","date":"{0:%Y-%m-%dT%H:%M:%S}Z","localdate":"{0:%Y-%m-%dT%H:%M:%S}","timezone":"{1}","difference":"{2}"}}}})",
            fmt::gmtime(now), zone, difference);
    }
    ScriptedService() : localtime(localtimeNow()) {}
};

/// A guide command for a scripted service.
Outcome guideOf(const RawServer& server, const std::string& arguments, const std::string& environment = "")
{
    return corvane("--set base_url=" + server.url("") + " guide " + arguments, "", environment);
}

TEST(Guide, FailuresGiveReasonAndRemedy)
{
    int refusing = 0;
    {
        const RawServer gone(answering(""));
        refusing = gone.port();
    }
    const Outcome down = corvane(fmt::format("--set base_url=http://127.0.0.1:{} guide", refusing));
    EXPECT_EQ(down.exitCode, 1);
    EXPECT_EQ(down.output, "");
    EXPECT_THAT(down.errors, AllOf(HasSubstr("(status -200)"), HasSubstr("hint: start one with \"corvaned serve\"")));
    EXPECT_EQ(lineCount(down.errors), 2) << down.errors;

    const RawServer web(answering("<html>It works!</html>"));
    const Outcome html = corvane("--set base_url=" + web.url("") + " guide");
    EXPECT_EQ(html.exitCode, 1);
    EXPECT_THAT(html.errors, AllOf(HasSubstr("is not a Corvane service: its reply is not JSON (status -56)"),
                                   HasSubstr("hint: set the service's address")));

    for (const char* status : {"200 OK", "403 Forbidden"}) {
        ScriptedService service;
        service.status = status;
        if (service.status != "200 OK") {
            service.localtime = R"({"rsp":{"stat":"FAIL","err":{"code":"209","msg":"the device is locked"}}})";
        }
        service.seedkey = R"({"rsp":{"stat":"FAIL","err":{"code":"209","msg":"the device is locked"}}})";
        const RawServer server(service.script());
        const Outcome refused = corvane("--set base_url=" + server.url("") + " guide");
        EXPECT_EQ(refused.exitCode, 1);
        EXPECT_THAT(refused.errors, HasSubstr("code 209: the device is locked")) << status;
        EXPECT_THAT(refused.errors, HasSubstr(service.status == "200 OK" ? "(status -9209)" : "(status -205)"));
    }
}

TEST(Guide, GivesUpWaitingForAService)
{
    const RawServer server([](RawServer::RawConnection& connection) { connection.waitForEnd(); });
    const Outcome outcome = corvane("--timeout 0.2 --set base_url=" + server.url("") + " guide");
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_THAT(outcome.errors, AllOf(HasSubstr("did not answer in time"), HasSubstr("wait longer with --timeout")));
}

TEST(Guide, HttpErrorsAreNamed)
{
    for (const auto& [status, message] :
         {std::pair{"429 Too Many Requests", "the service gets too many requests (HTTP 429)"},
          std::pair{"503 Service Unavailable", "overloaded or under maintenance (HTTP 503)"},
          std::pair{"418 I'm a teapot", "the service answers with HTTP 418"}}) {
        ScriptedService service;
        service.status = status;
        const RawServer server(service.script());
        const Outcome outcome = guideOf(server, "");
        EXPECT_EQ(outcome.exitCode, 1);
        EXPECT_THAT(outcome.errors, AllOf(HasSubstr(message), HasSubstr("hint: "), Not(HasSubstr("wrong provider"))));
    }
}

TEST(Guide, NamesABaseUrlThatIsNotAnAddress)
{
    for (const char* url : {"", "127.0.0.1:8900", "ftp://h"}) {
        const Outcome outcome = corvane(fmt::format("--set base_url={} guide", url));
        EXPECT_EQ(outcome.exitCode, 1);
        EXPECT_THAT(outcome.errors, AllOf(HasSubstr(fmt::format("base_url is \"{}\"", url)),
                                          HasSubstr("hint: set it, as in --set base_url=http://127.0.0.1:8900")));
    }
}

/// Two channels, in the wrong order and listed a second time for recognition.
constexpr const char* kGallery = R"({"rsp":{"stat":"OK","checksum":{"stat":"new","code":"c"},
    "channel":[{"source":"S10","number":"10","name":"Ten"},{"source":"S2","number":"2","name":"Two"},
               {"source":"S21","number":"21","name":"Twice"}],
    "ACR":[{"source":"S10","name":"Ten"},{"source":"S2","name":"Two"},{"source":"S21","name":"Twice"}]}})";

TEST(Guide, ShowsEachChannelOnceInOrderOfNumber)
{
    ScriptedService service;
    service.gallery = kGallery;
    const RawServer server(service.script());
    const std::string rows = "2 Two    │\n         │\n10 Ten   │\n         │\n21 Twice │\n         │\n";
    EXPECT_THAT(guideOf(server, "").output, testing::EndsWith(rows));
    EXPECT_THAT(corvane("--set base_url=" + server.url("/") + " doctor").output,
                HasSubstr("ok    line-up          3 channels at headend \"default\""));
}

TEST(Guide, ChannelsMayBeAbbreviated)
{
    ScriptedService service;
    service.gallery = kGallery;
    const RawServer server(service.script());
    EXPECT_THAT(guideOf(server, "--channels twi,te").output,
                testing::EndsWith("21 Twice │\n         │\n10 Ten   │\n         │\n"));
    EXPECT_THAT(guideOf(server, "--channels 2").output, testing::EndsWith("2 Two    │\n         │\n")) << "exact wins";
    const Outcome several = guideOf(server, "--channels tw");
    EXPECT_EQ(several.exitCode, 1);
    EXPECT_THAT(several.errors, HasSubstr("several channels begin with \"tw\": 2 Two, 21 Twice"));
}

constexpr std::time_t kNovember = 1795291200;  // 2026-11-21T20:00:00Z, in Berlin 21:00

TEST(Guide, EachInstantHasTheOffsetOfItsSeason)
{
    ScriptedService service;
    service.gallery = kGallery;
    service.localtime = ScriptedService::localtimeAt(kNovember, "Europe/Berlin", "+01:00");
    service.schedule = R"({"rsp":{"stat":"OK","channel":[{"source":"S2","content":[
        {"id":"1","title":"At nine","starttime":"2027-07-01T19:00:00Z","duration":"60"}]}]}})";
    const RawServer server(service.script());
    const Outcome july = guideOf(server, "--date 2027-07-01");
    EXPECT_THAT(july.output, StartsWith("Thursday 01 July 2027, 20:00 to 23:00 (UTC+02:00)\n"));
    EXPECT_THAT(july.output, HasSubstr("\n2 Two    │                      │At nine"));
    EXPECT_THAT(july.output, HasSubstr("\n         20:00      20:30       21:00"));
    EXPECT_THAT(server.requests().back(), HasSubstr("starttime=2027-07-01T18:00:00Z"));
    EXPECT_THAT(guideOf(server, "--date today").output,
                StartsWith("Saturday 21 November 2026, 20:00 to 23:00 (UTC+01:00)\n"));
    EXPECT_THAT(guideOf(server, "").output, StartsWith("Saturday 21 November 2026, 21:00 to 24:00 (UTC+01:00)\n"));
}

TEST(Guide, ZoneAndTzDecideTheTimes)
{
    ScriptedService service;
    service.gallery = kGallery;
    service.localtime = ScriptedService::localtimeAt(kNovember, "Europe/Berlin", "+01:00");
    const RawServer server(service.script());
    EXPECT_THAT(guideOf(server, "", "TZ=Asia/Tokyo").output,
                HasSubstr("Sunday 22 November 2026, 05:00 to 08:00 (UTC+09:00)"));
    EXPECT_THAT(guideOf(server, "--zone America/New_York", "TZ=Asia/Tokyo").output,
                HasSubstr("15:00 to 18:00 (UTC-05:00)"));
    service.localtime = ScriptedService::localtimeAt(kNovember, "Nowhere", "+05:30");
    EXPECT_THAT(guideOf(server, "").output, HasSubstr("01:30 to 04:30 (UTC+05:30)"));
}

TEST(Guide, ReportsTheTimeSpanOfTheGuide)
{
    ScriptedService service;
    service.gallery = kGallery;
    service.localtime = ScriptedService::localtimeAt(std::time(nullptr), "UTC", "+00:00");
    service.schedule = R"({"rsp":{"stat":"OK","channel":[{"source":"S2","content":[
        {"id":"1","title":"Old","starttime":"2020-02-29T06:00:00Z","duration":"60"}]}]}})";
    const RawServer server(service.script());
    const Outcome doctor = corvane("--set base_url=" + server.url("") + " doctor");
    EXPECT_EQ(doctor.exitCode, 1);
    EXPECT_THAT(doctor.output, AllOf(HasSubstr("FAIL  programmes       there is nothing for now, only from Saturday 29 "
                                               "February 2020, 06:00 to Saturday 29 February 2020, 07:00"),
                                     HasSubstr("What to do: import a current listing")));
}

TEST(Guide, ColoursAndWidthCanBeChosen)
{
    ScriptedService service;
    service.gallery = kGallery;
    const RawServer server(service.script());
    EXPECT_THAT(guideOf(server, "").output, Not(HasSubstr("\x1b")));
    EXPECT_THAT(guideOf(server, "--color always").output, HasSubstr("\x1b[1m"));
    EXPECT_THAT(guideOf(server, "--color never").output, Not(HasSubstr("\x1b")));
    const std::string wide = guideOf(server, "--width 200").output;
    EXPECT_GT(wide.find('\n', wide.find('\n') + 1), 150U);
    const std::string narrow = guideOf(server, "--width 30").output;
    EXPECT_LE(narrow.find('\n'), 30U);
}

TEST(Command, RpcReportsMissingSettingsOfARefusedSession)
{
    ScriptedService service;
    service.seedkey = R"({"rsp":{"stat":"FAIL","err":{"code":"105","msg":"the header DUID is missing"}}})";
    const RawServer server(service.script());
    const std::string request = R"({"jsonrpc":"2.0","id":1,"method":"getAuthSeedkey","params":[]})";
    const Outcome outcome =
        corvane("--log /dev/null --set base_url=" + server.url("") + " --set app_key=x --set country=US rpc", request);
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_THAT(outcome.errors,
                AllOf(HasSubstr("corvane: cannot open a session: "), HasSubstr("code 105: the header DUID is missing"),
                      HasSubstr("hint: these settings are empty: duid, model_id; set them")));
    const Outcome local = corvane("--log /dev/null --set base_url=" + server.url("") + " rpc", request);
    EXPECT_THAT(local.errors, HasSubstr("these settings are empty: app_key, duid, model_id, country"));
    const Outcome session = corvane("--set base_url=" + server.url("") + " rpc --session", request);
    EXPECT_EQ(session.exitCode, 1);
    EXPECT_THAT(session.errors, HasSubstr("code 105: the header DUID is missing"));
    EXPECT_EQ(session.output, "");
}

TEST(Command, RpcSessionOpensSessionAndClock)
{
    ScriptedService service;
    service.gallery = kGallery;
    const RawServer server(service.script());
    const Outcome outcome = corvane("--set base_url=" + server.url("/") + " rpc --session",
                                    R"({"jsonrpc":"2.0","id":1,"method":"getTodayURL","params":[]})");
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_THAT(outcome.output, HasSubstr(R"("return":0,)"));
}

TEST(Today, DownloadsTodaysFilesFromTheService)
{
    ScriptedService service;
    const RawServer files(answering(R"({"rsp":{"stat":"OK","channel":[
        {"source":"S2","name":"Two","number":"2","content":[
            {"id":"3","title":"Film","starttime":"2026-11-21T20:00:00Z","duration":"100"}]}]}})"));
    service.localtime = ScriptedService::localtimeAt(kNovember, "Europe/Berlin", "+01:00");
    service.today = R"({"rsp":{"stat":"OK","VOREL_url":[{"time":"1-2","filename":"a.json","url":")" + files.url("/a") +
                    R"("},{"time":"2-3","filename":"b.json","url":")" + files.url("/b") + R"("}]}})";
    const RawServer server(service.script());
    const ScratchDirectory scratch;
    const Outcome outcome = corvane("--set base_url=" + server.url("") + " today", "", "TMPDIR=" + scratch.file(""));
    EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
    EXPECT_THAT(outcome.output, AllOf(StartsWith("Saturday 21 November 2026, 21:00 to 24:00 (UTC+01:00)\n"),
                                      HasSubstr("2 Two    │>Film")));
    EXPECT_EQ(files.requests().size(), 2U);
    EXPECT_TRUE(std::filesystem::is_empty(scratch.file(""))) << "the files are removed";
    service.today = R"({"rsp":{"stat":"OK","VOREL_url":[]}})";
    const Outcome none = corvane("--set base_url=" + server.url("") + " today");
    EXPECT_EQ(none.exitCode, 1);
    EXPECT_THAT(none.errors,
                AllOf(HasSubstr("cannot ask for today's files: the service has none"), HasSubstr("hint: ")));
}

/// A schedule of one morning in the past.
constexpr const char* kSchedule = R"({"rsp":{"stat":"OK","channel":[
    {"source":"S1","name":"One","number":"1","content":[
        {"id":"1","title":"Early","starttime":"2020-02-29T06:10:00Z","duration":"50"},
        {"id":"2","title":"Later","starttime":"2020-02-29T07:00:00Z","duration":"90"}]},
    {"source":"S2","name":"Two","number":"2","content":[
        {"id":"3","title":"Film","starttime":"2020-02-29T06:30:00Z","duration":"100"}]},
    {"source":"S3","name":"Empty","number":"3","content":[]}]}})";

TEST(Today, ShowsAFileFromItsBeginningIfNothingIsOnNow)
{
    const ScratchDirectory scratch;
    const std::string file = scratch.write("today.json", kSchedule);
    const Outcome outcome = corvane("today " + file, "", "TZ=UTC0");
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.output,
              "Saturday 29 February 2020, 06:00 to 09:00 (UTC+00:00)\n"
              "         06:00      06:30       07:00       07:30       08:00       08:30 \n"
              "1 One    │  │Early              │Later                              │\n"
              "         │  │                   │                                   │\n"
              "2 Two    │          │Film                                   │\n"
              "         │          │                                       │\n");
    EXPECT_EQ(outcome.errors,
              fmt::format("corvane: {} has no programmes for now; the table shows its beginning\n", file));
}

TEST(Today, TakesTheOptionsOfGuideAndTheZoneOfTheMachine)
{
    const ScratchDirectory scratch;
    const std::string file = scratch.write("today.json", kSchedule);
    const Outcome outcome =
        corvane(fmt::format("today {} --channels s2,One --hours 1 --date 2020-02-29T12:00", file), "", "TZ=IST-5:30");
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.errors, "");
    EXPECT_THAT(outcome.output, StartsWith("Saturday 29 February 2020, 12:00 to 13:00 (UTC+05:30)\n"));
    EXPECT_LT(outcome.output.find("2 Two    │Film"), outcome.output.find("1 One    │Early"));
    const Outcome late = corvane(fmt::format("today {} --date 2020-03-01T12:00", file), "", "TZ=UTC0");
    EXPECT_THAT(late.errors, HasSubstr("has no programmes for this time, but from Saturday 29 February 2020, 06:10 to "
                                       "Saturday 29 February 2020, 08:30; choose a time with --date"));
    const Outcome none = corvane(fmt::format("today {} --channels S9", file));
    EXPECT_EQ(none.exitCode, 1);
    EXPECT_THAT(none.errors, HasSubstr("none of these channels"));
}

TEST(Today, MarksCurrentProgrammes)
{
    const ScratchDirectory scratch;
    const std::string file = scratch.write(
        "today.json",
        fmt::format(R"({{"rsp":{{"channel":[{{"source":"a","name":"A","content":[{{"title":"Now","starttime":")"
                    R"({:%Y-%m-%dT%H:%M:%S}Z","duration":"120"}}]}}]}}}})",
                    fmt::gmtime(std::time(nullptr) - 3600)));
    const Outcome outcome = corvane("today " + file);
    EXPECT_THAT(outcome.output, HasSubstr(">Now"));
    EXPECT_EQ(outcome.errors, "");
}

TEST(Today, NamesFilesThatAreNotSchedulesWithTheReason)
{
    const ScratchDirectory scratch;
    const std::string large = scratch.write("large", "");
    std::filesystem::resize_file(large, (64U << 20) + 1);
    const struct {
        std::string file;
        const char* message;
    } rows[] = {
        {scratch.file("none"), "No such file or directory (status -403)"},
        {scratch.file(""), "it is a directory (status -403)"},
        {"/dev/null", "it is not a regular file (status -403)"},
        {large, "it has 67108865 bytes; at most 64 MiB are read (status -403)"},
        {scratch.write("text", "<html>"), "is not a schedule file: it is not JSON (status -56)"},
        {scratch.write("empty", ""), "is not a schedule file: it is not JSON (status -56)"},
        {scratch.write("err", R"({"rsp":{"err":{"code":"1"},"channel":[{}]}})"), "contains an error or no channels"},
        {scratch.write("bare", "{}"), "contains an error or no channels (status -57)"},
        {scratch.write("odd", "[1]"), "(status -57)"},
    };
    for (const auto& row : rows) {
        const Outcome outcome = corvane("today " + row.file);
        EXPECT_EQ(outcome.exitCode, 1) << row.message;
        EXPECT_EQ(outcome.output, "") << row.message;
        EXPECT_THAT(outcome.errors,
                    AllOf(HasSubstr(row.file), HasSubstr(row.message), HasSubstr("hint: name a file of")));
        EXPECT_EQ(lineCount(outcome.errors), 2) << outcome.errors;
    }
}

TEST(Doctor, NamesTheFirstFailureAndSkipsTheRest)
{
    const Outcome address = corvane("--set base_url=gopher://x doctor");
    EXPECT_EQ(address.exitCode, 1);
    EXPECT_THAT(
        address.output,
        AllOf(HasSubstr("ok    plug-in"),
              HasSubstr("FAIL  service address  base_url is \"gopher://x\", which is not an http"),
              HasSubstr("-     DNS              skipped"), HasSubstr("What to do: set it, as in --set base_url=http")));
    const Outcome name = corvane("--set base_url=http://no-such-name.invalid doctor");
    EXPECT_THAT(name.output, AllOf(HasSubstr("FAIL  DNS"), HasSubstr("no-such-name.invalid is not found")));
    const Outcome plugin = corvane("--plugin /no/such.so doctor");
    EXPECT_THAT(plugin.output, AllOf(HasSubstr("ok    configuration"), HasSubstr("FAIL  plug-in")));

    ScriptedService service;
    service.localtime = ScriptedService::localtimeNow(-1000);
    const RawServer server(service.script());
    const Outcome clock = corvane("--set base_url=" + server.url("") + " doctor");
    EXPECT_EQ(clock.exitCode, 1);
    EXPECT_THAT(clock.output, AllOf(HasSubstr("ok    connection"), HasSubstr("not used: the address is http"),
                                    HasSubstr("FAIL  clock"), HasSubstr("ahead of the service's"),
                                    HasSubstr("What to do: set the clock")));
}

}  // namespace
}  // namespace W::host
