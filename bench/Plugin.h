// The plug-in as a host loads it, ready for operations, and an executor that does nothing.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "Configuration.h"
#include "HttpDelegator.h"
#include "PluginLibrary.h"
#include "WRequestStatus.h"

namespace W::bench {

/// Accepts requests and holds them until they are completed.
class NullExecutor final : public HttpDelegator {
public:
    int addRequest(HttpRequest* request) override
    {
        m_held.push_back(request);
        return 0;
    }
    void flushHttpRequests(UINT64 /*id*/) override {}
    void wake() override {}

    /// Number of requests since the last clear().
    std::size_t held() const { return m_held.size(); }
    HttpRequest& request(std::size_t index) { return *m_held[index]; }
    /// The completion deletes the request; its index stays used until clear().
    void complete(std::size_t index, SESSION_STATUS status) { m_held[index]->complete(status); }
    void clear() { m_held.clear(); }

private:
    std::vector<HttpRequest*> m_held;
};

/// One object of a library, with a session, the settings of a device, and only errors in its log. The object that was
/// created or install()ed last is the one that the process uses.
class Plugin {
public:
    /// @param library   file
    /// @param executor  outlives the object
    /// @param baseUrl   of the service
    /// @throws std::runtime_error with one line
    Plugin(const std::string& library, HttpDelegator& executor, std::string baseUrl = "https://service.example");
    ~Plugin();
    Plugin(const Plugin&) = delete;
    Plugin& operator=(const Plugin&) = delete;

    void install();
    WCorvaneOAI& object() { return *m_object; }
    /// Destroys the object.
    void destroy() { m_object.reset(); }

    /// Gets the server's time, which getSchedule() needs, from a canned reply.
    void learnTime(NullExecutor& executor);
    /// The same from a service.
    void learnTime();
    /// Requests the programmes of four channels.
    /// @throws std::runtime_error if the request is refused
    void getSchedule(ContentListCallback done, void* userData);
    /// The same; the callback writes its status to `status`.
    void getSchedule(int& status);

private:
    HttpDelegator& m_executor;
    host::Configuration m_configuration;
    host::PluginLibrary m_library;
    host::PluginLibrary::Object m_object{nullptr, nullptr};
    WRequestStatus m_out;
};

}  // namespace W::bench
