// Rows and columns for a terminal, fitted to its width, or as tab-separated lines for other programs.
#pragma once

#include <climits>
#include <string>
#include <string_view>
#include <vector>

namespace W::host {

/// A column whose cells are all empty is left out on a terminal.
struct TableColumn {
    static constexpr int kRigid = INT_MAX;

    std::string heading;  ///< on a terminal
    int least = kRigid;   ///< columns that it keeps when it is narrowed; kRigid keeps all of its cells whole
    int lines = 1;        ///< of a cell that is too long for one
    int leftOut = 0;      ///< order of removal if there is no room: the highest number first; 0 always stays
    bool alignsRight = false;
    bool forPeopleOnly = false;  ///< left out of the lines for scripts
};

struct TableCell {
    TableCell() = default;
    TableCell(std::string both) : shown(both), plain(std::move(both)) {}  // NOLINT(google-explicit-constructor)
    TableCell(const char* both) : TableCell(std::string(both)) {}         // NOLINT(google-explicit-constructor)
    TableCell(std::string forPeople, std::string forScripts) : shown(std::move(forPeople)), plain(std::move(forScripts))
    {}

    std::string shown;  ///< for people
    std::string plain;  ///< for scripts
};

struct Table {
    std::vector<TableColumn> columns;
    std::vector<std::vector<TableCell>> rows;  ///< one cell per column
    std::vector<std::string> highlighted;      ///< words whose occurrences at the beginning of a word are marked
};

struct TableStyle {
    int width = 80;  ///< columns of the terminal
    bool colours = false;
};

/// The table with its headings, if it has any. No line is longer than the width, unless the
/// width is only a few columns.
std::string layOut(const Table& table, const TableStyle& style);

/// One line per row, with a tab between cells. Tabs, line breaks and other control characters become blanks.
/// @param first  a cell that begins each line; empty for none
std::string tabSeparated(const Table& table, const std::string& first);

/// A string with the marked words between two strings. Case and accents do not matter.
std::string highlighted(std::string_view string, const std::vector<std::string>& words, std::string_view on,
                        std::string_view off);

}  // namespace W::host
