// For tests of clients: replies that come late, broken or not at all, and exchanges that are kept and repeated. Nothing
// of it happens unless the operator asks for it; Server.cpp asks here at two places, where a reply is made and where
// its bytes go out. The faults stand in kFaultKinds (Meddler.cpp).
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "Service.h"

namespace httplib {
class Stream;
}

namespace corvaned {

class Connection;

struct MeddlerOptions {
    std::vector<std::string> faults;  // "channel/schedule=delay 500", "*=reset"; of several that fit the first counts
    std::string record;               // folder that every exchange is kept in; empty for none
    std::string replay;               // folder of such exchanges, from which all is answered; empty for none
};

/// What the operator wants done to the wire.  [any thread]
class Meddler {
public:
    /// @throws OperatorError where a fault cannot be read or a folder cannot be used
    explicit Meddler(const MeddlerOptions& options);
    Meddler(const Meddler&) = delete;
    Meddler& operator=(const Meddler&) = delete;

    /// Changes a reply before it is packed.
    /// @param packed  set where the body is to go out as gzip that it is already
    void alter(std::string_view path, Reply& reply, bool& packed) const;

    /// Has `process` read a request from a stream and write the reply, and sends of it what the client is to get.
    /// @return whether another request may follow
    bool pass(Connection& connection, const std::function<bool(httplib::Stream& stream)>& process);

    struct Fault {
        std::string path;
        std::size_t kind;       // in kFaultKinds
        std::int64_t argument;  // as the kind understands it
    };

private:
    const Fault* faultOf(std::string_view path) const;
    void keep(const std::string& request, const std::string& reply);
    std::string replayed(const std::string& request);

    std::vector<Fault> m_faults;
    const std::string m_record;
    const bool m_replaying;
    std::mutex m_lock;
    int m_kept = 0;                                             // exchanges; guarded by m_lock
    std::map<std::string, std::vector<std::string>> m_replies;  // by request line, the next one last; guarded by m_lock
};

}  // namespace corvaned
