// Destroying the object and unloading the library: promptly, with hundreds of requests in flight, and repeatedly.

#include <algorithm>
#include <atomic>
#include <chrono>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include <dlfcn.h>
#include <gtest/gtest.h>

#include "Calls.h"
#include "Capture.h"
#include "Configuration.h"
#include "CurlExecutor.h"
#include "Eventually.h"
#include "LongForm.h"
#include "PluginLibrary.h"
#include "Process.h"
#include "RawServer.h"
#include "ServerProcess.h"

namespace W::test {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr double kPromptly = 200;  // milliseconds, in the median
constexpr double kLatest = 1000;   // milliseconds, at the 95th percentile of the long form's many rounds

// The emulator that runs the ARM build keeps its translation of every library that was ever loaded.
#if defined(__arm__)
constexpr bool kMeasuresMemory = false;
#else
constexpr bool kMeasuresMemory = !kIsSanitized;
#endif

bool isLoaded()
{
    void* const handle = dlopen(CORVANE_LIBRARY, RTLD_NOW | RTLD_NOLOAD);
    if (handle != nullptr) {
        dlclose(handle);
    }
    return handle != nullptr;
}

/// Passes everything on and knows when a flush runs, which is how the plug-in begins to destroy an object.
class FlushWatch final : public HttpDelegator {
public:
    explicit FlushWatch(HttpDelegator& executor) : m_executor(executor) {}

    int addRequest(HttpRequest* request) override { return m_executor.addRequest(request); }
    void flushHttpRequests(UINT64 id) override
    {
        m_flushing = true;
        m_executor.flushHttpRequests(id);
        m_flushing = false;
    }
    void wake() override { m_executor.wake(); }

    bool isFlushing() const { return m_flushing; }

private:
    HttpDelegator& m_executor;
    std::atomic<bool> m_flushing{false};
};

struct Shutdown : ::testing::Test {
    Shutdown()
    {
        host::installConfigManager(&configuration);
        host::installHttpDelegator(&watch);
    }
    ~Shutdown() override
    {
        executor->stop();
        host::installHttpDelegator(nullptr);
        host::installConfigManager(nullptr);
    }

    host::Configuration configuration;
    std::unique_ptr<host::CurlExecutor> executor = std::make_unique<host::CurlExecutor>();
    FlushWatch watch{*executor};
};

/// Answers getLocalTime() and leaves all other requests without a reply.
void answerLocalTimeOnly(host::RawServer::RawConnection& connection)
{
    while (const auto request = connection.readRequest()) {
        if (request->find("localtime") != std::string::npos) {
            connection.answer(R"({"rsp":{"stat":"OK","difference":"+09:00"}})");
        }
    }
}

struct SlowCallback {
    const FlushWatch* watch;
    std::atomic<bool> entered{false};
    std::atomic<bool> left{false};
    Clock::time_point end;
};

struct ShutdownInFlight : Shutdown {
    using Milliseconds = std::chrono::duration<double, std::milli>;
    static constexpr int kInFlight = 500;

    ShutdownInFlight()
    {
        configuration.set("vorel_country", "US", "test");
        configuration.set("vorel_headend", "H", "test");
    }

    /// Destroys an object with requests in flight and unloads its library at once.
    /// @return the time of the destruction, after the callback that ran
    Milliseconds destroy(bool withCallback)
    {
        // A new one each time, because it keeps a thread for every connection that it has had.
        const host::RawServer server(answerLocalTimeOnly);
        configuration.set("vorel_base_url", server.url(""), "test");
        std::deque<Counter> dropped(kInFlight);
        Counter running;
        SlowCallback slow;
        slow.watch = &watch;
        auto library = std::make_optional<host::PluginLibrary>(CORVANE_LIBRARY);
        host::PluginLibrary::Object object = library->create();
        openSession(*object);
        for (Counter& counter : dropped) {
            EXPECT_EQ(object->getConfLog(Counter::Callback(), &counter, counter.out), 0);
        }
        if (withCallback) {
            runCallback(*object, dropped, running, slow);
        }
        const Clock::time_point begin = Clock::now();
        object.reset();
        const Clock::time_point end = Clock::now();
        EXPECT_EQ(slow.left, withCallback);
        library.reset();
        EXPECT_FALSE(isLoaded());
        return end - (withCallback ? slow.end : begin);
    }

    /// Lets one request be answered. It waits in the queue after the others, so half of them are cancelled.
    static void runCallback(WCorvaneOAI& object, std::deque<Counter>& dropped, Counter& running, SlowCallback& slow)
    {
        for (std::size_t index = 0; index < dropped.size(); index += 2) {
            object.cancel(object.getContentProvider(), dropped[index].out.getReqRefernce());
        }
        running.thenData = &slow;
        running.then = [](Counter& self) {
            auto& it = *static_cast<SlowCallback*>(self.thenData);
            it.entered = true;
            EXPECT_TRUE(support::eventually([&it] { return it.watch->isFlushing(); }));
            it.end = Clock::now();
            it.left = true;
        };
        running.accepted(object.getLocalTime(Counter::Callback(), &running, running.out));
        EXPECT_TRUE(support::eventually([&slow] { return slow.entered.load(); }));
        for (Counter& counter : dropped) {
            counter.expectedCalls = counter.calls;
        }
    }
};

TEST_F(ShutdownInFlight, IsPrompt)
{
    const int rounds = shortOrLong(10, 100);
    for (const bool withCallback : {false, true}) {
        Distribution took;
        for (int round = 0; round < rounds; ++round) {
            took.add(destroy(withCallback).count());
        }
        figure(std::string("milliseconds to destroy an object with 500 requests in flight") +
                   (withCallback ? ", after its running callback" : ""),
               took);
        EXPECT_LE(took.percentile(50), kPromptly);
        if (isLong()) {
            EXPECT_LE(took.percentile(95), kLatest);
        }
    }
}

TEST_F(Shutdown, LoadingAndUnloadingLeavesNothing)
{
    const ServerProcess server(answerLocalTimeOnly);
    configuration.set("vorel_base_url", server.url(), "test");
    configuration.set("vorel_country", "US", "test");
    configuration.set("vorel_headend", "H", "test");
    const int rounds = shortOrLong(100, 1000);
    std::size_t memory = 0;
    for (int round = 0; round < rounds; ++round) {
        std::atomic<bool> answered{false};
        std::deque<Counter> dropped(3);
        Counter counter;
        counter.thenData = &answered;
        counter.then = [](Counter& self) { *static_cast<std::atomic<bool>*>(self.thenData) = true; };
        {
            const host::PluginLibrary library(CORVANE_LIBRARY);
            const host::PluginLibrary::Object object = library.create();
            openSession(*object);
            ASSERT_EQ(counter.accepted(object->getLocalTime(Counter::Callback(), &counter, counter.out)), 0);
            ASSERT_TRUE(support::eventually([&answered] { return answered.load(); }));
            for (Counter& each : dropped) {
                ASSERT_EQ(object->getSchedule(Counter::Callback(), {"a"}, 0, 1, {1}, &each, each.out), 0);
            }
        }
        ASSERT_FALSE(isLoaded()) << "round " << round;
        if (round == rounds / 10) {
            memory = residentBytes();
        }
    }
    figure("times loaded, used and unloaded", rounds);
    if (!kMeasuresMemory) {
        return;
    }
    const double grown = static_cast<double>(residentBytes()) - static_cast<double>(memory);
    figure("  resident bytes that they added after the first tenth", grown);
    EXPECT_LE(grown, 1e6);
}

}  // namespace
}  // namespace W::test
