// Every operation meets every network fault, through the loaded library and the real executor: one callback with the
// fault's status, in time. The next request of the same object to the same address succeeds.
// Read next: Faults.h for the faults, FaultServer.h for how the test knows that a request has met one.

#include <algorithm>
#include <atomic>
#include <chrono>
#include <deque>
#include <filesystem>
#include <numeric>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "Calls.h"
#include "Configuration.h"
#include "CurlExecutor.h"
#include "Debug.h"
#include "Eventually.h"
#include "Faults.h"
#include "GoodReplies.h"
#include "LongForm.h"
#include "Loopback.h"
#include "PluginLibrary.h"
#include "ReplyHarms.h"

namespace W::test {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

/// Time that a busy machine may add to a time-out.
constexpr Milliseconds kAllowance = 2000ms;
/// libcurl rounds both the beginning and the end to whole milliseconds.
constexpr Milliseconds kGrain = 2ms;

/// Passes requests to an executor, but answers them itself while an object learns the time, so that the executor has
/// neither open connections nor cached names when the fault comes.
class Relay final : public HttpDelegator {
public:
    int addRequest(HttpRequest* request) override
    {
        if (m_answer == nullptr) {
            return m_executor->addRequest(request);
        }
        std::thread([request, answer = m_answer] {
            request->response().setHttpResponseCode(200);
            request->response().setPayload(*answer);
            request->complete(session::kCompleted);
        }).join();
        return status::kOk;
    }
    void flushHttpRequests(UINT64 id) override { m_executor->flushHttpRequests(id); }
    void wake() override { m_executor->wake(); }

    /// Sets the executor. Call it while no request is in flight.
    void passTo(HttpDelegator& executor) { m_executor = &executor; }
    /// Answers with the body; passes requests on if it is null.
    void answerWith(const std::string* body) { m_answer = body; }

private:
    HttpDelegator* m_executor = nullptr;
    const std::string* m_answer = nullptr;
};

/// One request of one operation.
struct Cell : Counter {
    explicit Cell(const vorel::Operation& row) : operation(row)
    {
        then = [](Counter& self) {
            auto& cell = static_cast<Cell&>(self);
            cell.end = Clock::now();
            cell.over = true;
        };
    }

    Milliseconds took() const { return std::chrono::duration_cast<Milliseconds>(end - begin); }

    const vorel::Operation& operation;
    Clock::time_point begin;
    Clock::time_point end;
    std::atomic<bool> over{false};
};

/// One request of every operation, all at once or one after the other.
class Requests {
public:
    /// @param order  keys
    explicit Requests(const std::vector<unsigned int>& order)
    {
        for (const unsigned int key : order) {
            m_cells.emplace_back(vorel::operation(key));
        }
    }

    void issue(WCorvaneOAI& object, const std::string& baseUrl, const std::string& directory, bool oneByOne)
    {
        for (Cell& cell : m_cells) {
            cell.begin = Clock::now();
            EXPECT_EQ(cell.accepted(callAt(baseUrl, cell.operation.key, object, cell, directory)), 0)
                << cell.operation.name << " was refused";
            if (oneByOne) {
                support::eventually([&cell] { return cell.over || cell.expectedCalls == 0; });
            }
        }
    }
    bool areOver() const
    {
        return std::all_of(m_cells.begin(), m_cells.end(), [](const Cell& cell) { return cell.over.load(); });
    }
    std::size_t callbacks() const
    {
        return std::accumulate(m_cells.begin(), m_cells.end(), std::size_t{0}, [](std::size_t sum, const Cell& cell) {
            return sum + static_cast<std::size_t>(cell.calls.load());
        });
    }
    const std::deque<Cell>& cells() const { return m_cells; }

private:
    std::deque<Cell> m_cells;
};

std::vector<unsigned int> shuffledKeys(Random& random)
{
    std::vector<unsigned int> keys;
    for (const vorel::Operation& operation : vorel::kOperations) {
        keys.insert(keys.begin() + static_cast<std::ptrdiff_t>(random.below(keys.size() + 1)), operation.key);
    }
    return keys;
}

struct Sum {
    std::size_t cells = 0;
    std::size_t callbacks = 0;
    std::size_t served = 0;
    std::size_t succeeded = 0;  ///< of the next requests
    Milliseconds longest{0};
};

struct NetworkFaults : testing::Test {
    NetworkFaults()
    {
        host::setDebugLevel(0);
        for (const auto& [key, value] : allOptions()) {
            configuration.set(key, value, "test");
        }
        host::installConfigManager(&configuration);
        host::installHttpDelegator(&relay);
        relay.passTo(patient);
        library.emplace(CORVANE_LIBRARY);
    }
    ~NetworkFaults() override
    {
        library.reset();
        patient.stop();
        hasty.stop();
        host::installHttpDelegator(nullptr);
        host::installConfigManager(nullptr);
    }

