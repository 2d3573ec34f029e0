// Pieces of replies that several families of endpoints share.
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

/// Puts the image into the object, where there is one; no key else.
void addImage(Json& object, const char* key, const guide::Image& image, const char* type);

/// The array [{"id": ...}] of genre numbers given as "1,2".
Json genresOf(std::string_view numbers);

/// What a reply may tell of a programme, by the key that it stands under. What the guide does not know is left out.
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

/// The number that the whole text is, if it is one: clients may send ids that no listing of ours gave them.
std::optional<std::int64_t> idOf(std::string_view text);

/// Minutes, rounded.
std::string durationOf(Instant start, Instant stop);

}  // namespace corvaned
