// What the endpoints ask of the guide. Every function reads on the connection it is given; callers that call several
// hold a read transaction, so that an import in between cannot mix two guides.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "Clock.h"
#include "Sqlite.h"

namespace corvaned::guide {

struct Image {
    std::string_view url;  // empty: there is none
    std::int64_t width = 0;
    std::int64_t height = 0;
};

struct Channel {
    std::int64_t source = 0;
    std::string_view number;
    std::string_view name;
    Image icon;
};

struct Airing {
    std::int64_t content = 0;
    Instant start = 0;
    Instant stop = 0;
    std::string_view type;
    std::string_view lang;
    std::string_view title;
    std::string_view genres;  // numbers, separated by commas
    Image image;
};

/// Tells one guide from another; empty where that is not known.
std::string digest(sqlite::Connection& connection);

/// Tells one line-up from another; empty while the guide is empty.
std::string lineupChecksum(sqlite::Connection& connection);

/// Calls back for each channel, in the order of the line-up. The record is valid during the call.
void forEachChannel(sqlite::Connection& connection, const std::function<void(const Channel&)>& visit);

/// Calls back for the channel of that source, if the line-up has it.
/// @return whether it has
bool findChannel(sqlite::Connection& connection, std::int64_t source, const std::function<void(const Channel&)>& visit);

/// Calls back for each airing of a channel that is on at any moment of [from, to), in order of start.
/// @param lang  the language wanted ("en", "en_GB"); where the listing has no such texts, its own first choice
void forEachAiring(sqlite::Connection& connection, std::int64_t source, Instant from, Instant to, std::string_view lang,
                   const std::function<void(const Airing&)>& visit);

/// How well a listing's language serves the one wanted: 2 the same, 1 the same but for the region, 0 another.
int languageMatch(std::string_view offered, std::string_view wanted);

}  // namespace corvaned::guide
