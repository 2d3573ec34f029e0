// Every allocation of every operation fails once, and fails from then on: while the request is built, while the reply
// is read and delivered, and, on the real executor, while it is transferred. Whatever happens, an accepted request is
// called back once, a refused one never, nothing leaks, and the next request works.

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Allocations.h"
#include "Calls.h"
#include "Configuration.h"
#include "CurlExecutor.h"
#include "Debug.h"
#include "GoodReplies.h"
#include "LongForm.h"
#include "RawServer.h"
#include "Scratch.h"
#include "TlsServer.h"
#include "VorelService.h"

extern "C" {
W::WPlugin* createPlugin();
void destroyPlugin(W::WPlugin* plugin);

// Replaces dlsym(), so that no allocation fails in oauth_url_escape(), which ends the process if it gets no memory. The
// plug-in checks that the memory is available before it calls it.
void* __real_dlsym(void* library, const char* name);  // NOLINT(bugprone-reserved-identifier)
void* __wrap_dlsym(void* library, const char* name);  // NOLINT(bugprone-reserved-identifier)
}

namespace {

using Escape = char* (*)(const char*);
Escape g_escape = nullptr;
std::atomic<long> g_escapes{0};

char* escapeAlone(const char* text)
{
    ++g_escapes;
    const W::test::UnwatchedThread alone;
    return g_escape(text);
}

}  // namespace

void* __wrap_dlsym(void* library, const char* name)
{
    void* const found = __real_dlsym(library, name);
    if (std::strcmp(name, "oauth_url_escape") != 0) {
        return found;
    }
    g_escape = reinterpret_cast<Escape>(found);
    return reinterpret_cast<void*>(&escapeAlone);
}

namespace W::test {
namespace {

using Which = FailingAllocations::Which;

constexpr Which kWhich[] = {Which::One, Which::AllFrom, Which::EverySecondFrom, Which::EveryThirdFrom};
// If every second one fails, libcurl 7.88 sometimes caches a wrong address of the host for a minute.
constexpr Which kWhichOnTheWire[] = {Which::One, Which::AllFrom, Which::EveryThirdFrom};

const char* wordsOf(Which which)
{
    switch (which) {
        case Which::None:
            return "";
        case Which::One:
            return " fails";
        case Which::AllFrom:
            return " and all later ones fail";
        case Which::EverySecondFrom:
            return " and every second later one fail";
        case Which::EveryThirdFrom:
            return " and every third later one fail";
    }
    return "";
}

#if defined(__SANITIZE_ADDRESS__)
constexpr long kFewestInjections = 30'000;  // without those of the C libraries
#else
constexpr long kFewestInjections = 40'000;
#endif

/// Holds one request and never allocates.
class HoldingExecutor final : public HttpDelegator {
public:
    HoldingExecutor() { host::installHttpDelegator(this); }
    ~HoldingExecutor() override { host::installHttpDelegator(nullptr); }

    int addRequest(HttpRequest* request) override
    {
        m_held = request;
        return 0;
    }
    void flushHttpRequests(UINT64 /*id*/) override
    {
        if (HttpRequest* const request = std::exchange(m_held, nullptr)) {
            request->complete(session::kCancelled);
        }
    }
    void wake() override {}

