// The executor's contract: one completion per accepted request, on its own thread, never two at a time; cancelling and
// flushing at every point of a request's life.
#include <atomic>
#include <chrono>
#include <list>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

#include "Exchange.h"
#include "Gate.h"
#include "RawServer.h"

namespace W::host {
namespace {

using namespace std::chrono_literals;
using support::Gate;
using Clock = std::chrono::steady_clock;

constexpr UINT64 kOurs = 7;
constexpr UINT64 kOthers = 8;

/// Reads requests and never answers.
void silent(RawServer::RawConnection& connection)
{
    while (connection.readRequest()) {
    }
}

class Executor : public ExecutorTest {
protected:
    /// Sends without waiting.
    Exchange& start(const std::string& url, UINT64 id = kOurs)
    {
        Exchange& exchange = m_exchanges.emplace_back(HTTP_GET, url);
        exchange->setID(id);
        EXPECT_GE(executor().addRequest(&exchange.request()), 0);
        return exchange;
    }
    /// Destroys the executor before the requests that it holds.
    void TearDown() override { use(nullptr); }

    std::list<Exchange> m_exchanges;
};

TEST_F(Executor, RefusesNullRequestsAndRequestsAfterStop)
{
    EXPECT_EQ(executor().addRequest(nullptr), status::kBadArgument);
    executor().stop();
    Exchange exchange(HTTP_GET, "http://127.0.0.1/");
    EXPECT_EQ(executor().addRequest(&exchange.request()), status::kNoService);
    EXPECT_FALSE(exchange.isCompleted());
}

TEST_F(Executor, StopsIfItNeverStarted)
{
    executor().flushHttpRequests(kOurs);
    executor().wake();
    executor().stop();
    executor().stop();
}

TEST_F(Executor, CompletesOnOneThreadOtherThanTheCallers)
{
    const RawServer server(answering("x"));
    std::atomic<int> inside{0};
    std::vector<Exchange*> all;
    all.reserve(200);
    for (int i = 0; i < 200; ++i) {
        Exchange& exchange = m_exchanges.emplace_back(HTTP_GET, i % 10 == 0 ? "no URL" : server.url("/"));
        exchange.hook = [&](SESSION_STATUS) {
            EXPECT_EQ(++inside, 1) << "completions overlap";
            std::this_thread::yield();
            --inside;
        };
        all.push_back(&exchange);
    }
    std::vector<std::thread> callers;
    for (std::size_t caller = 0; caller < 4; ++caller) {
        callers.emplace_back([&, caller] {
            for (std::size_t i = caller; i < all.size(); i += 4) {
                EXPECT_GE(executor().addRequest(&all[i]->request()), 0);
            }
        });
    }
    for (std::thread& caller : callers) {
        caller.join();
    }
    for (Exchange* exchange : all) {
        ASSERT_TRUE(exchange->wait());
        EXPECT_EQ(exchange->thread(), all.front()->thread());
        EXPECT_NE(exchange->thread(), std::this_thread::get_id());
    }
}

TEST_F(Executor, QueuesRequestsAboveItsConcurrency)
{
    HttpLimits limits;
    limits.concurrency = 3;
    use(limits);
    const RawServer server(answering("x"));
    std::vector<Exchange*> all;
    all.reserve(50);
    for (int i = 0; i < 50; ++i) {
        all.push_back(&start(server.url("/")));
    }
    for (Exchange* exchange : all) {
        EXPECT_EQ(exchange->wait(), session::kCompleted);
    }
    EXPECT_LE(server.connections(), 3);
}

TEST_F(Executor, WaitingRequestsTimeOutToo)
{
    HttpLimits limits;
    limits.concurrency = 1;
    limits.totalTimeout = 300ms;
    use(limits);
    const RawServer server(silent);
    Exchange& running = start(server.url("/"));
    Exchange& inLine = start(server.url("/"));
    EXPECT_EQ(running.wait(), session::kTimedOut);
    EXPECT_EQ(inLine.wait(), session::kTimedOut);
}

/// Runs for more than a second, so that it includes an end of a second of libcurl's clock.
TEST_F(Executor, TimeoutsAreNeverEarly)
{
    constexpr auto kTimeout = 40ms;
    constexpr int kRequests = 400;
    HttpLimits limits;
    limits.totalTimeout = kTimeout;
    limits.concurrency = 64;
    use(limits);
    const RawServer server(silent);
    std::vector<Clock::time_point> begun(kRequests);
    std::vector<Clock::time_point> over(kRequests);
    for (std::size_t number = 0; number < kRequests; ++number) {
        begun[number] = Clock::now();
        Exchange& exchange = m_exchanges.emplace_back(HTTP_GET, server.url("/"));
        exchange.hook = [&over, number](SESSION_STATUS /*status*/) { over[number] = Clock::now(); };
        EXPECT_GE(executor().addRequest(&exchange.request()), 0);
        std::this_thread::sleep_for(3ms);  // spreads the requests
    }
    for (Exchange& exchange : m_exchanges) {
        ASSERT_EQ(exchange.wait(), session::kTimedOut);
    }
    for (std::size_t number = 0; number < kRequests; ++number) {
        EXPECT_GE(over[number] - begun[number], kTimeout) << number;
    }
}

TEST_F(Executor, WaitingForAnotherHandshakeIsLimitedByTheConnectTimeout)
{
    HttpLimits limits;
    limits.connectTimeout = 500ms;
    use(limits);
    RawServer server([](RawServer::RawConnection& connection) { connection.waitForEnd(); });
    const auto begin = Clock::now();
    for (int number = 0; number < 8; ++number) {
        start("https://127.0.0.1:" + std::to_string(server.port()));
    }
    for (Exchange& exchange : m_exchanges) {
        EXPECT_EQ(exchange.wait(), session::kTimedOut);
    }
    EXPECT_GE(Clock::now() - begin, 500ms);
    EXPECT_LT(Clock::now() - begin, 2s) << "they waited for one another";
}

TEST_F(Executor, CompletionsMayDeleteTheirRequest)
{
    const RawServer server(answering("x"));
    struct Own {
        std::unique_ptr<HttpRequest> request;
        Gate gone;
    } own;
    own.request = std::make_unique<HttpRequest>(
        HTTP_GET, server.url("/"), HttpHeader(), std::string(),
        [](SESSION_STATUS, HttpRequest*, void* self) {
            static_cast<Own*>(self)->request.reset();
            static_cast<Own*>(self)->gone.open();
        },
        &own);
    ASSERT_GE(executor().addRequest(own.request.get()), 0);
    EXPECT_TRUE(own.gone.wait());
}

TEST_F(Executor, RequestsCancelledBeforeTheyAreAddedAreNotSent)
{
    const RawServer server(answering("x"));
    Exchange exchange(HTTP_GET, server.url("/"));
    exchange->setCancel();
    EXPECT_EQ(run(exchange), session::kCancelled);
    EXPECT_EQ(exchange.payload(), "");
    EXPECT_THAT(server.requests(), testing::IsEmpty());
}

TEST_F(Executor, WaitingRequestsCanBeCancelled)
{
    HttpLimits limits;
    limits.concurrency = 1;
    use(limits);
    const RawServer server(silent);
    Exchange& running = start(server.url("/first"));
    ASSERT_TRUE(server.waitForRequests(1));
    Exchange& inLine = start(server.url("/second"));
    inLine->setCancel();
    EXPECT_EQ(inLine.wait(), session::kCancelled);
    EXPECT_FALSE(running.isCompleted());
    running->setCancel();
    EXPECT_EQ(running.wait(), session::kCancelled);
}

TEST_F(Executor, RunningRequestsEndAtOnceWhenCancelled)
{
    const RawServer server(silent);
    std::vector<double> milliseconds;
    for (std::size_t i = 0; i < 9; ++i) {
        Exchange& exchange = start(server.url("/"));
        ASSERT_TRUE(server.waitForRequests(i + 1));
        const auto before = Clock::now();
        exchange->setCancel();
        EXPECT_EQ(exchange.wait(), session::kCancelled);
        milliseconds.push_back(std::chrono::duration<double, std::milli>(Clock::now() - before).count());
    }
    std::sort(milliseconds.begin(), milliseconds.end());
    RecordProperty("median_us", static_cast<int>(milliseconds[4] * 1000));
    EXPECT_LT(milliseconds[4], 100) << "the transfer thread was not woken";
}

TEST_F(Executor, CancellingAfterTheReplyArrivedStillGives600)
{
    HttpLimits limits;
    limits.concurrency = 1;
    use(limits);
    const RawServer server(answering("reply"));
    Gate inside;
    Gate goOn;
    Exchange& first = m_exchanges.emplace_back(HTTP_GET, server.url("/first"));
    first.hook = [&](SESSION_STATUS) {
        inside.open();
        EXPECT_TRUE(goOn.wait());
    };
    ASSERT_GE(executor().addRequest(&first.request()), 0);
    ASSERT_TRUE(inside.wait());
    // The second reply arrives while the delivery thread is busy. The third request is sent when it has arrived,
    // because only one may be transferred at a time.
    Exchange& second = start(server.url("/second"));
    start(server.url("/third"));
    ASSERT_TRUE(server.waitForRequests(3));
    second->setCancel();
    goOn.open();
    EXPECT_EQ(second.wait(), session::kCancelled);
    EXPECT_EQ(second.payload(), "");
    first->setCancel();
    EXPECT_EQ(first.wait(), session::kCompleted) << "a mark after the outcome changes nothing";
}

TEST_F(Executor, FlushesEndRequestsOfTheirIdOnly)
{
    HttpLimits limits;
    limits.concurrency = 4;
    use(limits);
    const RawServer server(silent);
    std::vector<Exchange*> ours;
    Exchange& other = start(server.url("/other"), kOthers);
    ours.reserve(100);
    for (int i = 0; i < 100; ++i) {
        ours.push_back(&start(server.url("/ours")));
    }
    ASSERT_TRUE(server.waitForRequests(4));
    const auto before = Clock::now();
    executor().flushHttpRequests(kOurs);
    RecordProperty("flush_us", static_cast<int>((Clock::now() - before) / 1us));
    for (const Exchange* exchange : ours) {
        ASSERT_TRUE(exchange->isCompleted());
        EXPECT_EQ(exchange->status(), session::kCancelled);
    }
    EXPECT_FALSE(other.isCompleted());
}

TEST_F(Executor, FlushesWaitForRunningCompletions)
{
    const RawServer server(answering("x"));
    Gate inside;
    std::atomic<bool> left{false};
    Exchange& exchange = m_exchanges.emplace_back(HTTP_GET, server.url("/"));
    exchange->setID(kOurs);
    exchange.hook = [&](SESSION_STATUS) {
        inside.open();
        std::this_thread::sleep_for(50ms);  // a flush that does not wait returns sooner
        left = true;
    };
    ASSERT_GE(executor().addRequest(&exchange.request()), 0);
    ASSERT_TRUE(inside.wait());
    executor().flushHttpRequests(kOurs);
    EXPECT_TRUE(left);
}

TEST_F(Executor, FlushesEndRequestsAddedByCompletions)
{
    const RawServer server(silent);
    std::atomic<int> left{20};
    std::function<void(SESSION_STATUS)> addAnother = [&](SESSION_STATUS ended) {
        EXPECT_EQ(ended, session::kCancelled);
        if (left-- > 0) {
            start(server.url("/again")).hook = addAnother;
        }
    };
    Exchange& first = m_exchanges.emplace_back(HTTP_GET, server.url("/first"));
    first->setID(kOurs);
    first.hook = addAnother;
    ASSERT_GE(executor().addRequest(&first.request()), 0);
    ASSERT_TRUE(server.waitForRequests(1));
    // Each hook is set after its request was added. That is early enough: the completion that adds the request runs on
    // the only thread that completes requests.
    executor().flushHttpRequests(kOurs);
    for (const Exchange& exchange : m_exchanges) {
        EXPECT_TRUE(exchange.isCompleted());
        EXPECT_EQ(exchange.status(), session::kCancelled);
    }
    EXPECT_EQ(m_exchanges.size(), 21U);
}

TEST_F(Executor, FlushesInsideCompletionsEndAllOthersBeforeTheyReturn)
{
    const RawServer server([](RawServer::RawConnection& connection) {
        while (const auto request = connection.readRequest()) {
            if (request->find("/quick") != std::string::npos) {
                connection.answer("x");
            }
        }
    });
    std::vector<Exchange*> stalled;
    stalled.reserve(20);
    for (int i = 0; i < 20; ++i) {
        stalled.push_back(&start(server.url("/stalled")));
    }
    Exchange& other = start(server.url("/stalled"), kOthers);
    ASSERT_TRUE(server.waitForRequests(21));
    Exchange& flushing = m_exchanges.emplace_back(HTTP_GET, server.url("/quick"));
    flushing->setID(kOurs);
    flushing.hook = [&](SESSION_STATUS status) {
        EXPECT_EQ(status, session::kCompleted);
        executor().flushHttpRequests(kOurs);
        for (const Exchange* exchange : stalled) {
            EXPECT_TRUE(exchange->isCompleted());
            EXPECT_EQ(exchange->status(), session::kCancelled);
            EXPECT_EQ(exchange->thread(), std::this_thread::get_id());
        }
        EXPECT_FALSE(other.isCompleted());
    };
    ASSERT_GE(executor().addRequest(&flushing.request()), 0);
    EXPECT_EQ(flushing.wait(), session::kCompleted);
}

TEST_F(Executor, FlushesMayNestAndRunAtTheSameTime)
{
    const RawServer server(silent);
    for (int i = 0; i < 30; ++i) {
        Exchange& exchange = m_exchanges.emplace_back(HTTP_GET, server.url("/"));
        exchange->setID(i % 2 == 0 ? kOurs : kOthers);
        exchange.hook = [&, i](SESSION_STATUS) { executor().flushHttpRequests(i % 3 == 0 ? kOurs : kOthers); };
    }
    for (Exchange& exchange : m_exchanges) {
        ASSERT_GE(executor().addRequest(&exchange.request()), 0);
    }
    ASSERT_TRUE(server.waitForRequests(30));
    std::thread elsewhere([&] { executor().flushHttpRequests(kOthers); });
    executor().flushHttpRequests(kOurs);
    elsewhere.join();
    for (const Exchange& exchange : m_exchanges) {
        EXPECT_EQ(exchange.status(), session::kCancelled);
    }
}

TEST_F(Executor, StopEndsAllRequests)
{
    const RawServer server(silent);
    std::vector<Exchange*> all;
    all.reserve(300);
    for (int i = 0; i < 300; ++i) {
        all.push_back(&start(server.url("/")));
    }
    ASSERT_TRUE(server.waitForRequests(1));
    executor().stop();
    for (const Exchange* exchange : all) {
        EXPECT_EQ(exchange->status(), session::kCancelled);
    }
}

TEST_F(Executor, ManyRequestsCompleteOnceEach)
{
    const RawServer server([](RawServer::RawConnection& connection) {
        while (const auto request = connection.readRequest()) {
            if (request->find("/cut") != std::string::npos) {
                return;
            }
            if (request->find("/stalled") != std::string::npos) {
                continue;
            }
            connection.answer("x");
        }
    });
    const unsigned seed = std::random_device()();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::vector<std::unique_ptr<Exchange>> all;
    constexpr std::size_t kCallers = 4;
    constexpr std::size_t kEach = 150;
    all.reserve(kCallers * kEach);
    for (std::size_t i = 0; i < kCallers * kEach; ++i) {
        const char* const paths[] = {"/quick", "/stalled", "/cut"};
        all.push_back(std::make_unique<Exchange>(HTTP_GET, server.url(paths[i % 3])));
        (*all.back())->setID(i % 5);
    }
    std::vector<std::thread> callers;
    callers.reserve(kCallers);
    for (std::size_t caller = 0; caller < kCallers; ++caller) {
        callers.emplace_back([&, caller] {
            std::mt19937 random(seed + static_cast<unsigned>(caller));
            for (std::size_t i = 0; i < kEach; ++i) {
                EXPECT_GE(executor().addRequest(&all[caller * kEach + i]->request()), 0);
                Exchange& earlier = *all[caller * kEach + random() % (i + 1)];
                const auto what = random() % 8;
                if (what < 5) {
                    earlier->setCancel();
                } else if (what == 5) {
                    executor().flushHttpRequests(random() % 5);
                }
            }
        });
    }
    for (std::thread& caller : callers) {
        caller.join();
    }
    for (UINT64 id = 0; id < 5; ++id) {
        executor().flushHttpRequests(id);
    }
    for (const auto& exchange : all) {
        EXPECT_TRUE(exchange->isCompleted());
    }
    use(nullptr);
}

}  // namespace
}  // namespace W::host
