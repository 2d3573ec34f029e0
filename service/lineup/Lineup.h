// Places, the headends that serve them, and the channels of each headend by number. PlacesImport.h fills
// the tables. Every function reads on the connection it is given.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Sqlite.h"

namespace corvaned::lineup {

/// Normalizes a postal code for comparison: capitals, without blanks and hyphens.
std::string plainPostalCode(std::string_view code);

struct Place {
    std::string code;
    std::string name;
};

std::vector<Place> states(sqlite::Connection& connection);
std::vector<Place> citiesOf(sqlite::Connection& connection, std::string_view state);

struct Device {
    std::string type;
    std::string name;
};

struct Headend {
    std::string id;
    std::string name;
    std::string operatorId;
    std::string operatorName;
    std::string serviceType;
    std::string satellite;
    std::string city;  // the first requested city that it serves
    std::vector<Device> devices;
};

/// The headends that serve a city, or any city of a state.
/// @param code  of the city or state
std::vector<Headend> headendsAt(sqlite::Connection& connection, std::string_view code);

/// The headends at a postal code. If it is unknown, those at the longest known code that it begins with ("10110-0042"
/// finds "10110").
std::vector<Headend> headendsAtPostalCode(sqlite::Connection& connection, std::string_view code);

bool isHeadend(sqlite::Connection& connection, std::string_view id);

/// A channel at a number of a line-up.
struct Station {
    std::string number;
    std::int64_t source = 0;
    std::string name;
};

/// The guide's channels that a headend carries, by number.
std::vector<Station> lineupOf(sqlite::Connection& connection, std::string_view headend);

struct Answer {
    Headend headend;
    std::string channel;  // empty: that headend has no channel at the number
};

struct Question {
    std::string number;
    std::vector<Answer> answers;  // one for every headend
};

/// Questions that distinguish the headends that share a city with the given one, including that one; as few as
/// possible. A viewer who answers each with the channel at its number is left with exactly one headend, unless several
/// have equal line-ups.
/// @param headend  empty: all headends
std::vector<Question> quiz(sqlite::Connection& connection, std::string_view headend);

}  // namespace corvaned::lineup
