// Downloads and the schedule file: failures, and the files that remain.

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Calls.h"
#include "Pieces.h"

namespace {

/// The results of the next calls of read() in this program.
struct NextReads {
    int left = 0;  ///< the number of faulty calls; after them read() works again
    ssize_t result = 0;
    int error = 0;
} s_nextReads;

}  // namespace

extern "C" {
ssize_t __real_read(int descriptor, void* buffer, size_t size);

ssize_t __wrap_read(int descriptor, void* buffer, size_t size)
{
    if (s_nextReads.left == 0) {
        return __real_read(descriptor, buffer, size);
    }
    --s_nextReads.left;
    errno = s_nextReads.error;
    return s_nextReads.result;
}
}

namespace W::test {
namespace {

namespace fs = std::filesystem;

/// A new directory; the destructor removes it.
class Scratch {
public:
    Scratch() : m_path(fs::path(::testing::TempDir()) / ("corvane-files-" + std::to_string(::getpid())))
    {
        fs::remove_all(m_path);
        fs::create_directory(m_path);
    }
    ~Scratch() { fs::remove_all(m_path); }
    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;

    std::string path() const { return m_path.string(); }
    std::string file(const std::string& name) const { return path() + "/" + name; }
    std::string write(const std::string& name, const std::string& text) const
    {
        std::ofstream(file(name), std::ios::binary) << text;
        return file(name);
    }

private:
    fs::path m_path;
};

using DownloadCapture = Capture<const WContentProvider&, const std::string&>;

struct DownloadTest : ::testing::Test {
    FakeHost host;
    Scratch scratch;
    WVorelOAI object;

