#include "FetchedListings.h"

#include "Digest.h"

namespace corvaned {
namespace {

std::string digestOf(const std::string& url)
{
    Digest digest;
    digest.add(url);
    return digest.hex();
}

}  // namespace

std::vector<Validators> knownVersions(sqlite::Connection& connection, const std::vector<std::string>& urls)
{
    constexpr std::string_view kOfTheGuide =
        "FROM fetched_listing WHERE guide_digest = (SELECT value FROM guide WHERE name = 'digest')";
    std::vector<Validators> versions;
    sqlite::Query count(connection, std::string("SELECT count(*) ").append(kOfTheGuide));
    count.next();
    for (const std::string& url : urls) {
        sqlite::Query one(connection,
                          std::string("SELECT etag, last_modified ").append(kOfTheGuide).append(" AND url_digest = ?"));
        if (one.bind(digestOf(url)).next()) {
            versions.push_back({std::string(one.text("etag")), std::string(one.text("last_modified"))});
        }
    }
    if (versions.size() != urls.size() || count.number(0) != static_cast<std::int64_t>(urls.size())) {
        return std::vector<Validators>(urls.size());
    }
    return versions;
}

void rememberVersions(sqlite::Connection& connection, const std::vector<std::string>& urls,
                      const std::vector<Validators>& versions)
{
    connection.execute("DELETE FROM fetched_listing");
    for (std::size_t i = 0; i < urls.size(); ++i) {
        sqlite::Query(connection,
                      "INSERT OR REPLACE INTO fetched_listing "
                      "SELECT ?, ?, ?, value FROM guide WHERE name = 'digest'")
            .bind(digestOf(urls[i]), versions[i].etag, versions[i].lastModified)
            .run();
    }
}

}  // namespace corvaned
