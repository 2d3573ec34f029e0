#include "Upload.h"

namespace corvaned {

void keepUpload(ViewerStore& viewers, std::string_view user, const Upload& upload)
{
    viewers.write([&](SqlConnection& connection) {
        SqlQuery(connection, R"sql(
            INSERT INTO upload (user_id, filename, received, content) VALUES (?, ?, ?, ?)
            ON CONFLICT (user_id) DO UPDATE
            SET filename = excluded.filename, received = excluded.received, content = excluded.content
        )sql")
            .bind(user, upload.filename, upload.received, SqlBytes{upload.content})
            .run();
    });
}

std::optional<Upload> findUpload(ViewerStore& viewers, std::string_view user)
{
    std::optional<Upload> upload;
    viewers.read([&](SqlConnection& connection) {
        upload.reset();
        SqlQuery row(connection, "SELECT filename, received, content FROM upload WHERE user_id = ?");
        if (row.bind(user).next()) {
            upload = {std::string(row.text("filename")), row.number("received"), std::string(row.text("content"))};
        }
    });
    return upload;
}

}  // namespace corvaned
