#include "StaticContent.h"

#include <filesystem>
#include <fstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ContentCoding.h"

namespace http {
namespace {

Request get(const std::string& path, const std::string& acceptEncoding = "")
{
    Request request;
    request.method = "GET";
    request.path = path;
    request.headers.add("Accept-Encoding", acceptEncoding);
    return request;
}

TEST(StaticContent, ServesFilesWithTypesAndTags)
{
    StaticContent content;
    const std::string script(5000, ';');
    content.add("/index.html", "<p>");
    content.add("/app/main.js", script);
    content.add("/odd.xyz", std::string("\0\1", 2));
    content.setHeader("Content-Security-Policy", "default-src 'self'");

    const Reply page = content.answer(get("/"));
    EXPECT_EQ(page.status, 200);
    EXPECT_EQ(page.content(), "<p>");
    EXPECT_EQ(page.headers.get("Content-Type"), "text/html; charset=utf-8");
    EXPECT_EQ(page.headers.get("Content-Security-Policy"), "default-src 'self'");
    EXPECT_EQ(page.headers.get("ETag"), content.answer(get("/index.html")).headers.get("ETag"));
    EXPECT_EQ(content.answer(get("/odd.xyz")).headers.get("Content-Type"), "application/octet-stream");

    const Reply plain = content.answer(get("/app/main.js"));
    const Reply packed = content.answer(get("/app/main.js", "gzip"));
    EXPECT_EQ(plain.content(), script);
    EXPECT_EQ(packed.headers.get("Content-Encoding"), "gzip");
    GunzipError error{};
    EXPECT_EQ(gunzipped(packed.content(), 10000, error), script);
    EXPECT_NE(plain.headers.get("ETag"), packed.headers.get("ETag")) << "two representations";
    EXPECT_EQ(plain.headers.get("Content-Type"), "text/javascript; charset=utf-8");
    EXPECT_FALSE(content.answer(get("/index.html", "gzip")).headers.has("Content-Encoding")) << "it would be larger";
}

TEST(StaticContent, ServesOnlyItsFiles)
{
    StaticContent content;
    content.add("/a.txt", "a");
    for (const char* path :
         {"/b.txt", "a.txt", "/../a.txt", "/./a.txt", "/a.txt/", "", "/", "/etc/passwd", "//a.txt"}) {
        EXPECT_EQ(content.answer(get(path)).status, 404) << path;
    }
    Request put = get("/a.txt");
    put.method = "PUT";
    EXPECT_EQ(content.answer(put).status, 405);
    EXPECT_EQ(content.answer(put).headers.get("Allow"), "GET, HEAD");
}

TEST(StaticContent, ReadsAFolder)
{
    char folder[] = "/tmp/static_content_XXXXXX";
    ASSERT_NE(mkdtemp(folder), nullptr);
    const std::filesystem::path path = folder;
    std::filesystem::create_directories(path / "sub" / ".git");
    std::ofstream(path / "sub" / "index.html") << "page";
    std::ofstream(path / "sub" / ".git" / "config") << "hidden";
    std::ofstream(path / ".hidden") << "hidden";
    std::filesystem::create_symlink("/etc/passwd", path / "link");
    StaticContent content;
    content.addFolder(folder);
    EXPECT_EQ(content.answer(get("/sub/")).content(), "page");
    EXPECT_FALSE(content.has("/.hidden"));
    EXPECT_FALSE(content.has("/sub/.git/config"));
    EXPECT_FALSE(content.has("/link")) << "a link may lead out of the folder";
    EXPECT_THROW(StaticContent().addFolder(folder, 3), std::runtime_error);
    std::filesystem::remove_all(path);
    EXPECT_THROW(StaticContent().addFolder(folder), std::runtime_error);
}

}  // namespace
}  // namespace http
