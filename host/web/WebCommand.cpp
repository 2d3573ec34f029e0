// Starts the parts in the order of their dependencies, waits for a signal, and stops them in reverse order.
#include "WebCommand.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <stdexcept>
#include <utility>

#include <fmt/format.h>
#include <spawn.h>
#include <unistd.h>

#include "HttpServer.h"
#include "LineUpChoice.h"
#include "LogWriter.h"
#include "RpcConversation.h"
#include "SessionKeeper.h"
#include "WebAccess.h"
#include "WebSite.h"

namespace W::host {

namespace {

constexpr std::size_t kShortestPassword = 8;
/// The page treats a health report that takes longer as a failure.
constexpr std::chrono::milliseconds kHealthPatience{4000};

std::string readPassword(const std::string& file)
{
    std::ifstream stream(file);
    std::string password;
    if (!std::getline(stream, password)) {
        throw std::runtime_error(
            fmt::format("cannot read the password file {}: {}", file,
                        stream.is_open() ? "it is empty" : static_cast<const char*>(std::strerror(errno))));
    }
    if (!password.empty() && password.back() == '\r') {
        password.pop_back();
    }
    if (password.size() < kShortestPassword) {
        throw std::runtime_error(fmt::format("the password in {} has {} characters; it needs at least {}", file,
                                             password.size(), kShortestPassword));
    }
    return password;
}

void openInBrowser(const std::string& address)
{
    std::string program = "xdg-open";
    std::string argument = address;
    char* arguments[] = {program.data(), argument.data(), nullptr};
    pid_t child = 0;
    if (const int failed = ::posix_spawnp(&child, program.c_str(), nullptr, nullptr, arguments, environ)) {
        fmt::print(stderr, "corvane: cannot open a browser with xdg-open: {}; open the address yourself\n",
                   std::strerror(failed));
    }
}

}  // namespace

int runWeb(const CommonOptions& options, const WebOptions& web)
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    std::signal(SIGPIPE, SIG_IGN);

    const http::ListenAddress address = http::ListenAddress::parse(web.listen);
    if (!address.isLoopback() && web.passwordFile.empty()) {
        throw std::runtime_error(
            fmt::format("{} can be reached from other machines; protect the guide with "
                        "--password-file FILE, or listen on 127.0.0.1",
                        web.listen));
    }
    WebAccess access(address, web.passwordFile.empty() ? std::string() : readPassword(web.passwordFile));
    Runtime runtime(options, Defaults::ForPeople);
    LineUpChoice lineUp(runtime.configuration());
    RpcDispatcher dispatcher(runtime.plugin(), RpcAccess::NoFiles);
    int exitCode = 0;
    {
        SessionKeeper session(runtime, std::min(options.timeout(), kHealthPatience));
        if (const auto problem = session.problem()) {
            fmt::print(stderr,
                       "corvane: {}\ncorvane: hint: {}\ncorvane: the page shows this, too, and continues as soon "
                       "as the service answers\n",
                       problem->what(), problem->hint());
        }
        WebSite site(runtime, session, lineUp, dispatcher, access, web.assets);
        http::LogWriter log(STDERR_FILENO);
        http::HttpApplication application = site.application(std::min(options.timeout(), kHealthPatience));
        application.report = [&log](const std::string& line) { log.write("corvane: " + line); };
        http::HttpServer server(address, std::nullopt, http::ServerLimits(), std::move(application));
        access.setPort(server.port());
        const std::string url = access.address(server.url());
        fmt::print("corvane web listening on {}\n", url);
        if (std::fflush(stdout) != 0) {
            return 1;
        }
        if (web.open) {
            openInBrowser(url);
        }
        int received = 0;
        sigwait(&signals, &received);
        if (!server.stop()) {
            exitCode = 1;
        }
    }
    runtime.destroyPlugin();
    return exitCode;
}

}  // namespace W::host
