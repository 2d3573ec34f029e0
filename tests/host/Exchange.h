// A request that keeps its outcome, and a fixture with an executor per test.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>

#include <gtest/gtest.h>

#include "CurlExecutor.h"
#include "HttpRequest.h"

namespace W::host {

/// Fails the test if a request completes twice. Its hook runs on the executor's thread.
class Exchange {
public:
    Exchange(HTTP_REQUEST_TYPE type, std::string url, HttpHeader header = {}, std::string body = {})
        : m_request(type, std::move(url), std::move(header), std::move(body), &Exchange::completed, this)
    {}
    /// With a file: a download, or, after setOptionFileUpload(), an upload.
    struct TransferFile {
        std::string path;
    };
    Exchange(HTTP_REQUEST_TYPE type, std::string url, TransferFile file, HttpHeader header = {})
        : m_request(type, std::move(url), std::move(header), &Exchange::completed, this, std::move(file.path))
    {}

    HttpRequest& request() { return m_request; }
    HttpRequest* operator->() { return &m_request; }

    /// Runs on the executor's thread before the exchange counts as completed.
    std::function<void(SESSION_STATUS)> hook;

    /// The session status; nothing if none comes within 20 seconds.
    std::optional<SESSION_STATUS> wait()
    {
        std::unique_lock<std::mutex> lock(m_lock);
        if (!m_ended.wait_for(lock, std::chrono::seconds(20), [&] { return m_completions > 0; })) {
            return std::nullopt;
        }
        return m_status;
    }
    bool isCompleted() const
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        return m_completions > 0;
    }
    /// The session status, once completed.
    SESSION_STATUS status() const
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        return m_status;
    }
    std::thread::id thread() const { return m_thread; }
    const std::string& payload() const { return m_request.response().getPayload(); }
    int code() const { return m_request.response().getHttpResponseCode(); }

private:
    static void completed(SESSION_STATUS status, HttpRequest* request, void* self)
    {
        auto& exchange = *static_cast<Exchange*>(self);
        EXPECT_EQ(request, &exchange.m_request);
        exchange.m_thread = std::this_thread::get_id();
        if (exchange.hook) {
            exchange.hook(status);
        }
        const std::lock_guard<std::mutex> lock(exchange.m_lock);
        EXPECT_EQ(++exchange.m_completions, 1) << "completed twice";
        exchange.m_status = status;
        exchange.m_ended.notify_all();
    }

    HttpRequest m_request;
    mutable std::mutex m_lock;
    std::condition_variable m_ended;
    int m_completions = 0;
    SESSION_STATUS m_status = -1;
    std::thread::id m_thread;
};

/// Installs an executor for the test, so that setCancel() finds it.
class ExecutorTest : public testing::Test {
protected:
    ExecutorTest() { use(std::make_unique<CurlExecutor>()); }
    ~ExecutorTest() override { use(nullptr); }

    CurlExecutor& executor() { return *m_executor; }
    void use(std::unique_ptr<CurlExecutor> executor)
    {
        installHttpDelegator(executor.get());
        m_executor = std::move(executor);
    }
    void use(const HttpLimits& limits) { use(std::make_unique<CurlExecutor>(limits)); }

    /// Sends the request and waits for its completion.
    std::optional<SESSION_STATUS> run(Exchange& exchange)
    {
        EXPECT_GE(executor().addRequest(&exchange.request()), 0);
        return exchange.wait();
    }

private:
    std::unique_ptr<CurlExecutor> m_executor;
};

}  // namespace W::host
