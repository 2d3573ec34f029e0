// From the end of an exchange to the callback, for every kind of request: statuses, results, lines.

#include <climits>

#include <gtest/gtest.h>

#include "Calls.h"
#include "ParseDeliveries.h"
#include "ParseSeams.h"

namespace W::test {
namespace {

/// The status of an HTTP code with which nothing is parsed; states the product's table a second time.
int statusOfHttp(int code)
{
    switch (code) {
        case 201:
        case 304:
            return 0;
        case 401:
            return -202;
        case 400:
        case 403:
        case 404:
        case 410:
            return -205;
        case 409:
        case 412:
            return -203;
        case 500:
            return -107;
        default:
            return -16;
    }
}

/// The status of an exchange that did not complete.
int statusOfSession(int session)
{
    const std::map<int, int> known = {
        {1, -1},    {5, -3},    {21, -200},  {25, -200},  {22, -13},  {23, -13},  {26, -13},  {27, -13},
        {28, -13},  {24, -500}, {29, -107},  {43, -107},  {30, -202}, {41, -100}, {42, -105}, {44, -203},
        {45, -205}, {61, -5},   {62, -5},    {63, -5},    {64, -5},   {65, -5},   {66, -5},   {67, -5},
        {81, -108}, {102, -9},  {141, -205}, {142, -202}, {600, 600},
    };
    const auto found = known.find(session);
    return found == known.end() ? -16 : found->second;
}

struct Delivery : ::testing::Test {
    FakeHost host;
    WVorelOAI object;

    /// The body of a full reply; any string if nothing is parsed.
    static std::string fullBody(const CommandKind& kind)
    {
        return kind.parser != nullptr ? replyBody(fullReply(parserCase(kind.parser))) : "any text";
    }

    /// Expects exactly one callback, with a status.
    void deliver(const CommandKind& kind, Delivered& delivered, SESSION_STATUS session, int code,
                 const std::string& body)
    {
        const std::unique_ptr<VorelServiceCMD> command = kind.make(&object, &delivered);
        delivered.calls = 0;
        // Good replies of some kinds change the clock.
        setClock(object, "-05:30");
        host.forgetLines();
        EXPECT_EQ(complete(*command, session, code, body), 4711u);
        EXPECT_EQ(delivered.calls, 1);
        EXPECT_EQ(delivered.reference, 4711u);
    }

    /// The results of a kind when nothing was parsed.
    static Shown nothing(const CommandKind& kind, const std::string& body)
    {
        Shown results = Shown::array();
        if (kind.key == 46) {
            return Shown::array({body});
        }
        if (kind.key == 35) {
            return Shown::array({false});
        }
        if (kind.key == 20) {
            return Shown::parse(R"([{"count":0,"list":[]}])");
        }
        if (kind.parser != nullptr) {
            const Shown fresh = parserCase(kind.parser).parse({}).outputs;
            for (const char* const name : kind.results) {
                results.push_back(fresh.at(name));
            }
        }
        return results;
    }

