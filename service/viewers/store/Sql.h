// SQL on either of the databases for viewers' data. Statements are written once, in the SQL that both understand, with
// "?" or "?1" for parameters. ViewerStore.h gives out the connections.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace corvaned {

/// One run of a statement. Parameters are counted from 1; strings are copied.
class SqlStatement {
public:
    SqlStatement() = default;
    SqlStatement(const SqlStatement&) = delete;
    SqlStatement& operator=(const SqlStatement&) = delete;
    virtual ~SqlStatement() = default;

    virtual void bindNumber(int place, std::int64_t value) = 0;
    virtual void bindText(int place, std::string_view value) = 0;
    virtual void bindBytes(int place, std::string_view value) = 0;

    /// Steps to the next row. @return false after the last
    virtual bool next() = 0;

    /// Reads a column of the row by its name. NULL is 0 and "". A string is valid until the next step.
    virtual std::int64_t number(std::string_view column) = 0;
    virtual std::string_view text(std::string_view column) = 0;

    /// The number of rows that the statement has changed; valid after next() has returned false.
    virtual std::int64_t changes() = 0;
};

/// A transaction's connection. Used by one thread at a time.
class SqlConnection {
public:
    SqlConnection() = default;
    SqlConnection(const SqlConnection&) = delete;
    SqlConnection& operator=(const SqlConnection&) = delete;
    virtual ~SqlConnection() = default;

    /// The statement is prepared once per connection.
    virtual std::unique_ptr<SqlStatement> prepare(std::string_view sql) = 0;

    /// Runs statements that return no rows.
    virtual void execute(const std::string& sql) = 0;

    /// Locks the user until the end of the transaction. Other transactions wait in their lockUser().
    virtual void lockUser(std::string_view user) = 0;
};

/// Bytes that need not be UTF-8.
struct SqlBytes {
    std::string_view bytes;
};

/// A statement with its parameters.
class SqlQuery {
public:
    SqlQuery(SqlConnection& connection, std::string_view sql) : m_statement(connection.prepare(sql)) {}

    /// Binds the parameters in order.
    template <typename... Values>
    SqlQuery& bind(const Values&... values)
    {
        int place = 0;
        (bindOne(++place, values), ...);
        return *this;
    }

    bool next() { return m_statement->next(); }

    /// Runs a statement that returns no rows. @return the number of rows changed
    std::int64_t run()
    {
        while (next()) {
        }
        return m_statement->changes();
    }

    std::int64_t number(std::string_view column) const { return m_statement->number(column); }
    std::string_view text(std::string_view column) const { return m_statement->text(column); }

private:
    void bindOne(int place, std::int64_t value) { m_statement->bindNumber(place, value); }
    void bindOne(int place, std::string_view value) { m_statement->bindText(place, value); }
    void bindOne(int place, SqlBytes value) { m_statement->bindBytes(place, value.bytes); }

    std::unique_ptr<SqlStatement> m_statement;
};

}  // namespace corvaned
