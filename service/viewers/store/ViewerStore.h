// The store of what viewers keep: sessions, favourites, votes, history, agreements, saved headends, uploads. Viewer.h,
// Session.h, Upload.h and Recommend.h use it. It is a file of SQLite by default, and PostgreSQL where several services
// share it.
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

/// The store cannot be used now: it is away, locked, full or too slow. what() is for the log. Whether a change was made
/// is unknown.
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

    /// Runs `work`, which only reads. With SQLite it sees one state; with PostgreSQL each statement sees what is
    /// committed. As with write(), `work` may run several times.
    /// @throws StoreUnavailable, and what `work` throws
    virtual void read(const Work& work) = 0;

    /// Runs `work` in a transaction, which is committed when this returns. `work` may run several times; only the last
    /// run counts, so it must set what it returns anew each time. If it throws, nothing is changed.
    /// @throws StoreUnavailable, and what `work` throws
    virtual void write(const Work& work) = 0;

    /// What the store is called in messages; without a password.
    virtual const std::string& name() const = 0;

    virtual ServiceFigures figures() = 0;
};

struct ViewerStoreSettings {
    std::chrono::milliseconds statementTime{2000};  // for one statement
    std::chrono::milliseconds waitTime{5000};       // for other writers, or for a connection
    std::size_t handlers = 8;                       // threads that use the store at a time
    bool mustAnswer = true;                         // else a database that is away is waited for while serving
    std::function<void(const std::string& line)> log = [](const std::string&) {};
};

/// Opens the store, creates it if it is missing and brings its schema up to date.
/// @param location  a file, or the address of a database: "postgresql://..."
/// @throws OperatorError if it cannot be used, or was written by a newer version
std::unique_ptr<ViewerStore> openViewers(const std::string& location, const ViewerStoreSettings& settings = {});

/// As openViewers, but changes nothing: for programs that only show what is kept.
/// @throws OperatorError also if it is missing
std::unique_ptr<ViewerStore> openViewersReadOnly(const std::string& location);

/// Where viewers' data is if the operator names no place: viewers.db beside the guide.
std::string viewersBeside(const std::string& guide);

}  // namespace corvaned
