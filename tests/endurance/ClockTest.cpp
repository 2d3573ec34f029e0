// Jumping clocks and calendar boundaries: waits use the monotonic clock, and an instant does not depend on the zone.
// The program defines the C library's clock functions, with a wall clock that a test can set.

#include <atomic>
#include <chrono>
#include <climits>
#include <cstdlib>
#include <ctime>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

#include "Calls.h"
#include "CommandedExecutor.h"
#include "Configuration.h"
#include "CurlExecutor.h"
#include "Eventually.h"
#include "LongForm.h"
#include "RawServer.h"
#include "ServiceCall.h"

namespace {

std::atomic<long> theWallClocksError{0};  ///< seconds

std::atomic<long> theMonotonicReads{0};  ///< calls of clock_gettime() below

}  // namespace

extern "C" {

int clock_gettime(clockid_t clock, timespec* time) noexcept
{
    const long result = ::syscall(SYS_clock_gettime, clock, time);
    if (result == 0 && (clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE)) {
        time->tv_sec += theWallClocksError;
    } else {
        ++theMonotonicReads;
    }
    return static_cast<int>(result);
}

time_t time(time_t* out) noexcept
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    if (out != nullptr) {
        *out = now.tv_sec;
    }
    return now.tv_sec;
}

int gettimeofday(timeval* out, void* /*zone*/) noexcept
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    out->tv_sec = now.tv_sec;
    out->tv_usec = now.tv_nsec / 1000;
    return 0;
}
}

namespace W::test {
namespace {

using namespace std::chrono_literals;
using Monotonic = std::chrono::steady_clock;

constexpr long kHour = 3600;
constexpr long kTenYears = 10L * 365 * 86400;

struct Jump {
    const char* name;
    long seconds;
};

constexpr Jump kJumps[] = {
    {"an hour ahead", kHour},
    {"an hour back", -kHour},
    {"ten years ahead", kTenYears},
    {"ten years back", -kTenYears},
};

struct JumpingClock : ::testing::Test {
    JumpingClock()
    {
        for (const auto& [key, value] : allOptions()) {
            configuration.set(key, value, "test");
        }
        host::installConfigManager(&configuration);
        theWallClocksError = 0;
    }
    ~JumpingClock() override
    {
        theWallClocksError = 0;
        host::installConfigManager(nullptr);
    }

