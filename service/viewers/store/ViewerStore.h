// Stores viewers' data: sessions, favourites, votes, history, agreements, saved headends, uploads. Viewer.h, Session.h,
// Upload.h and Recommend.h use it. The default is an SQLite file; several services share a PostgreSQL database.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>

#include "ServiceFigure.h"
#include "Sql.h"

namespace corvaned {

/// The store cannot be used at present: it is unreachable, locked, full or too slow. A change may or may not have
/// been made. what() is for the log.
class StoreUnavailable : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// [any thread]
class ViewerStore {
public:
    using Work = std::function<void(SqlConnection& connection)>;

    ViewerStore() = default;
    ViewerStore(const ViewerStore&) = delete;
    ViewerStore& operator=(const ViewerStore&) = delete;
    virtual ~ViewerStore() = default;

    /// Runs `work`, which only reads. With SQLite all of its statements see one state; with PostgreSQL each statement
    /// sees the latest committed one. As with write(), `work` may run several times.
    /// @throws StoreUnavailable, and what `work` throws
    virtual void read(const Work& work) = 0;

    /// Runs `work` in a transaction, which is committed when this returns. `work` may run several times; only the last
    /// run counts, so each run must set all of its results. If it throws, nothing is changed.
    /// @throws StoreUnavailable, and what `work` throws
    virtual void write(const Work& work) = 0;

    /// The store's name for messages, without a password.
    virtual const std::string& name() const = 0;

    virtual ServiceFigures figures() = 0;
};

struct ViewerStoreSettings {
    std::chrono::milliseconds statementTime{2000};  // for one statement
    std::chrono::milliseconds waitTime{5000};       // for other writers, or for a connection
    std::size_t handlers = 8;                       // threads that may use the store
    bool mustAnswer = true;                         // whether openViewers() fails if the database is unreachable
    std::function<void(const std::string& line)> log = [](const std::string&) {};
};

/// Opens the store, creates it if it is missing and brings its schema up to date.
/// @param location  a file, or the address of a database: "postgresql://..."
/// @throws OperatorError if it cannot be used, or was written by a newer version
std::unique_ptr<ViewerStore> openViewers(const std::string& location, const ViewerStoreSettings& settings = {});

/// As openViewers, but changes nothing; for programs that only show the data.
/// @throws OperatorError also if it is missing
std::unique_ptr<ViewerStore> openViewersReadOnly(const std::string& location);

/// The default location of viewers' data: viewers.db in the folder of the guide.
std::string viewersBeside(const std::string& guide);

}  // namespace corvaned
