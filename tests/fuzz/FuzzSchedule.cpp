// The local schedule file, kept in memory: a new file per input would measure the disk.
#include "Fuzz.h"

#include <string>

#include <sys/mman.h>
#include <unistd.h>

#include "FakeHost.h"
#include "WVorelOAI.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace W::test;
    static FakeHost host;
    host.keepsLines = false;
    static W::WVorelOAI object;
    static const int s_file = ::memfd_create("schedule", 0);
    static const std::string s_path = "/proc/self/fd/" + std::to_string(s_file);
    require(s_file >= 0 && ::ftruncate(s_file, 0) == 0, "a file in memory");
    require(::pwrite(s_file, data, size, 0) == static_cast<ssize_t>(size), "it is written");

    W::WContainer<W::WVLContent> result;
    result.data().emplace_back();
    const int status = object.getTodaySchedule(s_path, result);
    require(status <= 0, "a status, or 0");
    require(status == 0 || result.data().size() == 1, "a failure leaves the result as it was");
    return 0;
}
