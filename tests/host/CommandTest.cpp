// The command corvane as people and scripts meet it: exit codes, one clear line for each failure, and the guide of a
// service that a test plays.
#include "CommandRun.h"
#include "RawServer.h"
#include "Scratch.h"

#include <fmt/chrono.h>
#include <fmt/format.h>
#include <gmock/gmock.h>

#include <ctime>
#include <filesystem>
#include <string>

namespace W::host {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

TEST(Command, HelpIsEverywhere)
{
    for (const char* arguments :
         {"--help", "guide --help", "today --help", "download --help", "rpc --help", "doctor --help"}) {
        const Outcome outcome = corvane(arguments);
        EXPECT_EQ(outcome.exitCode, 0) << arguments;
        EXPECT_THAT(outcome.output, HasSubstr("Usage:"));
        EXPECT_EQ(outcome.errors, "");
    }
}

TEST(Command, OutputThatCannotBeWrittenIsAFailure)
{
    const ScratchDirectory scratch;
    const std::string request = scratch.write("request", R"({"jsonrpc":"2.0","id":1,"method":"checkAgreement"})");
    for (const std::string& arguments : {std::string("--help"), "rpc <" + request}) {
        const std::string errors = scratch.file("errors");
        EXPECT_EQ(corvane(arguments + " >/dev/full 2>" + errors + "; echo $?").output, "1\n") << arguments;
        EXPECT_THAT(readFile(errors), HasSubstr("corvane: the output could not be written")) << arguments;
    }
}

TEST(Command, WrongUsageIsExitCode2)
{
    for (const char* arguments :
         {"", "nonsense", "--nonsense rpc", "rpc extra", "--set country rpc", "--set =x rpc", "--log-level x rpc",
          "--log-level -1 rpc", "--timeout -1 rpc", "guide --hours 0", "guide --hours 25", "guide --date 21.11.2026",
          "today", "today f g", "today f --hours 0", "download", "download u", "download u d n x"}) {
        const Outcome outcome = corvane(arguments);
        EXPECT_EQ(outcome.exitCode, 2) << arguments;
        EXPECT_EQ(outcome.output, "") << arguments;
        EXPECT_NE(outcome.errors, "") << arguments;
    }
}

TEST(Command, WhatCannotBeReadIsOneLineAndExitCode1)
{
    const ScratchDirectory scratch;
    const struct {
        std::string arguments;
        const char* message;
    } rows[] = {
        {"--plugin /no/such.so rpc", "corvane: there is no plug-in at /no/such.so"},
        {"--plugin /etc/passwd rpc", "corvane: cannot load the plug-in: /etc/passwd"},
        {"--config /no/such.toml rpc", "corvane: cannot read the configuration file /no/such.toml"},
        {"--config " + scratch.write("bad.toml", "country US") + " rpc", "bad.toml:1: a line has to read key"},
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

TEST(Command, RpcAnswersAndLogs)
{
    const ScratchDirectory scratch;
    const std::string input = "{\"id\":1,\"method\":\"getConfLog\",\"params\":[]}\n";
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

/// A service that knows two channels. The texts of its replies can be replaced.
struct Service {
    std::string localtime;
    std::string seedkey =
        R"({"rsp":{"stat":"OK","session":{"id":"S","user":{"id":"U"},"seedkey":"K","expired":"2099-01-01T00:00:00Z"}}})";
    std::string gallery = R"({"rsp":{"stat":"OK"}})";
    std::string status = "200 OK";

    RawServer::Script script() const
    {
        return [this](RawServer::Connection& connection) {
            while (const auto request = connection.readRequest()) {
                const std::string& body = request->find("/localtime") != std::string::npos ? localtime
                                          : request->find("/seedkey") != std::string::npos ? seedkey
                                                                                           : gallery;
                connection.send(fmt::format("HTTP/1.1 {}\r\nContent-Length: {}\r\n\r\n{}", status, body.size(), body));
            }
        };
    }
    static std::string localtimeNow(std::time_t ahead = 0)
    {
        return fmt::format(
            R"({{"rsp":{{"stat":"OK","date":"{0:%Y-%m-%dT%H:%M:%S}Z","localdate":"{0:%Y-%m-%dT%H:%M:%S}","timezone":"UTC","difference":"+00:00"}}}})",
            fmt::gmtime(std::time(nullptr) + ahead));
    }
    Service() : localtime(localtimeNow()) {}
};

TEST(Guide, FailuresSayWhatAndWhatToDo)
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
    EXPECT_THAT(html.errors, AllOf(HasSubstr("is no Corvane service: its reply is not JSON (status -56)"),
                                   HasSubstr("hint: name the service's address")));

    for (const char* status : {"200 OK", "403 Forbidden"}) {
        Service service;
        service.status = status;
        if (service.status != "200 OK")
            service.localtime = R"({"rsp":{"stat":"FAIL","err":{"code":"209","msg":"the device is locked"}}})";
        service.seedkey = R"({"rsp":{"stat":"FAIL","err":{"code":"209","msg":"the device is locked"}}})";
        const RawServer server(service.script());
        const Outcome refused = corvane("--set base_url=" + server.url("") + " guide");
        EXPECT_EQ(refused.exitCode, 1);
        EXPECT_THAT(refused.errors, HasSubstr("code 209: the device is locked")) << status;
        EXPECT_THAT(refused.errors, HasSubstr(service.status == "200 OK" ? "(status -9209)" : "(status -205)"));
    }
}

TEST(Guide, AServiceThatHangsIsGivenUp)
{
    const RawServer server([](RawServer::Connection& connection) { connection.waitForEnd(); });
    const Outcome outcome = corvane("--timeout 0.2 --set base_url=" + server.url("") + " guide");
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_THAT(outcome.errors, AllOf(HasSubstr("did not answer in time"), HasSubstr("allow more with --timeout")));
}

/// A schedule of one morning that is long past.
constexpr const char* kSchedule = R"({"rsp":{"stat":"OK","channel":[
    {"source":"S1","name":"One","number":"1","content":[
        {"id":"1","title":"Early","starttime":"2020-02-29T06:10:00Z","duration":"50"},
        {"id":"2","title":"Later","starttime":"2020-02-29T07:00:00Z","duration":"90"}]},
    {"source":"S2","name":"Two","number":"2","content":[
        {"id":"3","title":"Film","starttime":"2020-02-29T06:30:00Z","duration":"100"}]},
    {"source":"S3","name":"Empty","number":"3","content":[]}]}})";

