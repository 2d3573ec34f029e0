// Strings for a terminal: their width, cut to a width, without control characters. Widths are columns; a wide character
// takes two. Strings are UTF-8; other bytes become U+FFFD.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include <unistd.h>

namespace W::host {

/// Renditions of the characters that follow (ECMA-48, SGR). kPlain ends them.
inline constexpr std::string_view kBold = "\x1b[1m";
inline constexpr std::string_view kDim = "\x1b[2m";
inline constexpr std::string_view kReverse = "\x1b[7m";
inline constexpr std::string_view kPlain = "\x1b[0m";

/// Columns of standard output or another descriptor: the terminal's, or 80.
int terminalWidth(int descriptor = STDOUT_FILENO);

/// True if standard output is a terminal that shows colours and NO_COLOR is not set.
bool terminalHasColours();

struct CodePoint {
    std::string_view bytes;
    wchar_t value;  ///< in lower case; 0 for bytes that are not UTF-8
};

std::vector<CodePoint> lowerCase(std::string_view string);

/// A string without what fitted() removes; control characters become blanks.
std::string printable(std::string_view string);

/// Columns that a string takes up on the terminal.
int displayWidth(std::string_view string);

/// Exactly `width` columns of a string: cut, with "…" at the end, or filled up with blanks. Control characters
/// become blanks, and directional overrides and other invisible characters are dropped: both could command the
/// terminal or disguise a title. Right-to-left strings are put between left-to-right marks, which take up no column, so
/// that a terminal that reorders them leaves the neighbouring cells in their places.
std::string fitted(std::string_view string, int width);

/// A string in at most `lines` lines of exactly `width` columns each, broken between words if possible.
std::vector<std::string> wrapped(std::string_view string, int width, std::size_t lines);

/// A whole text in lines of at most `width` columns, broken between words if possible, each with its line feed.
std::string paragraph(std::string_view text, int width);

}  // namespace W::host
