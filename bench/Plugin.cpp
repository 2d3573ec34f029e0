#include "Plugin.h"

#include <condition_variable>
#include <list>
#include <mutex>
#include <stdexcept>

#include "CurlExecutor.h"
#include "Debug.h"

namespace W::bench {

Plugin::Plugin(const std::string& library, HttpDelegator& executor, std::string baseUrl)
    : m_executor(executor), m_library(library)
{
    m_configuration.set("base_url", std::move(baseUrl), "benchmark");
    m_configuration.set("app_key", "0123456789abcdef", "benchmark");
    m_configuration.set("country", "US", "benchmark");
    m_configuration.set("language", "en", "benchmark");
    m_configuration.set("headend", "default", "benchmark");
    m_configuration.set("secret_key", "0123456789abcdef0123456789abcdef", "benchmark");
    host::setDebugLevel(1);
    install();
    m_object = m_library.create();

    WVLSession session;
    session.setSessionID("0123456789abcdef0123456789abcdef");
    session.setUserID("user-0123456789");
    session.setSeedKey("seed-0123456789abcdef");
    m_object->setAuthSeedkey(session);
}

Plugin::~Plugin()
{
    m_object.reset();
    host::installConfigManager(nullptr);
}

void Plugin::install()
{
    host::installHttpDelegator(&m_executor);
    host::installConfigManager(&m_configuration);
}

void Plugin::learnTime(NullExecutor& executor)
{
    if (m_object->getLocalTime(nullptr, nullptr, m_out) != 0) {
        throw std::runtime_error("getLocalTime was refused");
    }
    executor.request(0).response().setHttpResponseCode(200);
    executor.request(0).response().setPayload(R"({"rsp":{"stat":"OK","difference":"+09:00"}})");
    executor.complete(0, session::kCompleted);
    executor.clear();
}

void Plugin::learnTime()
{
    struct ClockReply {
        std::mutex lock;
        std::condition_variable arrived;
        int status = 12345;
    } answer;
    std::unique_lock<std::mutex> hold(answer.lock);
    const LocaltimeCallback done = [](int status, const WVLLocaltime& /*time*/, UINT64 /*reference*/, void* userData) {
        auto& given = *static_cast<ClockReply*>(userData);
        const std::lock_guard<std::mutex> writing(given.lock);
        given.status = status;
        given.arrived.notify_one();
    };
    if (m_object->getLocalTime(done, &answer, m_out) != 0) {
        throw std::runtime_error("getLocalTime was refused");
    }
    answer.arrived.wait(hold, [&] { return answer.status != 12345; });
    if (answer.status != 0) {
        throw std::runtime_error("getLocalTime failed");
    }
}

void Plugin::getSchedule(ContentListCallback done, void* userData)
{
    static const std::list<std::string> kSources = {"11-1", "12-1", "13-1", "14-1"};
    static const std::list<int> kSizes = {1, 2};
    if (m_object->getSchedule(done, kSources, 1700000000, 6, kSizes, userData, m_out) != 0) {
        throw std::runtime_error("getSchedule was refused");
    }
}

void Plugin::getSchedule(int& status)
{
    getSchedule([](int given, const WContainer<WVLContent>& /*contents*/, UINT64 /*reference*/,
                   void* userData) { *static_cast<int*>(userData) = given; },
                &status);
}

}  // namespace W::bench
