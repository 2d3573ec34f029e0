// Stores viewers' data in PostgreSQL, for several services at once: a pool of connections, one transaction per write.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "ViewerStore.h"

namespace corvaned {

class PostgresConnection;

/// [any thread]
class PostgresViewers : public ViewerStore {
public:
    /// @param url  "postgresql://..." (libpq, 34.1.1.2)
    /// @throws OperatorError if the URL cannot be read, the schema is of a newer version, or the database does not
    ///         answer although it must
    PostgresViewers(std::string url, ViewerStoreSettings settings);
    ~PostgresViewers() override;

    void read(const Work& work) override;
    void write(const Work& work) override;
    const std::string& name() const override { return m_name; }
    ServiceFigures figures() override;

private:
    using Clock = std::chrono::steady_clock;
    class Visit;

    std::unique_ptr<PostgresConnection> connect();
    void bringUpToDate(PostgresConnection& connection) const;
    void run(const std::function<void(PostgresConnection& connection)>& transaction);

    const std::string m_url;
    std::string m_name;
    const ViewerStoreSettings m_settings;

    std::mutex m_lock;  // guards all below
    std::vector<std::unique_ptr<PostgresConnection>> m_idle;
    std::multiset<Clock::time_point> m_running;  // when each visit began
    bool m_isCurrent = false;                    // the schema is up to date
    bool m_isAway = false;
    bool m_isProbed = false;  // while the database does not answer, one visit at a time tries it
    Clock::time_point m_nextProbe;

    std::atomic<std::uint64_t> m_writes{0};
    std::atomic<std::uint64_t> m_retries{0};
};

}  // namespace corvaned
