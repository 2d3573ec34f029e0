// JSON-RPC with a plug-in that answers with sample records: arguments, results, order and errors.
#include <algorithm>
#include <chrono>
#include <filesystem>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <dlfcn.h>
#include <gmock/gmock.h>

#include "PluginLibrary.h"
#include "RpcLines.h"
#include "SampleRecords.h"
#include "Scratch.h"
#include "TestPlugin.h"

namespace W::host {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

class Rpc : public testing::Test {
protected:
    Rpc() : m_library(TEST_PLUGIN)
    {
        void* const again = ::dlopen(TEST_PLUGIN, RTLD_NOW | RTLD_NOLOAD);
        m_control = reinterpret_cast<GetTestPluginControl>(::dlsym(again, "testPluginControl"))();
        ::dlclose(again);
        *m_control = {};
    }

    /// Everything that a conversation writes.
    std::vector<Json> talk(const std::string& input, std::chrono::milliseconds patience = std::chrono::seconds(20))
    {
        std::vector<Json> output;
        PluginLibrary::Object plugin = m_library.create();
        RpcDispatcher dispatcher(*plugin);
        RpcConversation conversation(dispatcher, [&output](const std::string& line) {
            EXPECT_EQ(line.find('\n'), std::string::npos);
            output.push_back(Json::parse(line));
        });
        std::istringstream lines(input);
        serveLines(conversation, lines, patience);
        plugin.reset();
        EXPECT_EQ(m_control->objects, 0);
        conversation.abandon();
        return output;
    }
    static std::string request(int id, const std::string& method, const std::string& params)
    {
        return "{\"jsonrpc\":\"2.0\",\"id\":" + std::to_string(id) + ",\"method\":\"" + method +
               "\",\"params\":" + params + "}\n";
    }
    Json answerTo(const std::string& method, const std::string& params)
    {
        const std::vector<Json> output = talk(request(1, method, params));
        return output.empty() ? Json() : output.back();
    }

    PluginLibrary m_library;
    TestPluginControl* m_control = nullptr;
};

std::vector<std::string> lines(const std::vector<Json>& output)
{
    std::vector<std::string> texts;
    texts.reserve(output.size());
    for (const Json& line : output) {
        texts.push_back(line.dump());
    }
    return texts;
}

TEST_F(Rpc, AcceptedPrecedesTheResultEvenIfTheCallbackIsFaster)
{
    for (const Behaviour behaviour : {Behaviour::AtOnce, Behaviour::Later}) {
        m_control->behaviour = behaviour;
        const std::string kind = std::to_string(numberOf("checkAgreement"));
        EXPECT_THAT(
            lines(talk(request(1, "checkAgreement", "[]"))),
            ElementsAre(
                "{\"jsonrpc\":\"2.0\",\"method\":\"accepted\",\"params\":{\"id\":1,\"return\":0,\"requestID\":" + kind +
                    ",\"reference\":1,\"status\":0}}",
                "{\"jsonrpc\":\"2.0\",\"id\":1,\"result\":{\"return\":0,\"requestID\":" + kind +
                    ",\"reference\":1,\"status\":0,\"results\":[\"text\",\"text\"]}}"));
    }
}

TEST_F(Rpc, RefusalsHaveNoResults)
{
    m_control->behaviour = Behaviour::Refuse;
    EXPECT_THAT(lines(talk(request(7, "getConfLog", "[]"))),
                ElementsAre("{\"jsonrpc\":\"2.0\",\"id\":7,\"result\":{\"return\":-202,\"requestID\":" +
                            std::to_string(numberOf("getConfLog")) + ",\"reference\":0,\"status\":-202}}"));
}

TEST_F(Rpc, ArgumentsReachTheOperationInTheirOrder)
{
    const struct {
        const char* method;
        const char* params;
        const char* call;
    } rows[] = {
        {"getSchedule", R"([["a","b"],1795224600,6,[1,2]])", "getSchedule([a,b],1795224600,6,[1,2])"},
        {"getSchedule", R"([[],0,-6,[]])", "getSchedule([],0,-6,[])"},
        {"getOnAir", R"([["x"],[3]])", "getOnAir([x],[3])"},
        {"getGuide", R"(["s","5",4102444800,1,2,3,4])", "getGuide(s,5,4102444800,1,2,3,4)"},
        {"getFavoriteContentList", R"(["content",1,"o","s",2,3])", "getFavoriteContentList(content,1,o,s,2,3)"},
        {"setAnonymAgreement", "[true]", "setAnonymAgreement(true)"},
        {"searchEPG", R"(["caf\u00e9 \"x\"","",-1,0])", "searchEPG(café \"x\",,-1,0)"},
        {"resetHistory", "[4294967295]", "resetHistory(4294967295)"},
        {"getPopularChannel", "[2147483647,-2147483648]", "getPopularChannel(2147483647,-2147483648)"},
        {"download", R"(["u","d",""])", "download(u,d,)"},
        {"login", R"(["i","p"])", "login(i,p)"},
        {"cancel", "[18446744073709551615]", "cancel(18446744073709551615)"},
        {"setAuthSeedkey", R"([{"SessionID":"S","UserID":"U","SeedKey":"K"}])", "setAuthSeedkey(S,U,K,,0)"},
        {"setAuthSeedkey", R"([{"SeedKey":"K","ExpireTime":{"utc":"2026-11-21T01:30:00Z","offset":"-05:30"}}])",
         "setAuthSeedkey(,,K,2026-11-21T01:30:00Z,-19800)"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.params);
        const Json answer = answerTo(row.method, row.params);
        EXPECT_TRUE(answer.contains("result")) << answer;
        EXPECT_EQ(m_control->lastCall, row.call);
    }
    answerTo("getHeadend", R"(["a\u0000b"])");
    EXPECT_EQ(m_control->lastCall, std::string("getHeadend(a\0b)", 15));
}

