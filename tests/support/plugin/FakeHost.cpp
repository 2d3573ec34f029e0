#include "FakeHost.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include <gtest/gtest.h>

namespace W {

using test::FakeHost;

namespace test {

namespace {

FakeHost* theHost = nullptr;

}  // namespace

FakeHost::FakeHost()
{
    theHost = this;
}

FakeHost::~FakeHost()
{
    EXPECT_TRUE(m_pending.empty()) << m_pending.size() << " requests were neither answered nor flushed";
    theHost = nullptr;
}

FakeHost* FakeHost::current()
{
    return theHost;
}

std::vector<Line> FakeHost::lines()
{
    const std::lock_guard<std::mutex> hold(m_lock);
    return m_lines;
}

std::vector<std::string> FakeHost::texts(unsigned long level)
{
    std::vector<std::string> found;
    for (const Line& line : lines()) {
        if (line.level == level) {
            found.push_back(line.text);
        }
    }
    return found;
}

bool FakeHost::hasLine(const std::string& text)
{
    const std::vector<Line> all = lines();
    return std::any_of(all.begin(), all.end(), [&](const Line& line) { return line.text == text; });
}

void FakeHost::forgetLines()
{
    const std::lock_guard<std::mutex> hold(m_lock);
    m_lines.clear();
}

bool FakeHost::takePending(HttpRequest* request)
{
    const auto found = std::find(m_pending.begin(), m_pending.end(), request);
    if (found == m_pending.end()) {
        return false;
    }
    m_pending.erase(found);
    m_completing[request] = std::this_thread::get_id();
    return true;
}

void FakeHost::answer(std::size_t index, SESSION_STATUS status, HTTP_RESPONSE_CODE code, const std::string& body)
{
    HttpRequest* request = nullptr;
    {
        const std::lock_guard<std::mutex> hold(m_lock);
        request = sent.at(index).request;
        if (!takePending(request)) {
            ADD_FAILURE() << "request " << index << " was answered before";
            return;
        }
    }
    if (status == session::kCompleted) {
        request->response().setHttpResponseCode(code);
        request->response().setPayload(body);
    }
    request->complete(status);
    {
        const std::lock_guard<std::mutex> hold(m_lock);
        m_completing.erase(request);
    }
    m_changed.notify_all();
}

void FakeHost::answerSoon(std::size_t index)
{
    constexpr std::size_t kAnswerers = 8;
    const std::lock_guard<std::mutex> hold(m_lock);
    m_toAnswer.push_back(index);
    if (m_answerers.size() < kAnswerers) {
        m_answerers.emplace_back([this] { answerAllSoon(); });
    }
    m_changed.notify_all();
}

void FakeHost::answerAllSoon()
{
    std::unique_lock<std::mutex> hold(m_lock);
    while (true) {
        m_changed.wait(hold, [this] { return m_lastAnswers || !m_toAnswer.empty(); });
        if (m_toAnswer.empty()) {
            return;
        }
        const std::size_t index = m_toAnswer.front();
        m_toAnswer.pop_front();
        const bool cancelled = sent.at(index).request->isCancelled();
        hold.unlock();
        if (cancelled) {
            answer(index, session::kCancelled);
        } else {
            answer(index, index % 5 == 0 ? session::kBrokeOff : session::kCompleted, 200, R"({"rsp":{"stat":"OK"}})");
        }
        hold.lock();
    }
}

void FakeHost::joinAnswers()
{
    std::vector<std::thread> answerers;
    {
        const std::lock_guard<std::mutex> hold(m_lock);
        m_lastAnswers = true;
        answerers.swap(m_answerers);
        m_changed.notify_all();
    }
    for (std::thread& answerer : answerers) {
        answerer.join();
    }
    m_lastAnswers = false;
}

bool FakeHost::hasFlushed()
{
    const std::lock_guard<std::mutex> hold(m_lock);
    return !flushes.empty();
}

int FakeHost::addRequest(HttpRequest* request)
{
    const int result = addRequestResult;
    std::size_t index = 0;
    {
        const std::lock_guard<std::mutex> hold(m_lock);
        sent.push_back({request->type(), request->url(), request->header().lines(), request->body(),
                        request->filePath(), request->getID(), request->isEncoding(), request->isFileUpload(),
                        result < 0 ? nullptr : request});
        index = sent.size() - 1;
        if (result >= 0) {
            m_pending.push_back(request);
        }
    }
    if (result >= 0 && onAccepted != nullptr) {
        onAccepted(*this, index);
    }
    return result;
}

void FakeHost::flushHttpRequests(UINT64 id)
{
    std::unique_lock<std::mutex> hold(m_lock);
    flushes.push_back(id);
    for (;;) {
        const auto next =
            std::find_if(m_pending.begin(), m_pending.end(), [&](const HttpRequest* r) { return r->getID() == id; });
        if (next != m_pending.end()) {
            HttpRequest* const request = *next;
            takePending(request);
            hold.unlock();
            request->complete(session::kCancelled);
            hold.lock();
            m_completing.erase(request);
            m_changed.notify_all();
            continue;
        }
        // If the call comes from inside a completion, it does not wait for that one.
        const bool others = std::any_of(m_completing.begin(), m_completing.end(), [](const auto& running) {
            return running.second != std::this_thread::get_id();
        });
        if (!others) {
            return;
        }
        m_changed.wait(hold);
    }
}

void FakeHost::wake()
{
    const std::lock_guard<std::mutex> hold(m_lock);
    ++wakes;
}

WVariant FakeHost::getCPOption(const WContentProvider& /*provider*/, const std::string& key)
{
    const std::lock_guard<std::mutex> hold(m_lock);
    reads.push_back(key);
    const auto found = options.find(key);
    return found == options.end() ? WVariant() : WVariant(found->second);
}

void FakeHost::print(unsigned long level, unsigned long flags, const char* format, va_list* arguments)
{
    if (!keepsLines) {
        return;
    }
    va_list copy;
    va_copy(copy, *arguments);
    const int length = std::vsnprintf(nullptr, 0, format, copy);
    va_end(copy);
    ASSERT_GE(length, 0) << format;
    std::string text(static_cast<std::size_t>(length) + 1, '\0');
    std::vsnprintf(text.data(), text.size(), format, *arguments);
    text.pop_back();
    // Cuts the line number out of "[function:123] text"; tests do not depend on it.
    const std::size_t colon = text.find(':');
    const std::size_t bracket = text.find(']');
    int number = 0;
    if (text.compare(0, 1, "[") == 0 && colon < bracket) {
        number = std::atoi(text.c_str() + colon + 1);
        text.erase(colon, bracket - colon);
    }
    if (onLine) {
        onLine(text);
    }
    const std::lock_guard<std::mutex> hold(m_lock);
    m_lines.push_back({level, flags, text, number});
}

}  // namespace test

// -- The part of the framework that a host implements

HttpDelegator* HttpDelegator::getInstance()
{
    return FakeHost::current();
}

WConfigManager* WConfigManager::getInstance()
{
    return FakeHost::current();
}

void CCDebug::t_AddModule(const char* name, int /*modules*/)
{
    if (FakeHost::current() != nullptr) {
        FakeHost::current()->options["registered module"] = name;
    }
}

void CWCCDebug::Reset() {}
void CWCCDebug::t_Print(unsigned long level, unsigned long flags, const char* format, va_list* arguments)
{
    if (FakeHost::current() != nullptr) {
        FakeHost::current()->print(level, flags, format, arguments);
    }
}
void CWCCDebug::t_PrintR(unsigned long level, unsigned long flags, const char* format, va_list* arguments)
{
    t_Print(level, flags, format, arguments);
}
void CWCCDebug::t_InitModule() {}
void CWCCDebug::t_SetDebugLevel(unsigned int /*level*/) {}

}  // namespace W