    /// The results of a kind for the full reply.
    static Shown everything(const CommandKind& kind, const std::string& body)
    {
        if (kind.results.empty()) {
            return nothing(kind, body);
        }
        Shown results = Shown::array();
        const Shown outputs = stated(parserCase(kind.parser));
        for (const char* const name : kind.results) {
            results.push_back(outputs.at(name));
        }
        // The parser fills a list, from which the handler makes a container.
        if (kind.key == 20) {
            results[0] = {{"count", results[0].size()}, {"list", results[0]}};
        }
        return results;
    }
};

TEST_F(Delivery, MapsEveryHttpCode)
{
    const CommandKind& kind = kindOf(18);
    const std::string body = fullBody(kind);
    for (int code = 0; code <= 700; ++code) {
        SCOPED_TRACE(code);
        Delivered delivered;
        deliver(kind, delivered, 0, code, body);
        const bool isParsed = code == 200 || code == 204;
        EXPECT_EQ(delivered.status, isParsed ? 0 : statusOfHttp(code));
        EXPECT_EQ(delivered.results, isParsed ? everything(kind, body) : nothing(kind, body));
    }
}

TEST_F(Delivery, MapsEverySessionStatus)
{
    const CommandKind& kind = kindOf(18);
    const std::string body = fullBody(kind);
    std::vector<int> statuses = {-1, 255, 600, 601, INT_MAX, INT_MIN};
    for (int session = 1; session <= 150; ++session) {
        statuses.push_back(session);
    }
    for (const int session : statuses) {
        SCOPED_TRACE(session);
        Delivered delivered;
        deliver(kind, delivered, session, 200, body);
        EXPECT_EQ(delivered.status, statusOfSession(session));
        EXPECT_EQ(delivered.results, nothing(kind, body));
    }
}

TEST_F(Delivery, EveryKindDeliversTheStatusOfItsExchange)
{
    for (const CommandKind& kind : kinds()) {
        if (kind.key == 51) {
            continue;  // The file decides the status of a download.
        }
        SCOPED_TRACE(kind.handler);
        const std::string body = fullBody(kind);
        const bool isText = kind.key == 46;
        for (const int code : {200, 204}) {
            Delivered delivered;
            deliver(kind, delivered, 0, code, body);
            EXPECT_EQ(delivered.status, 0);
            EXPECT_EQ(delivered.results, everything(kind, body));
            deliver(kind, delivered, 0, code, "");
            EXPECT_EQ(delivered.status, isText ? 0 : -56);
            EXPECT_EQ(delivered.results.size(), nothing(kind, "").size());
        }
        for (const int code : {0, 201, 202, 203, 304, 400, 401, 404, 409, 500, 503}) {
            SCOPED_TRACE(code);
            Delivered delivered;
            deliver(kind, delivered, 0, code, body);
            EXPECT_EQ(delivered.status, statusOfHttp(code));
            EXPECT_EQ(delivered.results, nothing(kind, body));
        }
        for (const int session : {1, 21, 24, 142, 143, 600}) {
            SCOPED_TRACE(session);
            Delivered delivered;
            deliver(kind, delivered, session, 200, body);
            EXPECT_EQ(delivered.status, statusOfSession(session));
            EXPECT_EQ(delivered.results, nothing(kind, body));
        }
    }
}

TEST_F(Delivery, CreatedAndNotModifiedStoreNothing)
{
    for (const int code : {201, 304, 500}) {
        Delivered delivered;
        deliver(kindOf(3), delivered, 0, code, fullBody(kindOf(3)));
        EXPECT_FALSE(object.service()->IsAvailableSession()) << code;
        deliver(kindOf(6), delivered, 0, code, fullBody(kindOf(6)));
        EXPECT_EQ(show(object.serverTimeDifference()), Shown::parse(R"({"offset":"-05:30"})")) << code;
    }
    Delivered delivered;
    deliver(kindOf(3), delivered, 0, 204, fullBody(kindOf(3)));
    EXPECT_TRUE(object.service()->IsAvailableSession());
    deliver(kindOf(6), delivered, 0, 204, fullBody(kindOf(6)));
    EXPECT_EQ(show(object.serverTimeDifference()), Shown::parse(R"({"offset":"+09:15"})"));
}

TEST_F(Delivery, FailedRepliesStoreNothing)
{
    for (const char* const body : {"", "[]", R"({"rsp":{"stat":"FAIL"}})",
                                   R"({"rsp":{"stat":"OK","session":{"id":"i","seedkey":"k","expired":{}},)"
                                   R"("difference":{}}})"}) {
        Delivered delivered;
        deliver(kindOf(3), delivered, 0, 200, body);
        EXPECT_LT(delivered.status, 0);
        EXPECT_FALSE(object.service()->IsAvailableSession()) << body;
        deliver(kindOf(6), delivered, 0, 200, body);
        EXPECT_LT(delivered.status, 0);
        EXPECT_EQ(show(object.serverTimeDifference()), Shown::parse(R"({"offset":"-05:30"})")) << body;
    }
}

TEST_F(Delivery, ASessionThatWasCancelledIsNeitherStoredNorShown)
{
    HttpRequest request(HTTP_GET, "u", {}, "", nullptr, nullptr);
    unsigned long long reference = 0;
    object.service()->createRequestInfo(&request, nullptr, 3, reference);
    ASSERT_EQ(object.service()->setCancelStatus(reference), 600);
    Delivered delivered;
    const std::unique_ptr<VorelServiceCMD> command = kindOf(3).make(&object, &delivered);
    complete(*command, 0, 200, fullBody(kindOf(3)), reference);
    EXPECT_EQ(delivered.status, 600);
    EXPECT_EQ(delivered.results, Shown::parse("[{}]"));
    EXPECT_FALSE(object.service()->IsAvailableSession());
    object.service()->deleteRequestInfo(reference);
}

TEST_F(Delivery, SearchesDeliverTheBodyUnchanged)
{
    const CommandKind& kind = kindOf(46);
    for (const char* const body : {"", "<html>", R"({"rsp":{"stat":"FAIL","err":{"code":"1"}}})", "[]"}) {
        for (const int code : {0, 200, 201, 204, 304, 404, 500}) {
            Delivered delivered;
            deliver(kind, delivered, 0, code, body);
            EXPECT_EQ(delivered.status, code == 200 || code == 204 ? 0 : statusOfHttp(code));
            EXPECT_EQ(delivered.results, Shown::array({body}));
        }
        Delivered delivered;
        deliver(kind, delivered, 24, 0, body);
        EXPECT_EQ(delivered.status, -500);
        EXPECT_EQ(delivered.results, Shown::array({body}));
    }
}

TEST_F(Delivery, DistinguishesLikesFromDislikes)
{
    for (const char* const type : {"like", "dislike", "Like", "like ", ""}) {
        for (const int code : {200, 500}) {
            Delivered delivered;
            const std::unique_ptr<VorelServiceCMD> command = kindOf(35).make(&object, &delivered);
            static_cast<VorelSendLikeCMD&>(*command).SetType(type);
            complete(*command, 0, code, R"({"rsp":{"stat":"OK"}})");
            EXPECT_EQ(delivered.results, Shown::array({type == std::string("like")})) << type;
        }
    }
}

TEST_F(Delivery, ALikeIsRecognisedByTheTypeThatWasSent)
{
    setAllOptions(host);
    openSession(object);
    for (const char* const type : {"like", "dislike"}) {
        Capture<bool> capture;
        ASSERT_EQ(capture.accepted(object.sendLike(&Capture<bool>::done, "id", "7", type, &capture, capture.out)), 0);
        host.answer(R"({"rsp":{"stat":"OK"}})");
        EXPECT_EQ(capture.result<0>(), type == std::string("like"));
    }
}

TEST_F(Delivery, TodaysFilesAreClearedWhenTheyCannotBeRead)
{
    Delivered delivered;
    deliver(kindOf(20), delivered, 0, 200, R"({"rsp":{"stat":"OK","VOREL_url":[{"url":"a"},5]}})");
    EXPECT_EQ(delivered.status, -57);
    EXPECT_EQ(delivered.results, Shown::parse(R"([{"count":-1,"list":[]}])"));
    deliver(kindOf(20), delivered, 0, 200, R"({"rsp":{"stat":"OK","VOREL_url":[]}})");
    EXPECT_EQ(delivered.status, -55);
    EXPECT_EQ(delivered.results, Shown::parse(R"([{"count":-1,"list":[]}])"));
}

TEST_F(Delivery, HandlersCatchWhatDetailsAndSeriesThrow)
{
    const struct {
        unsigned int key;
        const char* body;
        const char* results;
    } rows[] = {
        {24, R"({"rsp":{"stat":"OK","content":{"id":"i","title":{}}}})", R"([{"count":-1,"list":[]}])"},
        {27, R"({"rsp":{"stat":"OK","series":{"id":"i","title":"t","startyear":{}}}})",
         R"([{"id":"i","title":"t"},{"count":-1,"list":[]}])"},
        {27, R"({"rsp":{"stat":"OK","series":{"id":"i","season":[{"episode":[{},5]}]}}})",
         R"([{"id":"i"},{"count":-1,"list":[]}])"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.body);
        const std::string handler = kindOf(row.key).handler;
        Delivered delivered;
        deliver(kindOf(row.key), delivered, 0, 200, row.body);
        EXPECT_EQ(delivered.status, -57);
        EXPECT_EQ(delivered.results, Shown::parse(row.results));
        const std::vector<Line> lines = host.lines();
        ASSERT_GE(lines.size(), 3u);
        const Line& caught = lines[lines.size() - 3];
        const Line& failed = lines[lines.size() - 2];
        EXPECT_EQ(caught.text.rfind("[" + handler + "] Exception Caught: ", 0), 0u) << caught.text;
        EXPECT_EQ(caught.level, 8u);
        EXPECT_EQ(caught.flags, 0u);
        EXPECT_EQ(failed.text.rfind("[" + handler + "] #ERROR WSTATUS:" + WSTATUS2STRING(-57) +
                                        "(-57)\tFILE:ContentsManager/WLib/Plugins/Corvane/src/WVorelOAI(",
                                    0),
                  0u)
            << failed.text;
        EXPECT_EQ(failed.level, 1u);
    }
}

TEST_F(Delivery, EveryKindDeliversWhatWasReadBeforeItFailed)
{
    for (const CommandKind& kind : kinds()) {
        if (kind.parser == nullptr) {
            continue;
        }
        SCOPED_TRACE(kind.handler);
        Delivered delivered;
        deliver(kind, delivered, 0, 200, R"({"rsp":5})");
        EXPECT_EQ(delivered.status, kind.key == 41 ? -16 : -57);
        for (const Shown& result : delivered.results) {
            if (result.contains("count")) {
                EXPECT_EQ(result, Shown::parse(R"({"count":-1,"list":[]})"));
            }
        }
    }
}

// -- Lines

/// The handler's name in the lines about cancelling and exit.
std::string leavingName(const CommandKind& kind)
{
    return kind.key == 27 ? "cbGetSeiresDetailInfoDone" : kind.handler;
}

struct DeliveryLines : Delivery {
    HttpRequest request{HTTP_GET, "u", {}, "", nullptr, nullptr};
    unsigned long long reference = 0;

