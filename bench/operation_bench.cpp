// What one operation costs in the plug-in alone: getSchedule() accepted by an executor that does nothing, and
// completed. Time per operation, and how often it asks for memory. The host below holds its options in a map and drops
// every debug line, as a host does that prints errors only.

#include "CCDebug.h"
#include "CountingNew.h"
#include "HttpDelegator.h"
#include "WConfigManager.h"
#include "WVorelOAI.h"

#include <benchmark/benchmark.h>

#include <list>
#include <map>
#include <string>

namespace W {

namespace {

/// Accepts one request at a time and holds it until the benchmark completes it.
class NullExecutor final : public HttpDelegator {
public:
    int addRequest(HttpRequest* request) override
    {
        m_pHeld = request;
        return 0;
    }
    void flushHttpRequests(UINT64 /*id*/) override {}
    void wake() override {}

    void complete(SESSION_STATUS status, const std::string& body)
    {
        m_pHeld->response().setHttpResponseCode(200);
        m_pHeld->response().setPayload(body);
        m_pHeld->complete(status);
    }

private:
    HttpRequest* m_pHeld = nullptr;
};

class Options final : public WConfigManager {
public:
    WVariant getCPOption(const WContentProvider& /*provider*/, const std::string& key) override
    {
        const auto found = m_options.find(key);
        return found == m_options.end() ? WVariant() : WVariant(found->second);
    }

private:
    const std::map<std::string, std::string> m_options = {
        {"vorel_base_url", "https://service.example"},
        {"vorel_app_key", "0123456789abcdef"},
        {"vorel_country", "US"},
        {"vorel_language", "en"},
        {"vorel_secret_key", "0123456789abcdef0123456789abcdef"},
    };
};

NullExecutor theExecutor;
Options theOptions;

}  // namespace

HttpDelegator* HttpDelegator::getInstance()
{
    return &theExecutor;
}

WConfigManager* WConfigManager::getInstance()
{
    return &theOptions;
}

void CCDebug::t_AddModule(const char* /*name*/, int /*modules*/) {}

void CWCCDebug::Reset() {}
void CWCCDebug::t_Print(unsigned long /*level*/, unsigned long /*flags*/, const char* /*format*/,
                        va_list* /*arguments*/)
{}
void CWCCDebug::t_PrintR(unsigned long /*level*/, unsigned long /*flags*/, const char* /*format*/,
                         va_list* /*arguments*/)
{}
void CWCCDebug::t_InitModule() {}
void CWCCDebug::t_SetDebugLevel(unsigned int /*level*/) {}

namespace {

struct Answer {
    SESSION_STATUS exchange;
    std::string body;
    int expected;  ///< status of the callback
};

/// Ends the benchmark with an error when an operation does not do what is measured.
void getSchedule(benchmark::State& state, const Answer& answer)
{
    WVorelOAI object;
    WVLSession session;
    session.setSessionID("0123456789abcdef0123456789abcdef");
    session.setUserID("user-0123456789");
    session.setSeedKey("seed-0123456789abcdef");
    object.setAuthSeedkey(session);
    object.setServerTimeDifference(WDateTime::fromString("+09:00", WDateTime::FORMAT_OFFSET, WDateTime::TIMEZONE_NONE));
    const std::list<std::string> sources = {"11-1", "12-1", "13-1", "14-1"};
    const std::list<int> sizes = {1, 2};
    const ContentListCallback done = [](int status, const WContainer<WVLContent>& /*contents*/, UINT64 /*reference*/,
                                        void* userData) { *static_cast<int*>(userData) = status; };
    WRequestStatus out;

    const unsigned long before = W::bench::allocations();
    for (auto _ : state) {
        int status = 12345;
        if (object.getSchedule(done, sources, 1700000000, 6, sizes, &status, out) != 0)
            return state.SkipWithError("getSchedule was refused");
        theExecutor.complete(answer.exchange, answer.body);
        if (status != answer.expected)
            return state.SkipWithError("the callback did not get the status that was expected");
    }
    state.counters["allocations"] =
        benchmark::Counter(static_cast<double>(W::bench::allocations() - before), benchmark::Counter::kAvgIterations);
}

BENCHMARK_CAPTURE(getSchedule, no_connection, Answer{session::kNoConnection, {}, -200});
BENCHMARK_CAPTURE(getSchedule, empty_reply, Answer{session::kCompleted, R"({"rsp":{"stat":"OK","channel":[]}})", 0});

}  // namespace
}  // namespace W

BENCHMARK_MAIN();
