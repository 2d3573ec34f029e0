// The few things the service asks of SQLite: a connection with its prepared statements, a query, a transaction.
// Store.h opens the service's database with them.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unordered_map>

namespace corvaned::sqlite {

/// A call that SQLite refused; what() names the database and SQLite's reason.
class Error : public std::runtime_error {
public:
    Error(const std::string& what, int code) : std::runtime_error(what), m_code(code) {}

    /// SQLite's primary result code.
    int code() const { return m_code; }

private:
    int m_code;
};

/// One connection to one database file. Used by one thread at a time.
class Connection {
public:
    /// @param flags  SQLITE_OPEN_...
    /// @throws Error
    Connection(const std::string& path, int flags);

    /// Runs statements that give no rows.
    void execute(const char* sql);

    /// The prepared statement of that text, prepared at its first use and kept.
    sqlite3_stmt* prepared(std::string_view sql);

    /// How many rows the last statement changed.
    int changes() const { return sqlite3_changes(m_handle.get()); }

    [[noreturn]] void fail(const char* what) const;

private:
    std::string m_path;
    std::unique_ptr<sqlite3, int (*)(sqlite3*)> m_handle;
    std::unordered_map<std::string_view, std::unique_ptr<sqlite3_stmt, int (*)(sqlite3_stmt*)>> m_statements;
};

/// One run of a prepared statement; it is free again when the query goes out of scope.
class Query {
public:
    /// @param sql  must outlive the connection: a literal
    Query(Connection& connection, std::string_view sql)
        : m_connection(connection), m_statement(connection.prepared(sql))
    {}
    Query(const Query&) = delete;
    Query& operator=(const Query&) = delete;
    ~Query()
    {
        sqlite3_reset(m_statement);
        sqlite3_clear_bindings(m_statement);
    }

    /// Binds the statement's parameters in order. Texts are not copied: they must outlive the run.
    template <typename... Values>
    Query& bind(const Values&... values)
    {
        int place = 0;
        (bindOne(++place, values), ...);
        return *this;
    }

    /// Binds one parameter, counted from 1; the text must outlive the run.
    void bindText(int place, std::string_view value) { bindOne(place, value); }

    /// Makes one parameter, counted from 1, NULL.
    void bindNull(int place) { check(sqlite3_bind_null(m_statement, place)); }

    /// Steps to the next row; false behind the last.
    bool next();

    /// Runs a statement that gives no rows; it may be bound and run again.
    void run();

    std::int64_t number(int column) const { return sqlite3_column_int64(m_statement, column); }

    /// Valid until the next step.
    std::string_view text(int column) const;

private:
    void bindOne(int place, std::int64_t value) { check(sqlite3_bind_int64(m_statement, place, value)); }
    void bindOne(int place, std::string_view value)
    {
        check(sqlite3_bind_text64(m_statement, place, value.data() == nullptr ? "" : value.data(), value.size(),
                                  SQLITE_STATIC, SQLITE_UTF8));
    }
    void check(int result) const;

    Connection& m_connection;
    sqlite3_stmt* m_statement;
};

/// Rolls back unless committed.
class Transaction {
public:
    enum class Kind {
        Read,   // one unchanging view of the database
        Write,  // the write lock from the start, so that it cannot fail half-way for want of it
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
