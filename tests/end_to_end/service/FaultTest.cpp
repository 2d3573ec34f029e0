// Injected faults: each gives its status, in time, and the path works again without the fault.
#include <chrono>

#include <gmock/gmock.h>

#include "Eventually.h"
#include "Television.h"

namespace W::test {
namespace {

using namespace std::chrono_literals;

struct FaultRow {
    const char* fault;
    int status;
    std::chrono::milliseconds atLeast;  ///< how long the operation takes because of the fault
};

constexpr FaultRow kFaults[] = {
    {"delay 300", 0, 300ms},   {"drip 1", 0, 100ms},       {"stall 20", -500, 1000ms}, {"stall 100", -500, 1000ms},
    {"truncate 0", -13, 0ms},  {"truncate 250", -13, 0ms}, {"reset", -13, 0ms},        {"reset 150", -13, 0ms},
    {"length 5", -13, 0ms},    {"length -40", -56, 0ms},   {"html", -56, 0ms},         {"types", -57, 0ms},
    {"bomb 4", -3, 0ms},       {"status 400", -205, 0ms},  {"status 401", -202, 0ms},  {"status 403", -205, 0ms},
    {"status 404", -205, 0ms}, {"status 408", -16, 0ms},   {"status 429", -16, 0ms},   {"status 500", -107, 0ms},
    {"status 502", -16, 0ms},  {"status 503", -16, 0ms},   {"status 504", -16, 0ms},
};

TEST(Faults, EachHasItsStatusAndItsPathWorksAgainWithoutIt)
{
    using testing::Contains;
    using testing::HasSubstr;
    ServiceProcess service;
    for (const FaultRow& row : kFaults) {
        SCOPED_TRACE(row.fault);
        service.restart({"--allow-faults", "--fault", std::string("channel/gallery=") + row.fault});
        Television tv(service, "tv-1", "H1", {"stall_timeout=1", "payload_cap=1000000"});
        const auto begin = std::chrono::steady_clock::now();
        EXPECT_EQ(tv.status("getChannelList", ""), row.status);
        const auto took = std::chrono::steady_clock::now() - begin;
        EXPECT_GE(took, row.atLeast);
        EXPECT_LT(took, 5s);
        EXPECT_TRUE(support::eventually([&] {
            return testing::Value(service.requestedPaths(), Contains(HasSubstr("channel/gallery")));
        })) << "the fault did not occur";
        EXPECT_EQ(tv.status("getConfLog"), 0) << "other paths work meanwhile";
        service.restart({});
        EXPECT_THAT(column(tv.list("getChannelList", ""), "/Name"),
                    testing::ElementsAre("News One", "Movie Two", "Kids Three", "News One", "Kids Three"));
    }
}

TEST(Faults, RecordedExchangesAreReplayed)
{
    std::string folder;
    Json seen;
    {
        const ServiceProcess scratch;
        folder = scratch.directory() / "kept";
        const ServiceProcess service({"--record", folder});
        Television tv(service, "tv-1");
        seen = tv.list("getSchedule", listOf("1"), service.onAirSince(), 2, listOf(1));
        const ServiceProcess again({"--replay", folder});
        Television other(again, "tv-1");
        EXPECT_EQ(other.list("getSchedule", listOf("1"), service.onAirSince(), 2, listOf(1)), seen);
        EXPECT_EQ(other.status("getConfLog"), -205);
    }
    EXPECT_THAT(seen, testing::SizeIs(2));
}

}  // namespace
}  // namespace W::test
