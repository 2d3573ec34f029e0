// Compares the reference executor with a minimal program on libcurl: the same interface, server and requests. Replies
// of 10 KB over loopback on persistent connections.

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <curl/curl.h>

#include "CurlExecutor.h"
#include "LoopbackServer.h"
#include "Plugin.h"

namespace W::bench {

namespace {

constexpr int kBatch = 256;

/// The headers that an operation sends.
constexpr const char* kHeaders[][2] = {
    {"AppKey", "0123456789abcdef"},
    {"Cache-Control", "no-cache"},
    {"Content-Type", "text/json"},
    {"Pragma", "no-cache"},
    {"Token", "0123456789abcdef0123456789abcdef+user-0123456789+0123456789abcdef0123456789abcdef01234567"},
};

std::size_t append(char* data, std::size_t size, std::size_t count, void* text)
{
    static_cast<std::string*>(text)->append(data, size * count);
    return size * count;
}

struct CurlDeleter {
    void operator()(CURL* easy) const { curl_easy_cleanup(easy); }
    void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};

/// An easy handle that is reused; each request sets its URL and headers.
struct BareRequest {
    std::unique_ptr<CURL, CurlDeleter> easy{curl_easy_init()};
    std::unique_ptr<curl_slist, CurlDeleter> headers;
    std::string reply;

    BareRequest()
    {
        curl_easy_setopt(easy.get(), CURLOPT_NOSIGNAL, 1L);
        curl_easy_setopt(easy.get(), CURLOPT_WRITEFUNCTION, append);
        curl_easy_setopt(easy.get(), CURLOPT_WRITEDATA, &reply);
    }

    void prepare()
    {
        curl_slist* list = nullptr;
        for (const auto& [name, value] : kHeaders) {
            list = curl_slist_append(list, (std::string(name) + ": " + value).c_str());
        }
        curl_easy_setopt(easy.get(), CURLOPT_HTTPHEADER, list);
        headers.reset(list);
        curl_easy_setopt(easy.get(), CURLOPT_URL, (LoopbackServer::instance().url() + "/schedule").c_str());
    }

    void check()
    {
        if (reply.size() < 9000) {
            throw std::runtime_error("a reply did not come");
        }
        reply = {};
    }
};

/// One request after the other on an easy handle.
void easy(benchmark::State& state)
{
    BareRequest request;
    for (auto _ : state) {
        request.prepare();
        curl_easy_perform(request.easy.get());
        request.check();
    }
}

void multi(benchmark::State& state, std::size_t count)
{
    CURLM* const multi = curl_multi_init();
    std::vector<BareRequest> requests(count);
    for (auto _ : state) {
        int sent = 0;
        int done = 0;
        for (BareRequest& request : requests) {
            curl_easy_setopt(request.easy.get(), CURLOPT_PRIVATE, &request);
            request.prepare();
            curl_multi_add_handle(multi, request.easy.get());
            ++sent;
        }
        while (done < kBatch) {
            int active = 0;
            curl_multi_perform(multi, &active);
            int left = 0;
            bool added = false;
            while (const CURLMsg* const message = curl_multi_info_read(multi, &left)) {
                BareRequest* request = nullptr;
                curl_easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &request);
                curl_multi_remove_handle(multi, request->easy.get());
                request->check();
                ++done;
                if (sent < kBatch) {
                    request->prepare();
                    curl_multi_add_handle(multi, request->easy.get());
                    ++sent;
                    added = true;
                }
            }
            if (done < kBatch && !added) {
                curl_multi_poll(multi, nullptr, 0, 1000, nullptr);
            }
        }
    }
    requests.clear();
    curl_multi_cleanup(multi);
}

/// Keeps `count` requests in flight: each completion sends the next one.
class Caller {
public:
    explicit Caller(host::CurlExecutor& executor) : m_executor(executor) {}

    /// Waits until a batch has been answered. @return the number of unexpected replies
    int runBatch(std::size_t count)
    {
        std::unique_lock<std::mutex> lock(m_lock);
        m_left = kBatch;
        m_toSend = kBatch;
        for (std::size_t index = 0; index < count; ++index) {
            send();
        }
        m_over.wait(lock, [this] { return m_left == 0; });
        return m_wrong;
    }

private:
    // REQUIRES: m_lock held
    void send()
    {
        --m_toSend;
        HttpHeader header;
        for (const auto& [name, value] : kHeaders) {
            header.add(name, value);
        }
        auto* const request = new HttpRequest(
            HTTP_GET, LoopbackServer::instance().url() + "/schedule", std::move(header), {},
            [](SESSION_STATUS status, HttpRequest* done, void* self) { static_cast<Caller*>(self)->end(status, done); },
            this);
        request->setEncoding();
        m_executor.addRequest(request);
    }

    void end(SESSION_STATUS status, HttpRequest* done)
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        if (status != session::kCompleted || done->response().getPayload().size() < 9000) {
            ++m_wrong;
        }
        delete done;
        if (m_toSend > 0) {
            send();
        }
        if (--m_left == 0) {
            m_over.notify_one();
        }
    }

    host::CurlExecutor& m_executor;
    std::mutex m_lock;
    std::condition_variable m_over;
    int m_toSend = 0;
    int m_left = 0;
    int m_wrong = 0;
};

void executor(benchmark::State& state, std::size_t count)
{
    host::CurlExecutor executor;
    Caller caller(executor);
    for (auto _ : state) {
        if (caller.runBatch(count) != 0) {
            return state.SkipWithError("a reply did not come");
        }
    }
    executor.stop();
}

