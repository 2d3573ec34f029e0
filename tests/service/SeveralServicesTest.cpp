// Two services on one PostgreSQL, while services are killed and the database crashes. with_postgres runs this program.
// CORVANE_LONG=1 makes the run a minute long.
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <deque>
#include <mutex>
#include <thread>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Eventually.h"
#include "PrivatePostgres.h"
#include "ServiceProgram.h"
#include "TestSupport.h"
#include "WritingClient.h"

namespace corvaned {
namespace {

using test::ServiceProgram;
using test::Target;
using test::WritingClient;
using Clock = std::chrono::steady_clock;

constexpr int kClients = 200;
constexpr int kCrashes = 3;

class SeveralServices : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (!support::isOnPostgres()) {
            GTEST_SKIP() << "PostgreSQL is not there; run by with_postgres";
        }
        const std::string listing = m_folder.path() + ".xml";
        test::writeFile(listing, test::testData("evening.xml"));
        ASSERT_EQ(ServiceProgram({"import", "--db", m_folder.path(), listing}).wait(), 0);
        GuideFile guide(m_folder.path());
        for (const std::string& id : test::rows(guide, "SELECT id FROM source")) {
            m_targets.push_back({"channel", "sourceid", id});
        }
        for (const std::string& id : test::rows(guide, "SELECT DISTINCT content_id FROM airing")) {
            m_targets.push_back({"content", "contentid", id});
        }
        for (int i = 0; i < 2; ++i) {
            start(i);
        }
    }

    void start(int number)
    {
        auto& service = m_services.at(static_cast<std::size_t>(number));
        service.program = std::make_unique<ServiceProgram>(
            std::vector<std::string>{"serve", "--db", m_folder.path(), "--viewers", m_viewers, "--listen",
                                     "127.0.0.1:" + std::to_string(service.port), "--log-lines-per-second", "0"});
        const std::string line = service.program->readLine();
        if (service.port == 0) {  // stays the same, because the clients use it
            service.port = std::stoi(line.substr(line.rfind(':') + 1));
        }
    }

    void kill(int number)
    {
        ServiceProgram& program = *m_services.at(static_cast<std::size_t>(number)).program;
        program.signal(SIGKILL);
        program.wait();
    }

    static void database(const char* what)
    {
        ASSERT_EQ(std::system((std::string(std::getenv("CORVANE_TEST_POSTGRES_CTL")) + " " + what).c_str()), 0);
    }

    /// Waits until both services are ready. @return how long that took
    Clock::duration recovery()
    {
        const auto begin = Clock::now();
        for (const RunningService& service : m_services) {
            http::test::WebClient client(service.port);
            EXPECT_TRUE(support::eventually([&] {
                const auto reply = client.get("/readyz");
                return reply && reply->status == 200;
            }));
        }
        return Clock::now() - begin;
    }

    struct RunningService {
        std::unique_ptr<ServiceProgram> program;
        int port = 0;
    };

    TemporaryDatabase m_folder;
    const std::string m_viewers = test::newViewers(m_folder.path());
    std::vector<Target> m_targets;
    std::array<RunningService, 2> m_services;
};

TEST_F(SeveralServices, ConfirmedWritesSurviveCrashesOfServicesAndDatabase)
{
    const bool isLong = std::getenv("CORVANE_LONG") != nullptr;
    const int rounds = isLong ? 60 : 9;
    std::deque<WritingClient> clients;
    for (int i = 0; i < kClients; ++i) {
        clients.emplace_back(i, m_targets).toleratesUnavailable = true;
        clients.back().connect(m_services[i % 2].port);
    }
    std::atomic<bool> stop{false};
    std::vector<std::thread> threads;
    for (WritingClient& client : clients) {
        threads.emplace_back([&, side = threads.size()]() mutable {
            while (!stop) {
                if (!client.write()) {
                    client.connect(m_services[++side % 2].port);
                    std::this_thread::sleep_for(std::chrono::milliseconds(20));
                }
            }
        });
    }
    std::chrono::duration<double> slowest{};
    int crashes = 0;
    for (int round = 0; round < rounds; ++round) {
        std::this_thread::sleep_for(std::chrono::milliseconds(700));
        kill(round % 2);
        start(round % 2);
        if (round % (rounds / kCrashes) == 1) {
            ++crashes;
            database("stop");
            std::this_thread::sleep_for(std::chrono::milliseconds(300));
            database("start");
            slowest = std::max<std::chrono::duration<double>>(slowest, recovery());
        }
    }
    stop = true;
    for (std::thread& thread : threads) {
        thread.join();
    }
    recovery();
    int confirmed = 0;
    for (std::size_t i = 0; i < clients.size(); ++i) {
        clients[i].connect(m_services[i % 2].port);
        clients[i].verify();
        confirmed += clients[i].confirmed();
    }
    EXPECT_EQ(crashes, kCrashes);
    EXPECT_GT(confirmed, 10 * kClients) << "hardly anything was written";
    EXPECT_LT(slowest.count(), 2.0) << "the services took long to recover";
    fmt::print("figure: {} services killed, {} crashes of the database, {} changes confirmed, recovery {:.2f} s\n",
               rounds, crashes, confirmed, slowest.count());
}

TEST_F(SeveralServices, ReplyAlike)
{
    WritingClient client(1, m_targets);
    client.connect(m_services[0].port);
    for (int i = 0; i < 50; ++i) {
        client.write();
    }
    client.verify();
    client.connect(m_services[1].port);
    client.verify();
}

TEST_F(SeveralServices, TheGuideIsServedWithoutTheDatabase)
{
    WritingClient client(1, m_targets);
    client.connect(m_services[0].port);
    const std::string path = "channel/onair";
    const std::string before = client.get(path).dump();
    database("stop");
    EXPECT_EQ(client.get(path).dump(), before);
    client.toleratesUnavailable = true;
    EXPECT_EQ(client.confirmed(), 0);
    client.write();
    EXPECT_EQ(client.confirmed(), 0) << "a change was confirmed without a database";
    http::test::WebClient monitor(m_services[0].port);
    EXPECT_EQ(monitor.get("/readyz")->status, 503);
    EXPECT_EQ(monitor.get("/healthz")->status, 200);
    database("start");
    EXPECT_LT(recovery(), std::chrono::seconds(2));
    client.write();
    EXPECT_EQ(client.confirmed(), 1);
}

}  // namespace
}  // namespace corvaned
