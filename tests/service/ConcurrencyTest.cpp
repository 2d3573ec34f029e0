// Readers during an import, and many clients at once.
#include <atomic>
#include <thread>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "Guide.h"
#include "Programmes.h"
#include "Server.h"
#include "Session.h"
#include "TestSupport.h"
#include "WebClient.h"

namespace corvaned {
namespace {

std::string listingOf(const std::string& title, int programmes)
{
    std::string text = "<tv>";
    for (int i = 0; i < programmes; ++i) {
        text += fmt::format(
            "<programme channel='c{}' start='202601{:02}000000' stop='20270101000000'><title>{}</title>"
            "<sub-title>{}</sub-title><category>{}</category></programme>",
            i % 7, i % 28 + 1, title, i, title);
    }
    return text + "</tv>";
}

TEST(Concurrency, ReadersSeeTheWholeOldOrTheWholeNewGuide)
{
    test::TestStore db;
    constexpr int kProgrammes = 400;
    const std::string listings[] = {listingOf("old", kProgrammes), listingOf("new", kProgrammes / 2)};
    test::importListing(db.guide, listings[0]);
    std::atomic<bool> stop{false};
    std::atomic<int> looks{0};
    std::vector<std::thread> readers(2);
    for (std::thread& thread : readers) {
        thread = std::thread([&] {
            while (!stop) {
                const GuideFile::Lease lease = db.guide.lease();
                int old = 0;
                int fresh = 0;
                for (std::int64_t source = 1; source <= 7; ++source) {
                    guide::window(*lease, source, *parseUtc("2026-01-01T00:00:00Z"), *parseUtc("2027-01-01T00:00:00Z"),
                                  "", [&](const guide::Programme& airing) { ++(airing.title == "old" ? old : fresh); });
                }
                EXPECT_TRUE((old == kProgrammes && fresh == 0) || (old == 0 && fresh == kProgrammes / 2))
                    << old << " old and " << fresh << " new programmes";
                ++looks;
            }
        });
    }
    for (int i = 1; i <= 20 || looks <= 20; ++i) {
        test::importListing(db.guide, listings[i % 2]);
        if (i % 5 == 0) {
            EXPECT_ANY_THROW(test::importListing(db.guide, listings[i % 2] + "<"));
        }
    }
    stop = true;
    for (std::thread& reader : readers) {
        reader.join();
    }
}

TEST(Concurrency, ClientsOpenSessionsAndReadWhileTheGuideIsReplaced)
{
    test::TestStore db;
    const std::string listings[] = {listingOf("old", 200), listingOf("new", 200)};
    test::importListing(db.guide, listings[0]);
    Service service(db.guide, *db.viewers, {});
    ServerSettings settings;
    settings.address = {"127.0.0.1", 0};
    Server server(service, settings, [](const std::string&) {});
    std::atomic<int> failures{0};
    std::vector<std::thread> clients(8);
    for (std::size_t i = 0; i < clients.size(); ++i) {
        clients[i] = std::thread([&, i] {
            http::test::WebClient client(server.port());
            const std::string prefix = "/openapi/service/vorel/";
            for (int n = 0; n < 25; ++n) {
                const auto seedkey =
                    client.get(prefix + "auth/seedkey", {{"AppKey", "k"}, {"DUID", std::to_string(i)}});
                const auto time = client.get(prefix + "conf/localtime");
                const auto schedule = client.get(prefix + "channel/schedule?sourceid=1&interval=1");
                failures += !seedkey || seedkey->status != 200 || !time || time->status != 200 || !schedule ||
                            schedule->status != 401;
            }
        });
    }
    for (int i = 1; i <= 6; ++i) {
        test::importListing(db.guide, listings[i % 2]);
    }
    for (std::thread& client : clients) {
        client.join();
    }
    EXPECT_EQ(failures, 0);
    EXPECT_EQ(
        test::values(*db.viewers, "SELECT count(*) || '|' || count(DISTINCT user_id) AS value FROM session").at(0),
        "200|8");
}

}  // namespace
}  // namespace corvaned
