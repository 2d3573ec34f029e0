#include "Sqlite.h"

#include <fmt/format.h>

namespace corvaned::sqlite {

Connection::Connection(const std::string& path, int flags) : m_path(path), m_handle(nullptr, &sqlite3_close)
{
    sqlite3* handle = nullptr;
    const int result = sqlite3_open_v2(path.c_str(), &handle, flags | SQLITE_OPEN_NOMUTEX, nullptr);
    m_handle.reset(handle);
    if (handle == nullptr) {
        throw std::bad_alloc();
    }
    if (result != SQLITE_OK) {
        fail("cannot open");
    }
    // A writer waits for another one rather than fail; readers never wait.
    constexpr int kPatienceMs = 10000;
    sqlite3_busy_timeout(handle, kPatienceMs);
}

void Connection::fail(const char* what) const
{
    throw Error(fmt::format("{} database {}: {}", what, m_path, sqlite3_errmsg(m_handle.get())),
                sqlite3_errcode(m_handle.get()));
}

void Connection::execute(const char* sql)
{
    if (sqlite3_exec(m_handle.get(), sql, nullptr, nullptr, nullptr) != SQLITE_OK) {
        fail("cannot use");
    }
}

sqlite3_stmt* Connection::prepared(std::string_view sql)
{
    if (const auto known = m_statements.find(sql); known != m_statements.end()) {
        return known->second.get();
    }
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v3(m_handle.get(), sql.data(), static_cast<int>(sql.size()), SQLITE_PREPARE_PERSISTENT,
                           &statement, nullptr) != SQLITE_OK) {
        fail("cannot use");
    }
    m_statements.try_emplace(sql, statement, &sqlite3_finalize);
    return statement;
}

bool Query::next()
{
    const int result = sqlite3_step(m_statement);
    if (result != SQLITE_ROW && result != SQLITE_DONE) {
        m_connection.fail("cannot use");
    }
    return result == SQLITE_ROW;
}

void Query::run()
{
    next();
    sqlite3_reset(m_statement);
}

std::string_view Query::text(int column) const
{
    const auto* const text = reinterpret_cast<const char*>(sqlite3_column_text(m_statement, column));
    return text == nullptr
               ? std::string_view()
               : std::string_view(text, static_cast<std::size_t>(sqlite3_column_bytes(m_statement, column)));
}

void Query::check(int result) const
{
    if (result != SQLITE_OK) {
        m_connection.fail("cannot use");
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
    } catch (const Error&) {
        // SQLite has rolled back by itself where the fault was grave; there is nothing left to undo.
        m_connection = nullptr;
    }
}

void Transaction::commit()
{
    m_connection->execute("COMMIT");
    m_connection = nullptr;
}

}  // namespace corvaned::sqlite