    int download(DownloadCapture& capture, const std::string& url, const std::string& name = {})
    {
        return capture.accepted(object.download(object.getContentProvider(), url, scratch.path(), name,
                                                DownloadCapture::done, &capture, capture.out));
    }
};

struct RefusedRow {
    const char* what;
    const char* url;
    const char* directory;
    const char* name;
    int expected;
};

TEST_F(DownloadTest, RefusesMissingArguments)
{
    const RefusedRow rows[] = {
        {"no URL", "", "/d", "f", -1},
        {"no directory", "http://h/f", "", "f", -1},
        {"a URL that ends in a slash, and no name", "http://h/", "/d", "", -1},
    };
    for (const RefusedRow& row : rows) {
        SCOPED_TRACE(row.what);
        DownloadCapture capture;
        EXPECT_EQ(capture.accepted(object.download(object.getContentProvider(), row.url, row.directory, row.name,
                                                   DownloadCapture::done, &capture, capture.out)),
                  row.expected);
        EXPECT_EQ(capture.out.getRequestID(), 51u);
        EXPECT_EQ(capture.out.getReqRefernce(), 0u);
        EXPECT_EQ(capture.out.getWStatus(), row.expected);
        EXPECT_EQ(host.texts(1).back().rfind("[download] #ERROR WSTATUS:", 0), 0u);
    }
    EXPECT_TRUE(host.sent.empty());
}

TEST_F(DownloadTest, ArgumentsAreCheckedBeforeTheProvider)
{
    DownloadCapture capture;
    const WContentProvider other("Other", 14);
    EXPECT_EQ(object.download(other, "", "/d", "f", DownloadCapture::done, &capture, capture.out), -1);
    EXPECT_EQ(object.download(other, "u", "/d", "f", DownloadCapture::done, &capture, capture.out), -16);
    EXPECT_EQ(capture.out.getWStatus(), -16);
    EXPECT_EQ(object.commandCount(), 0u);
}

struct NameRow {
    const char* url;
    const char* name;
    const char* expected;
};

TEST_F(DownloadTest, TakesTheFileNameFromTheUrl)
{
    const NameRow rows[] = {
        {"http://h/a/b.ts", "", "b.ts"},
        {"http://h/a/b.ts?x=1", "", "b.ts?x=1"},
        {"b.ts", "", "b.ts"},
        {"http://h/a/b.ts", "c.ts", "c.ts"},
    };
    for (const NameRow& row : rows) {
        SCOPED_TRACE(row.url);
        DownloadCapture capture;
        EXPECT_EQ(download(capture, row.url, row.name), 0);
        const Sent& sent = host.sent.back();
        EXPECT_EQ(sent.url, row.url);
        EXPECT_EQ(sent.filePath, scratch.file(row.expected));
        EXPECT_TRUE(sent.headers.empty());
        EXPECT_EQ(sent.type, HTTP_GET);
        scratch.write(row.expected, "x");
        host.answer(host.sent.size() - 1, session::kCompleted);
        EXPECT_EQ(capture.status, 0);
        EXPECT_EQ(capture.result<0>().getID(), object.getContentProvider().getID());
        EXPECT_EQ(capture.result<1>(), scratch.file(row.expected));
    }
}

struct EndRow {
    const char* what;
    SESSION_STATUS session;
    int code;
    bool written;
    int expected;
};

TEST_F(DownloadTest, ReportsTheFileOrAClearStatus)
{
    const EndRow rows[] = {
        {"written", session::kCompleted, 200, true, 0},
        {"an empty reply leaves an empty file", session::kCompleted, 200, true, 0},
        {"nothing written", session::kCompleted, 200, false, -403},
        {"not found", session::kCompleted, 404, false, -205},
        {"not found beside an older file", session::kCompleted, 404, true, -205},
        {"created is not OK", session::kCompleted, 201, true, 0},
        {"broke off, and left a file", session::kBrokeOff, 0, true, -13},
        {"broke off before a file", session::kBrokeOff, 0, false, -403},
        {"timed out, and left a file", session::kTimedOut, 0, true, -500},
        {"no connection, whatever it was", session::kNoConnection, 0, false, -403},
        {"file trouble with a file", session::kFileTrouble, 0, true, -108},
    };
    for (const EndRow& row : rows) {
        SCOPED_TRACE(row.what);
        fs::remove(scratch.file("f"));
        if (row.written) {
            scratch.write("f", "");
        }
        DownloadCapture capture;
        download(capture, "http://h/f");
        host.answer(host.sent.size() - 1, row.session, row.code);
        EXPECT_EQ(capture.status, row.expected);
        EXPECT_EQ(capture.result<1>(), scratch.file("f"));
        EXPECT_EQ(fs::exists(scratch.file("f")), row.written) << "only a cancelled download removes anything";
    }
    EXPECT_TRUE(host.hasLine("[cbDownloadDone] [++ WVorelOAI::cbDownloadDone]"));
    EXPECT_TRUE(host.hasLine("[cbDownloadDone] [--  WVorelOAI::cbDownloadDone]"));
}

TEST_F(DownloadTest, CancelledDownloadsLeaveNothing)
{
    openSession(object);
    for (const SESSION_STATUS end : {session::kCancelled, session::kCompleted}) {
        scratch.write("f", "half of i");
        DownloadCapture capture;
        download(capture, "http://h/f");
        EXPECT_EQ(object.cancel(object.getContentProvider(), capture.out.getReqRefernce()), status::kCancelled);
        host.answer(host.sent.size() - 1, end);
        EXPECT_EQ(capture.status, status::kCancelled);
        EXPECT_FALSE(fs::exists(scratch.file("f")));
    }
    EXPECT_TRUE(host.hasLine("[cbDownloadDone] [--WVorelOAI::cbDownloadDone] Canceled"));
}

TEST_F(DownloadTest, IsCancelledBeforeAnythingWasWritten)
{
    openSession(object);
    DownloadCapture capture;
    download(capture, "http://h/f");
    object.cancel(object.getContentProvider(), capture.out.getReqRefernce());
    host.answer(0, session::kCancelled);
    EXPECT_EQ(capture.status, status::kCancelled);
    EXPECT_TRUE(fs::is_empty(scratch.path()));
}

TEST_F(DownloadTest, CompleteDownloadsCannotBeCancelled)
{
    openSession(object);
    scratch.write("f", "all of it");
    DownloadCapture capture;
    capture.thenData = &object;
    capture.then = [](DownloadCapture& self) {
        auto& theObject = *static_cast<WVorelOAI*>(self.thenData);
        EXPECT_EQ(theObject.cancel(theObject.getContentProvider(), self.reference), status::kNotFound);
    };
    download(capture, "http://h/f");
    host.answer(0, session::kCompleted);
    EXPECT_EQ(capture.status, 0);
    EXPECT_TRUE(fs::exists(scratch.file("f")));
}

// -- Today's schedule

constexpr char kSchedule[] = R"({"rsp":{"stat":"OK","err":{},"channel":[
 {"source":"s1","name":"One","number":"1","content":[
  {"id":"i1","lang":"en","title":"T1","cert_flag":"c","starttime":"2026-11-21T01:30:00Z","duration":"30",
   "genres":[{"id":"g1"},{"id":"g2"}],"poster":{"url":"u","type":"t","index":"7"},"short_desc":"d"},
  {"id":"i2","duration":"x","poster":{}}]},
 {"source":"s2","name":"Two","number":"2","content":[]},
 {"source":"s3","name":"Three","number":"3","content":[{"id":"i3","genres":[]}]}]}})";