    void expectLines(const CommandKind& kind, bool isCancelled)
    {
        const std::string name = std::string("[") + kind.handler + "] ";
        std::vector<Line> expected = {
            {8, 3,
             "[cbFnVorelRequestCompleted]  ================ cbFnVorelRequestCompleted : uRequestRef = " +
                 std::to_string(reference) + "\n"},
            {8, 3, name + "[++ WVorelOAI::" + kind.handler + "]"},
        };
        if (kind.key != 51) {
            expected.push_back({8, 3, name + "the body\n"});
        }
        if (isCancelled) {
            expected.push_back({8, 0, name + "[--WVorelOAI::" + leavingName(kind) + "] Canceled"});
        }
        expected.push_back(
            {8, 3, name + (kind.key == 51 ? "[--  WVorelOAI::" : "[-- WVorelOAI::") + leavingName(kind) + "]"});
        const std::vector<Line> lines = host.lines();
        ASSERT_EQ(lines.size(), expected.size());
        for (std::size_t index = 0; index < lines.size(); ++index) {
            EXPECT_EQ(lines[index].text, expected[index].text);
            EXPECT_EQ(lines[index].level, expected[index].level) << lines[index].text;
            EXPECT_EQ(lines[index].flags, expected[index].flags) << lines[index].text;
        }
    }
};

TEST_F(DeliveryLines, AreStatedForEveryHandler)
{
    for (const CommandKind& kind : kinds()) {
        SCOPED_TRACE(kind.handler);
        for (const bool hasCallback : {true, false}) {
            Delivered delivered;
            const std::unique_ptr<VorelServiceCMD> command = kind.make(&object, hasCallback ? &delivered : nullptr);
            host.forgetLines();
            reference = kind.key + 1000000000000;
            EXPECT_EQ(complete(*command, 0, 500, "the body", reference), reference);
            EXPECT_EQ(delivered.calls, hasCallback ? 1 : 0);
            expectLines(kind, false);
        }
    }
}

TEST_F(DeliveryLines, AreStatedForEveryCancelledHandler)
{
    for (const CommandKind& kind : kinds()) {
        SCOPED_TRACE(kind.handler);
        for (const bool hasCallback : {true, false}) {
            Delivered delivered;
            const std::unique_ptr<VorelServiceCMD> command = kind.make(&object, hasCallback ? &delivered : nullptr);
            object.service()->createRequestInfo(&request, nullptr, 18, reference);
            ASSERT_EQ(object.service()->setCancelStatus(reference), 600);
            host.forgetLines();
            EXPECT_EQ(complete(*command, 0, 500, "the body", reference), reference);
            EXPECT_EQ(delivered.calls, hasCallback ? 1 : 0);
            EXPECT_EQ(delivered.status, hasCallback ? 600 : 12345);
            expectLines(kind, hasCallback);
            object.service()->deleteRequestInfo(reference);
        }
    }
}

TEST_F(DeliveryLines, ARequestCancelledWhileItsReplyIsReadIsReportedWith600)
{
    object.service()->createRequestInfo(&request, nullptr, 18, reference);
    object.service()->setRespondStatus(reference);
    const Hooked hooked(CancelTestHook([](VorelService& service, UINT64 asked) { service.setCancelStatus(asked); }));
    Delivered delivered;
    const std::unique_ptr<VorelServiceCMD> command = kindOf(18).make(&object, &delivered);
    host.forgetLines();
    complete(*command, 0, 200, fullBody(kindOf(18)), reference);
    EXPECT_EQ(delivered.calls, 1);
    EXPECT_EQ(delivered.status, 600);
    EXPECT_EQ(delivered.results, Shown::parse(R"([{"count":-1,"list":[]}])"));
    EXPECT_TRUE(host.hasLine("[ParseSchedule] [--VorelGetScheduleCMD::ParseSchedule] Canceled"));
    EXPECT_FALSE(host.hasLine("[cbGetScheduleDone] [--WVorelOAI::cbGetScheduleDone] Canceled"))
        << "it had responded before it was cancelled";
    object.service()->deleteRequestInfo(reference);
}

TEST_F(Delivery, OnlyTheMisspelledSeriesLinesDiffer)
{
    Delivered delivered;
    deliver(kindOf(27), delivered, 0, 500, "");
    EXPECT_TRUE(host.hasLine("[cbGetSeriesDetailInfoDone] [++ WVorelOAI::cbGetSeriesDetailInfoDone]"));
    EXPECT_TRUE(host.hasLine("[cbGetSeriesDetailInfoDone] [-- WVorelOAI::cbGetSeiresDetailInfoDone]"));
}

// -- Exceptions and commands without callbacks

TEST_F(Delivery, NoExceptionOfACallbackLeavesACompletion)
{
    for (const CommandKind& kind : kinds()) {
        SCOPED_TRACE(kind.handler);
        Delivered delivered;
        delivered.throws = true;
        const std::unique_ptr<VorelServiceCMD> command = kind.make(&object, &delivered);
        EXPECT_NO_THROW(complete(*command, 0, 200, fullBody(kind)));
        EXPECT_EQ(delivered.calls, 1);
    }
}

TEST_F(Delivery, CommandsWithoutARouteRunNoCallback)
{
    HttpResponse response;
    host.forgetLines();
    EXPECT_EQ(WVorelOAI::cbFnVorelRequestCompleted(0, response, nullptr, 5), 5u);
    EXPECT_EQ(host.lines().size(), 1u);
    EXPECT_EQ(host.lines()[0].text, "[cbFnVorelRequestCompleted] ========= pCmd is NULL!!!!!!! \n");
    EXPECT_EQ(host.lines()[0].level, 8u);
    EXPECT_EQ(host.lines()[0].flags, 0u);

    for (const CommandKind& kind : kinds()) {
        Delivered delivered;
        const std::unique_ptr<VorelServiceCMD> command = kind.make(nullptr, &delivered);
        host.forgetLines();
        EXPECT_EQ(complete(*command, 0, 200, "{}", 6), 6u);
        EXPECT_EQ(delivered.calls, 0);
        EXPECT_EQ(host.lines().size(), 1u) << "nothing after the dispatcher's line";
    }

    VorelServiceCMD command(WContentProvider("p", 1), nullptr, &object);
    EXPECT_EQ(complete(command, 0, 200, "{}", 7), 7u) << "a command without a key";
    for (const unsigned int key : {0u, 1u, 2u}) {
        command.setCMDKey(key);
        EXPECT_EQ(complete(command, 0, 200, "{}", 7), 0u) << key;
    }
    for (const unsigned int key : {52u, 53u, 255u, 0x80000000u}) {
        command.setCMDKey(key);
        EXPECT_EQ(complete(command, 0, 200, "{}", 7), 7u) << key;
    }
}

TEST_F(Delivery, EveryOperationIsAnsweredOnceWithEveryKindOfEnd)
{
    setAllOptions(host);
    openSession(object);
    for (const OperationCall& row : operationCalls()) {
        if (row.key == 51) {
            continue;
        }
        SCOPED_TRACE(row.key);
        const CommandKind& kind = kindOf(row.key);
        const struct {
            SESSION_STATUS session;
            int code;
            std::string body;
            int status;
        } ends[] = {
            {0, 200, fullBody(kind), 0},
            {0, 200, "", row.key == 46 ? 0 : -56},
            {0, 201, fullBody(kind), 0},
            {0, 304, "", 0},
            {0, 401, "", -202},
            {session::kTimedOut, 0, "", -500},
            {session::kCancelled, 0, "", 600},
        };
        for (const auto& end : ends) {
            Counter counter;
            ASSERT_EQ(counter.accepted(row.call(object, counter)), 0);
            host.answer(host.sent.size() - 1, end.session, end.code, end.body);
            EXPECT_EQ(counter.status, end.status) << end.code;
            EXPECT_EQ(counter.reference, counter.out.getReqRefernce());
            EXPECT_EQ(object.service()->requestCount(), 0u);
            // A good getLocalTime() changes the clock, which the next operations need.
            setClock(object);
        }
    }
}

}  // namespace
}  // namespace W::test
