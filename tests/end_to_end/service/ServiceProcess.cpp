#include "ServiceProcess.h"

#include <chrono>
#include <csignal>
#include <ctime>
#include <sstream>
#include <stdexcept>
#include <utility>
#include <vector>

#include <fmt/chrono.h>
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include "PrivatePostgres.h"

namespace W::test {

namespace {

constexpr std::int64_t kHour = 3600;
constexpr int kHoursAround = 48;
constexpr int kNumberOnAir = 100;

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

support::Launch corvaned(std::vector<std::string> arguments)
{
    return {CORVANED_PROGRAM, std::move(arguments), {}};
}

}  // namespace

ServiceProcess::ServiceProcess(std::vector<std::string> options)
    : m_options(std::move(options)),
      m_viewers(support::isOnPostgres() ? support::newPostgresDatabase() : m_scratch.file("viewers.db"))
{
    const std::int64_t now =
        std::chrono::duration_cast<std::chrono::seconds>(std::chrono::system_clock::now().time_since_epoch()).count();
    // Now is the middle of the programmes on air, so that a slow run stays within them.
    m_onAirSince = now - kHour / 2;
    import(m_scratch.write("listing.xml", listing(m_onAirSince)));
    start("127.0.0.1:0");
}

ServiceProcess::~ServiceProcess()
{
    stop();
}

void ServiceProcess::restart()
{
    stop();
    start(m_url.substr(m_url.rfind('/') + 1));
}

void ServiceProcess::restart(std::vector<std::string> options)
{
    m_options = std::move(options);
    restart();
}

std::vector<std::string> ServiceProcess::requestedPaths() const
{
    std::vector<std::string> paths;
    std::istringstream log(m_process->errors());
    const std::string field = " path=";
    for (std::string line; std::getline(log, line);) {
        const std::size_t at = line.find(field);
        if (at != std::string::npos) {
            const std::size_t begin = at + field.size();
            paths.push_back(line.substr(begin, line.find(' ', begin) - begin));
        }
    }
    return paths;
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
    const support::ProcessResult result = support::runProcess(corvaned({"import", "--db", databaseFile(), listing}));
    if (result.exitCode != 0) {
        throw std::runtime_error("corvaned cannot import " + listing + ": " + result.errors);
    }
}

std::string ServiceProcess::upload(const std::string& name) const
{
    if (support::isOnPostgres()) {
        return support::queryPostgres(
            m_viewers, "SELECT convert_from(content, 'UTF8') FROM upload WHERE filename = '" + name + "'");
    }
    sqlite3* database = nullptr;
    sqlite3_stmt* query = nullptr;
    std::string content;
    if (sqlite3_open_v2(m_viewers.c_str(), &database, SQLITE_OPEN_READONLY, nullptr) == SQLITE_OK &&
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
    std::vector<std::string> arguments = {"serve", "--db", databaseFile(), "--viewers", m_viewers, "--listen", address};
    arguments.insert(arguments.end(), m_options.begin(), m_options.end());
    m_process.emplace(corvaned(std::move(arguments)));
    const std::string line = m_process->readLine();
    const std::size_t url = line.find("http://");
    if (url == std::string::npos) {
        throw std::runtime_error("corvaned does not listen: " + m_process->errors());
    }
    m_url = line.substr(url);
}

void ServiceProcess::stop()
{
    m_process->signal(SIGTERM);
    EXPECT_EQ(m_process->wait(), 0) << m_process->errors();
}

}  // namespace W::test
