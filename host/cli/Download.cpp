// Checks name and directory first. The plug-in then downloads into a temporary file, which replaces an older file only
// when it is complete.
#include "Download.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>

#include "FileDescriptor.h"
#include "HttpWire.h"
#include "Interruption.h"
#include "ProgressBar.h"
#include "ServiceCall.h"
#include "ServiceProblem.h"
#include "Terminal.h"

namespace W::host {

namespace {

using namespace std::chrono_literals;

// --- target  ---------------------------------------------------------------------------------------------------

std::string percentDecoded(std::string_view text)
{
    std::string decoded;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const bool encoded = text[at] == '%' && at + 2 < text.size() &&
                             std::isxdigit(static_cast<unsigned char>(text[at + 1])) &&
                             std::isxdigit(static_cast<unsigned char>(text[at + 2]));
        if (!encoded) {
            decoded += text[at];
            continue;
        }
        decoded += static_cast<char>(std::strtol(std::string(text.substr(at + 1, 2)).c_str(), nullptr, 16));
        at += 2;
    }
    return decoded;
}

constexpr const char* kOtherDirectory = "name an existing directory that you may write to";
constexpr const char* kOtherName = "choose another file name: corvane download URL DIR NAME";

/// @throws ServiceProblem if a file cannot be written there
void checkTarget(const std::string& directory, const std::string& path)
{
    struct stat state {};
    if (::stat(directory.c_str(), &state) != 0) {
        throw ServiceProblem(fmt::format("cannot download into {}: {}", directory, std::strerror(errno)),
                             kOtherDirectory);
    }
    if (!S_ISDIR(state.st_mode)) {
        throw ServiceProblem(fmt::format("cannot download into {}: it is not a directory", directory), kOtherDirectory);
    }
    if (::stat(path.c_str(), &state) == 0 && !S_ISREG(state.st_mode)) {
        throw ServiceProblem(fmt::format("cannot download to {}: it is {}", path,
                                         S_ISDIR(state.st_mode) ? "a directory" : "not a regular file"),
                             kOtherName);
    }
}

/// A new hidden file in a directory. The destructor removes it unless place() has renamed it.
class PartialFile {
public:
    explicit PartialFile(std::string directory) : m_directory(std::move(directory))
    {
        FileDescriptor created;
        for (int number = 0; !created.isOpen(); ++number) {
            m_name = fmt::format(".corvane-{}-{}.part", ::getpid(), number);
            created.hold(::open(path().c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644));
            if (!created.isOpen() && errno != EEXIST) {
                throw ServiceProblem(fmt::format("cannot download into {}: {}", m_directory, std::strerror(errno)),
                                     kOtherDirectory);
            }
        }
    }
    ~PartialFile()
    {
        if (!m_placed) {
            std::remove(path().c_str());
        }
    }
    PartialFile(const PartialFile&) = delete;
    PartialFile& operator=(const PartialFile&) = delete;

    const std::string& name() const { return m_name; }
    std::string path() const { return m_directory + "/" + m_name; }

    /// @param target  in the same directory; an older file is replaced
    void place(const std::string& target)
    {
        m_placed = std::rename(path().c_str(), target.c_str()) == 0;
        if (!m_placed) {
            throw ServiceProblem(fmt::format("cannot write {}: {}", target, std::strerror(errno)), kOtherName);
        }
    }

private:
    std::string m_directory;
    std::string m_name;
    bool m_placed = false;
};

// --- failures  -------------------------------------------------------------------------------------------------

struct DownloadAdvice {
    int status;
    const char* problem;
    const char* hint;
};

constexpr DownloadAdvice kDownloadAdvice[] = {
    {status::kUnreachable, "there is no server at this address", "check host and port in the URL"},
    {-13, "the transfer broke off", "try again; check the server's certificate if the URL is https"},
    {-500, "the server did not answer in time", "try again, or wait longer with --timeout SECONDS"},
    {-107, "the server has an internal error", "try again later"},
    {-108, "the file cannot be written", "check whether the disk is full or a file size limit is reached"},
    {status::kNoSession, "the server demands a login", "use a URL that needs no login"},
    {-205, "the server refuses the file or does not have it", "check the path in the URL"},
    {status::kFileNotReadable, "the directory disappeared during the download",
     "choose a directory that no other program removes"},
    {status::kWrongProvider, "the server answers with something other than the file",
     "redirects are not followed: use the URL that they lead to"},
};

ServiceProblem downloadProblem(const std::string& url, int status)
{
    for (const DownloadAdvice& row : kDownloadAdvice) {
        if (row.status == status) {
            return {fmt::format("cannot download {}: {} (status {})", url, row.problem, status), row.hint};
        }
    }
    return {fmt::format("cannot download {}: {} (status {})", url, WSTATUS2STRING(status), status),
            "check the URL and try again"};
}

/// cancel() requires a session although a download does not use one. The session set here is never sent.
void allowCancelling(WCorvaneOAI& plugin)
{
    WVLSession session;
    session.setSessionID("-");
    session.setSeedKey("-");
    plugin.setAuthSeedkey(session);
}

}  // namespace