TEST_F(Rpc, NamesWrongParametersAndCallsNothing)
{
    const struct {
        const char* method;
        const char* params;
        const char* message;
    } rows[] = {
        {"getConfLog", "[1]", "getConfLog: 1 parameter(s) given, 0 expected: getConfLog()"},
        {"getSchedule", "[[\"a\"]]",
         "getSchedule: 1 parameter(s) given, 4 expected: getSchedule(sources, start, interval, imageSizes)"},
        {"cancel", "[]", "cancel: 0 parameter(s) given, 1 to 2 expected: cancel(reference, [provider])"},
        {"getConfLog", "{}", "parameters by name are not supported; pass an array: getConfLog()"},
        {"getOnAir", R"({"sources":["a"],"imageSizes":[1]})", "pass an array: getOnAir(sources, imageSizes)"},
        {"getSchedule", "[[\"a\",5],0,6,[1]]", "parameter 1 element 2 must be a string, not 5"},
        {"getSchedule", "[\"a\",0,6,[1]]", "parameter 1 must be an array, not \"a\""},
        {"getSchedule", "[[\"a\"],-1,6,[1]]", "parameter 2 must be an integer from 0"},
        {"getSchedule", "[[\"a\"],1.0,6,[1]]", "parameter 2 must be an integer from 0"},
        {"getSchedule", "[[\"a\"],\"0\",6,[1]]", "parameter 2 must be an integer from 0"},
        {"getSchedule", "[[\"a\"],0,2147483648,[1]]", "parameter 3 must be an integer from -2147483648 to 2147483647"},
        {"getSchedule", "[[\"a\"],0,-2147483649,[1]]", "parameter 3 must be an integer"},
        {"getSchedule", "[[\"a\"],0,18446744073709551615,[1]]", "parameter 3 must be an integer"},
        {"getSchedule", "[[\"a\"],0,true,[1]]", "parameter 3 must be an integer"},
        {"getSchedule", "[[\"a\"],0,6,[1,null]]", "parameter 4 element 2 must be an integer"},
        {"setAnonymAgreement", "[1]", "parameter 1 must be true or false, not 1"},
        {"getHeadend", "[null]", "parameter 1 must be a string, not null"},
        {"setAuthSeedkey", "[{\"SessionID\":1}]", "parameter 1 field SessionID must be a string, not 1"},
        {"setAuthSeedkey", "[{\"Sesion\":\"1\"}]", "parameter 1 field Sesion must be an object with"},
        {"setAuthSeedkey", "[[]]", "parameter 1 must be an object with"},
        {"download", "[\"u\",\"d\",\"f\",\"x\"]", "parameter 4 must be an integer from 0"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(std::string(row.method) + row.params);
        m_control->lastCall.clear();
        const Json answer = answerTo(row.method, row.params);
        ASSERT_TRUE(answer.contains("error")) << answer;
        EXPECT_EQ(answer["id"], 1);
        EXPECT_EQ(answer["error"]["code"], -32602);
        EXPECT_THAT(answer["error"]["message"].get<std::string>(), HasSubstr(row.message));
        EXPECT_THAT(answer["error"]["message"].get<std::string>(), HasSubstr(row.method));
        EXPECT_EQ(m_control->lastCall, "");
    }
}

/// Id and error code, or "result", of each response.
std::vector<std::string> outcomes(const Json& responses)
{
    std::vector<std::string> got;
    for (const Json& response : responses) {
        got.push_back(response["id"].dump() + " " +
                      (response.contains("error") ? response["error"]["code"].dump() : "result"));
    }
    return got;
}

TEST_F(Rpc, InvalidLinesGetAnErrorAndReadingContinues)
{
    const struct {
        const char* line;
        const char* outcome;
    } rows[] = {
        {"junk", "null -32700"},
        {"", "null -32700"},
        {"{\"x\":\"\xFF\"}", "null -32700"},
        {"{\"jsonrpc\":\"2.0\",\"id\":1,", "null -32700"},
        {"5", "null -32600"},
        {"[]", "null -32600"},
        {R"({"id":2,"method":"isValid"})", "2 -32600"},
        {R"({"jsonrpc":"1.0","id":2,"method":"isValid"})", "2 -32600"},
        {R"({"jsonrpc":2.0,"id":2,"method":"isValid"})", "2 -32600"},
        {R"({"jsonrpc":"2.0","id":2})", "2 -32600"},
        {R"({"jsonrpc":"2.0","id":3,"method":5})", "3 -32600"},
        {R"({"jsonrpc":"2.0","id":[],"method":"isValid"})", "null -32600"},
        {R"({"jsonrpc":"2.0","id":{},"method":"isValid"})", "null -32600"},
        {R"({"jsonrpc":"2.0","id":true,"method":"isValid"})", "null -32600"},
        {R"({"jsonrpc":"2.0","id":4,"method":"isValid","params":"bar"})", "4 -32600"},
        {R"({"jsonrpc":"2.0","id":4,"method":"isValid","params":null})", "4 -32600"},
        {R"({"jsonrpc":"2.0","method":1,"params":"bar"})", "null -32600"},
        {R"({"jsonrpc":"2.0","id":4,"method":"noSuch"})", "4 -32601"},
        {R"({"jsonrpc":"2.0","id":4,"method":"rpc.noSuch"})", "4 -32601"},
        {R"({"jsonrpc":"2.0","id":5,"method":"isValid"})", "5 result"},
        {"{\"jsonrpc\":\"2.0\",\"id\":5,\"method\":\"isValid\"}\r", "5 result"},
    };
    std::string input;
    std::vector<std::string> expected;
    for (const auto& row : rows) {
        input += std::string(row.line) + "\n";
        expected.emplace_back(row.outcome);
        EXPECT_THAT(
            outcomes(talk(row.line)),
            testing::ElementsAreArray(row.line[0] ? std::vector<std::string>{row.outcome} : std::vector<std::string>{}))
            << row.line;
    }
    EXPECT_EQ(outcomes(talk(input)), expected);
}

TEST_F(Rpc, RepliesRepeatTheIdOfTheirRequest)
{
    for (const char* id : {"0", "-7", "1.5", "18446744073709551615", "\"\"", "\"a\\\"b\"", "null"}) {
        const std::vector<Json> output = talk(std::string(R"({"jsonrpc":"2.0","method":"isValid","id":)") + id + "}\n");
        ASSERT_EQ(output.size(), 1U) << id;
        EXPECT_EQ(output[0]["id"].dump(), id);
    }
}

TEST_F(Rpc, NotificationsAreCarriedOutAndNotAnswered)
{
    for (const Behaviour behaviour : {Behaviour::AtOnce, Behaviour::Later, Behaviour::Refuse}) {
        m_control->behaviour = behaviour;
        EXPECT_THAT(lines(talk(R"({"jsonrpc":"2.0","method":"resetHistory","params":[5]})"
                               "\n")),
                    ElementsAre());
        EXPECT_EQ(m_control->lastCall, "resetHistory(5)");
    }
    EXPECT_THAT(lines(talk("{\"jsonrpc\":\"2.0\",\"method\":\"noSuch\"}\n"
                           "{\"jsonrpc\":\"2.0\",\"method\":\"resetHistory\",\"params\":[-1]}\n"
                           "{\"jsonrpc\":\"2.0\",\"method\":\"wait\"}\n"
                           "{\"jsonrpc\":\"2.0\",\"method\":\"isValid\"}\n")),
                ElementsAre());
}

TEST_F(Rpc, BatchesAreAnsweredAsBatchesAfterTheirAcceptedNotifications)
{
    const std::string batch = R"([{"jsonrpc":"2.0","id":1,"method":"saveHeadend"},)"
                              R"({"jsonrpc":"2.0","method":"saveHeadend"},5,)"
                              R"({"jsonrpc":"2.0","id":"b","method":"checkAgreement"},)"
                              R"({"jsonrpc":"2.0","id":2,"method":"isValid"},)"
                              R"({"jsonrpc":"2.0","id":3,"method":"noSuch"}])";
    for (const Behaviour behaviour : {Behaviour::AtOnce, Behaviour::Later}) {
        m_control->behaviour = behaviour;
        const std::vector<Json> output = talk(batch + "\n");
        ASSERT_EQ(output.size(), 3U);
        EXPECT_EQ(output[0]["params"]["id"], 1);
        EXPECT_EQ(output[1]["params"]["id"], "b");
        ASSERT_TRUE(output[2].is_array());
        EXPECT_THAT(outcomes(output[2]),
                    testing::UnorderedElementsAre("1 result", "null -32600", "\"b\" result", "2 result", "3 -32601"));
    }
    EXPECT_THAT(outcomes(talk("[1,2]\n").at(0)), ElementsAre("null -32600", "null -32600"));
    EXPECT_THAT(talk(R"([{"jsonrpc":"2.0","method":"isValid"},{"jsonrpc":"2.0","method":"saveHeadend"}])"),
                ElementsAre());
}

TEST_F(Rpc, RefusesOversizedAndDeepMessagesAndReadingContinues)
{
    const std::string after = request(9, "isValid", "[]");
    const std::string longest = R"({"jsonrpc":"2.0","id":1,"method":"getHeadend","params":[")";
    const std::string end = "\"]}";
    const std::string fits(kMostRpcMessage - longest.size() - end.size(), 'x');
    EXPECT_THAT(outcomes(talk(longest + fits + "x" + end + "\n" + after)), ElementsAre("null -32700", "9 result"));
    m_control->behaviour = Behaviour::Refuse;
    EXPECT_THAT(outcomes(talk(longest + fits + end + "\n" + after)), ElementsAre("1 result", "9 result"));
    const std::string deep = R"({"jsonrpc":"2.0","id":1,"method":"getHeadend","params":)";
    EXPECT_THAT(outcomes(talk(deep + std::string(1000000, '[') + "\n" + after)),
                ElementsAre("null -32700", "9 result"));
    EXPECT_THAT(outcomes(talk(deep + std::string(63, '[') + std::string(63, ']') + "}\n" + after)),
                ElementsAre("1 -32602", "9 result"));
    EXPECT_THAT(outcomes(talk(deep + std::string(64, '[') + std::string(64, ']') + "}\n" + after)),
                ElementsAre("null -32700", "9 result"));
}

