#include "Upload.h"

namespace corvaned {

void keepUpload(sqlite::Connection& connection, std::string_view user, const Upload& upload)
{
    // A blob, because some of SQLite's functions cut text at the first zero byte.
    sqlite::Query(connection, "INSERT OR REPLACE INTO upload VALUES (?, ?, ?, CAST(? AS BLOB))")
        .bind(user, upload.filename, upload.received, upload.content)
        .run();
}

std::optional<Upload> findUpload(sqlite::Connection& connection, std::string_view user)
{
    sqlite::Query row(connection, "SELECT filename, received, content FROM upload WHERE user_id = ?");
    if (!row.bind(user).next()) {
        return std::nullopt;
    }
    return Upload{std::string(row.text("filename")), row.number("received"), std::string(row.text("content"))};
}

}  // namespace corvaned
