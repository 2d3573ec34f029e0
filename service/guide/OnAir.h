// The one definition of "on the air" in SQL.
#pragma once

#include <string>
#include <string_view>

namespace corvaned::guide {

/// A condition on a row of `airing`: it is on the air at some moment of [from, to).
///
/// No airing is longer than the longest one of the guide, so the search in the index on start begins that much before
/// `from`.
/// @param from, to  SQL expressions, such as "?2"; seconds since 1970
inline std::string onAirDuring(std::string_view from, std::string_view to)
{
    std::string sql = "(airing.start < ";
    sql.append(to).append(" AND airing.stop > ").append(from);
    sql.append(" AND airing.start >= ").append(from).append(" - (SELECT value FROM guide WHERE name = 'longest'))");
    return sql;
}

/// A condition on a row of `airing`: it is on the air at that moment.
inline std::string onAirAt(std::string_view at)
{
    return onAirDuring(at, std::string(at) + " + 1");
}

/// The order of airings of one channel that overlap: the one that began last comes first.
inline constexpr std::string_view kLatestFirst = "airing.start DESC, airing.clump, airing.id";

}  // namespace corvaned::guide