/// Makes a file so long that it is read channel by channel.
const std::string kBlanks(vorel::Pieces::kLeast, ' ');

struct TodayTest : ::testing::Test {
    FakeHost host;
    Scratch scratch;
    WVorelOAI object;
    WContainer<WVLContent> result;

    TodayTest()
    {
        // A failure must not change this.
        std::list<WVLContent> kept(1);
        kept.front().setID("kept");
        result.data() = std::move(kept);
        result.setCount(1);
    }

    void expectEveryProgramme(const std::string& text);

    void expectFailure(const std::string& path, int expected)
    {
        SCOPED_TRACE(path);
        EXPECT_EQ(object.getTodaySchedule(path, result), expected);
        EXPECT_EQ(result.getCount(), 1);
        EXPECT_EQ(result.getData().front().getID(), "kept");
        const std::vector<std::string> errors = host.texts(1);
        ASSERT_FALSE(errors.empty());
        EXPECT_EQ(errors.back().rfind("[getTodaySchedule] #ERROR WSTATUS:", 0), 0u) << errors.back();
        EXPECT_NE(errors.back().find("(" + std::to_string(expected) +
                                     ")\tFILE:ContentsManager/WLib/Plugins/Corvane/"
                                     "src/WVorelOAI("),
                  std::string::npos);
    }
};

TEST_F(TodayTest, ReadsEveryProgrammeOfTheFile)
{
    expectEveryProgramme(kSchedule);
}

TEST_F(TodayTest, ReadsEveryProgrammeOfALongFile)
{
    expectEveryProgramme(kBlanks + kSchedule);
}

void TodayTest::expectEveryProgramme(const std::string& text)
{
    setClock(object);
    ASSERT_EQ(object.getTodaySchedule(scratch.write("f", text), result), 0);
    EXPECT_TRUE(host.hasLine("[getTodaySchedule] \tstat : OK\n"));
    ASSERT_EQ(result.getCount(), 3);
    ASSERT_EQ(result.getData().size(), 3u);
    auto content = result.getData().begin();
    EXPECT_EQ(content->getID(), "i1");
    EXPECT_EQ(content->getLang(), "en");
    EXPECT_EQ(content->getTitle(), "T1");
    EXPECT_EQ(content->getCerti_flag(), "c");
    EXPECT_EQ(content->getStartTime().toString(), "2026-11-21T01:30:00Z");
    EXPECT_EQ(content->getStartTime().offsetSeconds(), 9 * 3600);
    EXPECT_EQ(content->getDuration(), 30);
    ASSERT_EQ(content->getGenrelist().size(), 2u);
    EXPECT_EQ(content->getGenrelist().back().getGenreID(), "g2");
    ASSERT_EQ(content->getPoster().size(), 1u);
    EXPECT_EQ(content->getPoster().front().getURL(), "u");
    EXPECT_EQ(content->getPoster().front().getType(), "t");
    EXPECT_EQ(content->getPoster().front().getIndex(), "7");
    EXPECT_EQ(content->getShortDesc(), "d");
    EXPECT_EQ(content->getChannel().getSource(), "s1");
    EXPECT_EQ(content->getChannel().getName(), "One");
    EXPECT_EQ(content->getChannel().getNumber(), "1");
    ++content;
    EXPECT_EQ(content->getID(), "i2");
    EXPECT_EQ(content->getDuration(), 0);
    EXPECT_TRUE(content->getPoster().empty());
    EXPECT_TRUE(content->getGenrelist().empty());
    EXPECT_EQ(content->getChannel().getSource(), "s1");
    ++content;
    EXPECT_EQ(content->getID(), "i3");
    EXPECT_EQ(content->getChannel().getSource(), "s3");
    EXPECT_TRUE(host.sent.empty());
}

