// Preloaded into the program under test: stands in for the calls by which SQLite writes, and has the disk fail, or the
// process die, at a chosen one of them. CORVANE_DISK_FAULT says which: "kill 17" ends the process before its 17th
// write, "full 17" leaves no room from the 17th write on, "sync 3" fails from the third fsync on. Files without a name
// that holds "guide.db" are left alone.
#include <dlfcn.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

enum class Operation {
    Write,
    Sync,
};

struct Fault {
    char kind[8] = "";
    long number = 0;
    Fault()
    {
        const char* const text = std::getenv("CORVANE_DISK_FAULT");
        if (text != nullptr) {
            std::sscanf(text, "%7s %ld", kind, &number);
        }
    }
    bool is(const char* name) const { return std::strcmp(kind, name) == 0; }
};

bool isDatabase(int descriptor)
{
    char link[64];
    char path[4096] = "";
    std::snprintf(link, sizeof link, "/proc/self/fd/%d", descriptor);
    const ssize_t length = ::readlink(link, path, sizeof path - 1);
    return length > 0 && std::strstr(path, "guide.db") != nullptr;
}

/// @return true where the call has to fail with errno
bool fails(Operation operation, int descriptor)
{
    static const Fault kFault;
    static std::atomic<long> s_writes{0};
    static std::atomic<long> s_syncs{0};
    if (kFault.number == 0 || !isDatabase(descriptor)) {
        return false;
    }
    if (operation == Operation::Sync) {
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
    return fails(Operation::Write, descriptor) ? -1 : next(descriptor, bytes, size);
}

ssize_t pwrite64(int descriptor, const void* bytes, size_t size, off64_t offset)
{
    static const auto next = original<decltype(&pwrite64)>("pwrite64");
    return fails(Operation::Write, descriptor) ? -1 : next(descriptor, bytes, size, offset);
}

int ftruncate64(int descriptor, off64_t length) noexcept
{
    static const auto next = original<decltype(&ftruncate64)>("ftruncate64");
    return fails(Operation::Write, descriptor) ? -1 : next(descriptor, length);
}

int fsync(int descriptor)
{
    static const auto next = original<decltype(&fsync)>("fsync");
    return fails(Operation::Sync, descriptor) ? -1 : next(descriptor);
}

int fdatasync(int descriptor)
{
    static const auto next = original<decltype(&fdatasync)>("fdatasync");
    return fails(Operation::Sync, descriptor) ? -1 : next(descriptor);
}

}  // extern "C"
