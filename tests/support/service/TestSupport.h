// Shared by the tests of the service: a database, listings from strings, compression.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "GuideImport.h"
#include "Listing.h"
#include "PlacesImport.h"
#include "Store.h"

namespace corvaned::test {

/// A database that is deleted together with the object.
struct TestStore {
    TemporaryDatabase file;
    Store store{file.path(), Store::Mode::Create, addSamplePlaces};
};

/// Imports one listing from a string.
ImportReport importText(Store& store, const std::string& listing, const ImportOptions& options = {});

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
std::vector<std::string> rows(Store& store, std::string_view sql);

/// All tables that an import replaces, as one string.
std::string wholeGuide(Store& store);

std::string gzipPacked(const std::string& text);
std::string xzPacked(const std::string& text);

/// The content of a file in tests/service/data.
std::string testData(const std::string& name);

/// The folder of real listings next to the repository; "" if it is absent.
std::string sharedListings();

std::string readFile(const std::string& path);
void writeFile(const std::string& path, const std::string& content);

}  // namespace corvaned::test