    HttpRequest* take() { return std::exchange(m_held, nullptr); }

private:
    HttpRequest* m_held = nullptr;
};

/// Ends of an exchange that the plug-in handles differently.
struct ExchangeEnd {
    const char* name;
    SESSION_STATUS status;
    const char* body;  ///< null for the operation's good reply
    bool cancelled;
};

constexpr ExchangeEnd kEnds[] = {
    {"a good reply", session::kCompleted, nullptr, false},
    {"the service's error", session::kCompleted,
     R"({"rsp":{"stat":"FAIL","err":{"code":"101","msg":"no such thing"}}})", false},
    {"no JSON", session::kCompleted, "<html><body>a page where a reply should be</body></html>", false},
    {"a broken exchange", session::kBrokeOff, "", false},
    {"a cancelled request", session::kCancelled, "", true},
    {"an empty reply", session::kCompleted, R"({"rsp":{"stat":"OK"}})", false},
};

struct FailedAllocations : ::testing::Test {
    FailedAllocations()
    {
        for (const auto& [key, value] : allOptions()) {
            configuration.set(key, value, "test");
        }
        host::installConfigManager(&configuration);
        // Every line is formatted and discarded, because the host's log must also work without memory.
        static const bool s_installed = [] {
            host::installDebugLog(std::make_unique<host::DebugLog>(::open("/dev/null", O_WRONLY | O_CLOEXEC)));
            return true;
        }();
        static_cast<void>(s_installed);
        host::setDebugLevel(8);
    }
    ~FailedAllocations() override
    {
        host::setDebugLevel(1);
        host::installConfigManager(nullptr);
    }

    host::Configuration configuration;
};

/// Blocks that one request leaks: the escaped postal code is never freed on purpose.
constexpr long knownLosses(unsigned int key)
{
    return key == VorelGetHeadendCMD::kKey ? 1 : 0;
}

/// The status after an exception in a parser; one parser differs.
constexpr int statusOfException(unsigned int key)
{
    return key == VorelGetPopularChCMD::kKey ? status::kWrongProvider : status::kUnreadableReply;
}

/// The result of one request.
struct RequestLife {
    int returned = 12345;
    int calls = 0;
    int status = 12345;
};

struct FailedAllocationsOfOperations : FailedAllocations {
    FailedAllocationsOfOperations()
    {
        openSession(object);
        setClock(object);
    }

    RequestLife live(unsigned int key, const ExchangeEnd& end, FailingAllocations& failing)
    {
        Counter counter;
        RequestLife life;
        {
            const WatchedThread watched(failing);
            life.returned = callOf(key).call(object, counter);
        }
        HttpRequest* const request = executor.take();
        EXPECT_EQ(request != nullptr, life.returned == 0);
        if (request != nullptr) {
            request->response().setHttpResponseCode(200);
            request->response().setPayload(end.body != nullptr ? end.body : goodReply(key));
            if (end.cancelled) {
                object.cancel(object.getContentProvider(), counter.out.getReqRefernce());
            }
            const WatchedThread watched(failing);
            request->complete(end.status);
        }
        EXPECT_EQ(counter.out.getRequestID(), key);
        EXPECT_EQ(counter.out.getWStatus(), life.returned);
        EXPECT_EQ(counter.out.writes, 1);
        life.calls = counter.expectedCalls = counter.calls;
        life.status = counter.status;
        return life;
    }

    /// Makes one allocation fail, or also later ones.
    void inject(unsigned int key, const ExchangeEnd& end, const RequestLife& good, Which which, long number)
    {
        SCOPED_TRACE(std::string(vorel::operation(key).name) + ", " + end.name + ", allocation " +
                     std::to_string(number) + wordsOf(which));
        RequestLife life;
        // A cache may grow once; a leak occurs each time.
        long lost = knownLosses(key) + 1;
        for (int attempt = 0; lost > knownLosses(key) && attempt < 3; ++attempt) {
            const long before = liveBlocks();
            FailingAllocations failing(which, number);
            life = live(key, end, failing);
            lost = liveBlocks() - before;
            EXPECT_GT(failing.failed(), 0);
            ++injections;
        }
        EXPECT_LE(lost, knownLosses(key)) << "blocks of memory are leaked";
        if (life.returned != 0) {
            ++refusals[life.returned];
            EXPECT_EQ(life.calls, 0);
            // Opening the file allocates too.
            EXPECT_TRUE(life.returned == status::kNoService ||
                        (key == VorelSendChannelCMD::kKey && life.returned == status::kFileNotReadable))
                << life.returned;
        } else {
            ++statuses[life.status == good.status ? 0 : life.status];
            EXPECT_EQ(life.calls, 1);
            EXPECT_TRUE(life.status == good.status || life.status == statusOfException(key)) << life.status;
        }
        EXPECT_EQ(object.commandCount(), 0u);
        EXPECT_EQ(object.service()->requestCount(), 0u);
        EXPECT_EQ(object.service()->argsCount(), 0u);
        FailingAllocations none(Which::None, 0);
        const RequestLife next = live(key, end, none);
        EXPECT_EQ(next.calls, 1);
        EXPECT_EQ(next.status, good.status);
        // A failed getLocalTime() or getAuthSeedkey() has not set them.
        openSession(object);
        setClock(object);
    }

