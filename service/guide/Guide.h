// The channels of the guide, and facts about the whole guide; Programmes.h has the programmes. Every function reads on
// the connection it is given, which sees one guide (GuideFile.h).
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

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

/// A digest that differs between guides; empty if it is not known.
std::string digest(sqlite::Connection& connection);

/// A digest that differs between line-ups; empty while the guide is empty.
std::string lineupChecksum(sqlite::Connection& connection);

/// Calls back for each channel, in the order of the line-up. The record is valid during the call.
void forEachChannel(sqlite::Connection& connection, const std::function<void(const Channel&)>& visit);

/// Calls back for the channel of that source, if the line-up has it.
/// @return whether it has
bool findChannel(sqlite::Connection& connection, std::int64_t source, const std::function<void(const Channel&)>& visit);

/// Reads a row that has the columns source_id, number, name, icon_url, icon_width and icon_height of `channel`. The
/// record is valid until the query's next step.
Channel channelOf(const sqlite::Query& row);

inline constexpr int kSameLanguage = 2;

/// How well a listing's language serves the one wanted: kSameLanguage, 1 if only the region differs, else 0.
int languageMatch(std::string_view offered, std::string_view wanted);

}  // namespace corvaned::guide
