// Secrets and hostile services. No log of the plug-in, the host or the service contains a token, a seed key or an
// identifier of a user or session at its default level. No reply of a service makes the plug-in inject a header, follow
// a redirect, read a file or write one elsewhere.

#include <atomic>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>
#include <openssl/sha.h>

#include "CommandRun.h"
#include "LongForm.h"
#include "RawServer.h"

namespace W::test {
namespace {

using host::corvane;
using host::Outcome;
using host::RawServer;
using host::readFile;
using host::ScratchDirectory;
using nlohmann::json;
using testing::HasSubstr;
using testing::Not;

using Secrets = std::map<std::string, std::string>;

const Secrets kSecrets = {
    {"session identifier", "SeSsIoN-0cf1e5"},
    {"user identifier", "UsEr-7ab310"},
    {"seed key", "SeEdKeY-55d0aa"},
    {"secret key", "SeCrEt-90bb21"},
    {"application key", "ApPkEy-2f3c4d"},
    {"authentication token", "AuThToKeN-66"},
    {"device", "DeViCe-81c2d3"},
};

std::string token(const std::string& session, const std::string& user, const std::string& seedKey,
                  const std::string& secret)
{
    const std::string text = seedKey + "+" + secret;
    unsigned char digest[SHA_DIGEST_LENGTH];
    SHA1(reinterpret_cast<const unsigned char*>(text.data()), text.size(), digest);
    std::string hex;
    for (const unsigned char byte : digest) {
        constexpr char kDigits[] = "0123456789abcdef";
        hex += kDigits[byte >> 4];
        hex += kDigits[byte & 15];
    }
    return session + "+" + user + "+" + hex;
}

/// Fails the test for every secret in a log.
void expectNone(const Secrets& secrets, const std::string& log, const char* whose)
{
    for (const auto& [name, text] : secrets) {
        ASSERT_GE(text.size(), 6u) << name;
        EXPECT_EQ(log.find(text), std::string::npos) << "the " << name << " is in the log of the " << whose << ":\n"
                                                     << log.substr(0, 2000);
    }
}

std::string sessionReply(const std::string& session, const std::string& user, const std::string& seedKey)
{
    return json{
        {"rsp",
         {{"stat", "OK"},
          {"difference", "+09:00"},
          {"session",
           {{"id", session}, {"user", {{"id", user}}}, {"seedkey", seedKey}, {"expired", "2099-01-01T00:00:00Z"}}}}}}
        .dump();
}

/// The example call of every operation in docs/operations.md.
std::vector<std::string> exampleCalls()
{
    std::ifstream in(std::string(CORVANE_DOCS) + "/operations.md");
    std::vector<std::string> calls;
    for (std::string line; std::getline(in, line);) {
        if (line.rfind("{\"jsonrpc\"", 0) == 0 && line.find("\"wait\"") == std::string::npos) {
            calls.push_back(line);
        }
    }
    return calls;
}

std::string settings(const std::string& url, const std::string& directory)
{
    std::ofstream(directory + "/channels.json") << "{}";
    std::string text;
    for (const std::string& setting :
         {"base_url=" + url, std::string("country=US"), std::string("headend=H"),
          "app_key=" + kSecrets.at("application key"), "secret_key=" + kSecrets.at("secret key"),
          "auth_token=" + kSecrets.at("authentication token"), "duid=" + kSecrets.at("device"),
          std::string("model_id=M"), "channelinfo_filepath=" + directory + "/channels.json"}) {
        text += " --set " + setting;
    }
    return text;
}

constexpr char kWait[] = "{\"jsonrpc\":\"2.0\",\"id\":900,\"method\":\"wait\",\"params\":[]}\n";
constexpr char kOpenSession[] = "{\"jsonrpc\":\"2.0\",\"id\":901,\"method\":\"getAuthSeedkey\",\"params\":[]}\n";

TEST(Secrets, AreInNoLogOfPluginAndHost)
{
    const std::string session = kSecrets.at("session identifier");
    const std::string user = kSecrets.at("user identifier");
    const std::string seedKey = kSecrets.at("seed key");
    const std::string good = sessionReply(session, user, seedKey);
    // The first two replies open the session; all kinds of replies follow, and each repeats the secrets.
    const RawServer server([&](RawServer::RawConnection& connection) {
        while (const auto request = connection.readRequest()) {
            static std::atomic<unsigned> s_number{0};
            const unsigned number = ++s_number;
            const bool first =
                request->find("/seedkey") != std::string::npos || request->find("/localtime") != std::string::npos;
            if (first || number % 4 == 0) {
                connection.answer(good);
            } else if (number % 4 == 1) {
                connection.answer("<html>" + good);
            } else if (number % 4 == 2) {
                connection.answer(R"({"rsp":{"stat":"FAIL","err":{"code":"206","msg":")" + session + seedKey + user +
                                  "\"}}}");
            } else {
                connection.send("HTTP/1.1 401 " + session + "\r\nContent-Length: " + std::to_string(good.size()) +
                                "\r\n\r\n" + good);
            }
        }
    });
    const ScratchDirectory scratch;
    std::string input;
    std::string calls;
    for (std::string call : exampleCalls()) {
        for (const auto& [from, to] : {std::pair<std::string, std::string>("http://127.0.0.1:8900", server.url("")),
                                       std::pair<std::string, std::string>("/tmp", scratch.file("."))}) {
            if (const std::size_t at = call.find(from); at != std::string::npos) {
                call.replace(at, from.size(), to);
            }
        }
        calls += call + "\n";
    }
    ASSERT_GT(host::lineCount(calls), 45);
    input = std::string(kOpenSession) + kWait + calls + kWait + calls + kWait;
    // A session that the host sets, and a cancel.
    input += json{{"jsonrpc", "2.0"},
                  {"id", 902},
                  {"method", "setAuthSeedkey"},
                  {"params", {{{"SessionID", session}, {"UserID", user}, {"SeedKey", seedKey}}}}}
                 .dump() +
             "\n" + json{{"jsonrpc", "2.0"}, {"id", 903}, {"method", "cancel"}, {"params", {12345}}}.dump() + "\n";

