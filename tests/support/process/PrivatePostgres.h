// The PostgreSQL that tests/support/postgres/with_postgres runs, for tests that run against both stores.
#pragma once

#include <string>

namespace support {

/// Whether with_postgres runs the test.
bool isOnPostgres();

/// Creates an empty database and returns its address.
/// @throws std::runtime_error if PostgreSQL refuses
std::string newPostgresDatabase();

/// What psql prints for a query, without headings and the last newline.
/// @throws std::runtime_error if PostgreSQL refuses
std::string queryPostgres(const std::string& address, const std::string& sql);

}  // namespace support
