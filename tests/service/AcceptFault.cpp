// Preloaded into the program under test: every second accept4() fails with the error that CORVANE_ACCEPT_FAULT names.
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <dlfcn.h>
#include <sys/socket.h>

namespace {

int errorOf(const char* name)
{
    constexpr struct {
        const char* name;
        int error;
    } kErrors[] = {{"ENFILE", ENFILE},
                   {"EMFILE", EMFILE},
                   {"ENOMEM", ENOMEM},
                   {"ENOBUFS", ENOBUFS},
                   {"ECONNABORTED", ECONNABORTED},
                   {"EPROTO", EPROTO},
                   {"EPERM", EPERM}};
    for (const auto& row : kErrors) {
        if (name != nullptr && std::strcmp(name, row.name) == 0) {
            return row.error;
        }
    }
    return 0;
}

}  // namespace

extern "C" int accept4(int socket, sockaddr* address, socklen_t* size, int flags)
{
    using Accept = int (*)(int, sockaddr*, socklen_t*, int);
    static const auto s_accept = reinterpret_cast<Accept>(::dlsym(RTLD_NEXT, "accept4"));
    static const int s_error = errorOf(std::getenv("CORVANE_ACCEPT_FAULT"));
    static std::atomic<int> s_calls{0};
    if (s_error != 0 && s_calls++ % 2 == 0) {
        errno = s_error;
        return -1;
    }
    return s_accept(socket, address, size, flags);
}
