// The parts of SQLite that the service uses: a connection with its prepared statements, a query, a transaction.
// GuideFile.h and SqliteViewers.h open databases with them.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <sqlite3.h>

namespace corvaned::sqlite {

/// A call that SQLite refused. what() names the database, SQLite's reason and the statement.
class SqliteError : public std::runtime_error {
public:
    SqliteError(const std::string& what, int code) : std::runtime_error(what), m_code(code) {}

    /// SQLite's primary result code.
    int code() const { return m_code; }

private:
    int m_code;
};

/// The connection's StatementLimit has ended a statement.
class Interrupted : public SqliteError {
public:
    enum class Reason {
        TimeUp,     // the statement exceeded its time
        Abandoned,  // the result is no longer wanted
    };

    Interrupted(const std::string& what, int code, Reason reason) : SqliteError(what, code), m_reason(reason) {}
    Reason reason() const { return m_reason; }

private:
    Reason m_reason;
};

/// A prepared statement and the names of its columns.
struct Statement {
    std::unique_ptr<sqlite3_stmt, int (*)(sqlite3_stmt*)> handle{nullptr, &sqlite3_finalize};
    std::vector<std::string> columns;
};

/// One connection to one database file. Used by one thread at a time.
class Connection {
public:
    /// @param flags  SQLITE_OPEN_...
    /// @throws SqliteError
    Connection(const std::string& path, int flags);
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    /// Runs statements that return no rows.
    void execute(const std::string& sql);

    /// The number of rows that the last statement changed.
    int changes() const { return sqlite3_changes(m_handle.get()); }

    /// How long a statement waits for locks of other connections; 10 s at first. It may exceed a StatementLimit.
    void setBusyTime(std::chrono::milliseconds time) { m_busyTime = time; }

    sqlite3* handle() const { return m_handle.get(); }

private:
    friend class Query;
    friend class StatementLimit;
    using Idle = std::map<std::string, std::vector<Statement>, std::less<>>;

    /// @throws SqliteError, or Interrupted if the StatementLimit has ended the statement
    [[noreturn]] void fail(const char* what, std::string_view sql) const;

    Idle::iterator take(std::string_view sql, Statement& statement);
    static int onProgress(void* connection);
    static int onBusy(void* connection, int count);
    bool isWanted();

    std::string m_path;
    std::unique_ptr<sqlite3, int (*)(sqlite3*)> m_handle;
    Idle m_idle;  // prepared statements without a living query, by their SQL
    class StatementLimit* m_limit = nullptr;
    std::chrono::milliseconds m_busyTime{10'000};
    std::chrono::steady_clock::time_point m_deadline = std::chrono::steady_clock::time_point::max();
};

/// During its lifetime, every statement of the connection ends with Interrupted when it exceeds its time or its result
/// is no longer wanted.
class StatementLimit {
public:
    /// @param time    for one statement, from its first step to its last
    /// @param isOver  returns whether results are no longer wanted; called every few thousand instructions. Empty: they
    ///                are always wanted
    StatementLimit(Connection& connection, std::chrono::milliseconds time, std::function<bool()> isOver);
    StatementLimit(const StatementLimit&) = delete;
    StatementLimit& operator=(const StatementLimit&) = delete;
    ~StatementLimit();

private:
    friend class Connection;
    friend class Query;

    Connection& m_connection;
    const std::chrono::milliseconds m_time;
    const std::function<bool()> m_isOver;
    bool m_timeIsUp = false;
    bool m_over = false;
};

/// One run of a statement. Queries of the same SQL that live at the same time are independent of each other.
class Query {
public:
    Query(Connection& connection, std::string_view sql)
        : m_connection(connection), m_home(connection.take(sql, m_statement))
    {}
    Query(const Query&) = delete;
    Query& operator=(const Query&) = delete;

    /// Keeps the prepared statement for the next query of the same SQL.
    ~Query();

    /// Binds the statement's parameters in order. Strings are copied.
    template <typename... Values>
    Query& bind(const Values&... values)
    {
        int place = 0;
        (bindOne(++place, values, SQLITE_TRANSIENT), ...);
        return *this;
    }

    /// Binds one parameter, counted from 1. The string is copied.
    void bindText(int place, std::string_view value) { bindOne(place, value, SQLITE_TRANSIENT); }

    /// Binds one parameter, counted from 1.
    void bindNumber(int place, std::int64_t value) { bindOne(place, value, nullptr); }

    /// Binds bytes to one parameter, counted from 1. They are copied.
    void bindBlob(int place, std::string_view bytes)
    {
        check(sqlite3_bind_blob64(m_statement.handle.get(), place, bytes.data() == nullptr ? "" : bytes.data(),
                                  bytes.size(), SQLITE_TRANSIENT));
    }

    /// Binds NULL to one parameter, counted from 1.
    void bindNull(int place) { check(sqlite3_bind_null(m_statement.handle.get(), place)); }

    /// Steps to the next row. @return false after the last
    bool next();

    /// Runs a statement that returns no rows; after that it can be bound and run again.
    void run();

    /// Binds all parameters in order, without copying strings, and runs a statement that returns no rows.
    template <typename... Values>
    void run(const Values&... values)
    {
        int place = 0;
        (bindOne(++place, values, SQLITE_STATIC), ...);
        run();
    }

    /// Reads a column of the row by its name. A column that the statement does not have is a defect of the caller and
    /// throws std::logic_error.
    std::int64_t number(std::string_view column) const { return number(place(column)); }

    /// As number(column). The string is valid until the next step.
    std::string_view text(std::string_view column) const { return text(place(column)); }

    /// Reads a column by its place, for statements of one column.
    std::int64_t number(int column) const { return sqlite3_column_int64(m_statement.handle.get(), column); }
    std::string_view text(int column) const;

    const std::vector<std::string>& columns() const { return m_statement.columns; }
    bool isNull(int column) const { return sqlite3_column_type(m_statement.handle.get(), column) == SQLITE_NULL; }

private:
    int place(std::string_view column) const;
    void bindOne(int place, std::int64_t value, sqlite3_destructor_type /*copy*/)
    {
        check(sqlite3_bind_int64(m_statement.handle.get(), place, value));
    }
    void bindOne(int place, std::string_view value, sqlite3_destructor_type copy)
    {
        check(sqlite3_bind_text64(m_statement.handle.get(), place, value.data() == nullptr ? "" : value.data(),
                                  value.size(), copy, SQLITE_UTF8));
    }
    void check(int result) const;
    std::string_view sql() const { return m_home->first; }

    Connection& m_connection;
    Statement m_statement;
    Connection::Idle::iterator m_home;
    std::chrono::steady_clock::time_point m_deadline{};  // of this run; the epoch before its first step
    mutable std::size_t m_nextColumn = 0;                // columns are usually read in their order
};

/// Rolls back unless committed.
class Transaction {
public:
    enum class Kind {
        Read,   // one unchanging view of the database
        Write,  // takes the write lock at the start, so that it cannot fail later because another writer has it
    };

    Transaction(Connection& connection, Kind kind);
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;
    ~Transaction();

    void commit();

private:
    Connection* m_connection;  // null once committed
};

}  // namespace corvaned::sqlite