TEST_F(Rpc, DiscoverDescribesEveryMethod)
{
    const Json document = answerTo("rpc.discover", "[]")["result"];
    EXPECT_EQ(document["openrpc"], "1.2.6");
    std::set<std::string> methods;
    for (const Json& method : document["methods"]) {
        methods.insert(method["name"]);
        EXPECT_TRUE(method["result"]["schema"].is_object()) << method;
        EXPECT_EQ(method.dump().find("\"items\":[]"), std::string::npos) << "not valid JSON Schema: " << method;
        for (const Json& parameter : method["params"]) {
            EXPECT_TRUE(parameter["schema"].is_object()) << parameter;
            EXPECT_NE(parameter["name"], "");
        }
    }
    std::set<std::string> expected{"wait"};
    for (const RpcOperation& row : rpcOperations()) {
        expected.emplace(row.name);
    }
    EXPECT_EQ(methods, expected);
    const auto& all = document["methods"];
    const auto schedule =
        std::find_if(all.begin(), all.end(), [](const Json& method) { return method["name"] == "getSchedule"; });
    EXPECT_EQ((*schedule)["params"].dump(),
              R"([{"name":"sources","required":true,"schema":{"type":"array","items":{"type":"string"}}},)"
              R"({"name":"start","required":true,"schema":{"type":"integer","minimum":0}},)"
              R"({"name":"interval","required":true,"schema":{"type":"integer"}},)"
              R"({"name":"imageSizes","required":true,"schema":{"type":"array","items":{"type":"integer"}}}])");
}

