// Details: elements of a channel or programme that XMLTV's document type allows and the guide has no field for, such as
// keywords, web addresses, star ratings, sound and picture. They are kept as XML and written again by an export.
// ListingRecords.cpp decides what has no field; Export.cpp writes details among the fields.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace corvaned {

/// A child of <channel> or <programme>, as a tree.
struct ListingElement {
    std::string name;
    std::vector<std::pair<std::string, std::string>> attributes;  // blanks in their values collapsed
    std::string text;                                             // without that of its children; blanks collapsed
    std::vector<ListingElement> children;

    /// The value of an attribute, or "".
    const std::string& attribute(std::string_view key) const;
};

/// The element on one line of XML, with only what the document type (xmltv.dtd) allows; "" if it does not allow the
/// element or if nothing is left of it.
std::string detailOf(const ListingElement& element);

/// The place of a child among the children of its parent in the document type; the children of <credits> included.
/// @param element  "title", say; one that the document type does not have comes last
std::size_t placeOf(std::string_view element);

/// The name of the element that a line of XML holds.
std::string_view nameOfDetail(std::string_view line);

/// Appends a string as the content of an element or, in double quotes, of an attribute.
void appendEscaped(std::string& xml, std::string_view string);

/// The lines in the order of placeOf(), otherwise as they are, each with a line feed.
std::string joinedDetails(const std::vector<std::string>& lines);

/// The inverse of joinedDetails(). The views point into the argument.
std::vector<std::string_view> splitDetails(std::string_view details);

}  // namespace corvaned