std::string downloadName(const DownloadOptions& download)
{
    constexpr const char* kGiveName = "give the file a name: corvane download URL DIR NAME";
    const bool given = !download.name.empty();
    std::string name = given ? download.name : download.url.substr(download.url.rfind('/') + 1);
    const std::string plain = given ? name : percentDecoded(name);
    if (name.empty()) {
        throw ServiceProblem(fmt::format("{} does not end with a file name", download.url), kGiveName);
    }
    if (plain == "." || plain == ".." || plain.find('/') != std::string::npos) {
        throw ServiceProblem(fmt::format("the file name \"{}\" would be outside {}", name, download.directory),
                             given ? "write the directory as DIR and only the file's name as NAME" : kGiveName);
    }
    if (name.size() > NAME_MAX) {
        throw ServiceProblem(fmt::format("the file name has {} bytes; at most {} are possible", name.size(), NAME_MAX),
                             kGiveName);
    }
    return name;
}

int runDownload(const CommonOptions& options, const DownloadOptions& download)
{
    constexpr auto kRefresh = 100ms;
    // The plug-in sends URLs as they are, and people write blanks and umlauts.
    const std::string url = percentEncoded(download.url);
    if (!splitUrl(url, UrlEncoding::AsGiven)) {
        throw ServiceProblem(fmt::format("\"{}\" is not an http or https address", download.url),
                             "write the whole address, as in http://127.0.0.1:8900/files/today.json");
    }
    const std::string name = downloadName(download);
    const bool slash = !download.directory.empty() && download.directory.back() == '/';
    const std::string target = download.directory + (slash ? "" : "/") + name;
    checkTarget(download.directory, target);

    Runtime runtime(options, Defaults::ForPeople);
    allowCancelling(runtime.plugin());
    const Interruption interruption;
    PartialFile partial(download.directory);
    int status = status::kOk;
    {
        ServiceCall<DownloadCallback> call;
        const DownloadProgress& progress = runtime.downloads();
        ProgressBar bar([&progress] { return Progress{progress.written, progress.expected}; });
        const auto fetch = [&](WCorvaneOAI& plugin, DownloadCallback done, void* userData, WRequestStatus& out) {
            return plugin.download(plugin.getContentProvider(), url, download.directory, partial.name(), done, userData,
                                   out);
        };
        call.start(runtime.plugin(), fetch, [](const WContentProvider&, const std::string&) {});
        bool cancelled = false;
        while (!call.isOverWithin(kRefresh)) {
            bar.show();
            if (Interruption::signal() != 0 && !cancelled) {
                cancelled = call.cancel() == status::kCancelled;
            }
        }
        status = call.wait(0ms);
    }
    if (status == status::kCancelled) {
        fmt::print(stderr, "corvane: cancelled; no file was written\n");
        return 128 + Interruption::signal();
    }
    // The plug-in reports success for some HTTP codes that come without a file.
    if (status == status::kOk && runtime.downloads().files == 0) {
        status = status::kWrongProvider;
    }
    if (status != status::kOk) {
        throw downloadProblem(download.url, status);
    }
    partial.place(target);
    fmt::print("{}\n", target);
    return 0;
}

}  // namespace W::host
