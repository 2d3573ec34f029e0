// Debug lines: the level filter, and whole lines from several threads.
#include "Debug.h"

#include <cstdarg>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

#include "Scratch.h"

namespace W::host {
namespace {

/// Prints as a plug-in does.
void printLine(unsigned long level, const char* format, ...) __attribute__((format(printf, 2, 3)));
void printLine(unsigned long level, const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    CWCCDebug().t_Print(level, 0, format, &arguments);
    va_end(arguments);
}

void printRaw(unsigned long level, const char* format, ...) __attribute__((format(printf, 2, 3)));
void printRaw(unsigned long level, const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    CWCCDebug().t_PrintR(level, 0, format, &arguments);
    va_end(arguments);
}

class Debug : public testing::Test {
protected:
    Debug() : m_log(DebugLog::open(m_scratch.file("log"))) { CCDebug::DebugIO = m_log.get(); }
    ~Debug() override
    {
        CCDebug::DebugIO = nullptr;
        setDebugLevel(1);
    }
    std::string written() const { return readFile(m_scratch.file("log")); }

    ScratchDirectory m_scratch;
    std::unique_ptr<DebugLog> m_log;
};

TEST_F(Debug, LinesAboveTheLevelAreDropped)
{
    printLine(1, "one\n");
    printLine(2, "two\n");
    setDebugLevel(8);
    printLine(8, "eight\n");
    printLine(9, "nine\n");
    CWCCDebug().t_SetDebugLevel(0);
    printLine(1, "silent\n");
    CWCCDebug().Reset();
    printLine(1, "again\n");
    EXPECT_EQ(written(), "one\neight\nagain\n");
}

TEST_F(Debug, EveryLineEndsOnce)
{
    printLine(1, "with\n");
    printLine(1, "without");
    printLine(1, "two\nlines");
    printLine(1, "%s", "");
    EXPECT_EQ(written(), "with\nwithout\ntwo\nlines\n\n");
}

TEST_F(Debug, LongLinesAreWhole)
{
    for (const std::size_t size : {std::size_t{510}, std::size_t{511}, std::size_t{512}, std::size_t{5'000'000}}) {
        const std::string text(size, 'x');
        const std::size_t before = written().size();
        printLine(1, "%s|%d", text.c_str(), 7);
        EXPECT_TRUE(written().substr(before) == text + "|7\n") << size;
    }
}

TEST_F(Debug, PartsOfLinesWaitForTheEnd)
{
    CCDebug::DebugIO->write("a");
    printRaw(1, "%s", "b");
    EXPECT_EQ(written(), "");
    CCDebug::DebugIO->write("c\nd");
    EXPECT_EQ(written(), "abc\n");
    CCDebug::DebugIO->write("\n");
    EXPECT_EQ(written(), "abc\nd\n");
    std::thread([] { CCDebug::DebugIO->write("unfinished"); }).join();
    EXPECT_EQ(written(), "abc\nd\nunfinished\n");
}

TEST_F(Debug, LinesOfThreadsStayWhole)
{
    constexpr int kThreads = 8;
    constexpr int kLines = 500;
    std::vector<std::thread> threads;
    threads.reserve(kThreads);
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([thread] {
            for (int i = 0; i < kLines; ++i) {
                if (i % 2 == 0) {
                    printLine(1, "<%d %s>", thread, std::string(200, 'x').c_str());
                } else {
                    CCDebug::DebugIO->write("<split ");
                    CCDebug::DebugIO->write(std::string(200, 'y').c_str());
                    CCDebug::DebugIO->write(">\n");
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    std::istringstream lines(written());
    int count = 0;
    for (std::string line; std::getline(lines, line); ++count) {
        ASSERT_EQ(line.front(), '<') << line;
        ASSERT_EQ(line.find('>'), line.size() - 1) << line;
    }
    EXPECT_EQ(count, kThreads * kLines);
}

TEST_F(Debug, WithoutAnOutputNothingHappens)
{
    CCDebug::DebugIO = nullptr;
    printLine(1, "lost %d", 1);
    CCDebug module;
    va_list none{};
    module.t_Print(1, 0, "x", &none);
    EXPECT_FALSE(module.t_IsCommonModule());
}

TEST(DebugLog, NamesAFileThatCannotBeWritten)
{
    EXPECT_THROW(
        {
            try {
                DebugLog::open("/no/such/directory/log");
            } catch (const std::runtime_error& error) {
                EXPECT_STREQ(error.what(),
                             "cannot write the log file /no/such/directory/log: No such file or directory");
                throw;
            }
        },
        std::runtime_error);
    const std::unique_ptr<DebugLog> full = DebugLog::open("/dev/full");
    full->write("dropped\n");
}

}  // namespace
}  // namespace W::host
