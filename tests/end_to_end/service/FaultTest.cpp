// A service that misbehaves: each fault has its status, within its time, and the next request works.
#include "Television.h"

#include <gmock/gmock.h>

#include <chrono>

namespace W::test {
namespace {

struct FaultRow {
    const char* fault;
    int status;
};

constexpr FaultRow kFaults[] = {
    {"delay 300", 0},      {"drip 1", 0},        {"stall 20", -500},  {"stall 100", -500},  {"truncate 0", -13},
    {"truncate 250", -13}, {"reset", -13},       {"reset 150", -13},  {"length 5", -13},    {"length -40", -56},
    {"html", -56},         {"types", -57},       {"bomb 4", -3},      {"status 400", -205}, {"status 401", -202},
    {"status 403", -205},  {"status 404", -205}, {"status 408", -16}, {"status 429", -16},  {"status 500", -107},
    {"status 502", -16},   {"status 503", -16},  {"status 504", -16},
};

TEST(Faults, EachHasItsStatusAndTheNextRequestWorks)
{
    for (const FaultRow& row : kFaults) {
        SCOPED_TRACE(row.fault);
        const ServiceProcess service({"--allow-faults", "--fault", std::string("channel/gallery=") + row.fault});
        Television tv(service, "tv-1", "H1", {"stall_timeout=1", "payload_cap=1000000"});
        const auto begin = std::chrono::steady_clock::now();
        EXPECT_EQ(tv.status("getChannelList", ""), row.status);
        EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5));
        EXPECT_EQ(tv.status("getConfLog"), 0);
    }
}

TEST(Faults, WhatWasRecordedOnceIsShownAgain)
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
