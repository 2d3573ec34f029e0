// The replacements of the C library's functions are at the end; their state and counters come first.
#include "Loopback.h"

#include <cerrno>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <map>
#include <mutex>

#include <arpa/inet.h>
#include <dlfcn.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>

namespace W::test {

namespace {

struct Name {
    LookUp answer;
    std::size_t failed = 0;
};

/// Never destroyed: a look-up that hangs may outlive the test.
struct LookUpState {
    std::mutex lock;
    std::condition_variable changed;
    std::map<std::string, Name> names;
    std::map<int, std::size_t> attempts;  ///< by port
    std::size_t leaving = 0;
};

LookUpState& state()
{
    static LookUpState* const s_pState = new LookUpState;
    return *s_pState;
}

bool isAddress(const char* name)
{
    in6_addr address{};
    return ::inet_pton(AF_INET, name, &address) == 1 || ::inet_pton(AF_INET6, name, &address) == 1;
}

/// @return 0 or an error of getaddrinfo()
int lookUp(const char* name)
{
    LookUpState& all = state();
    std::unique_lock<std::mutex> lock(all.lock);
    const auto found = all.names.find(name);
    if (found == all.names.end()) {
        ++all.leaving;
        return EAI_FAIL;
    }
    Name& known = found->second;
    known.failed += known.answer == LookUp::Loopback ? 0 : 1;
    all.changed.wait(lock, [&] { return known.answer != LookUp::Hangs; });
    return known.answer == LookUp::NotFound ? EAI_NONAME : 0;
}

bool isLoopback(const sockaddr* address)
{
    if (address->sa_family != AF_INET) {
        return address->sa_family == AF_UNIX;
    }
    const auto& inet = *reinterpret_cast<const sockaddr_in*>(address);
    return ntohl(inet.sin_addr.s_addr) >> 24 == IN_LOOPBACKNET;
}

/// @return false if the connection would leave the machine
bool countAttempt(const sockaddr* address)
{
    LookUpState& all = state();
    const std::lock_guard<std::mutex> lock(all.lock);
    if (!isLoopback(address)) {
        ++all.leaving;
        return false;
    }
    if (address->sa_family == AF_INET) {
        ++all.attempts[ntohs(reinterpret_cast<const sockaddr_in*>(address)->sin_port)];
    }
    return true;
}

/// The function of the C library or of the sanitizer.
template <class Function>
Function* next(const char* name)
{
    return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

}  // namespace

void setLookUp(const std::string& name, LookUp answer)
{
    LookUpState& all = state();
    const std::lock_guard<std::mutex> lock(all.lock);
    all.names[name].answer = answer;
    all.changed.notify_all();
}

std::size_t failedLookUps(const std::string& name)
{
    LookUpState& all = state();
    const std::lock_guard<std::mutex> lock(all.lock);
    return all.names[name].failed;
}

std::size_t attemptsToConnect(int port)
{
    LookUpState& all = state();
    const std::lock_guard<std::mutex> lock(all.lock);
    return all.attempts[port];
}

std::size_t unansweredAttempts(int port)
{
    constexpr unsigned kSynSent = 2;
    std::ifstream table("/proc/net/tcp");
    std::size_t count = 0;
    for (std::string line; std::getline(table, line);) {
        unsigned remotePort = 0;
        unsigned state = 0;
        if (std::sscanf(line.c_str(), " %*d: %*x:%*x %*x:%x %x", &remotePort, &state) == 2 && state == kSynSent &&
            remotePort == static_cast<unsigned>(port)) {
            ++count;
        }
    }
    return count;
}

std::size_t attemptsToLeave()
{
    LookUpState& all = state();
    const std::lock_guard<std::mutex> lock(all.lock);
    return all.leaving;
}

}  // namespace W::test

extern "C" {

int getaddrinfo(const char* name, const char* service, const addrinfo* hints, addrinfo** result)
{
    static auto* const s_next = W::test::next<decltype(getaddrinfo)>("getaddrinfo");
    if (name == nullptr || W::test::isAddress(name)) {
        return s_next(name, service, hints, result);
    }
    const int failure = W::test::lookUp(name);
    return failure != 0 ? failure : s_next("127.0.0.1", service, hints, result);
}

int connect(int socket, const sockaddr* address, socklen_t length)
{
    static auto* const s_next = W::test::next<decltype(connect)>("connect");
    if (W::test::countAttempt(address)) {
        return s_next(socket, address, length);
    }
    errno = ENETUNREACH;
    return -1;
}

}  // extern "C"
