#include "PostgresConnection.h"

#include <cctype>
#include <charconv>
#include <vector>

#include <fmt/format.h>
#include <poll.h>

namespace corvaned {
namespace {

using SteadyClock = std::chrono::steady_clock;

// The server ends a statement that exceeds its time. A connection that does not answer for this much longer is lost.
constexpr std::chrono::milliseconds kGrace{500};

constexpr Oid kBytes = 17;  // BYTEAOID

// Writes the parameters "?" and "?1" as PostgreSQL does: "$1".
std::string numbered(std::string_view sql)
{
    std::string result;
    int next = 0;
    for (std::size_t i = 0; i < sql.size(); ++i) {
        if (sql[i] != '?') {
            result += sql[i];
            continue;
        }
        result += '$';
        if (i + 1 == sql.size() || std::isdigit(static_cast<unsigned char>(sql[i + 1])) == 0) {
            result += std::to_string(++next);
        }
    }
    return result;
}

class PostgresStatement : public SqlStatement {
public:
    PostgresStatement(PostgresConnection& connection, std::string name)
        : m_connection(connection), m_name(std::move(name))
    {}

    void bindNumber(int place, std::int64_t value) override { bind(place, std::to_string(value), false); }
    void bindText(int place, std::string_view value) override { bind(place, std::string(value), false); }
    void bindBytes(int place, std::string_view value) override { bind(place, std::string(value), true); }

    bool next() override
    {
        if (!m_result) {
            run();
        } else {
            ++m_row;
        }
        return m_row < PQntuples(m_result.get());
    }

    std::int64_t number(std::string_view column) override
    {
        const std::string_view digits = text(column);
        std::int64_t value = 0;
        std::from_chars(digits.data(), digits.data() + digits.size(), value);
        return value;
    }

    std::string_view text(std::string_view column) override
    {
        const int place = PQfnumber(m_result.get(), std::string(column).c_str());
        if (place < 0) {
            throw std::logic_error(fmt::format("no column {} in statement {}", column, m_name));
        }
        const char* const value = PQgetvalue(m_result.get(), m_row, place);
        if (PQftype(m_result.get(), place) != kBytes) {
            return {value, static_cast<std::size_t>(PQgetlength(m_result.get(), m_row, place))};
        }
        std::size_t size = 0;
        unsigned char* const bytes = PQunescapeBytea(reinterpret_cast<const unsigned char*>(value), &size);
        if (bytes == nullptr) {
            throw std::bad_alloc();
        }
        m_bytes.assign(reinterpret_cast<const char*>(bytes), size);
        PQfreemem(bytes);
        return m_bytes;
    }

    std::int64_t changes() override
    {
        const std::string_view digits = PQcmdTuples(m_result.get());
        std::int64_t value = 0;
        std::from_chars(digits.data(), digits.data() + digits.size(), value);
        return value;
    }

private:
    struct Parameter {
        std::string value;
        bool isBytes = false;
    };

    void bind(int place, std::string value, bool isBytes)
    {
        const auto index = static_cast<std::size_t>(place - 1);
        if (m_parameters.size() <= index) {
            m_parameters.resize(index + 1);
        }
        m_parameters[index] = {std::move(value), isBytes};
    }

    void run()
    {
        std::vector<const char*> values;
        std::vector<int> lengths;
        std::vector<int> formats;
        for (const Parameter& parameter : m_parameters) {
            values.push_back(parameter.value.c_str());
            lengths.push_back(static_cast<int>(parameter.value.size()));
            formats.push_back(parameter.isBytes ? 1 : 0);
        }
        m_result =
            m_connection.run(m_name, static_cast<int>(values.size()), values.data(), lengths.data(), formats.data());
    }