TEST_F(Rpc, ConversationsShareADispatcherAndMayEndEarly)
{
    m_control->behaviour = Behaviour::Later;
    PluginLibrary::Object plugin = m_library.create();
    RpcDispatcher dispatcher(*plugin, RpcAccess::NoFiles);
    std::vector<Json> output;
    RpcConversation second(dispatcher,
                           [&output](const std::string& message) { output.push_back(Json::parse(message)); });
    {
        RpcConversation first(dispatcher, [](const std::string&) {});
        for (int i = 0; i < 20; ++i) {
            first.handle(R"({"jsonrpc":"2.0","id":1,"method":"saveHeadend"})");
        }
    }
    second.handle(R"({"jsonrpc":"2.0","id":1,"method":"saveHeadend"})");
    second.handle(R"({"jsonrpc":"2.0","id":2,"method":"wait"})");
    second.finishWaits();
    for (const char* method : {"download", "getTodaySchedule", "sendChannel"}) {
        second.handle(std::string(R"({"jsonrpc":"2.0","id":3,"method":")") + method + "\"}");
    }
    ASSERT_EQ(output.size(), 6U);
    EXPECT_EQ(output[0]["method"], "accepted");
    output.erase(output.begin());
    EXPECT_THAT(outcomes(output), ElementsAre("1 result", "2 result", "3 -32601", "3 -32601", "3 -32601"));
    plugin.reset();
    second.abandon();
}

