// Shared by the tests of the service: a database, listings from strings, compression.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "GuideFile.h"
#include "GuideImport.h"
#include "Listing.h"
#include "PlacesImport.h"
#include "Sample.h"
#include "Session.h"
#include "ViewerStore.h"

namespace corvaned::test {

/// Opens a guide; makes an empty one with the sample places if there is none.
std::unique_ptr<GuideFile> openOrCreateGuide(const std::string& path);

/// The location of a test's viewers' data: the folder of the guide or, with tests/support/postgres/with_postgres, a new
/// database.
std::string newViewers(const std::string& guide);

/// A guide and a viewers' store that are deleted together with the object.
struct TestStore {
    TemporaryDatabase file;
    std::unique_ptr<GuideFile> guideFile = openOrCreateGuide(file.path());
    GuideFile& guide = *guideFile;
    std::unique_ptr<ViewerStore> viewers = openViewers(newViewers(file.path()));
};

/// Import, and let the guide see the result at once.
ImportReport importListings(GuideFile& guide, const std::vector<ListingInput>& listings,
                            const ImportOptions& options = {});
ImportReport importListing(GuideFile& guide, const std::string& listing, const ImportOptions& options = {});
void importSampleInto(GuideFile& guide, Instant now, const Zone& zone);

/// Opens a session that lasts that many seconds.
ViewerSession openTestSession(ViewerStore& viewers, const std::string& device, Instant now, std::int64_t lifetime);

/// An input for an import that reads from a string.
ListingInput inputOf(const std::string& text, const std::string& name = "listing");

/// Collects the records of a listing.
struct Collected : ListingSink {
    void addChannel(const ListingChannel& channel) override { channels.push_back(channel); }
    void addProgramme(const ListingProgramme& programme) override { programmes.push_back(programme); }
    void skip(int line, const std::string& reason) override { skipped.push_back(std::to_string(line) + ": " + reason); }

    std::vector<ListingChannel> channels;
    std::vector<ListingProgramme> programmes;
    std::vector<std::string> skipped;
};

/// Reads a listing from a string; passes on the exceptions of readListing.
Collected collect(const std::string& text);

/// The message with which a listing is refused; "" if it is accepted.
std::string refusalOf(const std::string& text);

/// The rows of a query, columns joined by '|'. The query must be a literal.
std::vector<std::string> rows(GuideFile& guide, std::string_view sql);

/// The values of the column "value" of a query.
std::vector<std::string> values(ViewerStore& viewers, std::string_view sql);

/// Everything that an import replaces, as a string.
std::string wholeGuide(GuideFile& guide);

std::string gzipPacked(const std::string& text);
std::string xzPacked(const std::string& text);

/// The content of a file in tests/service/data.
std::string testData(const std::string& name);

/// The folder of real listings next to the repository; "" if it is absent.
std::string sharedListings();

std::string readFile(const std::string& path);
void writeFile(const std::string& path, const std::string& content);

}  // namespace corvaned::test
