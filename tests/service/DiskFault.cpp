// Preloaded into the program under test. Replaces the calls by which SQLite writes; at a chosen call the disk fails or
// the process ends. CORVANE_DISK_FAULT chooses it: "kill 17" ends the process before its 17th write, "full 17" reports
// a full disk from the 17th write on, "sync 3" fails each fsync from the third on. CORVANE_SYNC_LOG names a file that
// receives the name of each flushed file or folder. Only files in folders named "corvaned-..." are affected.
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

enum class DiskOperation {
    Write,
    Sync,
};

struct ChosenFault {
    char kind[8] = "";
    long number = 0;
    ChosenFault()
    {
        const char* const text = std::getenv("CORVANE_DISK_FAULT");
        if (text != nullptr) {
            std::sscanf(text, "%7s %ld", kind, &number);
        }
    }
    bool is(const char* name) const { return std::strcmp(kind, name) == 0; }
};

struct Path {
    char text[4096] = "";
    explicit Path(int descriptor)
    {
        char link[64];
        std::snprintf(link, sizeof link, "/proc/self/fd/%d", descriptor);
        (void)!::readlink(link, text, sizeof text - 1);
    }
    bool isOfTheTest() const { return std::strstr(text, "/corvaned-") != nullptr; }
};

bool isOfTheTest(int descriptor)
{
    return Path(descriptor).isOfTheTest();
}

void logSync(int descriptor)
{
    static const char* const kLog = std::getenv("CORVANE_SYNC_LOG");
    const Path path(descriptor);
    if (kLog == nullptr || !path.isOfTheTest()) {
        return;
    }
    char line[300];
    const int length = std::snprintf(line, sizeof line, "%.256s\n", std::strrchr(path.text, '/') + 1);
    const int file = ::open(kLog, O_WRONLY | O_CREAT | O_APPEND, 0600);
    (void)!::syscall(SYS_write, file, line, length);  // not by the write() below
    ::close(file);
}

/// @return true if the call has to fail with errno
bool fails(DiskOperation operation, int descriptor)
{
    static const ChosenFault kFault;
    static std::atomic<long> s_writes{0};
    static std::atomic<long> s_syncs{0};
    if (kFault.number == 0 || !isOfTheTest(descriptor)) {
        return false;
    }
    if (operation == DiskOperation::Sync) {
        errno = EIO;
        return kFault.is("sync") && ++s_syncs >= kFault.number;
    }
    const bool reached = ++s_writes >= kFault.number;
    if (reached && kFault.is("kill")) {
        ::kill(::getpid(), SIGKILL);
    }
    errno = ENOSPC;
    return reached && kFault.is("full");
}

template <class Function>
Function original(const char* name)
{
    return reinterpret_cast<Function>(::dlsym(RTLD_NEXT, name));
}

}  // namespace

extern "C" {

ssize_t write(int descriptor, const void* bytes, size_t size)
{
    static const auto next = original<decltype(&write)>("write");
    return fails(DiskOperation::Write, descriptor) ? -1 : next(descriptor, bytes, size);
}

ssize_t pwrite64(int descriptor, const void* bytes, size_t size, off64_t offset)
{
    static const auto next = original<decltype(&pwrite64)>("pwrite64");
    return fails(DiskOperation::Write, descriptor) ? -1 : next(descriptor, bytes, size, offset);
}

int ftruncate64(int descriptor, off64_t length) noexcept
{
    static const auto next = original<decltype(&ftruncate64)>("ftruncate64");
    return fails(DiskOperation::Write, descriptor) ? -1 : next(descriptor, length);
}

int fsync(int descriptor)
{
    static const auto next = original<decltype(&fsync)>("fsync");
    logSync(descriptor);
    return fails(DiskOperation::Sync, descriptor) ? -1 : next(descriptor);
}

int fdatasync(int descriptor)
{
    static const auto next = original<decltype(&fdatasync)>("fdatasync");
    logSync(descriptor);
    return fails(DiskOperation::Sync, descriptor) ? -1 : next(descriptor);
}

}  // extern "C"
