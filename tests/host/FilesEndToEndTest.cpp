// Transfers between a server and the disk, through the built plug-in and the executor: the files on the disk and the
// status when something ends a transfer early.
#include <atomic>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <optional>
#include <string>
#include <thread>

#include <gmock/gmock.h>
#include <sys/resource.h>

#include "Eventually.h"
#include "RawServer.h"
#include "Runtime.h"
#include "Scratch.h"
#include "ServiceCall.h"

namespace W::host {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

constexpr int kBrokeOff = -13;
constexpr int kFileTrouble = -108;
constexpr int kUnknownAtTheService = -205;
constexpr auto kPatience = 60s;
const std::string kHead = "HTTP/1.1 200 OK\r\nContent-Length: 2000000\r\n\r\n";

CommonOptions withLibrary()
{
    CommonOptions options;
    options.plugin = CORVANE_LIBRARY;
    options.logLevel = 0;
    return options;
}

class Files : public testing::Test {
protected:
    Files() { fs::create_directory(m_scratch.file("d")); }

    /// The plug-in with a session, which cancelling and uploading require.
    Runtime& runtime()
    {
        if (!m_runtime) {
            Configuration configuration;
            configuration.set("country", "US", "test");
            configuration.set("app_key", "key", "test");
            configuration.set("headend", "H", "test");
            configuration.set("channelinfo_filepath", m_scratch.file("d/up"), "test");
            m_runtime.emplace(withLibrary(), configuration, Defaults::None);
            WVLSession session;
            session.setSessionID("S");
            session.setSeedKey("K");
            m_runtime->plugin().setAuthSeedkey(session);
        }
        return *m_runtime;
    }
    void start(ServiceCall<DownloadCallback>& call, const std::string& url)
    {
        const auto fetch = [&](WCorvaneOAI& plugin, DownloadCallback done, void* userData, WRequestStatus& out) {
            return plugin.download(plugin.getContentProvider(), url, m_scratch.file("d"), "f", done, userData, out);
        };
        call.start(runtime().plugin(), fetch, [](const WContentProvider&, const std::string&) {});
    }
    int download(const std::string& url)
    {
        ServiceCall<DownloadCallback> call;
        start(call, url);
        return call.wait(kPatience);
    }
    void startUpload(ServiceCall<AckCallback>& call, const std::string& url)
    {
        call.start(
            runtime().plugin(), &WCorvaneOAI::sendChannel, [] {}, url, std::string("name"));
    }
    std::string file() const { return m_scratch.file("d/f"); }

