// For tests of clients: records exchanges in a folder and replays them. An exchange is two files, 000001.request and
// 000001.reply, with the bytes as sent, except headers that identify the sender.
#pragma once

#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ExchangeHook.h"

namespace corvaned {

/// Records every exchange.  [any thread]
class ExchangeRecorder final : public http::ExchangeHook {
public:
    /// @param folder  empty, or a new one; only its owner can read it and its files
    /// @param log     receives a line for each exchange that cannot be kept; must not block  [any thread]
    /// @throws OperatorError if the folder cannot be used
    ExchangeRecorder(std::string folder, std::function<void(const std::string& line)> log);

    void observe(const http::Request& request, std::string_view bytes) override;

private:
    const std::string m_folder;
    const std::function<void(const std::string&)> m_log;
    std::mutex m_lock;
    int m_kept = 0;  // exchanges; guarded by m_lock
};

/// Answers requests from a folder that ExchangeRecorder has filled; the service does not see them. Replies to the same
/// method and target come in their order; the last one is repeated.  [any thread]
class ExchangePlayer final : public http::ExchangeHook {
public:
    /// @throws OperatorError if the folder holds no exchange
    explicit ExchangePlayer(const std::string& folder);

    /// Answers 404 if no such exchange was recorded.
    std::optional<std::string> answerInstead(const http::Request& request) override;

private:
    std::mutex m_lock;
    std::map<std::string, std::vector<std::string>> m_replies;  // by "GET /path?query", the next one last; guarded by
                                                                // m_lock
};

}  // namespace corvaned