    host::Configuration configuration;
};

TEST_F(JumpingClock, IsSeenByThisProgram)
{
    const auto before = std::chrono::system_clock::now();
    const std::time_t seconds = std::time(nullptr);
    const auto monotonic = Monotonic::now();
    theWallClocksError = kTenYears;
    EXPECT_GT(std::chrono::system_clock::now() - before, std::chrono::seconds(kTenYears - 1));
    EXPECT_LT(Monotonic::now() - monotonic, 60s);
    // The C library's other functions for dates, which the plug-in and libcurl may call.
    EXPECT_GE(std::time(nullptr) - seconds, kTenYears);
    timeval now{};
    ::gettimeofday(&now, nullptr);
    EXPECT_GE(now.tv_sec - seconds, kTenYears);
}

TEST_F(JumpingClock, ChangesNoTimeout)
{
    // Reads requests and never answers.
    const host::RawServer server([](host::RawServer::RawConnection& connection) {
        while (connection.readRequest()) {
        }
    });
    std::size_t requests = 0;
    configuration.set("vorel_base_url", server.url(""), "test");
    constexpr auto kTimeout = 400ms;
    for (const Jump& jump : kJumps) {
        SCOPED_TRACE(jump.name);
        host::HttpLimits limits;
        limits.totalTimeout = kTimeout;
        host::CurlExecutor executor(limits);
        host::installHttpDelegator(&executor);
        {
            WVorelOAI object;
            openSession(object);
            static std::atomic<bool> over;
            over = false;
            Counter counter;
            counter.then = [](Counter& /*self*/) { over = true; };
            const Monotonic::time_point begin = Monotonic::now();
            ASSERT_EQ(counter.accepted(callOf(5).call(object, counter)), 0);
            ASSERT_TRUE(server.waitForRequests(++requests));
            const long reads = theMonotonicReads;
            theWallClocksError = theWallClocksError + jump.seconds;
            EXPECT_TRUE(support::eventually([] { return over.load(); }));
            EXPECT_GT(theMonotonicReads, reads) << "the executor reads another clock";
            const auto took = Monotonic::now() - begin;
            EXPECT_EQ(counter.status, -500);
            EXPECT_GE(took, kTimeout);
            EXPECT_LT(took, kTimeout + 10s) << "the time-out moved with the clock";
        }
        executor.stop();
        host::installHttpDelegator(nullptr);
    }
}

TEST_F(JumpingClock, DoesNotAffectWaitingRequests)
{
    std::atomic<bool> jumped{false};
    const host::RawServer server([&](host::RawServer::RawConnection& connection) {
        while (connection.readRequest()) {
            support::eventually([&] { return jumped.load(); });
            connection.answer(
                R"({"rsp":{"stat":"OK","channel":[{"source":"a","content":[{"id":"p","starttime":"2026-11-21T10:00:00Z"}]}]}})");
        }
    });
    configuration.set("vorel_base_url", server.url(""), "test");
    host::CurlExecutor executor;
    host::installHttpDelegator(&executor);
    {
        WVorelOAI object;
        openSession(object);
        setClock(object);
        std::size_t requests = 0;
        for (const Jump& jump : kJumps) {
            SCOPED_TRACE(jump.name);
            jumped = false;
            std::vector<std::int64_t> starts;
            host::ServiceCall<ContentListCallback> call;
            call.start(
                object, &WCorvaneOAI::getSchedule,
                [&](const WContainer<WVLContent>& contents) {
                    for (const WVLContent& content : contents.getData()) {
                        starts.push_back(content.getStartTime().toTime_t());
                    }
                },
                std::list<std::string>{"a"}, 0UL, 1, std::list<int>{1});
            ASSERT_TRUE(server.waitForRequests(++requests));
            theWallClocksError = theWallClocksError + jump.seconds;
            jumped = true;
            EXPECT_EQ(call.wait(30s), 0);
            EXPECT_THAT(starts, testing::ElementsAre(1795255200));
        }
    }
    executor.stop();
    host::installHttpDelegator(nullptr);
}

/// Calendar boundaries and changes of summer time.
struct Turn {
    std::int64_t instant;
    const char* text;
};

constexpr Turn kTurns[] = {
    {951782399, "2000-02-28T23:59:59Z"},    {951782400, "2000-02-29T00:00:00Z"},  {951868800, "2000-03-01T00:00:00Z"},
    {1774745999, "2026-03-29T00:59:59Z"},                                          // summer time begins in Europe
    {1774746000, "2026-03-29T01:00:00Z"},   {1772953200, "2026-03-08T07:00:00Z"},  // and in New York
    {1792889999, "2026-10-25T00:59:59Z"},                                          // and ends in Europe
    {1792890000, "2026-10-25T01:00:00Z"},   {1793512800, "2026-11-01T06:00:00Z"},  // and in New York
    {1798761599, "2026-12-31T23:59:59Z"},   {1798761600, "2027-01-01T00:00:00Z"}, {1835395200, "2028-02-29T00:00:00Z"},
    {2147483647, "2038-01-19T03:14:07Z"},   {2147483648, "2038-01-19T03:14:08Z"}, {4107542399, "2100-02-28T23:59:59Z"},
    {4107542400, "2100-03-01T00:00:00Z"},   {4294967295, "2106-02-07T06:28:15Z"}, {4294967296, "2106-02-07T06:28:16Z"},
    {253402300799, "9999-12-31T23:59:59Z"},
};

const char* const kZones[] = {"UTC", "Europe/Berlin", "America/New_York", "Asia/Kolkata", "Australia/Lord_Howe"};

/// Sets the zone of the process.
class ProcessZone {
public:
    explicit ProcessZone(const char* name)
    {
        if (const char* const before = std::getenv("TZ")) {
            m_before = before;
        }
        ::setenv("TZ", name, 1);
        ::tzset();
    }
    ~ProcessZone()
    {
        if (m_before) {
            ::setenv("TZ", m_before->c_str(), 1);
        } else {
            ::unsetenv("TZ");
        }
        ::tzset();
    }
    ProcessZone(const ProcessZone&) = delete;
    ProcessZone& operator=(const ProcessZone&) = delete;

private:
    std::optional<std::string> m_before;
};

TEST_F(JumpingClock, AnInstantIsTheSameInEveryZoneAtEveryTurn)
{
    CommandedExecutor executor;
    WVorelOAI object;
    openSession(object);
    for (const char* zone : kZones) {
        const ProcessZone here(zone);
        for (const char* offset : {"+00:00", "+09:00", "-03:30"}) {
            setClock(object, offset);
            for (const Turn& turn : kTurns) {
                SCOPED_TRACE(std::string(zone) + " " + offset + " " + turn.text);
                if (static_cast<std::uint64_t>(turn.instant) > ULONG_MAX) {
                    continue;  // does not fit an unsigned long of 32 bits
                }
                theWallClocksError = static_cast<long>(turn.instant) - 1'795'000'000;
                Capture<const WContainer<WVLContent>&> capture;
                ASSERT_EQ(capture.accepted(object.getSchedule(&decltype(capture)::done, {"a"},
                                                              static_cast<unsigned long>(turn.instant), 1, {1},
                                                              &capture, capture.out)),
                          0);
                HttpRequest* const request = executor.last();
                EXPECT_THAT(request->url(), testing::HasSubstr(std::string("&starttime=") + turn.text + "&"));
                executor.complete(
                    request, {session::kCompleted, 200,
                              std::string(R"({"rsp":{"stat":"OK","channel":[{"content":[{"starttime":")") + turn.text +
                                  R"("}]}]}})"});
                ASSERT_EQ(capture.status, 0);
                const std::list<WVLContent>& contents = capture.result<0>().getData();
                ASSERT_EQ(contents.size(), 1u);
                const WDateTime& start = contents.front().getStartTime();
                EXPECT_EQ(start.toTime_t(), turn.instant);
                EXPECT_EQ(start.toString(), turn.text);
                EXPECT_EQ(start.getOffsetSign(), offset[0] == '-' ? -1 : 1);
            }
        }
    }
}

}  // namespace
}  // namespace W::test
