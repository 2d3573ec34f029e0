// The service keeps every confirmed change: after SIGKILL while clients write and listings are imported, and with two
// hundred clients at once. CORVANE_LONG=1 makes the runs long: 200 kills each, and a minute with the two hundred
// clients.
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <deque>
#include <map>
#include <memory>
#include <numeric>
#include <random>
#include <thread>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "Eventually.h"
#include "ServiceProgram.h"
#include "TestSupport.h"
#include "WritingClient.h"

namespace corvaned {
namespace {

using test::ServiceProgram;
using test::Target;
using test::WritingClient;

constexpr int kChannels = 12;
constexpr int kProgrammes = 3000;
constexpr int kContents = 40;
constexpr int kLeastWrites = 10;  // before each kill

bool longRun()
{
    const char* const variable = std::getenv("CORVANE_LONG");
    return variable != nullptr && std::string(variable) == "1";
}

// Builds of the listing differ only in descriptions, so that contents keep their ids.
std::string listing(const std::string& build)
{
    std::string text = "<tv>";
    for (int i = 0; i < kProgrammes; ++i) {
        text += fmt::format(
            "<programme channel='c{}' start='202611{:02}{:02}{:02}00 +0000'><title>Title {}</title><desc>{} of "
            "{}</desc>"
            "</programme>",
            i % kChannels, i / kChannels / 24 % 28 + 1, i / kChannels % 24, i % 60, i % kContents, build,
            i % kContents);
    }
    return text + "</tv>";
}

class Durability : public ::testing::Test {
protected:
    void SetUp() override
    {
        for (const char* build : {"alpha", "beta"}) {
            test::writeFile(listingFile(build), listing(build));
        }
        const auto begin = std::chrono::steady_clock::now();
        ServiceProgram import({"import", "--db", m_folder.path(), listingFile("alpha")});
        ASSERT_EQ(import.wait(), 0) << import.errors();
        m_importTime = std::chrono::steady_clock::now() - begin;
        GuideFile guide(m_folder.path());
        for (int source = 1; source <= kChannels; ++source) {
            m_targets.push_back({"channel", "sourceid", std::to_string(source)});
        }
        for (const std::string& id : test::rows(guide, "SELECT DISTINCT content_id FROM airing")) {
            m_targets.push_back({"content", "contentid", id});
        }
        ASSERT_EQ(m_targets.size(), static_cast<std::size_t>(kChannels + kContents));
    }

    std::string listingFile(const std::string& build) const { return m_folder.path() + "." + build + ".xml"; }

    std::unique_ptr<ServiceProgram> serve(std::deque<WritingClient>& clients)
    {
        auto program = std::make_unique<ServiceProgram>(std::vector<std::string>{
            "serve", "--db", m_folder.path(), "--viewers", m_viewers, "--listen", "127.0.0.1:0"});
        const std::string line = program->readLine();
        const int port = std::stoi(line.substr(line.rfind(':') + 1));
        for (WritingClient& client : clients) {
            client.connect(port);
        }
        return program;
    }

    // Checks that the database is sound and contains one whole build.
    void checkGuide()
    {
        GuideFile guide(m_folder.path());
        EXPECT_EQ(test::rows(guide, "PRAGMA integrity_check"), std::vector<std::string>{"ok"});
        const std::vector<std::string> builds =
            test::rows(guide,
                       "SELECT substr(short_desc, 1, instr(short_desc, ' ') - 1) AS build, count(*), "
                       "(SELECT value FROM guide WHERE name = 'digest') FROM airing GROUP BY build");
        ASSERT_EQ(builds.size(), 1U) << "two builds at once";
        const std::string build = builds[0].substr(0, builds[0].find('|'));
        EXPECT_EQ(builds[0], fmt::format("{}|{}|{}", build, kProgrammes, builds[0].substr(builds[0].rfind('|') + 1)));
        const std::string digest = builds[0].substr(builds[0].rfind('|') + 1);
        EXPECT_EQ(m_digests.try_emplace(build, digest).first->second, digest) << build;
        const auto found = [&](const char* word) { return build == word ? std::to_string(kContents) : "0"; };
        EXPECT_EQ(test::rows(guide, "SELECT count(*) FROM search WHERE search MATCH 'alpha'")[0], found("alpha"));
        EXPECT_EQ(test::rows(guide, "SELECT count(*) FROM search WHERE search MATCH 'beta'")[0], found("beta"));
        m_replaced += build != m_held;
        m_held = build;
    }

