// Random load on an executor that answers early, late, from several threads and with every status, and on the real
// executor with a server that does the same. Every request is accounted for.

#include "Storm.h"

#include <algorithm>
#include <chrono>
#include <memory>
#include <vector>

#include <gtest/gtest.h>

#include "CommandedExecutor.h"
#include "CurlExecutor.h"
#include "GoodReplies.h"
#include "RawServer.h"

namespace W::test {
namespace {

constexpr SESSION_STATUS kSessionStatuses[] = {
    session::kNotSendable,
    session::kOutOfMemory,
    session::kNoConnection,
    session::kTlsFailed,
    session::kBrokeOff,
    session::kTimedOut,
    session::kFileTrouble,
    session::kCancelled,
    142,
    -7,
};
constexpr HTTP_RESPONSE_CODE kCodes[] = {200, 201, 204, 304, 400, 401, 403, 404, 408, 409, 410, 412, 429, 500, 503};

const char* const kBadBodies[] = {
    "",
    "<html>",
    R"({"rsp":{"stat":"OK")",
    R"({"rsp":{"stat":"FAIL","err":{"code":"101","msg":"no"}}})",
    R"({"rsp":{"stat":"OK","channel":{"a":1},"content":7,"session":[]}})",
    R"([1,2])",
};

/// A reply body for a kind of request: mostly a good one.
std::string bodyFor(Random& random, unsigned int key)
{
    const std::size_t what = random.below(10);
    if (what < 6) {
        return goodReply(key);
    }
    if (what < 7) {
        return emptyReply(key);
    }
    if (what < 8) {
        return goodReply(key).substr(0, random.below(goodReply(key).size() + 1));
    }
    return kBadBodies[random.below(std::size(kBadBodies))];
}

Plan planned(const HttpRequest& /*request*/)
{
    Storm::Ticket& ticket = *Storm::issuing();
    Random random(ticket.choice + 1);
    Plan plan;
    plan.responded = &ticket.responded;
    if (random.perMille(20)) {
        plan.refusal = random.perMille(500) ? status::kNoService : -42;
        return plan;
    }
    const std::size_t when = random.below(10);
    plan.moment = when < 2 ? Moment::Early : when < 7 ? Moment::Soon : Moment::Late;
    plan.fixedAtOnce = random.perMille(300);
    if (random.perMille(250)) {
        plan.outcome.status = kSessionStatuses[random.below(std::size(kSessionStatuses))];
    } else if (random.perMille(250)) {
        plan.outcome.code = kCodes[random.below(std::size(kCodes))];
    }
    plan.outcome.body = bodyFor(random, ticket.key);
    return plan;
}

void add(Storm::Book& sum, const Storm::Book& book)
{
    sum.accepted += book.accepted;
    sum.refused += book.refused;
    sum.calledBack += book.calledBack;
    sum.cancelledFirst += book.cancelledFirst;
    sum.dropped += book.dropped;
    sum.destroyed += book.destroyed;
    sum.destroyedInFlight += book.destroyedInFlight;
}

/// Everything that has to happen in a storm.
void expectEverythingHappened(const Storm::Book& book)
{
    EXPECT_GT(book.refused, 0u);
    EXPECT_GT(book.calledBack, book.accepted / 20);  // few on a busy machine, where replies come late
    EXPECT_GT(book.dropped, 0u);
    EXPECT_GT(book.destroyedInFlight, 0u);
}

void print(const std::string& what, const Storm::Book& book)
{
    figure(what + ", requests accepted", static_cast<double>(book.accepted));
    figure(what + ", of these called back once", static_cast<double>(book.calledBack));
    figure(what + ", of these dropped with their object", static_cast<double>(book.dropped));
    figure(what + ", refused without a callback", static_cast<double>(book.refused));
    if (book.cancelledFirst > 0) {
        figure(what + ", cancelled first and called back with 600", static_cast<double>(book.cancelledFirst));
    }
    figure(what + ", objects destroyed", static_cast<double>(book.destroyed));
    figure(what + ", of these with requests outstanding", static_cast<double>(book.destroyedInFlight));
}

/// Repeats storms until enough requests were accepted and enough objects destroyed in flight.
template <class Run>
Storm::Book repeat(std::size_t requests, std::size_t destroyedInFlight, Run run)
{
    Storm::Book sum;
    for (std::uint64_t round = 0; sum.accepted < requests || sum.destroyedInFlight < destroyedInFlight; ++round) {
        SCOPED_TRACE("round " + std::to_string(round) + " of CORVANE_SEED=" + std::to_string(seed()));
        Storm::Settings settings;
        settings.seed = seed() + round * 1000;
        add(sum, run(settings));
        if (testing::Test::HasFailure()) {
            break;
        }
    }
    return sum;
}

/// A storm on an executor with three threads.
Storm::Book onCommands(Storm::Settings& settings, std::size_t requests, unsigned destroysPerMille)
{
    CommandedExecutor executor(3, planned);
    settings.tellsResponses = true;
    settings.requests = requests;
    settings.destroysPerMille = destroysPerMille;
    settings.callbackDestroysPerMille = destroysPerMille;
    Storm storm(settings);
    storm.run();
    return storm.settle();
}

TEST(Storm, EveryRequestIsAccountedForOnce)
{
    const Storm::Book book = repeat(shortOrLong<std::size_t>(50'000, 1'000'000), 0,
                                    [](Storm::Settings& settings) { return onCommands(settings, 5000, 2); });
    expectEverythingHappened(book);
    EXPECT_GT(book.cancelledFirst, 0u);
    EXPECT_GT(Storm::syncs(), 0) << "sync() was not replaced";
    print("storm", book);
}

TEST(Storm, ObjectsComeAndGoWithRequestsOutstanding)
{
    const Storm::Book book = repeat(0, shortOrLong<std::size_t>(500, 10'000),
                                    [](Storm::Settings& settings) { return onCommands(settings, 2000, 60); });
    expectEverythingHappened(book);
    print("coming and going", book);
}

/// Answers by the path, in some cases badly: reset, truncated, silent.
void serve(host::RawServer::RawConnection& connection, std::uint64_t start)
{
    Random random(start);
    while (const auto request = connection.readRequest()) {
        const std::size_t what = random.below(100);
        if (what < 2) {
            connection.reset();
            return;
        }
        if (what < 4) {
            connection.send("HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\n{\"rsp\":");
            return;
        }
        if (what < 5) {
            continue;  // no reply: times out
        }
        if (what < 10) {
            const HTTP_RESPONSE_CODE code = kCodes[random.below(std::size(kCodes))];
            const std::string length = code == 204 || code == 304 ? "" : "Content-Length: 0\r\n";
            connection.send("HTTP/1.1 " + std::to_string(code) + " x\r\n" + length + "\r\n");
            continue;
        }
        const auto key = vorel::kFirstKey + static_cast<unsigned int>(random.below(vorel::kOperationCount));
        connection.answer(bodyFor(random, key));
    }
}

Storm::Book stormOnTheRealExecutor(Storm::Settings& settings)
{
    const std::uint64_t start = settings.seed;
    host::RawServer server([start](host::RawServer::RawConnection& connection) {
        serve(connection, start + static_cast<std::uint64_t>(connection.number()));
    });
    host::HttpLimits limits;
    limits.totalTimeout = std::chrono::milliseconds(1500);
    limits.stallTimeout = std::chrono::milliseconds(300);
    limits.concurrency = 64;
    const auto executor = std::make_unique<host::CurlExecutor>(limits);
    host::installHttpDelegator(executor.get());
    settings.baseUrl = server.url("");
    Storm::Book book;
    {
        Storm storm(settings);
        storm.run();
        book = storm.settle();
    }
    executor->stop();
    host::installHttpDelegator(nullptr);
    return book;
}

TEST(Storm, OnTheRealExecutorEveryRequestIsAccountedForOnce)
{
    const Storm::Book book = repeat(shortOrLong<std::size_t>(8'000, 1'000'000), 0, [](Storm::Settings& settings) {
        settings.requests = shortOrLong<std::size_t>(2000, 10'000);
        settings.destroysPerMille = 2;
        settings.callbackDestroysPerMille = 1;
        settings.longestPause = 1000;
        return stormOnTheRealExecutor(settings);
    });
    expectEverythingHappened(book);
    print("storm on the real executor", book);
}

TEST(Storm, OnTheRealExecutorObjectsComeAndGoWithRequestsOutstanding)
{
    const Storm::Book book = repeat(0, shortOrLong<std::size_t>(100, 10'000), [](Storm::Settings& settings) {
        settings.requests = 1000;
        settings.destroysPerMille = 30;
        settings.callbackDestroysPerMille = 30;
        settings.longestPause = 4000;
        return stormOnTheRealExecutor(settings);
    });
    expectEverythingHappened(book);
    print("coming and going on the real executor", book);
}

}  // namespace
}  // namespace W::test