    ScratchDirectory m_scratch;
    std::optional<Runtime> m_runtime;
};

/// Sends a part of a file, and then waits for the end of the connection.
RawServer::Script partOf(std::size_t bytes)
{
    return [bytes](RawServer::RawConnection& connection) {
        connection.readRequest();
        if (bytes > 0) {
            connection.send(kHead + std::string(bytes, 'x'));
        }
        connection.waitForEnd();
    };
}

TEST_F(Files, DownloadsCancelledBeforeTheFirstByteLeaveNoFile)
{
    const RawServer server(partOf(0));
    ServiceCall<DownloadCallback> call;
    start(call, server.url("/f"));
    ASSERT_TRUE(server.waitForRequests(1));
    EXPECT_EQ(call.cancel(), status::kCancelled);
    EXPECT_EQ(call.wait(kPatience), status::kCancelled);
    EXPECT_TRUE(fs::is_empty(m_scratch.file("d")));
}

TEST_F(Files, DownloadsCancelledMidwayLeaveNoFile)
{
    const RawServer server(partOf(100'000));
    ServiceCall<DownloadCallback> call;
    start(call, server.url("/f"));
    ASSERT_TRUE(support::eventually([&] { return runtime().downloads().written == 100'000; }));
    EXPECT_EQ(runtime().downloads().expected, 2'000'000U);
    EXPECT_EQ(fs::file_size(file()), 100'000U);
    EXPECT_EQ(call.cancel(), status::kCancelled);
    EXPECT_EQ(call.cancel(), status::kAlreadyCancelled);
    EXPECT_EQ(call.wait(kPatience), status::kCancelled);
    EXPECT_TRUE(fs::is_empty(m_scratch.file("d")));
}

TEST_F(Files, DownloadsCancelledAfterTheEndKeepTheFile)
{
    const RawServer server(answering("whole"));
    ServiceCall<DownloadCallback> call;
    start(call, server.url("/f"));
    EXPECT_EQ(call.wait(kPatience), status::kOk);
    EXPECT_EQ(call.cancel(), status::kNotFound);
    EXPECT_EQ(readFile(file()), "whole");
}

TEST_F(Files, EmptyRepliesGiveEmptyFiles)
{
    const RawServer server(answering(""));
    EXPECT_EQ(download(server.url("/f")), status::kOk);
    EXPECT_TRUE(fs::exists(file()));
    EXPECT_EQ(fs::file_size(file()), 0U);
}

TEST_F(Files, NotFoundChangesNoFile)
{
    const RawServer server([](RawServer::RawConnection& connection) {
        while (connection.readRequest()) {
            connection.send("HTTP/1.1 404 Not Found\r\nContent-Length: 5\r\n\r\nerror");
        }
    });
    EXPECT_EQ(download(server.url("/f")), kUnknownAtTheService);
    EXPECT_TRUE(fs::is_empty(m_scratch.file("d")));
    m_scratch.write("d/f", "older");
    EXPECT_EQ(download(server.url("/f")), kUnknownAtTheService);
    EXPECT_EQ(readFile(file()), "older");
}

TEST_F(Files, BrokenTransfersKeepThePartAndReportFailure)
{
    const RawServer server([](RawServer::RawConnection& connection) {
        connection.readRequest();
        connection.send(kHead + "part");
    });
    EXPECT_EQ(download(server.url("/f")), kBrokeOff);
    EXPECT_EQ(readFile(file()), "part");
}

TEST_F(Files, UnwritableTargetsDifferFromUnreadableFiles)
{
    const RawServer server(answering("body"));
    // A directory can be opened for reading, so the status comes from the transfer.
    fs::create_directory(file());
    EXPECT_EQ(download(server.url("/f")), kFileTrouble);
    fs::remove(file());
    fs::create_symlink(m_scratch.file("nowhere/f"), file());
    EXPECT_EQ(download(server.url("/f")), status::kFileNotReadable);
}

TEST_F(Files, ReportsADirectoryRemovedBeforeTheFirstByte)
{
    std::atomic<bool> gone{false};
    const RawServer server([&](RawServer::RawConnection& connection) {
        connection.readRequest();
        support::eventually([&] { return gone.load(); });
        connection.answer("body");
    });
    ServiceCall<DownloadCallback> call;
    start(call, server.url("/f"));
    ASSERT_TRUE(server.waitForRequests(1));
    fs::remove_all(m_scratch.file("d"));
    gone = true;
    EXPECT_EQ(call.wait(kPatience), status::kFileNotReadable);
    EXPECT_FALSE(fs::exists(m_scratch.file("d")));
}

TEST_F(Files, ReportsADirectoryRemovedMidway)
{
    std::atomic<bool> gone{false};
    const RawServer server([&](RawServer::RawConnection& connection) {
        connection.readRequest();
        connection.send(kHead + std::string(1'000'000, 'x'));
        support::eventually([&] { return gone.load(); });
        connection.send(std::string(1'000'000, 'y'));
    });
    ServiceCall<DownloadCallback> call;
    start(call, server.url("/f"));
    ASSERT_TRUE(support::eventually([&] { return runtime().downloads().written == 1'000'000; }));
    fs::remove_all(m_scratch.file("d"));
    gone = true;
    EXPECT_EQ(call.wait(kPatience), status::kFileNotReadable);
}

/// Limits the size of files during its lifetime. A write beyond the limit fails as on a full disk.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t bytes)
    {
        // The default action would end the process.
        m_before = ::signal(SIGXFSZ, SIG_IGN);
        ::getrlimit(RLIMIT_FSIZE, &m_limit);
        const rlimit lower{bytes, m_limit.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &lower);
    }
    ~FileSizeLimit()
    {
        ::setrlimit(RLIMIT_FSIZE, &m_limit);
        ::signal(SIGXFSZ, m_before);
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;

private:
    rlimit m_limit{};
    sighandler_t m_before = SIG_DFL;
};

TEST_F(Files, FullDisksEndOneDownloadOnly)
{
    const RawServer server(answering(std::string(2'000'000, 'x')));
    {
        const FileSizeLimit limit(65'536);
        EXPECT_EQ(download(server.url("/f")), kFileTrouble);
        EXPECT_EQ(fs::file_size(file()), 65'536U);
    }
    EXPECT_EQ(download(server.url("/f")), status::kOk);
    EXPECT_EQ(fs::file_size(file()), 2'000'000U);
}

constexpr std::size_t kUpload = std::size_t{64} << 20;

/// Reads the head of an upload, waits, and then counts the remaining bytes.
class UploadServer {
public:
    std::atomic<bool> started{false};
    std::atomic<bool> goOn{false};
    std::atomic<bool> onlyOld{true};
    RawServer server{[this](RawServer::RawConnection& connection) {
        connection.readHead();
        started = true;
        support::eventually([this] { return goOn.load(); });
        onlyOld = connection.readBody(kUpload) == std::string(kUpload, 'o');
        connection.answer(R"({"rsp":{"stat":"OK"}})");
        connection.waitForEnd();
    }};
};

TEST_F(Files, FilesReplacedDuringTheUploadAreSentAsBefore)
{
    UploadServer upload;
    m_scratch.write("d/up", std::string(kUpload, 'o'));
    m_scratch.write("d/new", "new");
    ServiceCall<AckCallback> call;
    startUpload(call, upload.server.url("/up"));
    ASSERT_TRUE(support::eventually([&] { return upload.started.load(); }));
    fs::rename(m_scratch.file("d/new"), m_scratch.file("d/up"));
    upload.goOn = true;
    EXPECT_EQ(call.wait(kPatience), status::kOk);
    EXPECT_TRUE(upload.onlyOld);
}

TEST_F(Files, FilesShortenedDuringTheUploadAreFileFailures)
{
    UploadServer upload;
    m_scratch.write("d/up", std::string(kUpload, 'o'));
    ServiceCall<AckCallback> call;
    startUpload(call, upload.server.url("/up"));
    ASSERT_TRUE(support::eventually([&] { return upload.started.load(); }));
    fs::resize_file(m_scratch.file("d/up"), 10);
    upload.goOn = true;
    EXPECT_EQ(call.wait(kPatience), kFileTrouble);
}

}  // namespace
}  // namespace W::host
