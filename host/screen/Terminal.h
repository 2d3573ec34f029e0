// Text for a terminal: how wide it is, cut to a width, harmless. Widths are columns, of which a wide character takes
// two; texts are UTF-8, and what is not becomes U+FFFD.
#pragma once

#include <unistd.h>

#include <string>
#include <string_view>
#include <vector>

namespace W::host {

/// Columns of standard output or another descriptor: the terminal's, or 80.
int terminalWidth(int descriptor = STDOUT_FILENO);

/// True when standard output is a terminal that shows colours, and nobody asked for none (NO_COLOR).
bool terminalHasColours();

/// Columns that a text takes.
int displayWidth(std::string_view text);

/// Exactly `width` columns of a text: cut, with "…" for what is lost, or filled up with blanks. Control characters,
/// which could command the terminal, become blanks.
std::string fitted(std::string_view text, int width);

/// A text in at most `lines` lines of exactly `width` columns each, broken between words where that works.
std::vector<std::string> wrapped(std::string_view text, int width, std::size_t lines);

}  // namespace W::host
