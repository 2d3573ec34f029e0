// `corvane rpc`: JSON-RPC 2.0 over standard input and output, one object a line, for scripts and tests that drive a
// plug-in through its operations. Read next: RpcOperations.h for the operations.
#pragma once

#include "RpcOperations.h"

#include <chrono>
#include <condition_variable>
#include <functional>
#include <iosfwd>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace W::host {

/// A conversation. Requests are issued in the order of their lines, without waiting for earlier ones; each is answered
/// once. Has to outlive the plug-in object, whose callbacks come here.
class RpcServer {
public:
    /// @param put  writes one line, without its end, and makes it visible at once; never called twice at a time
    explicit RpcServer(std::function<void(const std::string& line)> put);
    ~RpcServer();
    RpcServer(const RpcServer&) = delete;
    RpcServer& operator=(const RpcServer&) = delete;

    /// Works the lines off until the input ends, then waits for what is outstanding.
    void serve(WCorvaneOAI& plugin, std::istream& lines, std::chrono::milliseconds patience);

    /// Answers what is still outstanding with an error. Call it when the plug-in object is gone.
    void giveUp();

private:
    class Call;
    using Calls = std::list<std::unique_ptr<Call>>;

    void handle(WCorvaneOAI& plugin, const std::string& line);
    void start(WCorvaneOAI& plugin, const RpcOperation& operation, const Json& id, const Json& parameters);
    void waitFor(const Json& id, const Json& parameters);
    void answer(const Json& id, const char* kind, const Json& content);
    void fail(const Json& id, int code, const std::string& message);
    void finish(Call& call);

    std::function<void(const std::string&)> m_put;
    std::mutex m_lock;  ///< guards the calls and the output: what belongs together stays in order
    std::condition_variable m_somethingFinished;
    Calls m_outstanding;
    bool m_bOver = false;
};

}  // namespace W::host