    HoldingExecutor executor;
    WVorelOAI object;
    long injections = 0;
    std::map<int, long> refusals;
    std::map<int, long> statuses;  ///< of callbacks; 0 for the one of the request without failures
};

TEST_F(FailedAllocationsOfOperations, EachIsARefusalOrACallback)
{
    for (const vorel::Operation& operation : vorel::kOperations) {
        for (const ExchangeEnd& end : kEnds) {
            FailingAllocations none(Which::None, 0);
            live(operation.key, end, none);  // fills caches
            FailingAllocations counting(Which::None, 0);
            const RequestLife good = live(operation.key, end, counting);
            ASSERT_EQ(good.calls, 1) << operation.name;
            openSession(object);
            setClock(object);
            const long all = counting.seen();
            ASSERT_GT(all, 10) << operation.name;
            for (const Which which : kWhich) {
                for (long number = 1; number <= all; ++number) {
                    inject(operation.key, end, good, which, number);
                }
            }
            if (HasFailure()) {
                return;
            }
        }
    }
    figure("allocations failed in operations", static_cast<double>(injections));
    for (const auto& [status, count] : refusals) {
        figure("  refused with " + std::to_string(status), static_cast<double>(count));
    }
    for (const auto& [status, count] : statuses) {
        figure("  called back with " + (status == 0 ? std::string("the reply's status") : std::to_string(status)),
               static_cast<double>(count));
    }
    EXPECT_GE(injections, kFewestInjections);
    EXPECT_GT(g_escapes, 0) << "oauth_url_escape() was not replaced";
}

TEST_F(FailedAllocations, GiveNoObjectOrOneThatReportsTheFailure)
{
    HoldingExecutor executor;
    destroyPlugin(createPlugin());
    const long before = liveBlocks();
    for (const Which which : kWhich) {
        for (long number = 1;; ++number) {
            FailingAllocations failing(which, number);
            WVorelOAI* object = nullptr;
            {
                const WatchedThread watched(failing);
                object = static_cast<WVorelOAI*>(createPlugin());
            }
            if (failing.failed() == 0) {
                EXPECT_NE(object, nullptr);
                destroyPlugin(object);
                break;
            }
            if (object != nullptr) {
                Counter counter;
                EXPECT_EQ(object->getLocalTime(Counter::Callback(), &counter, counter.out),
                          object->service() == nullptr ? status::kNoService : status::kOk);
            }
            {
                const WatchedThread watched(failing);
                destroyPlugin(object);
            }
            EXPECT_EQ(liveBlocks(), before);
        }
    }
}

/// Destruction needs no memory, however many requests are outstanding.
TEST_F(FailedAllocations, DoNotAffectDestruction)
{
    HoldingExecutor executor;
    for (int outstanding = 0; outstanding < 4; ++outstanding) {
        std::vector<std::unique_ptr<Counter>> counters;
        auto* const object = static_cast<WVorelOAI*>(createPlugin());
        openSession(*object);
        for (int number = 0; number < outstanding; ++number) {
            counters.push_back(std::make_unique<Counter>());
            EXPECT_EQ(callOf(5).call(*object, *counters.back()), 0);
        }
        const long before = liveBlocks();
        FailingAllocations failing(Which::AllFrom, 1);
        {
            const WatchedThread watched(failing);
            destroyPlugin(object);
        }
        EXPECT_LT(liveBlocks(), before);
    }
}

/// Sessions are replaced as a whole or not at all.
TEST_F(FailedAllocationsOfOperations, KeepThePreviousSession)
{
    WVLSession other;
    other.setSessionID("another session whose name needs memory of its own");
    other.setUserID("another user whose name needs memory of its own");
    other.setSeedKey("another seed key that needs memory of its own");
    const std::string token = object.service()->getSessionToken(object.getContentProvider());
    for (const Which which : kWhich) {
        for (long number = 1;; ++number) {
            FailingAllocations failing(which, number);
            {
                const WatchedThread watched(failing);
                object.setAuthSeedkey(other);
            }
            if (failing.failed() == 0) {
                break;
            }
            const std::string now = object.service()->getSessionToken(object.getContentProvider());
            EXPECT_TRUE(now == token || now.rfind(other.getSessionID() + "+" + other.getUserID() + "+", 0) == 0) << now;
            openSession(object);
        }
    }
}

// -- On the real executor

/// A request and its server.
struct WireCase {
    const char* name;
    unsigned int key;
    bool tls;
    long step;  ///< of the short form: tests every n-th allocation
};

constexpr WireCase kWireCases[] = {
    {"a GET", 12, false, 5},      {"a PUT with a body", 28, false, 5}, {"an upload", 10, false, 5},
    {"a download", 51, false, 5}, {"a GET over TLS", 5, true, 400},
};

struct FailedAllocationsOnTheWire : FailedAllocations {
    /// One request with its callback, which comes on the executor's thread.
    struct WireCall : Counter {
        WireCall()
        {
            then = [](Counter& self) { static_cast<WireCall&>(self).m_over.notify(); };
        }
        bool wait() { return m_over.wait(); }

