// One connection to PostgreSQL with its prepared statements; every call has a deadline.
#pragma once

#include <chrono>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

#include <libpq-fe.h>

#include "Sql.h"

namespace corvaned {

/// A failed call; what() has the server's or the library's reason.
class PostgresError : public std::runtime_error {
public:
    PostgresError(const std::string& what, std::string state) : std::runtime_error(what), m_state(std::move(state)) {}

    /// SQLSTATE, five characters; empty if the connection failed.
    const std::string& state() const { return m_state; }

private:
    std::string m_state;
};

using PostgresResult = std::unique_ptr<PGresult, void (*)(PGresult*)>;

class PostgresConnection : public SqlConnection {
public:
    /// @param statementTime  limit for one statement; the server ends a longer one
    /// @throws PostgresError
    PostgresConnection(const std::string& url, std::chrono::milliseconds statementTime);

    std::unique_ptr<SqlStatement> prepare(std::string_view sql) override;
    void execute(const std::string& sql) override;
    void lockUser(std::string_view user) override;

    /// Whether the connection can be used again: it is neither lost nor in a transaction.
    bool isIdle() const;

    /// Runs a prepared statement.
    /// @throws PostgresError
    PostgresResult run(const std::string& name, int count, const char* const* values, const int* lengths,
                       const int* formats);

private:
    PostgresResult await(int sent);
    [[noreturn]] void fail(const PGresult* result);

    const std::chrono::milliseconds m_time;
    std::unique_ptr<PGconn, void (*)(PGconn*)> m_handle;
    std::map<std::string, std::string, std::less<>> m_prepared;  // names by SQL
};

}  // namespace corvaned
