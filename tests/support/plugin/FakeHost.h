// A host for tests of the plug-in: its options, an executor that answers under the control of the test, and all debug
// lines. A test checks the requests that were sent and then answers: at once, late, from another thread, or never.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "CCDebug.h"
#include "HttpDelegator.h"
#include "WConfigManager.h"

namespace W::test {

/// A request in its state when the executor received it.
struct Sent {
    HTTP_REQUEST_TYPE type;
    std::string url;
    std::vector<HttpHeader::Line> headers;
    std::string body;
    std::string filePath;
    UINT64 id;
    bool encoding;
    bool upload;
    HttpRequest* request;  ///< alive until it was answered
};

struct Line {
    unsigned long level;
    unsigned long flags;
    std::string text;
    int number = 0;  ///< source line that printed it; 0 if the line has none
};

/// One per test; the plug-in's calls to the framework go to the latest one.
class FakeHost final : public HttpDelegator, public WConfigManager {
public:
    FakeHost();
    /// Fails the test when requests are still pending.
    ~FakeHost() override;

    // Set by the test

    /// Options of any provider; others are empty.
    std::map<std::string, std::string> options;
    /// The status that addRequest() returns; a negative one refuses the request.
    int addRequestResult = 0;
    /// Whether debug lines are kept; tests that make millions of them switch it off.
    bool keepsLines = true;
    /// Called in addRequest() after the request was accepted, without a lock.
    void (*onAccepted)(FakeHost& host, std::size_t index) = nullptr;
    /// Called with every debug line, on the thread that prints it, without a lock.
    std::function<void(const std::string& text)> onLine;

    // Read by the test

    std::vector<Sent> sent;
    /// Keys of the options in the order in which they were read.
    std::vector<std::string> reads;
    std::vector<UINT64> flushes;
    int wakes = 0;

    /// Lines with their "[function:" kept and the line number cut out, for example "[getSchedule] text".
    std::vector<Line> lines();
    /// The texts of the lines of one level.
    std::vector<std::string> texts(unsigned long level);
    bool hasLine(const std::string& text);
    void forgetLines();

    // Answers of the test

    /// Ends the exchange that was sent as number `index`, on this thread.
    void answer(std::size_t index, SESSION_STATUS status, HTTP_RESPONSE_CODE code = 200, const std::string& body = {});
    /// Ends the last exchange successfully.
    void answer(const std::string& body) { answer(sent.size() - 1, session::kCompleted, 200, body); }

    /// Ends the exchange on another thread, a moment later, with one of several outcomes.
    void answerSoon(std::size_t index);
    /// Waits until all exchanges of answerSoon() have ended.
    void joinAnswers();
    bool hasFlushed();

    // Called by the framework

    int addRequest(HttpRequest* request) override;
    void flushHttpRequests(UINT64 id) override;
    void wake() override;
    WVariant getCPOption(const WContentProvider& provider, const std::string& key) override;

    void print(unsigned long level, unsigned long flags, const char* format, va_list* arguments);
    static FakeHost* current();

private:
    bool takePending(HttpRequest* request);
    void answerAllSoon();

    std::mutex m_lock;
    std::condition_variable m_changed;
    std::vector<HttpRequest*> m_pending;
    std::map<HttpRequest*, std::thread::id> m_completing;
    std::vector<Line> m_lines;
    // A thread for each answer would fill a 32-bit address space with stacks.
    std::deque<std::size_t> m_toAnswer;
    std::vector<std::thread> m_answerers;
    bool m_lastAnswers = false;
};

}  // namespace W::test