TEST_F(Rpc, SynchronousOperationsAnswerAtOnce)
{
    const struct {
        const char* method;
        const char* params;
        const char* result;
    } rows[] = {
        {"isValid", "[]", R"({"return":false})"},
        {"login", R"(["a","b"])", R"({"return":-6,"requestID":null,"reference":null,"status":null})"},
        {"logout", "[]", R"({"return":-6,"requestID":null,"reference":null,"status":null})"},
        {"retrieveExceptions", "[]", R"({"return":-6,"requestID":null,"reference":null,"status":null})"},
        {"resolveException", "[]", R"({"return":-6,"requestID":null,"reference":null,"status":null})"},
        {"setAuthSeedkey", "[{}]", R"({"return":null})"},
        {"cancel", "[1]", R"({"return":600})"},
        {"cancel", "[1,2893825857]", R"({"return":600})"},
        {"cancel", "[1,5]", R"({"return":-1})"},
        {"download", R"(["u","d","f",5])", R"({"return":-16,"requestID":null,"reference":null,"status":-16})"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(answerTo(row.method, row.params)["result"].dump(), row.result) << row.method << row.params;
    }
    const Json today = answerTo("getTodaySchedule", R"(["/x"])")["result"];
    EXPECT_EQ(today["return"], 0);
    EXPECT_EQ(today["results"][0]["count"], 1);
    EXPECT_EQ(today["results"][0]["data"][0]["Title"], "Title");
    m_control->behaviour = Behaviour::Refuse;
    EXPECT_EQ(answerTo("getTodaySchedule", R"(["/x"])")["result"].dump(), R"({"return":-403})");
}

TEST_F(Rpc, WaitAnswersAfterTheOthers)
{
    m_control->behaviour = Behaviour::Later;
    const std::vector<Json> output =
        talk(request(1, "saveHeadend", "[]") + request(2, "checkAgreement", "[]") + request(3, "wait", "[]") +
             request(4, "saveHeadend", "[]") + request(5, "wait", "[4]") + request(6, "wait", "[99]"));
    const auto at = [&](int id) {
        return std::find_if(output.begin(), output.end(), [id](const Json& line) { return line.value("id", 0) == id; });
    };
    EXPECT_LT(at(1), at(3));
    EXPECT_LT(at(2), at(3));
    EXPECT_LT(at(3), at(4));
    EXPECT_LT(at(4), at(5));
    EXPECT_NE(at(6), output.end());
}

TEST_F(Rpc, OutstandingRequestsEndWithAnErrorEach)
{
    m_control->behaviour = Behaviour::Never;
    const std::vector<Json> output =
        talk(request(1, "saveHeadend", "[]") + request(2, "saveHeadend", "[]"), std::chrono::milliseconds(10));
    ASSERT_EQ(output.size(), 4U);
    for (int id = 1; id <= 2; ++id) {
        const Json& answer = output[static_cast<std::size_t>(id) + 1];
        EXPECT_EQ(answer["id"], id);
        EXPECT_EQ(answer["error"]["code"], -32000);
    }
}

/// The names of the functions that a header declares after `prefix`.
std::set<std::string> functionsAfter(const std::string& prefix, const std::string& header)
{
    std::set<std::string> names;
    for (std::size_t at = header.find(prefix); at != std::string::npos; at = header.find(prefix, at + 1)) {
        const std::size_t begin = at + prefix.size();
        const std::size_t end =
            header.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_", begin);
        if (end != std::string::npos && header[end] == '(') {
            names.insert(header.substr(begin, end - begin));
        }
    }
    return names;
}

/// The setters that the headers of the framework declare, by class.
std::set<std::string> settersOf(const std::string& record)
{
    for (const auto& file : std::filesystem::directory_iterator(FRAMEWORK_DIRECTORY)) {
        const std::string header = readFile(file.path().string());
        const std::size_t begin = header.find("class " + record + " : public WResource {");
        if (begin != std::string::npos) {
            std::set<std::string> setters =
                functionsAfter("void set", header.substr(begin, header.find("\n};", begin) - begin));
            setters.erase("");  // a private set() that the setters share
            return setters;
        }
    }
    return {};
}

/// Every value has its own key as value.
void expectSample(const Json& object)
{
    for (const auto& [key, value] : object.items()) {
        if (value.is_string()) {
            EXPECT_EQ(value, key);
        } else if (value.is_number()) {
            EXPECT_EQ(value, numberOf(key)) << key;
        } else if (value.contains("utc")) {
            EXPECT_EQ(value.dump(), R"({"utc":"2026-11-21T01:30:00Z","offset":"+09:00"})") << key;
        } else if (value.is_object()) {
            expectSample(value);
        } else {
            expectSample(value.at(0));
        }
    }
}

template <class Record>
void expectComplete(const char* name)
{
    SCOPED_TRACE(name);
    const Json json = toJson(sample<Record>());
    std::set<std::string> keys;
    for (const auto& [key, value] : json.items()) {
        keys.insert(key);
    }
    EXPECT_EQ(keys, settersOf(name));
    expectSample(json);
}

TEST(RecordJson, EveryFieldHasItsSettersName)
{
    expectComplete<WVLImage>("WVLImage");
    expectComplete<WVLChannel>("WVLChannel");
    expectComplete<WVLGenre>("WVLGenre");
    expectComplete<WVLRepGenre>("WVLRepGenre");
    expectComplete<WVLPerson>("WVLPerson");
    expectComplete<WVLContent>("WVLContent");
    expectComplete<WVLCombination>("WVLCombination");
    expectComplete<WVLConcierge>("WVLConcierge");
    expectComplete<WVLDevice>("WVLDevice");
    expectComplete<WVLHeadend>("WVLHeadend");
    expectComplete<WVLCityCode>("WVLCityCode");
    expectComplete<WVLAnswer>("WVLAnswer");
    expectComplete<WVLQuiz>("WVLQuiz");
    expectComplete<WVLDownloadURL>("WVLDownloadURL");
    expectComplete<WVLEvent>("WVLEvent");
    expectComplete<WVLLog>("WVLLog");
    expectComplete<WVLCertificationRule>("WVLCertificationRule");
    expectComplete<WVLLocaltime>("WVLLocaltime");
    expectComplete<WVLSession>("WVLSession");
}

TEST(RecordJson, ConvertsContainersMapsAndTimes)
{
    WContainer<WVLCityCode> cleared;
    cleared.clear();
    EXPECT_EQ(toJson(cleared).dump(), R"({"count":-1,"data":[]})");
    EXPECT_EQ(toJson(sample<WContainer<WVLCityCode>>()).dump(),
              R"({"count":1,"data":[{"Code":"Code","Name":"Name"}]})");
    EXPECT_EQ(toJson(sample<std::map<int, std::string>>()).dump(), R"({"0":"zero","7":"seven"})");
    EXPECT_EQ((toJson(sample<std::multimap<int, WVLCityCode>>()).dump()),
              R"([[0,{"Code":"Code","Name":"Name"}],[7,{"Code":"Code","Name":"Name"}]])");
    EXPECT_EQ(toJson(WDateTime()).dump(), R"({"utc":null,"offset":null})");
    WDateTime half = WDateTime::fromTime_t(0);
    half.setOffset(-1, WTime(5, 30));
    EXPECT_EQ(toJson(half).dump(), R"({"utc":"1970-01-01T00:00:00Z","offset":"-05:30"})");
    EXPECT_EQ(toJson(WVLChannel())["StationImage"].dump(), R"({"Index":"","Type":"","URL":"","Width":0,"Height":0})");
}

TEST(RecordJson, InvalidUtf8IsReplaced)
{
    EXPECT_EQ(toLine(toJson(std::string("a\xFF z"))), "\"a\xEF\xBF\xBD z\"");
    EXPECT_EQ(toLine(toJson(std::string("a\0b\n", 4))), "\"a\\u0000b\\n\"");
}

TEST(RpcOperations, HaveARowForEachOperation)
{
    std::set<std::string> offered;
    for (const RpcOperation& row : rpcOperations()) {
        EXPECT_TRUE(offered.insert(std::string(row.name)).second) << row.name << " occurs twice";
    }
    const std::string header = readFile(INTERFACE_HEADER);
    std::set<std::string> expected{"isValid", "login", "logout", "retrieveExceptions", "resolveException"};
    expected.merge(functionsAfter("virtual int ", header));
    expected.merge(functionsAfter("virtual void ", header));
    EXPECT_GT(expected.size(), 50U);
    EXPECT_EQ(offered, expected);
}

TEST(PluginLibrary, NamesWhatIsWrongWithAFile)
{
    const struct {
        const char* file;
        const char* message;
    } rows[] = {
        {"/no/such/plugin.so", "there is no plug-in at /no/such/plugin.so"},
        {"/tmp", "there is no plug-in at /tmp"},
        {"/etc/passwd", "cannot load the plug-in: /etc/passwd"},
        {NO_PLUGIN, "is not a plug-in: it does not export createPlugin"},
    };
    for (const auto& row : rows) {
        try {
            const PluginLibrary library(row.file);
            ADD_FAILURE() << row.file;
        } catch (const std::runtime_error& error) {
            EXPECT_THAT(error.what(), HasSubstr(row.message));
            EXPECT_THAT(error.what(), testing::Not(HasSubstr("\n")));
        }
    }
}

}  // namespace
}  // namespace W::host