    Secrets secrets = kSecrets;
    secrets["token"] = token(session, user, seedKey, kSecrets.at("secret key"));
    const std::string arguments = settings(server.url(""), scratch.file("."));
    const Outcome plain = corvane(arguments + " --log " + scratch.file("log") + " rpc", input);
    EXPECT_EQ(plain.exitCode, 0) << plain.errors;
    const std::string log = readFile(scratch.file("log"));
    EXPECT_THAT(log, HasSubstr("#ERROR WSTATUS:")) << "nothing was logged";
    expectNone(secrets, log, "plug-in");
    expectNone(secrets, plain.errors, "host");
    const Outcome toErrors = corvane(arguments + " rpc", input);
    EXPECT_THAT(toErrors.errors, HasSubstr("#ERROR WSTATUS:"));
    expectNone(secrets, toErrors.errors, "host");
    // These commands show the error message of a service that refuses, so this service does not refuse.
    const RawServer kind(host::answering(good));
    for (const char* forPeople : {" doctor", " guide"}) {
        expectNone(secrets, corvane(settings(kind.url(""), scratch.file(".")) + forPeople).errors, "host");
    }
    figure("bytes of the plug-in's log at its default level, without a secret", static_cast<double>(log.size()));

    // The search works: at the level of traces the secrets are in the log.
    corvane(arguments + " --log " + scratch.file("traces") + " --log-level 8 rpc", input);
    const std::string traces = readFile(scratch.file("traces"));
    for (const char* name : {"session identifier", "user identifier", "seed key"}) {
        EXPECT_THAT(traces, HasSubstr(kSecrets.at(name))) << name;
    }
    EXPECT_GT(server.requests().size(), 100u);
    EXPECT_THAT(server.requests().back(), Not(HasSubstr("seedkey")));
}

TEST(Secrets, AreInNoLogOfTheService)
{
    const ScratchDirectory scratch;
    support::ChildProcess service(
        {CORVANED, {"serve", "--listen", "127.0.0.1:0", "--secret", kSecrets.at("secret key")}, {}});
    const std::string announced = service.readLine();
    const std::string words = "listening on ";
    ASSERT_NE(announced.find(words), std::string::npos) << announced << service.errors();
    const std::string url = announced.substr(announced.find(words) + words.size());
    std::string calls;
    for (std::string call : exampleCalls()) {
        // getAuthSeedkey would replace the session with the wrong token.
        if (call.find("getServerUrl") == std::string::npos && call.find("download") == std::string::npos &&
            call.find("getAuthSeedkey") == std::string::npos) {
            calls += call + "\n";
        }
    }
    const std::string arguments = settings(url, scratch.file("."));
    const Outcome right = corvane(arguments + " rpc", std::string(kOpenSession) + kWait + calls + kWait);
    Secrets secrets = kSecrets;
    std::istringstream lines(right.output);
    for (std::string line; std::getline(lines, line);) {
        const json told = json::parse(line);
        if (told.value("id", 0) == 901 && told.contains("result")) {
            const json& session = told["result"]["results"][0];
            secrets["session identifier"] = session["SessionID"];
            secrets["user identifier"] = session["UserID"];
            secrets["seed key"] = session["SeedKey"];
        }
    }
    ASSERT_NE(secrets["seed key"], kSecrets.at("seed key")) << right.output.substr(0, 400);
    secrets["token"] = token(secrets["session identifier"], secrets["user identifier"], secrets["seed key"],
                             kSecrets.at("secret key"));
    // A token made from another seed key.
    const std::string wrong = json{{"jsonrpc", "2.0"},
                                   {"id", 1},
                                   {"method", "setAuthSeedkey"},
                                   {"params",
                                    {{{"SessionID", secrets["session identifier"]},
                                      {"UserID", secrets["user identifier"]},
                                      {"SeedKey", "guessed"}}}}}
                                  .dump() +
                              "\n";
    const Outcome refused = corvane(arguments + " rpc", wrong + calls + kWait);
    service.signal(SIGTERM);
    EXPECT_EQ(service.wait(), 0);
    const std::string log = announced + service.readAll() + service.errors();
    EXPECT_THAT(log, HasSubstr("status=401")) << refused.output.substr(0, 400);
    EXPECT_THAT(log, HasSubstr("status=200"));
    expectNone(secrets, log, "service");
    figure("bytes of the service's log, without a secret", static_cast<double>(log.size()));
}

json callsResult(const Outcome& outcome, int id)
{
    std::istringstream lines(outcome.output);
    for (std::string line; std::getline(lines, line);) {
        const json told = json::parse(line);
        if (told.value("id", 0) == id && told.contains("result")) {
            return told["result"];
        }
    }
    return nullptr;
}

TEST(HostileService, SessionWithLineEndsInjectsNoHeader)
{
    const std::string evil = sessionReply("S\r\nInjected: 1", "U\nInjected: 2", "K");
    const RawServer server(host::answering(evil));
    const ScratchDirectory scratch;
    const Outcome outcome =
        corvane(settings(server.url(""), scratch.file(".")) + " rpc",
                std::string(kOpenSession) + kWait +
                    "{\"jsonrpc\":\"2.0\",\"id\":7,\"method\":\"getConfLog\",\"params\":[]}\n" + kWait);
    EXPECT_EQ(callsResult(outcome, 7).value("status", 0), -1) << outcome.output;
    ASSERT_EQ(server.requests().size(), 1u) << "the second request went out";
    EXPECT_THAT(server.requests()[0], Not(HasSubstr("Injected")));
}

TEST(HostileService, RedirectIsNotFollowed)
{
    const RawServer other(host::answering("must not be fetched"));
    const RawServer server([&](RawServer::RawConnection& connection) {
        while (connection.readRequest()) {
            connection.send("HTTP/1.1 302 Found\r\nLocation: " + other.url("/x") + "\r\nContent-Length: 0\r\n\r\n");
        }
    });
    const ScratchDirectory scratch;
    const std::string download = json{{"jsonrpc", "2.0"},
                                      {"id", 7},
                                      {"method", "download"},
                                      {"params", {server.url("/f"), scratch.file("."), "f"}}}
                                     .dump() +
                                 "\n";
    const Outcome outcome =
        corvane(settings(server.url(""), scratch.file(".")) + " rpc", kOpenSession + download + kWait);
    EXPECT_LT(callsResult(outcome, 901).value("status", 0), 0) << outcome.output;
    EXPECT_LT(callsResult(outcome, 7).value("status", 0), 0) << outcome.output;
    EXPECT_EQ(server.requests().size(), 2u);
    EXPECT_EQ(other.connections(), 0);
    EXPECT_FALSE(std::filesystem::exists(scratch.file("f")));
}

TEST(HostileService, FileUrlIsNotRead)
{
    const ScratchDirectory scratch;
    const std::string secret = scratch.write("secret", "must not be read");
    const std::string download = json{{"jsonrpc", "2.0"},
                                      {"id", 7},
                                      {"method", "download"},
                                      {"params", {"file://" + secret, scratch.file("."), "copy"}}}
                                     .dump() +
                                 "\n";
    const std::string asServer = settings("file://" + secret + "?", scratch.file("."));
    const Outcome outcome = corvane(asServer + " rpc", kOpenSession + download + kWait);
    EXPECT_EQ(callsResult(outcome, 901).value("status", 0), -1) << outcome.output;
    EXPECT_LT(callsResult(outcome, 7).value("status", 0), 0) << outcome.output;
    EXPECT_FALSE(std::filesystem::exists(scratch.file("copy")));
    EXPECT_THAT(outcome.output + outcome.errors, Not(HasSubstr("must not be read")));
}

TEST(HostileService, FileNameInUrlStaysInItsDirectory)
{
    const RawServer server(host::answering("content"));
    const ScratchDirectory scratch;
    std::filesystem::create_directory(scratch.file("d"));
    const char* const urls[] = {"/..",          "/.", "/a/../../escaped", "/%2e%2e%2fescaped", "/x?y=../escaped",
                                "/..%2Fescaped"};
    std::string input;
    for (const char* url : urls) {
        input += json{{"jsonrpc", "2.0"},
                      {"id", 7},
                      {"method", "download"},
                      {"params", {server.url(url), scratch.file("d"), ""}}}
                     .dump() +
                 "\n";
    }
    corvane(settings(server.url(""), scratch.file(".")) + " rpc", input + kWait);
    std::vector<std::string> outside;
    for (const auto& entry : std::filesystem::directory_iterator(scratch.file("."))) {
        outside.push_back(entry.path().filename().string());
    }
    EXPECT_THAT(outside, testing::UnorderedElementsAre("d", "channels.json"));
    EXPECT_FALSE(std::filesystem::is_empty(scratch.file("d"))) << "names that lead nowhere else are kept";
}

}  // namespace
}  // namespace W::test
