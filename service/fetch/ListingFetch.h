// Listings from the network, by HTTP or HTTPS (RFC 9110). A listing is fetched whole before any of it is read, so that
// a broken connection never gives half a guide. FetchedListings.h stores versions, which make a second fetch cheap.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "ByteSource.h"

namespace corvaned {

/// The version of a listing according to the server; empty if it sends none.
struct Validators {
    std::string etag;
    std::string lastModified;

    bool isEmpty() const { return etag.empty() && lastModified.empty(); }
};

struct FetchLimits {
    std::uint64_t bytes = 1ULL << 29;  // of a listing, as sent
    std::chrono::seconds connectTime{30};
    std::chrono::seconds stallTime{60};     // without a byte
    std::chrono::seconds wholeTime{1800};   // of one attempt
    int attempts = 4;                       // after a broken connection, the next attempt continues where it broke
    std::chrono::milliseconds pause{1000};  // before the second attempt; doubled for each further one
};

struct FetchOptions {
    FetchLimits limits;

    /// Called from time to time. expected is 0 if the server does not send the size.
    std::function<void(std::uint64_t received, std::uint64_t expected)> progress;

    /// Called when a connection has broken and the next attempt follows; one line.
    std::function<void(const std::string& line)> warn;
};

struct FetchedListing {
    bool isUnchanged = false;  // the server has only the known version; there are no bytes then
    Validators validators;
    std::function<std::unique_ptr<ByteSource>()> open;  // unpacked; the file lives as long as this or a source
};

/// Whether the string is an address of HTTP or HTTPS.
bool isListingAddress(const std::string& text);

/// The address without a user, a password and a query, which may hold a key: for messages.
std::string addressForMessages(const std::string& url);

/// Fetches a listing into an unnamed temporary file, which never outlives the process.
/// @param known  the version that the caller has; empty to fetch in any case
/// @throws OperatorError if the whole listing cannot be fetched within the limits
FetchedListing fetchListing(const std::string& url, const Validators& known, const FetchOptions& options);

}  // namespace corvaned
