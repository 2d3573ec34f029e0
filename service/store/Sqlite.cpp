#include "Sqlite.h"

#include <algorithm>
#include <new>
#include <thread>
#include <utility>

#include <fmt/format.h>

namespace corvaned::sqlite {
namespace {

using SteadyClock = std::chrono::steady_clock;

// Instructions of SQLite's virtual machine between two checks of the limit; they take about 20 microseconds.
constexpr int kStepsPerLook = 1000;

constexpr std::chrono::milliseconds kBusyPause{5};

// A statement as messages show it: on one line, without runs of blanks, and cut off if it is long.
std::string shortened(std::string_view sql)
{
    constexpr std::size_t kLongest = 200;
    std::string line;
    for (const char c : sql) {
        const bool blank = c == ' ' || c == '\n' || c == '\t';
        if (!blank || (!line.empty() && line.back() != ' ')) {
            line += blank ? ' ' : c;
        }
    }
    if (line.size() > kLongest) {
        line.resize(kLongest);
        line += "...";
    }
    return line;
}

}  // namespace

Connection::Connection(const std::string& path, int flags) : m_path(path), m_handle(nullptr, &sqlite3_close)
{
    sqlite3* handle = nullptr;
    const int result = sqlite3_open_v2(path.c_str(), &handle, flags | SQLITE_OPEN_NOMUTEX, nullptr);
    m_handle.reset(handle);
    if (handle == nullptr) {
        throw std::bad_alloc();
    }
    if (result != SQLITE_OK) {
        fail("cannot open", {});
    }
    sqlite3_busy_handler(handle, &Connection::onBusy, this);
}

void Connection::fail(const char* what, std::string_view sql) const
{
    const int code = sqlite3_errcode(m_handle.get());
    std::string message = fmt::format("{} database {}: {}", what, m_path, sqlite3_errmsg(m_handle.get()));
    if (!sql.empty()) {
        message += fmt::format(" (in: {})", shortened(sql));
    }
    if (m_limit != nullptr && (m_limit->m_timeIsUp || m_limit->m_over)) {
        const auto reason = m_limit->m_over ? Interrupted::Reason::Abandoned : Interrupted::Reason::TimeUp;
        throw Interrupted(message, code, reason);
    }
    throw SqliteError(message, code);
}

void Connection::execute(const std::string& sql)
{
    if (sqlite3_exec(m_handle.get(), sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
        fail("cannot use", sql);
    }
}

Connection::Idle::iterator Connection::take(std::string_view sql, Statement& statement)
{
    auto known = m_idle.find(sql);
    if (known == m_idle.end()) {
        known = m_idle.try_emplace(std::string(sql)).first;
    }
    if (!known->second.empty()) {
        statement = std::move(known->second.back());
        known->second.pop_back();
        return known;
    }
    sqlite3_stmt* handle = nullptr;
    if (sqlite3_prepare_v3(m_handle.get(), sql.data(), static_cast<int>(sql.size()), SQLITE_PREPARE_PERSISTENT, &handle,
                           nullptr) != SQLITE_OK) {
        fail("cannot use", sql);
    }
    statement.handle.reset(handle);
    for (int column = 0; column < sqlite3_column_count(handle); ++column) {
        statement.columns.emplace_back(sqlite3_column_name(handle, column));
    }
    return known;
}

bool Connection::isWanted()
{
    if (m_limit == nullptr) {
        return true;
    }
    m_limit->m_over = m_limit->m_over || (m_limit->m_isOver && m_limit->m_isOver());
    m_limit->m_timeIsUp = m_limit->m_timeIsUp || SteadyClock::now() >= m_deadline;
    return !m_limit->m_over && !m_limit->m_timeIsUp;
}

int Connection::onProgress(void* connection)
{
    return static_cast<Connection*>(connection)->isWanted() ? 0 : 1;
}

int Connection::onBusy(void* connection, int count)
{
    auto& self = *static_cast<Connection*>(connection);
    // The limit is for the statement's own work.
    const auto deadline = std::exchange(self.m_deadline, SteadyClock::time_point::max());
    const bool wanted = self.isWanted();
    self.m_deadline = deadline;
    if (!wanted || count * kBusyPause >= self.m_busyTime) {
        return 0;
    }
    std::this_thread::sleep_for(kBusyPause);
    return 1;
}

StatementLimit::StatementLimit(Connection& connection, std::chrono::milliseconds time, std::function<bool()> isOver)
    : m_connection(connection), m_time(time), m_isOver(std::move(isOver))
{
    connection.m_limit = this;
    sqlite3_progress_handler(connection.handle(), kStepsPerLook, &Connection::onProgress, &connection);
}

StatementLimit::~StatementLimit()
{
    m_connection.m_limit = nullptr;
    sqlite3_progress_handler(m_connection.handle(), 0, nullptr, nullptr);
}

Query::~Query()
{
    sqlite3_reset(m_statement.handle.get());
    sqlite3_clear_bindings(m_statement.handle.get());
    try {
        m_home->second.push_back(std::move(m_statement));
    } catch (const std::bad_alloc&) {
        m_statement.handle.reset();  // the next query prepares the statement again
    }
}

bool Query::next()
{
    if (m_connection.m_limit != nullptr && m_deadline == SteadyClock::time_point()) {
        m_deadline = SteadyClock::now() + m_connection.m_limit->m_time;
    }
    const auto outer = std::exchange(
        m_connection.m_deadline, m_deadline == SteadyClock::time_point() ? SteadyClock::time_point::max() : m_deadline);
    const int result = sqlite3_step(m_statement.handle.get());
    m_connection.m_deadline = outer;
    if (result != SQLITE_ROW && result != SQLITE_DONE) {
        m_connection.fail("cannot use", sql());
    }
    return result == SQLITE_ROW;
}

void Query::run()
{
    next();
    sqlite3_reset(m_statement.handle.get());
    m_deadline = {};
}

int Query::place(std::string_view column) const
{
    const std::vector<std::string>& names = m_statement.columns;
    for (std::size_t i = 0; i < names.size(); ++i) {
        const std::size_t at = (m_nextColumn + i) % names.size();
        if (names[at] == column) {
            m_nextColumn = at + 1;
            return static_cast<int>(at);
        }
    }
    throw std::logic_error(fmt::format("no column {} in: {}", column, shortened(sql())));
}

std::string_view Query::text(int column) const
{
    sqlite3_stmt* const statement = m_statement.handle.get();
    const auto* const text = reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
    return text == nullptr ? std::string_view()
                           : std::string_view(text, static_cast<std::size_t>(sqlite3_column_bytes(statement, column)));
}

void Query::check(int result) const
{
    if (result != SQLITE_OK) {
        m_connection.fail("cannot use", sql());
    }
}

Transaction::Transaction(Connection& connection, Kind kind) : m_connection(&connection)
{
    connection.execute(kind == Kind::Write ? "BEGIN IMMEDIATE" : "BEGIN");
}

Transaction::~Transaction()
{
    if (m_connection == nullptr) {
        return;
    }
    try {
        m_connection->execute("ROLLBACK");
    } catch (const SqliteError&) {
        // SQLite rolls back by itself after a serious fault; nothing is left to undo.
        m_connection = nullptr;
    }
}

void Transaction::commit()
{
    m_connection->execute("COMMIT");
    m_connection = nullptr;
}

}  // namespace corvaned::sqlite
