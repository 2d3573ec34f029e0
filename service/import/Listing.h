// Reads XMLTV listings as a stream: one channel or programme at a time is in memory, whatever the size of the file.
// GuideImport.h receives them. XmltvTime.h reads times, ByteSource.h bytes.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "ByteSource.h"
#include "Clock.h"

namespace corvaned {

/// The systems of <episode-num> by which the service's own exports carry content and series ids.
constexpr const char* kContentIdSystem = "corvaned_content";
constexpr const char* kSeriesIdSystem = "corvaned_series";

/// What the service's own exports write as the title of a programme without one: other programs refuse such programmes.
constexpr const char* kNoTitle = "-";

/// The address of an image and its size in pixels, 0 if the listing does not give it.
struct ListingImage {
    std::string url;
    int width = 0;
    int height = 0;
};

struct ListingChannel {
    std::string id;
    std::string name;    // the first display name that is not a number, else the first one, else the id
    std::string number;  // <lcn>, else the first display name beside the name that is a number; perhaps empty
    ListingImage icon;
    std::string details;  // what has no field here (ListingDetails.h)
};

/// The strings of a programme in one language; lang as in the listing, may be empty.
struct ListingStrings {
    std::string lang;
    std::string title;
    std::string episodeTitle;
    std::string description;
};

/// A person who takes part in a programme.
struct ListingCredit {
    std::string job;  // "director", "actor", "presenter" ... as XMLTV names its elements
    std::string name;
    std::string role;     // of an actor, perhaps empty
    std::string details;  // the element as XML if it has more, as a picture of the person; else empty
};

struct ListingProgramme {
    std::string channel;
    Instant start = 0;
    std::optional<Instant> stop;          // nothing if it is missing or not after start
    int clump = 0;                        // place among the programmes that share the slot
    std::vector<ListingStrings> strings;  // at least one, its title perhaps empty; the first is the listing's choice
    std::vector<std::string> genres;      // in one language, without repeats
    std::string genreLang;                // that language, perhaps empty
    std::string type;                     // "movie", "series" or "program"
    std::string key;                      // the same for every airing of the same film or episode
    std::string seriesKey;                // the same for every episode of a series; empty if there is none
    std::int64_t content = 0;             // content and series ids from an export of the service; else 0
    std::int64_t series = 0;
    int season = 0;   // from 1; 0 unknown
    int episode = 0;  // from 1; 0 unknown
    int year = 0;     // 0 unknown
    int runtime = 0;  // minutes; 0 unknown
    ListingImage image;
    std::string rating;                  // of the first rating system named, perhaps empty
    std::vector<ListingCredit> credits;  // in the order of XMLTV's document type
    std::string details;                 // what has no field here (ListingDetails.h)
};

/// Receives a listing in the order of its elements. An exception of a member function ends the reading; readListing
/// throws it again.
class ListingSink {
public:
    virtual ~ListingSink() = default;
    virtual void addChannel(const ListingChannel& channel) = 0;
    virtual void addProgramme(const ListingProgramme& programme) = 0;

    /// Called for a channel or programme that cannot be used.
    /// @param line    where its start tag ends, from 1
    /// @param reason  fit for the end of a message line
    virtual void skip(int line, const std::string& reason) = 0;
};

/// Reads a whole listing into sink. Skips a programme or channel with an undeclared entity, a bare ampersand, a control
/// character or bytes of another encoding. Such an error between two records costs the record that follows if its tag
/// follows at once, because the parser does not tell text from tags in its errors. Refuses the listing for any other
/// error in its XML, and for very large tags, comments and CDATA sections, very many names and very deep elements, so
/// that time and memory are bounded. Expands HTML's entities only, and opens nothing that the listing names.
///
/// @param name           name of the listing in messages
/// @param unpackedLimit  limit of its size after unpacking, in bytes
/// @throws OperatorError if the listing is refused; sink may have received a part of it
void readListing(ByteSource& source, const std::string& name, ListingSink& sink,
                 std::uint64_t unpackedLimit = 1ULL << 30);

}  // namespace corvaned
