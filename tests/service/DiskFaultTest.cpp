// An import on a disk that fails, and an import that is killed: after each of its writes the file is the whole old
// guide or the whole new one. CORVANE_LONG=1 tries every write, otherwise a sample. Also what is flushed to the disk.
#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <sstream>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ChildProcess.h"
#include "JsonTree.h"
#include "TestSupport.h"
#include "WebClient.h"

namespace corvaned {
namespace {

using ::testing::AnyOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

std::string listing(int channels, int programmes)
{
    std::string text = "<tv>";
    for (int channel = 0; channel < channels; ++channel) {
        text += fmt::format("<channel id='c{0}'><display-name>Channel {0}</display-name></channel>", channel);
    }
    for (int number = 0; number < programmes; ++number) {
        text += fmt::format(
            "<programme channel='c{}' start='202611{:02}{:02}0000 +0000'><title>Title {}</title><desc>Words {}</desc>"
            "<credits><actor>Actor {}</actor></credits></programme>",
            number % channels, 21 + number / 24 % 7, number % 24, number, number * 7, number % 50);
    }
    return text + "</tv>";
}

class DiskFault : public ::testing::Test {
protected:
    DiskFault()
    {
        test::writeFile(listingFile(), listing(20, 3000));
        {
            const std::unique_ptr<GuideFile> guide = test::openOrCreateGuide(templateFile());
            test::importListing(*guide, listing(3, 60));
            m_before = test::wholeGuide(*guide);
        }
        startOver();
        EXPECT_EQ(import(""), 0);
        GuideFile guide(database());
        m_after = test::wholeGuide(guide);
    }

    std::string templateFile() const { return m_folder.path() + ".template"; }
    std::string listingFile() const { return m_folder.path() + ".xml"; }
    std::string database() const { return m_folder.path(); }

    std::string syncLog() const { return m_folder.path().substr(0, m_folder.path().rfind('/')) + "/syncs"; }

    /// Files and folders in the order in which the program flushed them.
    std::vector<std::string> flushedFiles() const
    {
        std::istringstream lines(test::readFile(syncLog()));
        std::vector<std::string> flushed;
        for (std::string line; std::getline(lines, line);) {
            flushed.push_back(line);
        }
        return flushed;
    }

    /// Restores the old guide.
    void startOver() const
    {
        std::filesystem::copy_file(templateFile(), database(), std::filesystem::copy_options::overwrite_existing);
    }

    /// Runs the program on the new listing. @return its exit code; -SIGKILL if it was killed
    int import(const std::string& fault)
    {
        const support::ProcessResult result =
            support::runProcess({CORVANED_PROGRAM,
                                 {"import", "--db", database(), listingFile()},
                                 {std::string("LD_PRELOAD=") + CORVANED_DISK_FAULT, "CORVANE_DISK_FAULT=" + fault,
                                  "CORVANE_SYNC_LOG=" + syncLog()}});
        m_errors = result.errors;
        return result.exitCode;
    }

    void expectWhole(const std::string& fault) const
    {
        GuideFile guide(database());
        EXPECT_THAT(test::rows(guide, "PRAGMA integrity_check"), ElementsAre("ok")) << fault;
        const std::string now = test::wholeGuide(guide);
        EXPECT_TRUE(now == m_before || now == m_after) << "half a guide after " << fault;
    }

    /// Tries the first write or sync, then later ones, until the import ends before the fault.
    /// @return the number of attempts
    int tryAll(const std::string& kind, int step, const std::function<void(int code)>& check)
    {
        int tried = 0;
        for (int number = 1;; number += step, ++tried) {
            startOver();
            const std::string fault = fmt::format("{} {}", kind, number);
            const int code = import(fault);
            if (code == 0) {
                return tried;
            }
            check(code);
            expectWhole(fault);
            if (HasFailure()) {
                return tried;
            }
        }
    }

