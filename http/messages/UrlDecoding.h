// Reads the targets of requests (RFC 3986; forms as in the URL standard's application/x-www-form-urlencoded).
#pragma once

#include <map>
#include <string>
#include <string_view>

namespace http {

enum class Plus {
    IsPlus,   // in a path
    IsBlank,  // in a query or a form
};

/// Decodes percent-encoding. A '%' that two hexadecimal digits do not follow is unchanged.
std::string percentDecoded(std::string_view string, Plus plus);

/// Reads "name=value&name=value", in its order. A part without '=' is a name without a value; empty parts are skipped.
std::multimap<std::string, std::string> parseQuery(std::string_view query);

}  // namespace http