    // Kills the service, and the import if there is one, repeatedly at varying moments.
    void killAgainAndAgain(bool importing)
    {
        std::deque<WritingClient> clients;
        for (int i = 0; i < 4; ++i) {
            clients.emplace_back(i, m_targets);
        }
        std::mt19937 random(1);
        const int kills = longRun() ? 200 : 4;
        std::unique_ptr<ServiceProgram> service = serve(clients);
        for (int i = 0; i < kills && !HasFailure(); ++i) {
            std::vector<std::thread> threads;
            for (WritingClient& client : clients) {
                threads.emplace_back([&client] {
                    while (client.write()) {
                    }
                });
            }
            const int before = confirmedBy(clients);
            EXPECT_TRUE(support::eventually([&] { return confirmedBy(clients) >= before + kLeastWrites; }));
            std::this_thread::sleep_for(std::chrono::milliseconds(random() % 150));
            if (importing) {
                // At a moment between its start and shortly after its end.
                ServiceProgram import(
                    {"import", "--db", m_folder.path(), listingFile(m_held == "alpha" ? "beta" : "alpha")});
                std::this_thread::sleep_for(m_importTime * (random() % 120) / 100);
                import.signal(SIGKILL);
                import.wait();
            }
            service->signal(SIGKILL);
            service->wait();
            for (std::thread& thread : threads) {
                thread.join();
            }
            checkGuide();
            service = serve(clients);
            for (WritingClient& client : clients) {
                client.verify();
            }
        }
        if (importing && longRun()) {
            EXPECT_GT(m_replaced, kills / 20) << "hardly any import was complete";
            EXPECT_LT(m_replaced, kills - kills / 20) << "hardly any import was cut off";
        }
        fmt::print("figure: {} kills, {} changes confirmed, {} imports complete\n", kills, confirmedBy(clients),
                   m_replaced);
    }

    static int confirmedBy(const std::deque<WritingClient>& clients)
    {
        return std::accumulate(clients.begin(), clients.end(), 0,
                               [](int sum, const WritingClient& client) { return sum + client.confirmed(); });
    }

    TemporaryDatabase m_folder;
    const std::string m_viewers = test::newViewers(m_folder.path());
    std::vector<Target> m_targets;
    std::map<std::string, std::string> m_digests;
    std::string m_held = "alpha";  // the build that the guide holds
    int m_replaced = 0;            // how often an import was complete before it was killed
    std::chrono::steady_clock::duration m_importTime{};
};

TEST_F(Durability, ConfirmedWritesSurviveAKill)
{
    killAgainAndAgain(false);
}

TEST_F(Durability, KilledImportLeavesTheOldOrTheNewGuide)
{
    killAgainAndAgain(true);
}

TEST_F(Durability, TwoHundredClientsLoseNothing)
{
    std::deque<WritingClient> clients;
    for (int i = 0; i < 200; ++i) {
        clients.emplace_back(i, m_targets);
    }
    const std::unique_ptr<ServiceProgram> service = serve(clients);
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(longRun() ? 60 : 2);
    std::atomic<int> unanswered{0};
    std::vector<std::thread> threads;
    for (WritingClient& client : clients) {
        threads.emplace_back([&] {
            while (std::chrono::steady_clock::now() < end) {
                unanswered += client.write() ? 0 : 1;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(unanswered, 0);
    int confirmed = 0;
    std::map<std::string, std::pair<int, int>> counted;
    for (WritingClient& client : clients) {
        client.verify();
        confirmed += client.confirmed();
        for (const auto& [id, vote] : client.votes()) {
            counted[id].first += vote == "like";
            counted[id].second += vote == "dislike";
        }
    }
    for (const Target& target : m_targets) {
        const auto count =
            clients.front().get(fmt::format("user/like?{}={}", target.voteParam, target.id)).at("content").at("count");
        EXPECT_EQ(count.at("like"), std::to_string(counted[target.id].first)) << target.kind << " " << target.id;
        EXPECT_EQ(count.at("dislike"), std::to_string(counted[target.id].second)) << target.kind << " " << target.id;
    }
    checkGuide();
    fmt::print("figure: {} changes confirmed to 200 clients\n", confirmed);
}

}  // namespace
}  // namespace corvaned
