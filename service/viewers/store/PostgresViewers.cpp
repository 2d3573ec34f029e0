#include "PostgresViewers.h"

#include <algorithm>
#include <random>
#include <thread>

#include <fmt/format.h>

#include "OperatorError.h"
#include "PostgresConnection.h"
#include "PostgresViewerSchema.h"

namespace corvaned {
namespace {

constexpr int kTries = 8;
constexpr std::int64_t kMigrationLock = 0x63727676;
constexpr std::chrono::milliseconds kProbePause{200};

// If a visit takes longer, the database counts as slow, and only half of the handlers may use it.
constexpr std::chrono::milliseconds kSlow{500};

bool isConflict(const PostgresError& error)
{
    return error.state() == "40001" || error.state() == "40P01";  // serialization failure, deadlock
}

// The connection is lost or useless: no SQLSTATE, connection exception, shutdown.
bool isLost(const PostgresError& error)
{
    const std::string& state = error.state();
    return state.empty() || state.substr(0, 2) == "08" || state.substr(0, 4) == "57P0";
}

// The cause is outside the statement: lack of resources, a time limit or a read-only server. Any other state is a
// defect of the statement.
bool isOutside(const PostgresError& error)
{
    const std::string kind = error.state().substr(0, 2);
    return isLost(error) || isConflict(error) || kind == "53" || kind == "55" || kind == "57" || kind == "58" ||
           kind == "25" || kind == "XX";
}

std::string nameOf(const std::string& url)
{
    char* message = nullptr;
    PQconninfoOption* const options = PQconninfoParse(url.c_str(), &message);
    if (options == nullptr) {
        const std::string reason = message == nullptr ? "out of memory" : message;
        PQfreemem(message);
        throw OperatorError(fmt::format("--viewers is not the address of a PostgreSQL database: {}", reason));
    }
    std::string name = "PostgreSQL";
    for (const PQconninfoOption* option = options; option->keyword != nullptr; ++option) {
        const std::string_view keyword = option->keyword;
        if (option->val != nullptr && (keyword == "host" || keyword == "port" || keyword == "dbname")) {
            name += fmt::format(" {} {}", keyword == "dbname" ? "database" : option->keyword, option->val);
        }
    }
    PQconninfoFree(options);
    return name;
}

}  // namespace

// One use of the database; it counts as running until it is destroyed.
class PostgresViewers::Visit {
public:
    explicit Visit(PostgresViewers& viewers) : m_viewers(viewers)
    {
        const std::lock_guard<std::mutex> lock(viewers.m_lock);
        if (viewers.m_isAway && (viewers.m_isProbed || Clock::now() < viewers.m_nextProbe)) {
            throw StoreUnavailable(viewers.m_name + " does not answer");
        }
        if (viewers.m_running.size() >= std::max<std::size_t>(viewers.m_settings.handlers / 2, 1) &&
            Clock::now() - *viewers.m_running.begin() > kSlow) {
            throw StoreUnavailable(viewers.m_name + " is too slow");
        }
        m_isProbe = viewers.m_isProbed = viewers.m_isAway;
        m_begin = viewers.m_running.insert(Clock::now());
        if (!viewers.m_idle.empty()) {
            m_connection = std::move(viewers.m_idle.back());
            viewers.m_idle.pop_back();
        }
    }
    Visit(const Visit&) = delete;
    Visit& operator=(const Visit&) = delete;

    ~Visit()
    {
        const std::lock_guard<std::mutex> lock(m_viewers.m_lock);
        m_viewers.m_running.erase(m_begin);
        if (m_isProbe) {
            m_viewers.m_isProbed = false;
        }
        if (m_connection && m_connection->isIdle()) {
            m_viewers.m_idle.push_back(std::move(m_connection));
        }
    }

    /// Connects if no idle connection was taken.
    PostgresConnection& connection()
    {
        if (!m_connection) {
            m_connection = m_viewers.connect();
            m_isNew = true;
        }
        return *m_connection;
    }

    bool isNew() const { return m_isNew; }

    /// Drops all idle connections, too, because they are lost with this one.
    void reconnect()
    {
        m_connection.reset();
        const std::lock_guard<std::mutex> lock(m_viewers.m_lock);
        m_viewers.m_idle.clear();
    }

