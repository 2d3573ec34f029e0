// Parts of replies that several groups of endpoints share.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

#include "JsonTree.h"
#include "Programmes.h"

namespace corvaned {

/// An image object: "url", "type", "index", "width", "height".
/// @param type  "station" or "poster"
Json imageOf(const guide::Image& image, const char* type);

/// Adds the image to the object; adds no key if there is no image.
void addImage(Json& object, const char* key, const guide::Image& image, const char* type);

/// The array [{"id": ...}] of genre numbers given as "1,2".
Json genresOf(std::string_view numbers);

/// The members of a programme's object in a reply. Unknown ones are left out.
enum class Part : std::uint8_t {
    Id,             // "id"
    Lang,           // "lang"
    Title,          // "title"
    EpisodeTitle,   // "ep_title"
    EpisodeNumber,  // "ep_number"
    SeasonSeq,      // "season_seq"
    EpisodeSeq,     // "episode_seq"
    Type,           // "type"
    Start,          // "starttime"
    Duration,       // "duration", minutes
    Genres,         // "genres"
    Year,           // "year"
    Runtime,        // "runtime", minutes
    ShortDesc,      // "short_desc"
    Rating,         // "cert_flag"
    Poster,         // "poster"
};

/// Adds those parts to an object, in the order given.
void addParts(Json& object, const guide::Programme& programme, std::initializer_list<Part> parts);

/// Appends an object of those parts as JSON, in a fraction of the time that a tree takes.
void appendParts(std::string& json, const guide::Programme& programme, std::initializer_list<Part> parts);

/// Reads a whole string as a number; nothing if it is not one. Clients may send ids that are not the service's.
std::optional<std::int64_t> idOf(std::string_view value);

/// Minutes, rounded.
std::string durationOf(Instant start, Instant stop);

}  // namespace corvaned
