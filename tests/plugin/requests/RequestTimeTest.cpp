// Times in requests: the same UTC string for every offset of the server's clock, nothing for 0, and an empty string for
// instants outside the calendar.

#include <cstdint>
#include <limits>
#include <optional>

#include <gtest/gtest.h>

#include "Calls.h"
#include "FakeHost.h"
#include "RequestRows.h"

namespace W::test {
namespace {

/// An operation with a time: its call, and the parameters before and after the time.
struct TimedCall {
    const char* operation;
    std::function<int(WVorelOAI& object, unsigned long time, Counter& counter)> call;
    const char* before;
    const char* marker;
    const char* after;
};

const std::vector<TimedCall>& timedCalls()
{
    static const Counter::Callback kDone;
    static const std::vector<TimedCall> kCalls = {
        {"resetHistory",
         [](WVorelOAI& o, unsigned long time, Counter& c) { return o.resetHistory(kDone, time, &c, c.out); },
         "http://base/openapi/service/vorel/conf/reset?country=US", "&timestamp=", ""},
        {"getSchedule",
         [](WVorelOAI& o, unsigned long time, Counter& c) {
             return o.getSchedule(kDone, Strings{"a"}, time, 6, Numbers{1}, &c, c.out);
         },
         "http://base/openapi/service/vorel/channel/schedule?country=US&lang=en&sourceid=a",
         "&starttime=", "&imagesize=1&interval=6"},
        {"getContentList",
         [](WVorelOAI& o, unsigned long time, Counter& c) {
             return o.getContentList(kDone, Numbers{7}, time, 2, 3, &c, c.out);
         },
         "http://base/openapi/service/vorel/browse/content/list?country=US&lang=en&headend=H1&device=X&genre=7",
         "&timestamp=", "&start=2&num=3"},
        {"getContentDetailInfo",
         [](WVorelOAI& o, unsigned long time, Counter& c) {
             return o.getContentDetailInfo(kDone, "id", "s", time, &c, c.out);
         },
         "http://base/openapi/service/vorel/browse/content/id?country=US&lang=en&headend=H1&device=X&sourceid=s",
         "&starttime=", ""},
        {"getGuide",
         [](WVorelOAI& o, unsigned long time, Counter& c) {
             return o.getGuide(kDone, "ch", "", time, 6, 0, 0, 4, &c, c.out);
         },
         "http://base/openapi/service/vorel/browse/guide?country=US&headend=H1&device=X&channel=ch&interval=6&num=4",
         "&timestamp=", ""},
    };
    return kCalls;
}

struct Time {
    std::uint64_t seconds;
    std::optional<std::string> text;  ///< none if the parameter is left out
};

const Time kTimes[] = {
    {0, std::nullopt},
    {1, "1970-01-01T00:00:01Z"},
    {1700000000, "2023-11-14T22:13:20Z"},
    {1709164800, "2024-02-29T00:00:00Z"},
    {2147483647, "2038-01-19T03:14:07Z"},
    {2147483648, "2038-01-19T03:14:08Z"},
    {4294967295, "2106-02-07T06:28:15Z"},
    {253402300799, "9999-12-31T23:59:59Z"},
    // After the end of the calendar: the parameter has an empty value.
    {253402300800, ""},
    {9223372036854775807, ""},
    {9223372036854775808u, ""},
    {18446744073709551615u, ""},
};

class RequestTime : public ::testing::TestWithParam<std::tuple<std::string, TimedCall>> {};

void PrintTo(const TimedCall& call, std::ostream* out)
{
    *out << call.operation;
}

TEST_P(RequestTime, DoesNotDependOnTheOffset)
{
    const auto& [offset, timed] = GetParam();
    FakeHost host;
    setAllOptions(host);
    WVorelOAI object;
    openSession(object);
    setClock(object, offset);
    for (const Time& time : kTimes) {
        if (time.seconds > std::numeric_limits<unsigned long>::max()) {
            continue;  // Cannot be passed where long has 32 bits.
        }
        SCOPED_TRACE(time.seconds);
        Counter counter;
        ASSERT_EQ(timed.call(object, static_cast<unsigned long>(time.seconds), counter), 0);
        const std::string parameter = time.text ? timed.marker + *time.text : std::string();
        EXPECT_EQ(host.sent.back().url, timed.before + parameter + timed.after);
        counter.accepted(0);
        host.answer(emptyReply(counter.out.getRequestID()));
    }
}

INSTANTIATE_TEST_SUITE_P(Offsets, RequestTime,
                         ::testing::Combine(::testing::Values("+00:00", "+09:00", "-05:00", "+05:30", "-03:30"),
                                            ::testing::ValuesIn(timedCalls())));

TEST(RequestTimeAlone, HistoryIsResetWithoutAServerTime)
{
    FakeHost host;
    setAllOptions(host);
    WVorelOAI object;
    openSession(object);
    Counter counter;
    EXPECT_EQ(timedCalls()[0].call(object, 1700000000, counter), 0);
    EXPECT_EQ(host.sent.at(0).url,
              "http://base/openapi/service/vorel/conf/reset?country=US&timestamp=2023-11-14T22:13:20Z");
}

}  // namespace
}  // namespace W::test
