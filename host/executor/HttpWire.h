// Checks and encodes the parts of a request. Pure functions over strings; CurlTransfer.h uses them.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "HttpHeader.h"

namespace W::host {

enum class UrlEncoding {
    AsGiven,
    PercentEncode
};

/// A URL in the two parts that are sent separately.
struct WireUrl {
    std::string origin;  ///< scheme, host and port, with "/" at the end
    std::string target;  ///< everything after the authority, byte for byte, for the request line
    bool tls = false;
};

/// Splits an absolute http or https URL. PercentEncode encodes the characters that a URL must not contain (blanks,
/// control characters, bytes above 0x7F, `"<>\^{|}` and back-tick); existing %XX and reserved characters stay.
/// @return nothing if it cannot be requested: another scheme, no host, or a blank or control character left
std::optional<WireUrl> splitUrl(const std::string& url, UrlEncoding encoding);

/// The host of a URL, as a name look-up takes it: without port, user and the brackets of an IPv6 address; empty if
/// libcurl cannot read the URL.
std::string hostOf(const WireUrl& url);

/// `string`, encoded as by splitUrl() with PercentEncode.
std::string percentEncoded(std::string_view string);

/// True if every name is a token of RFC 9110 and no value contains CR, LF or NUL.
bool isSendable(const HttpHeader& header);

/// Compares header names, ignoring case.
bool isHeaderName(std::string_view name, std::string_view wanted);

}  // namespace W::host
