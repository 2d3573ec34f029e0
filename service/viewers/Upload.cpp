#include "Upload.h"

namespace corvaned {

void keepUpload(sqlite::Connection& connection, std::string_view user, const Upload& upload)
{
    // Stored as text, the bytes would be cut at the first zero by some of SQLite's functions.
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