    TemporaryDatabase m_folder;
    std::string m_errors;  ///< of the last import
    std::string m_before;
    std::string m_after;
};

const bool kLong = std::getenv("CORVANE_LONG") != nullptr;

TEST_F(DiskFault, KilledAtAnyWriteLeavesTheOldOrTheNewGuide)
{
    ASSERT_NE(m_before, m_after);
    const int tried = tryAll("kill", kLong ? 1 : 37, [](int code) { EXPECT_EQ(code, -SIGKILL); });
    EXPECT_GE(tried, kLong ? 200 : 5);
    fmt::print("figure: imports killed, each at another write: {}\n", tried);
}

TEST_F(DiskFault, ReportsAFullDiskAndChangesNothing)
{
    const int tried = tryAll("full", kLong ? 1 : 97, [&](int code) {
        EXPECT_EQ(code, 1);
        EXPECT_THAT(m_errors, AnyOf(HasSubstr("full"), HasSubstr("disk I/O error")));
        EXPECT_FALSE(std::filesystem::exists(database() + ".part"));
    });
    EXPECT_GE(tried, kLong ? 200 : 2);
    fmt::print("figure: imports whose disk was full, each from another write on: {}\n", tried);
}

TEST_F(DiskFault, ReportsAFailingSyncAndChangesNothing)
{
    const int tried = tryAll("sync", 1, [&](int code) {
        EXPECT_EQ(code, 1);
        EXPECT_THAT(m_errors, HasSubstr("Input/output error"));
    });
    EXPECT_GE(tried, 1);
    fmt::print("figure: imports whose sync failed, each from another one on: {}\n", tried);
}

using DurabilityOnDisk = DiskFault;

// A power failure loses all data that is not on the disk. So the new file must be flushed before it gets its name, and
// the folder after that. Nothing else must be flushed, because an unfinished file has no name yet.
TEST_F(DurabilityOnDisk, AnImportFlushesTheFileAndThenTheFolder)
{
    std::filesystem::remove(syncLog());
    startOver();
    ASSERT_EQ(import(""), 0);
    const std::string folder = std::filesystem::path(database()).parent_path().filename();
    EXPECT_THAT(flushedFiles(), ElementsAre("guide.db.part", folder));
}

// The log may be overwritten only after the pages that it had are on the disk, and they may be copied only after the
// log itself is. Otherwise a power failure could damage the file.
TEST_F(DurabilityOnDisk, AFullLogIsFlushedBeforeItIsCopiedAndTheFileAfterwards)
{
    support::ChildProcess service(
        support::Launch{CORVANED_PROGRAM,
                        {"serve", "--db", database(), "--listen", "127.0.0.1:0"},
                        {std::string("LD_PRELOAD=") + CORVANED_DISK_FAULT, "CORVANE_SYNC_LOG=" + syncLog()}});
    const std::string line = service.readLine();
    http::test::WebClient client(std::stoi(line.substr(line.rfind(':') + 1)));
    const std::string prefix = "/openapi/service/vorel/";
    const auto opened = client.get(prefix + "auth/seedkey", {{"AppKey", "k"}, {"DUID", "d"}});
    ASSERT_TRUE(opened.has_value());
    const Json session = Json::parse(opened->body).at("rsp").at("session");
    const std::string token =
        sessionToken({session.at("id"), session.at("user").at("id"), session.at("seedkey"), 0}, "");
    std::filesystem::remove(syncLog());
    constexpr int kUploads = 6;  // 1 MiB each; the log is copied when it has 4 MiB
    for (int i = 0; i < kUploads; ++i) {
        // Each upload differs, because SQLite does not write pages that stay the same.
        const std::string content(1 << 20, static_cast<char>('a' + i));
        const auto reply = client.put(prefix + "conf/upload?filename=f", {{"Token", token}}, content);
        ASSERT_TRUE(reply.has_value());
        ASSERT_EQ(reply->status, 200) << reply->body;
    }
    EXPECT_THAT(flushedFiles(), ElementsAre("viewers.db-wal", "viewers.db", "viewers.db-wal"));
}

}  // namespace
}  // namespace corvaned
