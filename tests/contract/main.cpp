// corvane-contract: checks that an HTTP executor keeps the contract X1 to X5 of framework/HttpDelegator.h.
//
// Each check runs in a separate process, so that an executor that hangs or crashes fails that check only.
#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <exception>
#include <string>
#include <string_view>
#include <vector>

#include <dlfcn.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include "Probe.h"

W::HttpDelegator* W::HttpDelegator::getInstance()
{
    return contract::g_executor;
}

namespace contract {
namespace {

using namespace std::chrono_literals;

std::string g_url;
std::chrono::milliseconds g_timeLimit{90'000};

constexpr int kFailed = 1;
constexpr int kWrongUsage = 2;

std::string url(const char* path)
{
    return g_url + path;
}

// A check returns the problem; nothing if the clause holds.
using Problem = std::string;

const char* const kNeverCompleted = "an accepted request was not completed";

// --- X1 --------------------------------------------------------------------------------------------------------------

Problem completesOnce()
{
    Probe probe(url("/ok"));
    if (probe.add() < 0) {
        return "an ordinary request was refused";
    }
    if (!probe.wait()) {
        return kNeverCompleted;
    }
    std::this_thread::sleep_for(kQuiet);
    if (probe.completions() != 1) {
        return "a request was completed " + std::to_string(probe.completions()) + " times";
    }
    if (probe.status() != W::session::kCompleted || probe.code() != 200 || probe.payload() != "ok") {
        return "a plain GET ended with status " + std::to_string(probe.status()) + ", code " +
               std::to_string(probe.code()) + " and a body of " + std::to_string(probe.payload().size()) + " bytes";
    }
    return {};
}

/// Requests that an executor may refuse, or accept and complete with a failure.
void addUnusual(std::deque<Probe>& probes)
{
    W::HttpHeader header;
    header.add("X-Broken", "a\r\nb");
    probes.emplace_back(url("/ok"), 1, std::function<void(Probe&)>(), header);
    for (const char* address : {"", "nonsense", "nonsense://x/", "http://127.0.0.1:1/", "http://"}) {
        probes.emplace_back(address);
    }
}

Problem notOnTheCallersStack()
{
    std::deque<Probe> probes;
    addUnusual(probes);
    for (int count = 0; count < 10; ++count) {
        probes.emplace_back(url("/ok"));
    }
    probes.emplace_back(url("/ok")).cancel();
    for (Probe& probe : probes) {
        if (probe.add() >= 0 && !probe.wait()) {
            return kNeverCompleted;
        }
        if (probe.wasOnCallersStack()) {
            return "a completion ran inside addRequest()";
        }
    }
    return {};
}

Problem refusedIsForgotten()
{
    // Enough requests for an executor with a limit to refuse some.
    constexpr int kMany = 400;
    constexpr W::UINT64 kId = 5;
    std::deque<Probe> probes;
    addUnusual(probes);
    for (int count = 0; count < kMany; ++count) {
        probes.emplace_back(url("/never"), kId);
    }
    std::vector<Probe*> refused;
    for (Probe& probe : probes) {
        if (probe.add() < 0) {
            refused.push_back(&probe);
            if (probe.completions() == 0) {
                probe.forbid();
            }
        }
    }
    g_executor->flushHttpRequests(kId);
    std::this_thread::sleep_for(kQuiet);
    for (const Probe* probe : refused) {
        if (probe->completions() != 0) {
            return "a refused request was completed";
        }
    }
    return {};
}

// --- X2 --------------------------------------------------------------------------------------------------------------

Problem holdsNoLock()
{
    Probe other(url("/never"), 2);
    Problem problem;
    Probe probe(url("/ok"), 1, [&](Probe&) {
        const char* const call = !returns([&] { other.add(); })                         ? "addRequest()"
                                 : !returns([&] { other.cancel(); })                    ? "setCancel()"
                                 : !returns([&] { g_executor->flushHttpRequests(99); }) ? "flushHttpRequests()"
                                                                                        : nullptr;
        if (call) {
            problem = std::string(call) + " on another thread did not return while a completion ran";
        }
    });
    probe.add();
    return probe.wait(4 * g_patience) ? problem : kNeverCompleted;
}

Problem forgetsWhatCompleted()
{
    // The completion makes the request inaccessible; an executor that touches it afterwards crashes.
    const auto forbid = [](Probe& probe) { probe.forbid(); };
    std::deque<Probe> probes;
    for (int count = 0; count < 10; ++count) {
        probes.emplace_back(url("/ok"), 1, forbid);
        probes.emplace_back("http://127.0.0.1:1/", 1, forbid);
    }
    for (Probe& probe : probes) {
        if (probe.add() >= 0 && !probe.wait()) {
            return kNeverCompleted;
        }
    }
    std::this_thread::sleep_for(kQuiet);
    g_executor->wake();
    std::this_thread::sleep_for(kQuiet);
    return {};
}

// --- X3 --------------------------------------------------------------------------------------------------------------

Problem endsWith600(Probe& probe)
{
    if (!probe.wait()) {
        return "a cancelled request was not completed";
    }
    if (probe.status() != W::session::kCancelled) {
        return "a cancelled request was completed with " + std::to_string(probe.status()) + ", not with 600";
    }
    return probe.wasOnCallersStack() ? "a completion ran inside setCancel()" : Problem();
}

Problem cancelsRunning()
{
    Probe probe(url("/never"));
    probe.add();
    std::this_thread::sleep_for(kQuiet);
    probe.cancel();
    return endsWith600(probe);
}

Problem cancelsBeforeAdding()
{
    Probe probe(url("/ok"));
    probe.cancel();
    probe.add();
    return endsWith600(probe);
}

Problem cancelNeverBlocks()
{
    Event inside;
    Event goOn;
    Probe slow(url("/ok"), 1, [&](Probe&) {
        inside.set();
        goOn.wait(4 * g_patience);
    });
    Probe other(url("/never"), 2);
    other.add();
    slow.add();
    if (!inside.wait(g_patience)) {
        return kNeverCompleted;
    }
    const bool returned = returns([&] { other.cancel(); });
    goOn.set();
    return returned ? Problem() : "setCancel() waited for a completion";
}

Problem cancelAfterCompletion()
{
    Probe probe(url("/ok"), 1, [](Probe& own) { own.cancel(); });
    probe.add();
    if (!probe.wait()) {
        return kNeverCompleted;
    }
    probe.cancel();
    std::this_thread::sleep_for(kQuiet);
    return probe.completions() == 1 ? Problem() : "setCancel() after the completion completed the request again";
}

// --- X4 --------------------------------------------------------------------------------------------------------------

constexpr W::UINT64 kFlushed = 7;
const char* const kFlushHangs = "flushHttpRequests() did not return";

bool flush()
{
    return returns([] { g_executor->flushHttpRequests(kFlushed); });
}

Problem flushEndsAll()
{
    constexpr int kMany = 50;
    std::deque<Probe> probes;
    for (int count = 0; count < kMany; ++count) {
        probes.emplace_back(url("/never"), kFlushed);
    }
    Probe other(url("/slow"), kFlushed + 1);
    std::vector<Probe*> accepted;
    other.add();
    for (Probe& probe : probes) {
        if (probe.add() >= 0) {
            accepted.push_back(&probe);
        }
    }
    if (!flush()) {
        return kFlushHangs;
    }
    for (const Probe* probe : accepted) {
        if (probe->completions() == 0) {
            return "flushHttpRequests() returned before all requests of the id were completed";
        }
        if (probe->status() != W::session::kCancelled) {
            return "a flushed request was completed with " + std::to_string(probe->status()) + ", not with 600";
        }
    }
    if (!other.wait() || other.status() != W::session::kCompleted) {
        return "flushHttpRequests() ended a request of another id";
    }
    return {};
}

Problem flushWaitsForCompletions()
{
    Event inside;
    std::atomic<bool> over{false};
    Probe probe(url("/ok"), kFlushed, [&](Probe&) {
        inside.set();
        std::this_thread::sleep_for(3 * kQuiet);
        over = true;
    });
    probe.add();
    if (!inside.wait(g_patience)) {
        return kNeverCompleted;
    }
    if (!flush()) {
        return kFlushHangs;
    }
    return over ? Problem() : "flushHttpRequests() returned while a completion of the id ran";
}

Problem flushEndsWhatIsAddedMeanwhile()
{
    Probe second(url("/never"), kFlushed);
    bool added = false;
    Probe first(url("/never"), kFlushed, [&](Probe&) { added = second.add() >= 0; });
    first.add();
    if (!flush()) {
        return kFlushHangs;
    }
    return !added || second.completions() == 1
               ? Problem()
               : "flushHttpRequests() returned before a request was completed that a completion had added";
}

Problem flushInsideACompletion()
{
    Probe other(url("/never"), kFlushed);
    bool ended = false;
    Probe probe(url("/slow"), kFlushed, [&](Probe&) {
        g_executor->flushHttpRequests(kFlushed);
        ended = other.completions() == 1;
    });
    other.add();
    probe.add();
    if (!probe.wait()) {
        return "flushHttpRequests() inside a completion did not return";
    }
    return ended ? Problem() : "flushHttpRequests() inside a completion left another request of the id";
}

Problem flushDeletesNothing()
{
    Probe running(url("/never"), kFlushed);
    running.add();
    if (!flush()) {
        return kFlushHangs;
    }
    return Probe::deleted() == 0 ? Problem() : "a request was deleted";
}

// --- X5 --------------------------------------------------------------------------------------------------------------

Problem timesOut()
{
    Probe probe(url("/never"));
    probe.add();
    if (!probe.wait(g_timeLimit)) {
        return "a request without an answer was not completed within " + std::to_string(g_timeLimit.count() / 1000) +
               " s; if the executor waits longer, set --time-limit";
    }
    return probe.status() != W::session::kCompleted ? Problem() : "a request without an answer succeeded";
}

// --- running ---------------------------------------------------------------------------------------------------------

struct Check {
    std::string_view clause;
    const char* what;
    Problem (*run)();
    const char* crash;  ///< the meaning of a segmentation fault
};

const char* const kCrash = "the executor crashed";

const Check kChecks[] = {
    {"X1", "an accepted request is completed once", completesOnce, kCrash},
    {"X1", "a completion does not run on the caller's stack", notOnTheCallersStack, kCrash},
    {"X1", "a refused request is neither completed nor touched", refusedIsForgotten,
     "a refused request was touched, perhaps to complete it"},
    {"X2", "a completion runs with no lock held", holdsNoLock, kCrash},
    {"X2", "a request is not touched after its completion", forgetsWhatCompleted,
     "a request was touched after its completion"},
    {"X3", "a running request ends with 600 when it is cancelled", cancelsRunning, kCrash},
    {"X3", "a request that was cancelled before it was added ends with 600", cancelsBeforeAdding, kCrash},
    {"X3", "setCancel() does not block", cancelNeverBlocks, kCrash},
    {"X3", "setCancel() is allowed during and after the completion", cancelAfterCompletion, kCrash},
    {"X4", "a flush ends all requests of an id, and no others", flushEndsAll, kCrash},
    {"X4", "a flush waits for completions that run", flushWaitsForCompletions, kCrash},
    {"X4", "a flush ends what completions add meanwhile", flushEndsWhatIsAddedMeanwhile, kCrash},
    {"X4", "a flush inside a completion does not wait for that one", flushInsideACompletion, kCrash},
    {"X4", "a flush deletes nothing", flushDeletesNothing, kCrash},
    {"X5", "a request without an answer times out", timesOut, kCrash},
};

/// Loads the library and its executor.
Problem load(const char* library)
{
    void* const handle = dlopen(library, RTLD_NOW | RTLD_GLOBAL);
    if (handle == nullptr) {
        return std::string("cannot load ") + dlerror();
    }
    void* const symbol = dlsym(handle, "_ZN1W13HttpDelegator11getInstanceEv");
    if (symbol == nullptr) {
        return std::string(library) + " does not export W::HttpDelegator::getInstance()";
    }
    W::HttpDelegator* (*getInstance)() = nullptr;
    std::memcpy(&getInstance, &symbol, sizeof getInstance);
    g_executor = getInstance();
    return g_executor ? Problem() : std::string(library) + ": W::HttpDelegator::getInstance() returns null";
}

/// Runs in the child; an exception of the executor ends it.
Problem runHere(const Check& check, const char* library) noexcept
{
    const Problem problem = load(library);
    if (!problem.empty()) {
        return problem;
    }
    g_url = startServer();
    return check.run();
}

Problem runApart(const Check& check, const char* library)
{
    int ends[2];
    if (pipe(ends) != 0) {
        return "cannot create a pipe";
    }
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        close(ends[0]);
        const Problem problem = runHere(check, library);
        const bool written = write(ends[1], problem.data(), problem.size()) == static_cast<ssize_t>(problem.size());
        // Not exit(): threads may still run.
        _exit(problem.empty() && written ? 0 : kFailed);
    }
    close(ends[1]);
    const auto limit = 8 * g_patience + g_timeLimit;
    pollfd ready{ends[0], POLLIN, 0};
    if (child < 0 || poll(&ready, 1, static_cast<int>(limit.count())) == 0) {
        kill(child, SIGKILL);
    }
    Problem problem(1024, '\0');
    const ssize_t got = read(ends[0], problem.data(), problem.size());
    problem.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
    close(ends[0]);
    int status = 0;
    waitpid(child, &status, 0);
    if (WIFSIGNALED(status)) {
        const int signal = WTERMSIG(status);
        return signal == SIGKILL   ? "the check did not end"
               : signal == SIGABRT ? "the executor threw an exception, or aborted"
                                   : check.crash;
    }
    return WEXITSTATUS(status) == 0 ? Problem() : problem.empty() ? "the executor ended the process" : problem;
}

constexpr const char* kHelp = R"(Check that an HTTP executor keeps the contract X1 to X5 of HttpDelegator.h.

Usage: corvane-contract [OPTIONS] LIBRARY [CLAUSE...]

