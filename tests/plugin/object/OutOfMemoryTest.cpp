// The results and log lines of single functions that run out of memory. tests/endurance makes every allocation fail.

#include <cstdio>

#include <gtest/gtest.h>

#include "Calls.h"
#include "FailingNew.h"

namespace W::test {
namespace {

TEST(OutOfMemory, CreateRequestInfoChangesNothing)
{
    FakeHost host;
    VorelService service("Corvane", WContentProvider("Corvane", 14));
    HttpRequest request(HTTP_GET, "u", {}, "", nullptr, nullptr);
    unsigned long long reference = 99;
    {
        const FailingNew outOfMemory;
        EXPECT_EQ(service.createRequestInfo(&request, nullptr, 18, reference), status::kNoService);
    }
    EXPECT_EQ(reference, 99u);
    EXPECT_EQ(service.requestCount(), 0u);
    const std::vector<Line> lines = host.lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].text.rfind("[createRequestInfo] #ERROR WSTATUS:no service object or out of memory(-3)\tFILE:"
                                  "ContentsManager/WLib/Plugins/Corvane/src/VorelService(",
                                  0),
              0u)
        << lines[0].text;
    EXPECT_EQ(service.createRequestInfo(&request, nullptr, 18, reference), 0);
    EXPECT_EQ(reference, 1u) << "the counter has not moved";
    service.deleteRequestInfo(reference);
}

TEST(OutOfMemory, GetTodayScheduleReturnsMinus3)
{
    FakeHost host;
    WVorelOAI object;
    const std::string path = ::testing::TempDir() + "corvane-out-of-memory.json";
    std::FILE* const file = std::fopen(path.c_str(), "wb");
    ASSERT_NE(file, nullptr);
    std::fputs((std::string(4000, ' ') + R"({"rsp":{"channel":[{"content":[{"id":"i"}]}]}})").c_str(), file);
    std::fclose(file);
    WContainer<WVLContent> result;
    result.data().emplace_back().setID("kept");
    host.forgetLines();
    {
        const FailingNew outOfMemory(2000);
        EXPECT_EQ(object.getTodaySchedule(path, result), status::kNoService);
    }
    ASSERT_EQ(host.texts(1).size(), 1u);
    EXPECT_EQ(host.texts(1)[0].rfind("[getTodaySchedule] #ERROR WSTATUS:no service object or out of memory(-3)", 0), 0u)
        << host.texts(1)[0];
    ASSERT_EQ(result.getData().size(), 1u);
    EXPECT_EQ(result.getData().front().getID(), "kept");
    EXPECT_EQ(object.getTodaySchedule(path, result), 0);
    std::remove(path.c_str());
}

}  // namespace
}  // namespace W::test