    PostgresConnection& m_connection;
    const std::string m_name;
    std::vector<Parameter> m_parameters;
    PostgresResult m_result{nullptr, &PQclear};
    int m_row = 0;
    std::string m_bytes;
};

}  // namespace

PostgresConnection::PostgresConnection(const std::string& url, std::chrono::milliseconds statementTime)
    : m_time(statementTime), m_handle(nullptr, &PQfinish)
{
    // The URL comes last, so its settings override the first two.
    constexpr const char* kNames[] = {"connect_timeout", "application_name", "dbname", nullptr};
    const char* const values[] = {"2", "corvaned", url.c_str(), nullptr};
    m_handle.reset(PQconnectdbParams(kNames, values, 1));
    if (PQstatus(m_handle.get()) != CONNECTION_OK) {
        fail(nullptr);
    }
    PQsetNoticeProcessor(
        m_handle.get(), [](void*, const char*) {}, nullptr);
    execute(
        fmt::format("SET client_encoding = 'UTF8'; SET statement_timeout = {}; "
                    "SET idle_in_transaction_session_timeout = {}",
                    m_time.count(), 5 * m_time.count()));
}

void PostgresConnection::fail(const PGresult* result)
{
    const char* const state = result == nullptr ? nullptr : PQresultErrorField(result, PG_DIAG_SQLSTATE);
    std::string message = result == nullptr ? PQerrorMessage(m_handle.get()) : PQresultErrorMessage(result);
    while (!message.empty() && message.back() == '\n') {
        message.pop_back();
    }
    for (char& c : message) {
        c = c == '\n' ? ' ' : c;
    }
    throw PostgresError(message, state == nullptr ? "" : state);
}

// Waits for the result of the statements sent. The connection must not be used after a failure.
PostgresResult PostgresConnection::await(int sent)
{
    if (sent == 0) {
        fail(nullptr);
    }
    const auto end = SteadyClock::now() + m_time + kGrace;
    PostgresResult last{nullptr, &PQclear};
    while (true) {
        while (PQisBusy(m_handle.get()) != 0) {
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - SteadyClock::now());
            pollfd socket{PQsocket(m_handle.get()), POLLIN, 0};
            if (left.count() <= 0 || ::poll(&socket, 1, static_cast<int>(left.count())) == 0) {
                m_handle.reset();
                throw PostgresError("the database does not answer", "");
            }
            if (PQconsumeInput(m_handle.get()) == 0) {
                fail(nullptr);
            }
        }
        PostgresResult result{PQgetResult(m_handle.get()), &PQclear};
        if (!result) {
            break;
        }
        if (!last || PQresultStatus(last.get()) != PGRES_FATAL_ERROR) {
            last = std::move(result);
        }
    }
    if (!last || PQresultStatus(last.get()) == PGRES_FATAL_ERROR) {
        fail(last.get());
    }
    return last;
}

void PostgresConnection::execute(const std::string& sql)
{
    await(PQsendQuery(m_handle.get(), sql.c_str()));
}

std::unique_ptr<SqlStatement> PostgresConnection::prepare(std::string_view sql)
{
    auto known = m_prepared.find(sql);
    if (known == m_prepared.end()) {
        const std::string name = "s" + std::to_string(m_prepared.size());
        await(PQsendPrepare(m_handle.get(), name.c_str(), numbered(sql).c_str(), 0, nullptr));
        known = m_prepared.emplace(std::string(sql), name).first;
    }
    return std::make_unique<PostgresStatement>(*this, known->second);
}

void PostgresConnection::lockUser(std::string_view user)
{
    SqlQuery(*this, "SELECT pg_advisory_xact_lock(hashtextextended(?, 0))").bind(user).next();
}

bool PostgresConnection::isIdle() const
{
    return PQstatus(m_handle.get()) == CONNECTION_OK && PQtransactionStatus(m_handle.get()) == PQTRANS_IDLE;
}

PostgresResult PostgresConnection::run(const std::string& name, int count, const char* const* values,
                                       const int* lengths, const int* formats)
{
    return await(PQsendQueryPrepared(m_handle.get(), name.c_str(), count, values, lengths, formats, 0));
}

}  // namespace corvaned