    void report(bool isAway)
    {
        const std::lock_guard<std::mutex> lock(m_viewers.m_lock);
        if (isAway != m_viewers.m_isAway) {
            m_viewers.m_settings.log(
                fmt::format("corvaned: {} {}", m_viewers.m_name,
                            isAway ? "does not answer; requests that need it get 503" : "answers again"));
        }
        m_viewers.m_isAway = isAway;
        m_viewers.m_nextProbe = Clock::now() + kProbePause;
    }

private:
    PostgresViewers& m_viewers;
    std::multiset<Clock::time_point>::iterator m_begin;
    std::unique_ptr<PostgresConnection> m_connection;
    bool m_isProbe = false;
    bool m_isNew = false;
};

PostgresViewers::PostgresViewers(std::string url, ViewerStoreSettings settings)
    : m_url(std::move(url)), m_name(nameOf(m_url)), m_settings(std::move(settings))
{
    try {
        read([](SqlConnection&) {});
    } catch (const StoreUnavailable& error) {
        if (m_settings.mustAnswer) {
            throw OperatorError(error.what());
        }
        m_settings.log(
            fmt::format("corvaned: {}; until it answers, requests that need viewers' data get 503", error.what()));
    }
}

PostgresViewers::~PostgresViewers() = default;

std::unique_ptr<PostgresConnection> PostgresViewers::connect()
{
    auto connection = std::make_unique<PostgresConnection>(m_url, m_settings.statementTime);
    bool isCurrent = false;
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        isCurrent = m_isCurrent;
    }
    if (!isCurrent) {
        bringUpToDate(*connection);
        const std::lock_guard<std::mutex> lock(m_lock);
        m_isCurrent = true;
    }
    return connection;
}

// Several services may start at once. The lock lets the first one create the schema while the others wait.
void PostgresViewers::bringUpToDate(PostgresConnection& connection) const
{
    connection.execute("BEGIN");
    SqlQuery(connection, "SELECT pg_advisory_xact_lock(?)").bind(kMigrationLock).next();
    connection.execute("CREATE TABLE IF NOT EXISTS corvaned_format (format BIGINT NOT NULL)");
    std::int64_t format = 0;
    {
        SqlQuery row(connection, "SELECT coalesce(max(format), 0) AS format FROM corvaned_format");
        row.next();
        format = row.number("format");
    }
    if (format > kPostgresFormat) {
        connection.execute("ROLLBACK");
        throw OperatorError(
            fmt::format("{} was written by a newer corvaned (format {}, this one knows {}); use that one", m_name,
                        format, kPostgresFormat));
    }
    if (format < kPostgresFormat) {
        for (std::int64_t step = format; step < kPostgresFormat; ++step) {
            connection.execute(kPostgresSteps[step]);
        }
        connection.execute(
            fmt::format("DELETE FROM corvaned_format; INSERT INTO corvaned_format VALUES ({})", kPostgresFormat));
    }
    connection.execute("COMMIT");
}

// Repeats the transaction after a conflict, and once more on a new connection after the loss of an old one.
void PostgresViewers::run(const std::function<void(PostgresConnection& connection)>& transaction)
{
    thread_local std::minstd_rand s_random(std::random_device{}());
    Visit visit(*this);
    for (int tried = 1;; ++tried) {
        try {
            transaction(visit.connection());
            visit.report(false);
            return;
        } catch (const PostgresError& error) {
            const bool isRepeatable = tried < kTries && (isConflict(error) || (isLost(error) && !visit.isNew()));
            if (isLost(error)) {
                visit.reconnect();
            }
            if (!isRepeatable) {
                if (isLost(error)) {
                    visit.report(true);
                }
                if (isOutside(error)) {
                    throw StoreUnavailable(fmt::format("{}: {}", m_name, error.what()));
                }
                throw;
            }
            ++m_retries;
            if (isConflict(error)) {
                std::this_thread::sleep_for(
                    std::chrono::milliseconds(s_random() % (5U * static_cast<unsigned>(tried))));
            }
        }
    }
}

// Runs the statements without a transaction: each sees the committed state, which is all that readers need.
void PostgresViewers::read(const Work& work)
{
    run([&work](PostgresConnection& connection) { work(connection); });
}

void PostgresViewers::write(const Work& work)
{
    bool isCommitting = false;
    run([&](PostgresConnection& connection) {
        // Without an answer to the COMMIT it is unknown whether it was made, so the transaction is not repeated.
        if (isCommitting) {
            throw StoreUnavailable(m_name + " was lost during a commit");
        }
        connection.execute("BEGIN");
        try {
            work(connection);
            isCommitting = true;
            connection.execute("COMMIT");
            isCommitting = false;
        } catch (const PostgresError& error) {
            // If the connection is not lost, the server has rolled back.
            isCommitting = isCommitting && isLost(error);
            if (!isLost(error)) {
                connection.execute("ROLLBACK");
            }
            throw;
        } catch (...) {
            connection.execute("ROLLBACK");
            throw;
        }
    });
    ++m_writes;
}

ServiceFigures PostgresViewers::figures()
{
    const std::lock_guard<std::mutex> lock(m_lock);
    return {{"corvaned_viewers_writes_total", "Changes committed to the viewers' store.",
             ServiceFigure::MetricKind::Counter, static_cast<double>(m_writes)},
            {"corvaned_viewers_retries_total", "Transactions repeated after a conflict or a lost connection.",
             ServiceFigure::MetricKind::Counter, static_cast<double>(m_retries)},
            {"corvaned_viewers_connections", "Connections to the database, idle and in use.",
             ServiceFigure::MetricKind::Gauge, static_cast<double>(m_idle.size() + m_running.size())},
            {"corvaned_viewers_up", "Whether the database answers (1) or not (0).", ServiceFigure::MetricKind::Gauge,
             m_isAway ? 0.0 : 1.0}};
}

}  // namespace corvaned