        class Over {
        public:
            void notify()
            {
                const std::lock_guard<std::mutex> hold(m_lock);
                m_isOver = true;
                m_changed.notify_all();
            }
            bool wait()
            {
                std::unique_lock<std::mutex> hold(m_lock);
                return m_changed.wait_for(hold, std::chrono::seconds(30), [&] { return m_isOver; });
            }

        private:
            std::mutex m_lock;
            std::condition_variable m_changed;
            bool m_isOver = false;
        } m_over;
    };

    void begin(const WireCase& wireCase)
    {
        current = &wireCase;
        keepDescriptorZero();
        const std::string file = scratch.file("ca.pem");
        if (wireCase.tls) {
            tlsServer = std::make_unique<host::TlsServer>(host::Certificate(), file);
            baseUrl = tlsServer->url();
            baseUrl.pop_back();
        } else {
            server = std::make_unique<host::RawServer>(host::answering(goodReply(wireCase.key)));
            baseUrl = server->url("");
        }
        limits.caFile = wireCase.tls ? file : "";
        // A request whose allocation fails nearly always ends at once.
        limits.totalTimeout = std::chrono::seconds(5);
        limits.stallTimeout = std::chrono::seconds(5);
        configuration.set("vorel_base_url", baseUrl, "test");
    }

    int call(WVorelOAI& object, Counter& counter)
    {
        if (current->key == VorelDownloadCMD::kKey) {
            return object.download(object.getContentProvider(), baseUrl, scratchName, "f", Counter::Callback(),
                                   &counter, counter.out);
        }
        if (current->key == VorelSendChannelCMD::kKey) {
            return object.sendChannel(Counter::Callback(), baseUrl, "ch.json", &counter, counter.out);
        }
        return callOf(current->key).call(object, counter);
    }

    /// @return false when the request was lost
    bool live(WVorelOAI& object, FailingAllocations& failing, RequestLife& life)
    {
        // Outlives a callback that may still come if the request is lost.
        auto* const wireCall = new WireCall;
        {
            const WatchedExecutorThreads executors(failing);
            {
                const WatchedThread watched(failing);
                life.returned = call(object, *wireCall);
            }
            if (life.returned == 0 && !wireCall->wait()) {
                ADD_FAILURE() << "no callback within 30 seconds";
                return false;
            }
        }
        life.calls = wireCall->expectedCalls = wireCall->calls;
        life.status = wireCall->status;
        delete wireCall;
        return true;
    }