// -- The plug-in on the executor

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point begin)
{
    return std::chrono::duration<double>(Clock::now() - begin).count();
}

/// The result that a request's callback passes to the benchmark.
struct CancelledCall {
    std::mutex lock;
    std::condition_variable changed;
    int status = 0;
    bool isOver = false;

    static void done(int given, const WContainer<WVLChannel>& /*channels*/, const std::string& /*checksum*/,
                     bool /*hasChanged*/, UINT64 /*reference*/, void* userData)
    {
        auto* const self = static_cast<CancelledCall*>(userData);
        const std::lock_guard<std::mutex> hold(self->lock);
        self->status = given;
        self->isOver = true;
        self->changed.notify_one();
    }
};

/// Long enough for requests to have reached the server, which never answers them.
void waitForTransfers()
{
    timespec time{0, 20'000'000};
    nanosleep(&time, nullptr);
}

/// Throughput of one processor: schedules of 10 KB from the network to the callback, 64 in flight. Each callback
/// requests the next one.
class ScheduleReader {
public:
    explicit ScheduleReader(Plugin& plugin) : m_plugin(plugin) {}

    /// @return the number of programmes received
    std::size_t readBatch(std::size_t inFlight)
    {
        std::unique_lock<std::mutex> lock(m_lock);
        m_left = kBatch;
        m_toSend = kBatch;
        m_programmes = 0;
        for (std::size_t index = 0; index < inFlight; ++index) {
            send();
        }
        m_over.wait(lock, [this] { return m_left == 0; });
        return m_programmes;
    }

private:
    // REQUIRES: m_lock held
    void send()
    {
        --m_toSend;
        m_plugin.getSchedule([](int /*status*/, const WContainer<WVLContent>& contents, UINT64 /*reference*/,
                                void* self) { static_cast<ScheduleReader*>(self)->take(contents.getData().size()); },
                             this);
    }

    void take(std::size_t programmes)
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        m_programmes += programmes;
        if (m_toSend > 0) {
            send();
        }
        if (--m_left == 0) {
            m_over.notify_one();
        }
    }

    Plugin& m_plugin;
    std::mutex m_lock;
    std::condition_variable m_over;
    int m_toSend = 0;
    int m_left = 0;
    std::size_t m_programmes = 0;
};

void replies(benchmark::State& state)
{
    host::CurlExecutor executor;
    Plugin plugin(CORVANE_LIBRARY, executor, LoopbackServer::instance().url());
    plugin.learnTime();
    ScheduleReader reader(plugin);
    std::size_t programmes = 0;
    for (auto _ : state) {
        programmes = reader.readBatch(64);
    }
    if (programmes == 0) {
        return state.SkipWithError("no programme came");
    }
    const auto batches = static_cast<double>(state.iterations());
    state.counters["replies"] = benchmark::Counter(batches * kBatch, benchmark::Counter::kIsRate);
    state.counters["programmes"] =
        benchmark::Counter(batches * static_cast<double>(programmes), benchmark::Counter::kIsRate);
    plugin.destroy();
    executor.stop();
}

void cancel(benchmark::State& state)
{
    host::CurlExecutor executor;
    Plugin plugin(CORVANE_LIBRARY, executor, LoopbackServer::instance().url() + "/stall");
    for (auto _ : state) {
        CancelledCall outcome;
        WRequestStatus out;
        if (plugin.object().getChannelList(CancelledCall::done, "", &outcome, out) != 0) {
            return state.SkipWithError("getChannelList was refused");
        }
        waitForTransfers();
        std::unique_lock<std::mutex> hold(outcome.lock);
        const Clock::time_point begin = Clock::now();
        hold.unlock();
        plugin.object().cancel(plugin.object().getContentProvider(), out.getReqRefernce());
        hold.lock();
        outcome.changed.wait(hold, [&] { return outcome.isOver; });
        state.SetIterationTime(secondsSince(begin));
        if (outcome.status != status::kCancelled) {
            return state.SkipWithError("the request was not cancelled");
        }
    }
    plugin.destroy();
    executor.stop();
}

void destroyOutstanding(benchmark::State& state)
{
    for (auto _ : state) {
        host::CurlExecutor executor;
        Plugin plugin(CORVANE_LIBRARY, executor, LoopbackServer::instance().url() + "/stall");
        WRequestStatus out;
        for (int count = 0; count < 100; ++count) {
            if (plugin.object().getChannelList(nullptr, "", nullptr, out) != 0) {
                return state.SkipWithError("getChannelList was refused");
            }
        }
        waitForTransfers();
        const Clock::time_point begin = Clock::now();
        plugin.destroy();
        state.SetIterationTime(secondsSince(begin));
        executor.stop();
    }
}

void process(benchmark::internal::Benchmark* made)
{
    made->MeasureProcessCPUTime()->Unit(benchmark::kMicrosecond);
}

BENCHMARK(easy)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(multi, 1, 1)->Apply(process);
BENCHMARK_CAPTURE(executor, 1, 1)->Apply(process);
BENCHMARK_CAPTURE(multi, 8, 8)->Apply(process);
BENCHMARK_CAPTURE(executor, 8, 8)->Apply(process);
BENCHMARK_CAPTURE(multi, 64, 64)->Apply(process);
BENCHMARK_CAPTURE(executor, 64, 64)->Apply(process);
BENCHMARK(replies)->Apply(process);
BENCHMARK(cancel)->Iterations(3)->UseManualTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(destroyOutstanding)->Iterations(1)->UseManualTime()->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace W::bench
