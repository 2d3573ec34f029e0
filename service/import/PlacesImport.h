// Reads places, headends, their line-ups and the operator's apps from CSV. docs/running-the-service.md and kRows in
// PlacesImport.cpp list the rows; Lineup.h answers from the tables.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "Sqlite.h"

namespace corvaned {

/// The invented places of a new database: sample/places.csv.
std::string_view samplePlaces();

/// Imports the sample places if the guide has no headends.
void addSamplePlaces(sqlite::Connection& connection);

struct PlacesReport {
    std::int64_t cities = 0;
    std::int64_t postalCodes = 0;
    std::int64_t headends = 0;
    std::int64_t apps = 0;
};

/// Replaces places and headends by those of the CSV, and the apps by its apps; what it has none of stays. The caller
/// holds a write transaction.
/// @param name  of the file, for messages
/// @throws OperatorError with the line of the first fault; the transaction must not be committed then
PlacesReport importPlaces(sqlite::Connection& connection, std::string_view csv, const std::string& name);

}  // namespace corvaned
