// The name of a downloaded file, and the line that shows its progress.
#include "Download.h"

#include <algorithm>
#include <string>

#include <gmock/gmock.h>

#include "ProgressBar.h"
#include "ServiceProblem.h"
#include "Terminal.h"

namespace W::host {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;

TEST(DownloadName, IsTheGivenNameOrTheEndOfTheUrl)
{
    const struct {
        const char* url;
        const char* name;
        const char* expected;
    } rows[] = {
        {"http://h/a/b.ts", "", "b.ts"},
        {"http://h/a/b.ts", "c.ts", "c.ts"},
        {"http://h/a/b.ts?x=1", "", "b.ts?x=1"},
        {"http://h/a%20b", "", "a%20b"},
        {"http://h/..x", "", "..x"},
        {"http://h/100%", "", "100%"},
        {"http://h/a", "%2F", "%2F"},
        {"http://h", "", "h"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(downloadName({row.url, "d", row.name}), row.expected) << row.url;
    }
}

TEST(DownloadName, IsAlwaysInTheDirectory)
{
    const struct {
        std::string url;
        std::string name;
        const char* message;
    } rows[] = {
        {"http://h/", "", "does not end with a file name"},
        {"http://h/a/..", "", "would be outside d"},
        {"http://h/a/.", "", "would be outside d"},
        {"http://h/%2e%2E", "", "would be outside d"},
        {"http://h/a?from=../..", "", "would be outside d"},
        {"http://h/..%2fetc", "", "would be outside d"},
        {"http://h/%2F", "", "would be outside d"},
        {"http://h/x", "..", "would be outside d"},
        {"http://h/x", "a/b", "would be outside d"},
        {"http://h/x", "/etc/x", "would be outside d"},
        {"http://h/" + std::string(256, 'x'), "", "has 256 bytes; at most 255 are possible"},
    };
    for (const auto& row : rows) {
        try {
            downloadName({row.url, "d", row.name});
            ADD_FAILURE() << row.url << " and " << row.name;
        } catch (const ServiceProblem& problem) {
            EXPECT_THAT(problem.what(), HasSubstr(row.message));
            EXPECT_NE(problem.hint(), "");
        }
    }
}

TEST(DownloadProgressLine, ShowsWhatIsKnown)
{
    const struct {
        std::uint64_t written;
        std::uint64_t expected;
        std::chrono::milliseconds elapsed;
        int width;
        const char* line;
    } rows[] = {
        {0, 0, 0ms, 14, "0 B  0 B/s    "},
        {999, 0, 1s, 20, "999 B  999 B/s      "},
        {1 << 20, 0, 2s, 24, "1.0 MiB  512.0 KiB/s    "},
        {0, 1 << 20, 1s, 22, "0 B of 1.0 MiB  0 B/s "},
        {1 << 19, 1 << 20, 1s, 62, "[=======       ]  512.0 KiB of 1.0 MiB  512.0 KiB/s  0:01 left"},
        {1 << 20, 1 << 20, 1s, 54, "[==========]  1.0 MiB of 1.0 MiB  1.0 MiB/s  0:00 left"},
        {1 << 10, 1 << 30, 1s, 48, "1.0 KiB of 1.0 GiB  1.0 KiB/s  99:59:59 left    "},
        {std::uint64_t{3} << 30, std::uint64_t{4} << 30, 3000s, 20, "3.0 GiB of 4.0 GiB …"},
        // more than was announced
        {20, 10, 1s, 46, "[===========]  20 B of 10 B  20 B/s  0:00 left"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(progressLine({row.written, row.expected}, row.elapsed, row.width), row.line);
    }
    const Progress half{512, 1024};
    for (int width = -1; width < 200; ++width) {
        EXPECT_EQ(displayWidth(progressLine(half, 1s, width)), std::max(0, width));
    }
}

}  // namespace
}  // namespace W::host