TEST_F(TodayTest, NeedsNeitherSessionNorClockNorASuccessfulStatus)
{
    EXPECT_EQ(object.getTodaySchedule(
                  scratch.write("f", R"({"rsp":{"stat":"FAIL","channel":[{"content":[{"id":"i"}]}]}})"), result),
              0);
    EXPECT_EQ(result.getCount(), 1);
    EXPECT_FALSE(result.getData().front().getStartTime().getOffsetTime().isValid());
}

TEST_F(TodayTest, AFileThatCannotBeReadIsMinus403)
{
    expectFailure(scratch.file("missing"), status::kFileNotReadable);
    expectFailure("", status::kFileNotReadable);
    expectFailure(scratch.path(), status::kFileNotReadable);
    expectFailure("/dev/zero", status::kFileNotReadable);
    const std::string fifo = scratch.file("fifo");
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    expectFailure(fifo, status::kFileNotReadable);  // and does not wait for a writer
    const std::string large = scratch.write("large", "");
    fs::resize_file(large, 64ull * 1024 * 1024 + 1);
    expectFailure(large, status::kFileNotReadable);
}

TEST_F(TodayTest, SignalsDoNotInterruptReading)
{
    const std::string path = scratch.write("f", R"({"rsp":{"channel":[{"content":[{"id":"i"},{"id":"j"}]}]}})");
    s_nextReads = {3, -1, EINTR};
    EXPECT_EQ(object.getTodaySchedule(path, result), 0);
    EXPECT_EQ(s_nextReads.left, 0);
    EXPECT_EQ(result.getCount(), 2);
}

TEST_F(TodayTest, ATruncatedFileIsMinus403)
{
    const std::string path = scratch.write("f", R"({"rsp":{"channel":[{"content":[{"id":"i"}]}]}})");
    s_nextReads = {1, -1, EIO};
    expectFailure(path, status::kFileNotReadable);
    s_nextReads = {1, 0, 0};  // truncated after its size was read
    expectFailure(path, status::kFileNotReadable);
}

TEST_F(TodayTest, AFileThatIsNotAScheduleIsRefused)
{
    const struct {
        std::string text;
        int expected;
    } rows[] = {
        {"", status::kNotJson},
        {"<html>", status::kNotJson},
        {std::string("\0{}", 3), status::kNotJson},
        {"[]", status::kUnreadableReply},
        {"{}", status::kUnreadableReply},
        {R"({"rsp":{"channel":[]}})", status::kUnreadableReply},
        {R"({"rsp":{"err":{"code":"1"},"channel":[{}]}})", status::kUnreadableReply},
        {R"({"rsp":{"err":"","channel":[{}]}})", status::kUnreadableReply},
        {R"({"rsp":{"stat":[],"channel":[{}]}})", status::kUnreadableReply},
        {R"({"rsp":{"channel":{"a":1}}})", status::kUnreadableReply},
        {R"({"rsp":{"channel":[{"content":[{"id":"i"},{"id":[]}]}]}})", status::kUnreadableReply},
        {std::string(1001, '[') + std::string(1001, ']'), status::kUnreadableReply},
    };
    for (const auto& row : rows) {
        expectFailure(scratch.write("f", row.text), row.expected);
        expectFailure(scratch.write("f", kBlanks + row.text), row.expected);
    }
    EXPECT_TRUE(host.hasLine("[getTodaySchedule] Exception Caught: Type is not convertible to string"));
}

/// A container that a host may have derived: it keeps its own list.
class OwnContainer final : public WContainer<WVLContent> {
public:
    const std::list<WVLContent>& getData() const override { return m_list; }
    void setData(const std::list<WVLContent>& list) override { m_list = list; }
    std::list<WVLContent>& data() override { return m_list; }

private:
    std::list<WVLContent> m_list;
};

TEST_F(TodayTest, FillsAContainerThatKeepsItsOwnList)
{
    OwnContainer own;
    ASSERT_EQ(object.getTodaySchedule(scratch.write("f", kSchedule), own), 0);
    EXPECT_EQ(own.getData().size(), 3u);
    EXPECT_EQ(own.getCount(), 3);
}

TEST_F(TodayTest, NulBytesDoNotEndTheFile)
{
    const std::string text = std::string(R"({"rsp":{"channel":[{"content":[{"title":"a)") + '\0' + R"(b"}]}]}})";
    ASSERT_EQ(object.getTodaySchedule(scratch.write("f", text), result), 0);
    EXPECT_EQ(result.getData().front().getTitle(), std::string("a\0b", 3));
}

}  // namespace
}  // namespace W::test