    host::HttpLimits limits(Milliseconds connectTimeout, Milliseconds stallTimeout, Milliseconds totalTimeout) const
    {
        host::HttpLimits limits;
        limits.connectTimeout = connectTimeout;
        limits.stallTimeout = stallTimeout;
        limits.totalTimeout = totalTimeout;
        limits.payloadCap = payloadCap();
        limits.concurrency = 1024;
        limits.caFile = ground.caFile();
        return limits;
    }

    /// An object with a session and the time that has not sent a request to its address yet.
    host::PluginLibrary::Object objectFor(const std::string& baseUrl)
    {
        configuration.set("vorel_base_url", baseUrl, "test");
        host::PluginLibrary::Object object = library->create();
        openSession(*object);
        relay.answerWith(&goodReply(operationOf("getLocalTime")));
        Counter time;
        EXPECT_EQ(time.accepted(object->getLocalTime(Counter::Callback(), &time, time.out)), 0);
        EXPECT_EQ(time.status, 0);
        relay.answerWith(nullptr);
        return object;
    }

    static unsigned int operationOf(const std::string& name)
    {
        const auto row = std::find_if(std::begin(vorel::kOperations), std::end(vorel::kOperations),
                                      [&name](const vorel::Operation& operation) { return operation.name == name; });
        EXPECT_NE(row, std::end(vorel::kOperations)) << name;
        return row->key;
    }

    /// Sends one request of every operation to a server, which learns their request lines.
    void introduce()
    {
        unsigned int current = 0;
        const host::RawServer server([&](host::RawServer::RawConnection& connection) {
            while (const auto request = connection.readRequest()) {
                ground.service.learn(*request, current);
                connection.answer(GoodService::bodyFor(current));
            }
        });
        const host::PluginLibrary::Object object = objectFor(server.url(""));
        for (const vorel::Operation& operation : vorel::kOperations) {
            current = operation.key;
            Requests one({current});
            one.issue(*object, server.url(""), ground.scratch.file("."), true);
            EXPECT_EQ(one.cells().front().status, 0) << operation.name;
        }
    }

    Ground ground;
    host::Configuration configuration;
    host::CurlExecutor patient{limits(kPatientTimeout, kPatientTimeout, kPatientTimeout)};
    host::CurlExecutor hasty{limits(kConnectTimeout, kStallTimeout, kTotalTimeout)};
    Relay relay;
    std::optional<host::PluginLibrary> library;
    Random random{seed()};
};

/// One fault and every operation.
class Trial {
public:
    Trial(NetworkFaults& test, const Fault& fault)
        : m_fault(fault),
          m_server(fault.server(test.ground)),
          m_baseUrl(m_server->baseUrl()),
          m_bad(shuffledKeys(test.random)),
          m_good(shuffledKeys(test.random)),
          m_object(test.objectFor(m_baseUrl))
    {}

    /// All at once, except the fault that takes much memory.
    void begin() { m_bad.issue(*m_object, m_baseUrl, m_directory.file("."), m_fault.got == Got::Huge && isLong()); }
    /// Updates the counters. @return whether all callbacks have come
    bool isOver()
    {
        m_server->served();
        return m_bad.areOver();
    }

