// The memory that the library costs a process that has only loaded it.

#include <fstream>
#include <sstream>
#include <string>

#include <gtest/gtest.h>
#include <malloc.h>

#include "Configuration.h"
#include "CurlExecutor.h"
#include "LongForm.h"
#include "PluginLibrary.h"
#include "Process.h"

namespace W::test {
namespace {

struct Resident {
    long all = 0;  ///< KiB, of them the code, which processes share
    long own = 0;  ///< KiB that no other process has
};

/// Resident memory of a mapped file, from /proc/self/smaps; see proc(5).
Resident residentOf(const std::string& file)
{
    Resident sum;
    std::ifstream listing("/proc/self/smaps");
    bool isOfFile = false;
    for (std::string line; std::getline(listing, line);) {
        std::istringstream words(line);
        std::string first;
        long amount = 0;
        words >> first;
        if (first.find('-') != std::string::npos) {
            isOfFile = line.size() > file.size() && line.compare(line.size() - file.size(), file.size(), file) == 0;
        } else if (isOfFile && words >> amount && first == "Rss:") {
            sum.all += amount;
        } else if (isOfFile && first == "Private_Dirty:") {
            sum.own += amount;
        }
    }
    return sum;
}

TEST(Loading, CostsLittleMemory)
{
    constexpr long kMostResident = 512;  // KiB
    constexpr long kMostOwn = 64;        // KiB
    constexpr std::size_t kMostHeap = std::size_t{64} << 10;
    host::Configuration configuration;
    host::installConfigManager(&configuration);
    host::CurlExecutor executor;
    host::installHttpDelegator(&executor);
    {
        const std::size_t heapBefore = mallinfo2().uordblks;
        const host::PluginLibrary library(CORVANE_LIBRARY);
        const host::PluginLibrary::Object object = library.create();
        const std::size_t heap = mallinfo2().uordblks - heapBefore;
        const Resident resident = residentOf(CORVANE_LIBRARY);
        figure("KiB of the library in memory when it is loaded and has made an object",
               static_cast<double>(resident.all));
        figure("  of them the process's own", static_cast<double>(resident.own));
        figure("  bytes of heap beside", static_cast<double>(heap));
        EXPECT_GT(resident.all, 0);
        EXPECT_GT(resident.own, 0);
        if (kIsSanitized) {
            return;
        }
        EXPECT_LE(resident.all, kMostResident);
        EXPECT_LE(resident.own, kMostOwn);
        EXPECT_LE(heap, kMostHeap);
    }
    executor.stop();
    host::installHttpDelegator(nullptr);
    host::installConfigManager(nullptr);
}

}  // namespace
}  // namespace W::test