TEST(Today, ShowsAFileAsAGuideFromItsBeginWhereItHasNothingForNow)
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
    EXPECT_EQ(outcome.errors, fmt::format("corvane: {} has no programmes for now; this is where it begins\n", file));
}

TEST(Today, TakesTheOptionsOfTheGuideAndTheTimeOfTheMachine)
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
    EXPECT_THAT(late.errors, HasSubstr("has no programmes for this time; name another one with --date"));
    const Outcome none = corvane(fmt::format("today {} --channels S9", file));
    EXPECT_EQ(none.exitCode, 1);
    EXPECT_THAT(none.errors, HasSubstr("none of these channels"));
}

TEST(Today, WhatRunsNowIsMarked)
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

TEST(Today, AFileThatIsNoScheduleIsNamedWithTheReason)
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
        {large, "it has 67108865 bytes, of which at most 64 MiB are read (status -403)"},
        {scratch.write("text", "<html>"), "is no schedule file: it is not JSON (status -56)"},
        {scratch.write("empty", ""), "is no schedule file: it is not JSON (status -56)"},
        {scratch.write("err", R"({"rsp":{"err":{"code":"1"},"channel":[{}]}})"), "holds an error, or no channels"},
        {scratch.write("bare", "{}"), "holds an error, or no channels (status -57)"},
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
    EXPECT_THAT(address.output,
                AllOf(HasSubstr("ok    plug-in"), HasSubstr("FAIL  service address  \"gopher://x\" is no"),
                      HasSubstr("-     DNS              skipped"), HasSubstr("What to do: set base_url")));
    const Outcome name = corvane("--set base_url=http://no-such-name.invalid doctor");
    EXPECT_THAT(name.output, AllOf(HasSubstr("FAIL  DNS"), HasSubstr("no-such-name.invalid is not found")));
    const Outcome plugin = corvane("--plugin /no/such.so doctor");
    EXPECT_THAT(plugin.output, AllOf(HasSubstr("ok    configuration"), HasSubstr("FAIL  plug-in")));

    Service service;
    service.localtime = Service::localtimeNow(-1000);
    const RawServer server(service.script());
    const Outcome clock = corvane("--set base_url=" + server.url("") + " doctor");
    EXPECT_EQ(clock.exitCode, 1);
    EXPECT_THAT(clock.output, AllOf(HasSubstr("ok    connection"), HasSubstr("not used: the address is http"),
                                    HasSubstr("FAIL  clock"), HasSubstr("ahead of the service's"),
                                    HasSubstr("What to do: set the clock")));
}

}  // namespace
}  // namespace W::host
