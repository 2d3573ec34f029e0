#include "ServiceProcess.h"

#include <fcntl.h>
#include <fmt/chrono.h>
#include <fmt/format.h>
#include <spawn.h>
#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <stdexcept>
#include <utility>
#include <vector>

namespace W::test {

namespace {

constexpr std::int64_t kHour = 3600;
constexpr int kHoursAround = 48;
constexpr int kNumberOnAir = 100;

std::string makeDirectory()
{
    std::string pattern = std::filesystem::temp_directory_path() / "service-e2e-XXXXXX";
    if (::mkdtemp(pattern.data()) == nullptr)
        throw std::runtime_error("no directory for the database");
    return pattern;
}

std::string programme(const char* channel, std::int64_t start, const std::string& body)
{
    const auto time = [](std::int64_t seconds) { return fmt::format("{:%Y%m%d%H%M%S} +0000", fmt::gmtime(seconds)); };
    return fmt::format("<programme channel='{}' start='{}' stop='{}'>{}</programme>\n", channel, time(start),
                       time(start + kHour), body);
}

std::string listing(std::int64_t onAirSince)
{
    std::string text =
        "<tv>"
        "<channel id='one'><display-name>News One</display-name>"
        "<icon src='https://images.example/one.png'/></channel>"
        "<channel id='two'><display-name>Movie Two</display-name></channel>"
        "<channel id='three'><display-name>Kids Three</display-name>"
        "<icon src='https://images.example/three.png'/></channel>\n";
    for (int hour = -kHoursAround; hour <= kHoursAround; ++hour) {
        const int number = kNumberOnAir + hour;
        const std::int64_t start = onAirSince + hour * kHour;
        text += programme("one", start,
                          fmt::format("<title>Report</title><sub-title>Report {0}</sub-title><category>News</category>"
                                      "<episode-num system='onscreen'>S1E{0}</episode-num>"
                                      "<rating><value>PG</value></rating>",
                                      number));
        text += programme("two", start,
                          fmt::format("<title>Film {0}</title><desc>A ship in fog, number{0}.</desc><credits>"
                                      "<director>Ann Ek</director>{1}</credits><date>2001</date>"
                                      "<category>Movie</category>",
                                      number, number % 2 == 0 ? "<actor role='Mate'>Bo Li</actor>" : ""));
        text +=
            programme("three", start, fmt::format("<title>Puppets {}</title><category>Children</category>", number));
    }
    return text + "</tv>";
}

/// A process whose standard output is read.
struct Spawned {
    pid_t process = -1;
    int output = -1;
};

Spawned spawn(std::vector<std::string> arguments)
{
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0)
        throw std::runtime_error("no pipe");
    std::vector<char*> pointers;
    pointers.reserve(arguments.size() + 1);
    for (std::string& argument : arguments)
        pointers.push_back(argument.data());
    pointers.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    Spawned spawned;
    spawned.output = ends[0];
    const int failure = ::posix_spawn(&spawned.process, CORVANED_PROGRAM, &actions, nullptr, pointers.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    ::close(ends[1]);
    if (failure != 0)
        throw std::runtime_error("corvaned cannot be started");
    return spawned;
}

/// Up to a character, or to the end.
std::string readUpTo(int descriptor, int end)
{
    std::string text;
    for (char c = 0; ::read(descriptor, &c, 1) == 1 && c != end;)
        text += c;
    return text;
}

int exitCode(pid_t process)
{
    int state = 0;
    while (::waitpid(process, &state, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(state) ? WEXITSTATUS(state) : -1;
}

}  // namespace

ServiceProcess::ServiceProcess(std::vector<std::string> options)
    : m_options(std::move(options)), m_directory(makeDirectory())
{
    const std::int64_t now =
        std::chrono::duration_cast<std::chrono::seconds>(std::chrono::system_clock::now().time_since_epoch()).count();
    // In the middle of the hour on air, so that a slow run stays in it.
    m_iOnAirSince = now - kHour / 2;
    const std::string file = m_directory / "listing.xml";
    std::ofstream(file) << listing(m_iOnAirSince);
    import(file);
    start("127.0.0.1:0");
}

ServiceProcess::~ServiceProcess()
{
    stop();
    std::error_code ignored;
    std::filesystem::remove_all(m_directory, ignored);
}

void ServiceProcess::restart()
{
    stop();
    start(m_url.substr(m_url.rfind('/') + 1));
}

std::int64_t ServiceProcess::midnight()
{
    const std::time_t now = std::time(nullptr);
    std::tm parts{};
    ::localtime_r(&now, &parts);
    parts.tm_hour = parts.tm_min = parts.tm_sec = 0;
    parts.tm_isdst = -1;
    return ::mktime(&parts);
}

void ServiceProcess::import(const std::string& listing) const
{
    const Spawned spawned = spawn({CORVANED_PROGRAM, "import", "--db", databaseFile(), listing});
    readUpTo(spawned.output, EOF);
    ::close(spawned.output);
    if (exitCode(spawned.process) != 0)
        throw std::runtime_error("corvaned does not import " + listing);
}

std::string ServiceProcess::upload(const std::string& name) const
{
    sqlite3* database = nullptr;
    sqlite3_stmt* query = nullptr;
    std::string content;
    if (sqlite3_open_v2(databaseFile().c_str(), &database, SQLITE_OPEN_READONLY, nullptr) == SQLITE_OK &&
        sqlite3_prepare_v2(database, "SELECT content FROM upload WHERE filename = ?", -1, &query, nullptr) ==
            SQLITE_OK &&
        sqlite3_bind_text(query, 1, name.c_str(), -1, SQLITE_STATIC) == SQLITE_OK &&
        sqlite3_step(query) == SQLITE_ROW) {
        content.assign(static_cast<const char*>(sqlite3_column_blob(query, 0)),
                       static_cast<std::size_t>(sqlite3_column_bytes(query, 0)));
    }
    sqlite3_finalize(query);
    sqlite3_close(database);
    return content;
}

void ServiceProcess::start(const std::string& address)
{
    std::vector<std::string> arguments = {CORVANED_PROGRAM, "serve", "--db", databaseFile(), "--listen", address};
    arguments.insert(arguments.end(), m_options.begin(), m_options.end());
    const Spawned spawned = spawn(std::move(arguments));
    m_iProcess = spawned.process;
    const std::string line = readUpTo(spawned.output, '\n');
    ::close(spawned.output);
    const std::size_t url = line.find("http://");
    if (url == std::string::npos) {
        stop();
        throw std::runtime_error("corvaned does not listen");
    }
    m_url = line.substr(url);
}

void ServiceProcess::stop()
{
    if (m_iProcess < 0)
        return;
    ::kill(m_iProcess, SIGTERM);
    exitCode(m_iProcess);
    m_iProcess = -1;
}

}  // namespace W::test
