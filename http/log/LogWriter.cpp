#include "LogWriter.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstring>
#include <deque>
#include <mutex>
#include <thread>
#include <unordered_map>

#include <fmt/format.h>
#include <poll.h>
#include <pthread.h>
#include <unistd.h>

namespace http {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kMostAtOnce = 4096;  // bytes; a pipe that is writable takes so many without blocking (PIPE_BUF)
constexpr std::chrono::milliseconds kRetry{500};
constexpr std::chrono::seconds kLastWait{1};

}  // namespace

struct LogWriter::Queue {
    Queue(int sink, std::size_t most) : descriptor(sink), mostLines(most) {}

    const int descriptor;
    const std::size_t mostLines;
    std::mutex lock;
    std::condition_variable changed;
    std::deque<std::string> lines;  // this and all below is guarded by lock
    std::uint64_t lost = 0;
    std::string lostReason;
    bool ending = false;
    bool ended = false;

    void run();
    std::string takeBatch();
    bool put(std::string_view bytes);
    bool isEnding()
    {
        const std::lock_guard<std::mutex> guard(lock);
        return ending;
    }
    void countLost(std::string_view bytes, const char* reason);
};

LogWriter::LogWriter(int descriptor, std::size_t mostLines) : m_queue(std::make_shared<Queue>(descriptor, mostLines))
{
    std::thread([queue = m_queue] { queue->run(); }).detach();
}

LogWriter::~LogWriter()
{
    std::unique_lock<std::mutex> lock(m_queue->lock);
    m_queue->ending = true;
    m_queue->changed.notify_all();
    m_queue->changed.wait_for(lock, kLastWait, [this] { return m_queue->ended; });
}

void LogWriter::write(std::string line)
{
    const std::lock_guard<std::mutex> lock(m_queue->lock);
    if (m_queue->lines.size() >= m_queue->mostLines) {
        ++m_queue->lost;
        m_queue->lostReason = "too many at once";
        return;
    }
    line += '\n';
    m_queue->lines.push_back(std::move(line));
    if (m_queue->lines.size() == 1) {
        m_queue->changed.notify_all();
    }
}

std::uint64_t LogWriter::lost() const
{
    const std::lock_guard<std::mutex> lock(m_queue->lock);
    return m_queue->lost;
}

void LogWriter::Queue::run()
{
    // A closed reader must be an error of write(), not a signal that ends the program.
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    while (true) {
        const std::string batch = takeBatch();
        const bool isLast = isEnding();
        if (batch.empty() || (!put(batch) && isLast)) {
            break;
        }
    }
    const std::lock_guard<std::mutex> guard(lock);
    ended = true;
    changed.notify_all();
}

// Returns lines of at most kMostAtOnce bytes together, or one longer line; empty at the end.
std::string LogWriter::Queue::takeBatch()
{
    std::unique_lock<std::mutex> guard(lock);
    changed.wait(guard, [this] { return !lines.empty() || ending; });
    std::string batch;
    if (lost > 0) {
        batch = fmt::format("{} log lines were lost: {}\n", lost, lostReason);
        lost = 0;
    }
    while (!lines.empty() && (batch.empty() || batch.size() + lines.front().size() <= kMostAtOnce)) {
        batch += lines.front();
        lines.pop_front();
    }
    return batch;
}

void LogWriter::Queue::countLost(std::string_view bytes, const char* reason)
{
    const std::lock_guard<std::mutex> guard(lock);
    // If a report of lost lines is lost itself, its number is counted again.
    std::uint64_t count = static_cast<std::uint64_t>(std::count(bytes.begin(), bytes.end(), '\n'));
    const std::size_t words = bytes.find(" log lines were lost: ");
    const std::size_t digits = std::min(bytes.find_first_not_of("0123456789"), bytes.size());
    if (digits > 0 && digits == words) {
        count += std::strtoull(std::string(bytes.substr(0, digits)).c_str(), nullptr, 10) - 1;
    }
    lost += count;
    lostReason = reason;
}

// Writes the lines or counts them as lost.
// @return false if the sink failed
bool LogWriter::Queue::put(std::string_view bytes)
{
    while (!bytes.empty()) {
        pollfd look{descriptor, POLLOUT, 0};
        while (::poll(&look, 1, static_cast<int>(kRetry.count())) <= 0) {
            if (isEnding()) {
                return false;
            }
        }
        const ssize_t count = ::write(descriptor, bytes.data(), std::min(bytes.size(), kMostAtOnce));
        if (count >= 0) {
            bytes.remove_prefix(static_cast<std::size_t>(count));
        } else if (errno != EINTR && errno != EAGAIN && errno != EWOULDBLOCK) {
            countLost(bytes, std::strerror(errno));
            std::unique_lock<std::mutex> guard(lock);
            changed.wait_for(guard, kRetry, [this] { return ending; });
            return false;
        }
    }
    return true;
}

// Counts lines per second, so that the entries of addresses that have left are dropped with their second.
struct FloodGate::State {
    std::mutex lock;
    Clock::time_point begun{};  // of the current second; this and all below is guarded by lock
    std::unordered_map<std::string, std::uint64_t> lines;    // of the current second, admitted or not
    std::unordered_map<std::string, std::uint64_t> leftOut;  // of the seconds before, not reported yet
};

FloodGate::FloodGate(std::size_t mostPerSecond) : m_mostPerSecond(mostPerSecond), m_state(std::make_unique<State>()) {}

FloodGate::~FloodGate() = default;

bool FloodGate::admit(std::string_view address, std::uint64_t& leftOut, Clock::time_point now)
{
    constexpr std::size_t kMostAddresses = 4096;  // further addresses are counted together
    const std::lock_guard<std::mutex> guard(m_state->lock);
    if (now - m_state->begun >= std::chrono::seconds(1)) {
        if (m_state->leftOut.size() > kMostAddresses) {
            m_state->leftOut.clear();
        }
        for (const auto& [key, count] : m_state->lines) {
            if (count > m_mostPerSecond) {
                m_state->leftOut[key] += count - m_mostPerSecond;
            }
        }
        m_state->lines.clear();
        m_state->begun = now;
    }
    std::string key(address);
    if (m_state->lines.size() >= kMostAddresses && m_state->lines.count(key) == 0) {
        key = "others";
    }
    leftOut = 0;
    if (++m_state->lines[key] > m_mostPerSecond) {
        return false;
    }
    if (const auto found = m_state->leftOut.find(key); found != m_state->leftOut.end()) {
        leftOut = found->second;
        m_state->leftOut.erase(found);
    }
    return true;
}

std::string quotedForLog(std::string_view string, std::size_t most)
{
    std::string result = "\"";
    for (const unsigned char c : string.substr(0, most)) {
        if (c < 0x20 || c >= 0x7f || c == '"' || c == '\\') {
            result += fmt::format("\\x{:02x}", c);
        } else {
            result += static_cast<char>(c);
        }
    }
    return result + "\"";
}

}  // namespace http