    /// Checks the results, ends the fault, and sends every operation's request once more.
    void finish(Sum& sum)
    {
        SCOPED_TRACE(m_fault.name);
        judgeBad(sum);
        m_server->heal();
        // The client may see the end before the server does.
        support::eventually([this] { return m_server->served() >= vorel::kOperationCount; }, 5s);
        EXPECT_EQ(m_server->served(), vorel::kOperationCount) << "requests that met the fault";

        m_good.issue(*m_object, m_baseUrl, m_directory.file("."), false);
        EXPECT_TRUE(support::eventually([this] { return m_good.areOver(); }))
            << "callbacks of next requests are missing";
        for (const Cell& cell : m_good.cells()) {
            EXPECT_EQ(cell.status, 0) << "the next " << cell.operation.name;
            sum.succeeded += cell.status == 0 ? 1 : 0;
        }
        EXPECT_EQ(host::readFile(download()), GoodService::bodyFor(vorel::kLastKey));
        EXPECT_EQ(m_server->served(), vorel::kOperationCount) << "requests that met the fault, when it was over";
        m_object.reset();
        sum.cells += vorel::kOperationCount;
        sum.callbacks += m_bad.callbacks();
        sum.served += m_server->served();
    }

private:
    void judgeBad(Sum& sum)
    {
        Milliseconds first = Milliseconds::max();
        for (const Cell& cell : m_bad.cells()) {
            const Expected wanted = expected(m_fault, cell.operation.name);
            EXPECT_EQ(cell.calls, 1) << cell.operation.name;
            EXPECT_EQ(cell.status, wanted.status) << cell.operation.name;
            const Span span = spanOf(wanted.end);
            EXPECT_GE((cell.took() + kGrain).count(), span.earliest.count()) << cell.operation.name;
            EXPECT_LE(cell.took().count(), (span.due + kAllowance).count()) << cell.operation.name;
            sum.longest = std::max(sum.longest, cell.took());
            first = std::min(first, cell.took());
        }
        // On a busy machine the other requests may come late.
        EXPECT_LT(first.count(), spanOf(m_fault.end).next.count()) << "the first callback";
        if (m_fault.got == Got::Huge) {
            EXPECT_EQ(std::filesystem::file_size(download()), kHuge);
        }
    }
    std::string download() const { return m_directory.file("corvane-b.ts"); }

    const Fault& m_fault;
    const host::ScratchDirectory m_directory;
    FaultServerPointer m_server;
    const std::string m_baseUrl;
    Requests m_bad;
    Requests m_good;
    host::PluginLibrary::Object m_object;
};

/// First the faults that end at once, one after the other; then the slow ones, together.
void runAll(NetworkFaults& test, Sum& sum)
{
    std::deque<Trial> slow;
    test.relay.passTo(test.patient);
    for (const Fault& fault : allFaults()) {
        if (fault.end != FaultEnd::AtOnce) {
            slow.emplace_back(test, fault);
            continue;
        }
        Trial trial(test, fault);
        trial.begin();
        ASSERT_TRUE(support::eventually([&trial] { return trial.isOver(); }))
            << fault.name << ": callbacks are missing";
        trial.finish(sum);
    }
    test.relay.passTo(test.hasty);
    for (Trial& trial : slow) {
        trial.begin();
    }
    ASSERT_TRUE(support::eventually([&slow] {
        return std::count_if(slow.begin(), slow.end(), [](Trial& trial) { return !trial.isOver(); }) == 0;
    })) << "callbacks are missing";
    for (Trial& trial : slow) {
        trial.finish(sum);
    }
}

TEST_F(NetworkFaults, EachGivesEveryOperationItsStatusInTimeAndTheNextRequestWorks)
{
    introduce();
    const std::size_t rounds = shortOrLong(1, 10);
    std::size_t round = 0;
    Sum sum;
    for (; round < rounds && !HasFailure(); ++round) {
        runAll(*this, sum);
    }
    EXPECT_EQ(attemptsToLeave(), 0u) << "look-ups and connections that would have left the machine";

    const auto text = [](std::size_t number) { return std::to_string(number); };
    figure("network faults", text(vorel::kOperationCount) + " operations x " + text(allFaults().size()) + " faults x " +
                                 text(round) + ": " + text(sum.cells) + " cells, " + text(sum.callbacks) +
                                 " callbacks, " + text(sum.served) + " faults served, " + text(sum.succeeded) +
                                 " next requests succeeded");
    figure("  longest wait for a callback, milliseconds", static_cast<double>(sum.longest.count()));
}

TEST(NetworkFaultsTable, HasNoExceptionThatDoesNotOccur)
{
    for (const Exception& exception : allExceptions()) {
        SCOPED_TRACE(std::string(exception.operation) + ": " + exception.why);
        EXPECT_GT(NetworkFaults::operationOf(exception.operation), 0u);
        EXPECT_TRUE(std::any_of(allFaults().begin(), allFaults().end(), [&exception](const Fault& fault) {
            return fault.got == exception.got && fault.status != exception.status;
        }));
    }
}

}  // namespace
}  // namespace W::test
