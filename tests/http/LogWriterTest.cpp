// The log: sinks that are slow, full or closed delay no writer, and lost lines are counted.
#include "LogWriter.h"

#include <chrono>
#include <csignal>
#include <thread>

#include <fcntl.h>
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

#include "Eventually.h"

namespace http {
namespace {

using ::testing::HasSubstr;
using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;
using std::chrono::seconds;
using support::eventually;

struct Pipe {
    Pipe() { EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0); }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;
    ~Pipe()
    {
        closeReader();
        ::close(ends[1]);
    }
    void closeReader() { ::close(std::exchange(ends[0], -1)); }
    std::string read() const
    {
        char bytes[65536];
        const ssize_t count = ::read(ends[0], bytes, sizeof bytes);
        return {bytes, static_cast<std::size_t>(std::max<ssize_t>(count, 0))};
    }

    std::string readAvailable() const
    {
        pollfd look{ends[0], POLLIN, 0};
        return ::poll(&look, 1, 0) > 0 ? read() : std::string();
    }

    int ends[2];
};

TEST(LogWriter, WritesLinesInOrder)
{
    const Pipe pipe;
    {
        LogWriter log(pipe.ends[1]);
        for (int i = 0; i < 100; ++i) {
            log.write(std::to_string(i));
        }
    }
    std::string wanted;
    for (int i = 0; i < 100; ++i) {
        wanted += std::to_string(i) + "\n";
    }
    EXPECT_EQ(pipe.read(), wanted);
}

TEST(LogWriter, StalledSinkDoesNotBlockCallers)
{
    const Pipe pipe;
    const auto begin = Clock::now();
    std::size_t read = 0;
    std::string all;
    {
        LogWriter log(pipe.ends[1], 100);
        const std::string line(1000, 'x');
        for (int i = 0; i < 1000; ++i) {
            log.write(line);
        }
        // Reads until the writer has reported the lost lines.
        while (all.find("lines were lost: too many at once") == std::string::npos &&
               Clock::now() - begin < seconds(60)) {
            all += pipe.read();
        }
        read = static_cast<std::size_t>(std::count(all.begin(), all.end(), '\n'));
    }
    EXPECT_THAT(all, HasSubstr("log lines were lost: too many at once\n"));
    EXPECT_LT(read, 1000U);
}

TEST(LogWriter, StopDoesNotWaitForAStalledSink)
{
    const Pipe pipe;
    const auto begin = Clock::now();
    {
        LogWriter log(pipe.ends[1]);
        for (int i = 0; i < 1000; ++i) {
            log.write(std::string(1000, 'x'));
        }
    }
    EXPECT_LT(Clock::now() - begin, seconds(20));
}

TEST(LogWriter, ClosedReaderRaisesNoSignal)
{
    Pipe pipe;
    pipe.closeReader();
    LogWriter log(pipe.ends[1]);
    log.write("this is never read");
    EXPECT_TRUE(eventually([&] { return log.lost() == 1; })) << "a signal would end the test program";
}

TEST(LogWriter, ReportsAFullDiskLater)
{
    const int full = ::open("/dev/full", O_WRONLY | O_CLOEXEC);
    const Pipe pipe;
    const int sink = ::dup(full);
    std::string text;
    {
        LogWriter log(sink);
        for (int i = 0; i < 10; ++i) {
            log.write("lost");
            if (i == 4) {
                EXPECT_TRUE(eventually([&] { return log.lost() == 5; }));
            }
        }
        ASSERT_GE(::dup2(pipe.ends[1], sink), 0);  // the disk has room again
        log.write("kept");
        EXPECT_TRUE(eventually([&] {
            text += pipe.readAvailable();
            return text.find("kept\n") != std::string::npos;
        })) << text;
        EXPECT_EQ(log.lost(), 0U);
    }
    EXPECT_THAT(text, HasSubstr("log lines were lost: No space left on device\n"));
    // Each of the ten lines is counted or written.
    const long lost = std::strtol(text.c_str(), nullptr, 10);
    long written = 0;
    for (std::size_t at = text.find("lost\n"); at != std::string::npos; at = text.find("lost\n", at + 1)) {
        ++written;
    }
    EXPECT_EQ(lost + written, 10) << text;
    ::close(sink);
    ::close(full);
}

TEST(FloodGate, CountsTheLinesThatItLeavesOut)
{
    FloodGate gate(3);
    const Clock::time_point begin{seconds(1000)};
    std::uint64_t leftOut = 0;
    int admitted = 0;
    for (int i = 0; i < 10; ++i) {
        admitted += gate.admit("a", leftOut, begin + i * milliseconds(100)) ? 1 : 0;
    }
    EXPECT_EQ(admitted, 3);
    EXPECT_TRUE(gate.admit("b", leftOut, begin)) << "another address";
    EXPECT_TRUE(gate.admit("a", leftOut, begin + seconds(1)));
    EXPECT_EQ(leftOut, 7U);
    EXPECT_TRUE(gate.admit("a", leftOut, begin + seconds(1)));
    EXPECT_EQ(leftOut, 0U);
}

TEST(FloodGate, ManyAddressesTakeLittleMemory)
{
    FloodGate gate(3);
    const Clock::time_point now{seconds(1000)};
    std::uint64_t leftOut = 0;
    int admitted = 0;
    for (int i = 0; i < 100'000; ++i) {
        admitted += gate.admit(fmt::format("10.0.{}.{}", i / 256, i % 256), leftOut, now) ? 1 : 0;
    }
    EXPECT_LT(admitted, 5'000) << "addresses beyond the limit share one count";
}

TEST(QuotedForLog, EscapesBytesThatCouldForgeALine)
{
    EXPECT_EQ(quotedForLog("/a b"), "\"/a b\"");
    EXPECT_EQ(quotedForLog(std::string("\x1b[2J\r\n\0\"\\\x7f\xc3", 11)), R"("\x1b[2J\x0d\x0a\x00\x22\x5c\x7f\xc3")");
    EXPECT_EQ(quotedForLog("12345", 3), "\"123\"");
}

}  // namespace
}  // namespace http
