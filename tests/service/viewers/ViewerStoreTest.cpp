// The viewers' store as a file: its queue of writers, its log, and what happens to the file.
#include "ViewerStore.h"

#include <atomic>
#include <filesystem>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "OperatorError.h"
#include "OperatorErrorOf.h"
#include "Sqlite.h"
#include "TestSupport.h"
#include "Upload.h"
#include "Viewer.h"

namespace corvaned {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

std::string refusal(const std::string& path)
{
    return test::operatorErrorOf([&] { openViewers(path); });
}

void change(const std::string& path, const std::string& sql)
{
    sqlite::Connection(path, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE).execute(sql);
}

TEST(ViewerStore, ReportsWhatIsWrongWithAFile)
{
    TemporaryDatabase file;
    EXPECT_THAT(refusal("/nonexistent/viewers.db"), HasSubstr("cannot open database /nonexistent/viewers.db"));
    change(file.path(), "CREATE TABLE mine (x)");
    EXPECT_THAT(refusal(file.path()), HasSubstr("does not hold viewers' data"));
    std::filesystem::remove(file.path());
    EXPECT_EQ(refusal(file.path()), "");
    EXPECT_EQ(refusal(file.path()), "");
    change(file.path(), "PRAGMA user_version = 1000");
    EXPECT_THAT(refusal(file.path()), HasSubstr("was written by a newer corvaned"));
    EXPECT_THROW(openViewersReadOnly(file.path()), OperatorError);
    EXPECT_THROW(openViewersReadOnly(file.path() + ".none"), OperatorError);
}

TEST(ViewerStore, OnlyTheOwnerCanReadTheFiles)
{
    const mode_t before = ::umask(0);
    TemporaryDatabase file;
    {
        const std::unique_ptr<ViewerStore> viewers = openViewers(file.path());
        viewer::setAgreement(*viewers, "ann", viewer::kAgreed);
        for (const char* companion : {"", "-wal", "-shm"}) {
            EXPECT_EQ(std::filesystem::status(file.path() + companion).permissions(),
                      std::filesystem::perms::owner_read | std::filesystem::perms::owner_write)
                << companion;
        }
    }
    ::umask(before);
}

TEST(ViewerStore, AFailedWriteOfABatchIsUndoneAlone)
{
    TemporaryDatabase file;
    const std::unique_ptr<ViewerStore> viewers = openViewers(file.path());
    std::atomic<int> failed{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&, i] {
            for (int n = 0; n < 50; ++n) {
                const std::string user = std::to_string(i) + "-" + std::to_string(n);
                try {
                    viewers->write([&](SqlConnection& connection) {
                        SqlQuery(connection, "INSERT INTO agreement (user_id, status, anonymous) VALUES (?, 'x', 0)")
                            .bind(user)
                            .run();
                        if (n % 5 == 0) {
                            throw std::runtime_error("refused");
                        }
                    });
                } catch (const std::runtime_error& error) {
                    failed += std::string(error.what()) == "refused" ? 1 : 0;
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(failed, 8 * 10);
    EXPECT_THAT(test::values(*viewers, "SELECT count(*) AS value FROM agreement"), ElementsAre("320"));
}

TEST(ViewerStore, TheLogStaysSmallUnderManyWritersAndReaders)
{
    TemporaryDatabase file;
    const std::unique_ptr<ViewerStore> viewers = openViewers(file.path());
    std::atomic<bool> stop{false};
    std::atomic<std::uintmax_t> largest{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 16; ++i) {
        threads.emplace_back([&, i] {
            const std::string content(100'000, static_cast<char>('a' + i));
            while (!stop) {
                keepUpload(*viewers, std::to_string(i), {"f", 1, content});
                findUpload(*viewers, std::to_string((i + 1) % 16));
            }
        });
    }
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(3);
    while (std::chrono::steady_clock::now() < end) {
        std::error_code failed;
        const std::uintmax_t size = std::filesystem::file_size(file.path() + "-wal", failed);
        largest = std::max<std::uintmax_t>(largest, failed ? 0 : size);
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    stop = true;
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_GT(largest, 1U << 20) << "hardly anything was written";
    EXPECT_LT(largest, 16U << 20);
}

TEST(ViewerStore, ALockHeldByAnotherProcessBlocksNoReaderAndAtMostHalfOfTheHandlers)
{
    TemporaryDatabase file;
    ViewerStoreSettings settings;
    settings.waitTime = std::chrono::milliseconds(3000);
    const std::unique_ptr<ViewerStore> viewers = openViewers(file.path(), settings);
    viewer::setAgreement(*viewers, "ann", viewer::kAgreed);
    sqlite::Connection other(file.path(), SQLITE_OPEN_READWRITE);
    other.execute("BEGIN IMMEDIATE");
    std::atomic<int> waiting{0};
    std::atomic<int> refused{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&, i] {
            ++waiting;
            try {
                viewer::setAgreement(*viewers, std::to_string(i), viewer::kAgreed);
            } catch (const StoreUnavailable&) {
                ++refused;
            }
            --waiting;
        });
    }
    const auto begin = std::chrono::steady_clock::now();
    while (refused < 4 && std::chrono::steady_clock::now() - begin < std::chrono::seconds(2)) {
        EXPECT_EQ(viewer::agreementOf(*viewers, "ann").status, viewer::kAgreed);
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    EXPECT_GE(refused, 4) << "more than half of the handlers wait";
    EXPECT_GE(waiting, 1);
    other.execute("COMMIT");
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_LT(refused, 8) << "those that waited were refused, too";
    viewer::setAgreement(*viewers, "bob", viewer::kAgreed);
}

TEST(ViewerStore, NothingIsConfirmedIntoADeletedFile)
{
    TemporaryDatabase file;
    std::vector<std::string> log;
    ViewerStoreSettings settings;
    settings.log = [&log](const std::string& line) { log.push_back(line); };
    const std::unique_ptr<ViewerStore> viewers = openViewers(file.path(), settings);
    viewer::setAgreement(*viewers, "ann", viewer::kAgreed);
    std::filesystem::remove(file.path());
    EXPECT_THROW(viewer::setAgreement(*viewers, "bob", viewer::kAgreed), StoreUnavailable);
    EXPECT_THROW(viewer::agreementOf(*viewers, "ann"), StoreUnavailable);
    EXPECT_THAT(log, ElementsAre(HasSubstr("it was deleted")));
    EXPECT_FALSE(std::filesystem::exists(file.path()));
}

TEST(ViewerStore, AReplacedFileIsUsedFromThenOn)
{
    TemporaryDatabase file;
    const std::unique_ptr<ViewerStore> viewers = openViewers(file.path());
    viewer::setAgreement(*viewers, "ann", viewer::kAgreed);
    const std::string next = file.path() + ".next";
    viewer::setAgreement(*openViewers(next), "bob", viewer::kRevoked);
    for (const char* companion : {"-wal", "-shm"}) {
        std::filesystem::remove(file.path() + companion);
    }
    std::filesystem::rename(next, file.path());
    EXPECT_EQ(viewer::agreementOf(*viewers, "bob").status, viewer::kRevoked);
    EXPECT_EQ(viewer::agreementOf(*viewers, "ann").status, viewer::kNoAgreement);
    viewer::setAgreement(*viewers, "ann", viewer::kAgreed);
    EXPECT_THAT(test::values(*openViewersReadOnly(file.path()), "SELECT user_id AS value FROM agreement ORDER BY 1"),
                ElementsAre("ann", "bob"));
}

}  // namespace
}  // namespace corvaned
