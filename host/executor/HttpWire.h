// What of a request may go onto the wire, and in which bytes. Pure functions over texts; CurlTransfer.h uses them.
#pragma once

#include "HttpHeader.h"

#include <optional>
#include <string>
#include <string_view>

namespace W::host {

enum class UrlEncoding {
    AsGiven,
    PercentEncode
};

/// A URL in the two parts that travel apart.
struct WireUrl {
    std::string origin;  ///< scheme, host and port, with "/" at the end: where to connect
    std::string target;  ///< what the request line holds: everything behind the authority, byte for byte
    bool tls = false;
};

/// Splits an absolute http or https URL. With PercentEncode, what may not stand in a URL is encoded (blanks, control
/// characters, bytes above 0x7F and `"<>\^{|}` and back-tick); existing %XX and reserved characters stay.
/// @return nothing when no request line can carry it: another scheme, no host, a blank or control character left
std::optional<WireUrl> splitUrl(const std::string& url, UrlEncoding encoding);

/// The host of a URL, as a name look-up takes it: without port, user and the brackets of an IPv6 address; empty if
/// libcurl cannot read the URL.
std::string hostOf(const WireUrl& url);

/// `text` with the above encoded.
std::string percentEncoded(std::string_view text);

/// True when every name is a token of RFC 9110 and no value holds CR, LF or NUL.
bool isSendable(const HttpHeader& header);

/// Compares header names, which know no case.
bool isHeaderName(std::string_view name, std::string_view wanted);

}  // namespace W::host
