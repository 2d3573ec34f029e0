// Stores viewers' data in an SQLite file in WAL mode. Writers queue, and the first one commits for all that wait.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <exception>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "Sqlite.h"
#include "ViewerStore.h"

namespace corvaned {

/// Pages of the write-ahead log after which it is copied into the database: 4 MiB. A batch adds at most the uploads of
/// all handlers, so the log stays below 16 MiB.
inline constexpr int kLogPages = 1000;

/// [any thread]
class SqliteViewers : public ViewerStore {
public:
    enum class Mode {
        Create,
        ReadOnly,
    };

    /// @throws OperatorError
    SqliteViewers(std::string path, Mode mode, ViewerStoreSettings settings);
    ~SqliteViewers() override;

    void read(const Work& work) override;
    void write(const Work& work) override;
    const std::string& name() const override { return m_path; }
    ServiceFigures figures() override;

private:
    struct File;     // the connections to one file
    struct Pending;  // a write that waits

    std::shared_ptr<File> open(Mode mode) const;
    std::shared_ptr<File> current();
    void commit(File& file, const std::vector<Pending*>& batch);
    void begin(File& file);
    void limitLog(File& file);

    const std::string m_path;
    const Mode m_mode;
    const ViewerStoreSettings m_settings;

    std::mutex m_fileLock;  // guards m_file and m_isLost
    std::shared_ptr<File> m_file;
    bool m_isLost = false;  // the path names no file, or another one that cannot be used

    std::mutex m_queueLock;  // guards all below
    std::condition_variable m_turn;
    std::deque<Pending*> m_queue;
    bool m_isWriting = false;
    bool m_isBlocked = false;  // another process holds the lock

    std::atomic<std::uint64_t> m_writes{0};
    std::atomic<std::uint64_t> m_batches{0};
    std::atomic<int> m_logPages{0};
};

}  // namespace corvaned