  LIBRARY               check this shared library, which defines W::HttpDelegator::getInstance()
  CLAUSE                check only these clauses, such as X4 (default: all)

  --patience SECONDS    wait this long for events that should happen at once (default: 5)
  --time-limit SECONDS  set the executor's longest time-out (default: 90)
  --list                list the checks and exit
  --help                print this help and exit

Exit status: 0 the contract is kept, 1 a clause fails, 2 wrong usage.
)";

int wrongUsage(const std::string& problem)
{
    std::fprintf(stderr, "corvane-contract: %s; see corvane-contract --help\n", problem.c_str());
    return kWrongUsage;
}

int run(int argc, char** argv)
{
    const char* library = nullptr;
    std::vector<std::string_view> clauses;
    for (int place = 1; place < argc; ++place) {
        const std::string_view word = argv[place];
        if (word == "--help") {
            std::fputs(kHelp, stdout);
            return 0;
        }
        if (word == "--list") {
            for (const Check& check : kChecks) {
                std::printf("%s  %s\n", std::string(check.clause).c_str(), check.what);
            }
            return 0;
        }
        if (word == "--patience" || word == "--time-limit") {
            char* end = nullptr;
            const double seconds = place + 1 < argc ? std::strtod(argv[++place], &end) : 0;
            if (end == nullptr || *end != '\0' || !(seconds > 0 && seconds < 86400)) {
                return wrongUsage(std::string(word) + " needs a number of seconds");
            }
            (word == "--patience" ? g_patience : g_timeLimit) =
                std::chrono::milliseconds(static_cast<std::int64_t>(seconds * 1000));
        } else if (word.substr(0, 1) == "-") {
            return wrongUsage("unknown option " + std::string(word));
        } else if (library == nullptr) {
            library = argv[place];
        } else if (std::none_of(std::begin(kChecks), std::end(kChecks),
                                [&](const Check& check) { return check.clause == word; })) {
            return wrongUsage("unknown clause " + std::string(word));
        } else {
            clauses.push_back(word);
        }
    }
    if (library == nullptr) {
        return wrongUsage("no library is given");
    }
    bool kept = true;
    for (const Check& check : kChecks) {
        if (!clauses.empty() && std::find(clauses.begin(), clauses.end(), check.clause) == clauses.end()) {
            continue;
        }
        const Problem problem = runApart(check, library);
        std::printf("%s  %s: %s%s\n", std::string(check.clause).c_str(), check.what,
                    problem.empty() ? "ok" : "FAILED: ", problem.c_str());
        std::fflush(stdout);
        kept = kept && problem.empty();
    }
    return kept ? 0 : kFailed;
}

}  // namespace
}  // namespace contract

int main(int argc, char** argv)
{
    try {
        return contract::run(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "corvane-contract: %s\n", error.what());
        return contract::kFailed;
    }
}
