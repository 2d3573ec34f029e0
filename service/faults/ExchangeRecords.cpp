#include "ExchangeRecords.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include "Messages.h"
#include "OperatorError.h"

namespace corvaned {
namespace {

namespace fs = std::filesystem;

// Headers that identify the sender of a request.
constexpr std::string_view kSecretHeaders[] = {"Token",         "AuthToken",           "AppKey", "DUID",
                                               "Authorization", "Proxy-Authorization", "Cookie"};

bool isSecret(std::string_view name)
{
    return std::any_of(std::begin(kSecretHeaders), std::end(kSecretHeaders),
                       [name](std::string_view secret) { return http::equalIgnoringCase(name, secret); });
}

std::string requestMessage(const http::Request& request)
{
    std::string message = fmt::format("{} {} HTTP/1.1\r\n", request.method, request.target);
    for (const auto& [name, value] : request.headers) {
        if (!isSecret(name)) {
            message += fmt::format("{}: {}\r\n", name, value);
        }
    }
    return message + "\r\n" + request.body;
}

/// "GET /path?query", the key under which a request is found again.
std::string lineOf(const std::string& request)
{
    const std::string line = request.substr(0, request.find('\r'));
    return line.substr(0, line.rfind(' '));
}

std::string contentOf(const fs::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

std::string fileName(int number, const char* kind)
{
    return fmt::format("{:06}.{}", number, kind);
}

bool writeFile(const fs::path& file, std::string_view content)
{
    const int descriptor = ::open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (descriptor < 0) {
        return false;
    }
    bool good = true;
    while (good && !content.empty()) {
        const ssize_t count = ::write(descriptor, content.data(), content.size());
        good = count > 0 || (count < 0 && errno == EINTR);
        content.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    }
    return ::close(descriptor) == 0 && good;
}

}  // namespace

ExchangeRecorder::ExchangeRecorder(std::string folder, std::function<void(const std::string& line)> log)
    : m_folder(std::move(folder)), m_log(std::move(log))
{
    std::error_code failed;
    fs::create_directories(m_folder, failed);
    fs::permissions(m_folder, fs::perms::owner_all, failed);
    if (failed || !fs::is_empty(m_folder, failed)) {
        throw OperatorError(fmt::format("cannot record in {}: {}; name a folder that is empty, or a new one", m_folder,
                                        failed ? failed.message() : "it is not empty"));
    }
}

void ExchangeRecorder::observe(const http::Request& request, std::string_view bytes)
{
    const std::string message = requestMessage(request);
    const std::lock_guard<std::mutex> lock(m_lock);
    ++m_kept;
    // Writes the reply first: ExchangePlayer considers an exchange complete once it has a request.
    for (const auto& [kind, content] :
         {std::pair<const char*, std::string_view>("reply", bytes), {"request", message}}) {
        const fs::path file = fs::path(m_folder) / fileName(m_kept, kind);
        if (!writeFile(file, content)) {
            m_log(fmt::format("corvaned: cannot write {}: {}; this exchange is not recorded", file.string(),
                              std::strerror(errno)));
            std::error_code ignored;
            fs::remove(fs::path(m_folder) / fileName(m_kept, "reply"), ignored);
            fs::remove(file, ignored);
            --m_kept;
            return;
        }
    }
}

ExchangePlayer::ExchangePlayer(const std::string& folder)
{
    int number = 1;
    while (fs::exists(fs::path(folder) / fileName(number, "request"))) {
        ++number;
    }
    if (number == 1) {
        throw OperatorError(fmt::format("cannot replay {}: it contains no {}; name a folder that --record has filled",
                                        folder, fileName(1, "request")));
    }
    // In reverse, so that the earliest reply is at the end of its list.
    while (--number > 0) {
        m_replies[lineOf(contentOf(fs::path(folder) / fileName(number, "request")))].push_back(
            contentOf(fs::path(folder) / fileName(number, "reply")));
    }
}

std::optional<std::string> ExchangePlayer::answerInstead(const http::Request& request)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    const auto found = m_replies.find(request.method + " " + request.target);
    if (found == m_replies.end()) {
        const http::Reply reply = failure(ServiceCode::NotFound, "this exchange was not recorded");
        return fmt::format("HTTP/1.1 {} {}\r\nContent-Type: application/json\r\nContent-Length: {}\r\n\r\n{}",
                           reply.status, http::reasonPhrase(reply.status), reply.body.size(), reply.body);
    }
    std::vector<std::string>& replies = found->second;
    std::string reply = replies.back();
    if (replies.size() > 1) {
        replies.pop_back();
    }
    return reply;
}

}  // namespace corvaned
