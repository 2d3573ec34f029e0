#include "ViewerStore.h"

#include <filesystem>

#include "PostgresViewers.h"
#include "SqliteViewers.h"

namespace corvaned {
namespace {

bool isPostgres(const std::string& location)
{
    return location.rfind("postgresql://", 0) == 0 || location.rfind("postgres://", 0) == 0;
}

}  // namespace

std::unique_ptr<ViewerStore> openViewers(const std::string& location, const ViewerStoreSettings& settings)
{
    if (isPostgres(location)) {
        return std::make_unique<PostgresViewers>(location, settings);
    }
    return std::make_unique<SqliteViewers>(location, SqliteViewers::Mode::Create, settings);
}

std::unique_ptr<ViewerStore> openViewersReadOnly(const std::string& location)
{
    if (isPostgres(location)) {
        return openViewers(location);
    }
    return std::make_unique<SqliteViewers>(location, SqliteViewers::Mode::ReadOnly, ViewerStoreSettings());
}

std::string viewersBeside(const std::string& guide)
{
    return (std::filesystem::path(guide).parent_path() / "viewers.db").string();
}

}  // namespace corvaned