    /// libcurl 7.88 closes descriptor 0 if it has no memory to begin the look-up of a name, so descriptor 0 is unused
    /// here.
    void keepDescriptorZero()
    {
        struct stat now {};
        const bool isOpen = ::fstat(STDIN_FILENO, &now) == 0;
        if (isOpen && S_ISCHR(now.st_mode)) {
            return;
        }
        ++closedZero;
        if (!isOpen) {
            EXPECT_EQ(::open("/dev/null", O_RDONLY), STDIN_FILENO);
        }
    }

    bool inject(Which which, long number, int good, long& seen)
    {
        keepDescriptorZero();
        SCOPED_TRACE(std::string(current->name) + ", allocation " + std::to_string(number) + wordsOf(which));
        host::CurlExecutor executor(limits);
        host::installHttpDelegator(&executor);
        bool fine = true;
        {
            WVorelOAI object;
            openSession(object);
            setClock(object);
            FailingAllocations failing(which, number);
            RequestLife life;
            fine = live(object, failing, life);
            seen = failing.seen();
            injections += failing.failed() > 0 ? 1 : 0;
            EXPECT_EQ(life.calls, life.returned == 0 ? 1 : 0);
            if (which == Which::None) {
                EXPECT_EQ(life.status, good);
            } else if (life.returned == 0) {
                EXPECT_LE(life.status, 0);
                ++statuses[life.status];
            } else {
                ++refusals[life.returned];
            }
            FailingAllocations none(Which::None, 0);
            RequestLife next;
            fine = fine && live(object, none, next);
            EXPECT_EQ(next.returned, 0);
            EXPECT_EQ(next.status, good) << "the next request does not work";
        }
        executor.stop();
        host::installHttpDelegator(nullptr);
        return fine && !HasFailure();
    }

    const host::ScratchDirectory scratch;
    const std::string scratchName = scratch.file(".");
    const WireCase* current = nullptr;
    std::unique_ptr<host::RawServer> server;
    std::unique_ptr<host::TlsServer> tlsServer;
    std::string baseUrl;
    host::HttpLimits limits;
    long injections = 0;
    long closedZero = 0;
    std::map<int, long> refusals;
    std::map<int, long> statuses;
};

TEST_F(FailedAllocationsOnTheWire, EachIsARefusalOrACallbackAndTheNextRequestWorks)
{
    Random random(seed());
    ASSERT_EQ(::dup2(::open("/dev/null", O_RDONLY), STDIN_FILENO), STDIN_FILENO);
    for (const WireCase& wireCase : kWireCases) {
        begin(wireCase);
        const int good = wireCase.tls ? status::kNotJson : status::kOk;
        long all = 0;
        if (!inject(Which::None, 0, good, all) || !inject(Which::None, 0, good, all)) {
            return;
        }
        figure(std::string("allocations of ") + wireCase.name, static_cast<double>(all));
        const long step = isLong() ? (wireCase.tls ? 10 : 1) : wireCase.step;
        for (const Which which : kWhichOnTheWire) {
            long seen = 0;
            for (long number = 1 + static_cast<long>(random.below(static_cast<std::size_t>(step))); number <= all;
                 number += step) {
                if (!inject(which, number, good, seen)) {
                    return;
                }
            }
        }
    }
    figure("allocations failed on the wire", static_cast<double>(injections));
    figure("  of these after which libcurl closed descriptor 0", static_cast<double>(closedZero));
    for (const auto& [status, count] : refusals) {
        figure("  refused with " + std::to_string(status), static_cast<double>(count));
    }
    for (const auto& [status, count] : statuses) {
        figure("  called back with " + std::to_string(status), static_cast<double>(count));
    }
}

}  // namespace
}  // namespace W::test
