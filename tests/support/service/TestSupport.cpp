#include "TestSupport.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include <lzma.h>
#include <zlib.h>

#include "ContentCoding.h"
#include "NewGuide.h"
#include "OperatorErrorOf.h"
#include "PrivatePostgres.h"

namespace corvaned::test {

ListingInput inputOf(const std::string& text, const std::string& name)
{
    // Owns the string, which the source reads in place.
    struct Owning : ByteSource {
        Owning(std::string content, const std::string& label)
            : text(std::move(content)), source(openMemory(text, label))
        {}
        std::size_t read(char* buffer, std::size_t size) override { return source->read(buffer, size); }
        std::string text;
        std::unique_ptr<ByteSource> source;
    };
    return {name, [text, name] { return std::make_unique<Owning>(text, name); }};
}

std::string newViewers(const std::string& guide)
{
    return support::isOnPostgres() ? support::newPostgresDatabase() : viewersBeside(guide);
}

std::unique_ptr<GuideFile> openOrCreateGuide(const std::string& path)
{
    createGuideIfMissing(path, addSamplePlaces);
    return std::make_unique<GuideFile>(path);
}

ImportReport importListings(GuideFile& guide, const std::vector<ListingInput>& listings, const ImportOptions& options)
{
    const ImportReport report = importGuide(guide.path(), listings, options);
    guide.refresh();
    return report;
}

ImportReport importListing(GuideFile& guide, const std::string& listing, const ImportOptions& options)
{
    return importListings(guide, {inputOf(listing)}, options);
}

void importSampleInto(GuideFile& guide, Instant now, const Zone& zone)
{
    importSample(guide.path(), now, zone);
    guide.refresh();
}

ViewerSession openTestSession(ViewerStore& viewers, const std::string& device, Instant now, std::int64_t lifetime)
{
    SessionLimits limits;
    limits.lifetime = lifetime;
    return openSession(viewers, device, "127.0.0.1", now, limits, now);
}

Collected collect(const std::string& text)
{
    Collected collected;
    readListing(*openMemory(text, "listing"), "listing", collected);
    return collected;
}

std::string refusalOf(const std::string& text)
{
    return operatorErrorOf([&] { collect(text); });
}

std::vector<std::string> values(ViewerStore& viewers, std::string_view sql)
{
    std::vector<std::string> result;
    viewers.read([&](SqlConnection& connection) {
        SqlQuery query(connection, sql);
        while (query.next()) {
            result.emplace_back(query.text("value"));
        }
    });
    return result;
}

std::vector<std::string> rows(GuideFile& guide, std::string_view sql)
{
    std::vector<std::string> result;
    const GuideFile::Lease lease = guide.lease();
    sqlite::Query query(*lease, sql);
    while (query.next()) {
        std::string row;
        for (int column = 0; column < static_cast<int>(query.columns().size()); ++column) {
            row.append(column > 0 ? "|" : "").append(query.isNull(column) ? "NULL" : query.text(column));
        }
        result.push_back(row);
    }
    return result;
}

std::string wholeGuide(GuideFile& guide)
{
    std::string all;
    for (const std::string_view sql :
         {std::string_view("SELECT * FROM source ORDER BY 1"), std::string_view("SELECT * FROM channel ORDER BY 1"),
          std::string_view("SELECT * FROM airing ORDER BY 1"),
          std::string_view("SELECT * FROM translation ORDER BY 1, 2"),
          std::string_view("SELECT * FROM genre ORDER BY 1"),
          std::string_view("SELECT * FROM airing_genre ORDER BY 1, 2"),
          std::string_view("SELECT * FROM person ORDER BY 1"),
          std::string_view("SELECT * FROM credit ORDER BY 1, 2, 3"),
          std::string_view("SELECT * FROM guide ORDER BY 1")}) {
        for (const std::string& row : rows(guide, sql)) {
            all += row + "\n";
        }
    }
    return all;
}

std::string gzipPacked(const std::string& text)
{
    return http::gzipped(text);
}

std::string xzPacked(const std::string& text)
{
    std::string packed(lzma_stream_buffer_bound(text.size()), '\0');
    std::size_t size = 0;
    if (lzma_easy_buffer_encode(6, LZMA_CHECK_CRC32, nullptr, reinterpret_cast<const std::uint8_t*>(text.data()),
                                text.size(), reinterpret_cast<std::uint8_t*>(packed.data()), &size,
                                packed.size()) != LZMA_OK) {
        throw std::runtime_error("xz packing failed");
    }
    packed.resize(size);
    return packed;
}

std::string testData(const std::string& name)
{
    return readFile(std::string(CORVANE_SERVICE_TEST_DATA) + "/" + name);
}

std::string sharedListings()
{
    const char* const variable = std::getenv("CORVANE_TEST_DATA");
    const std::string folder = variable != nullptr ? variable : CORVANE_SHARED_TEST_DATA;
    return std::filesystem::is_directory(folder) ? folder : "";
}

std::string readFile(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        throw std::runtime_error("cannot read " + path);
    }
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

void writeFile(const std::string& path, const std::string& content)
{
    std::ofstream(path, std::ios::binary) << content;
}

}  // namespace corvaned::test
