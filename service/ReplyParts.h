// Pieces of replies that several families of endpoints share.
#pragma once

#include <cstdint>
#include <string_view>

#include "EndpointHandlers.h"
#include "Guide.h"

namespace corvaned {

/// An image object: "url", "type", "index", "width", "height".
/// @param type  "station" or "poster"
Json imageOf(const guide::Image& image, const char* type);

/// Puts the image into the object, where there is one; no key else.
void addImage(Json& object, const char* key, const guide::Image& image, const char* type);

/// The array [{"id": ...}] of genre numbers given as "1,2".
Json genresOf(std::string_view numbers);

/// Minutes, rounded.
std::string durationOf(Instant start, Instant stop);

}  // namespace corvaned
