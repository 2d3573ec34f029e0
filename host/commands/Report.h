// The result of a command, and how it is printed: tables on a terminal, tab-separated lines into a pipe, or one
// JSON object.
#pragma once

#include <string>
#include <vector>

#include "RecordJson.h"
#include "Table.h"

namespace W::host {

enum class ColorChoice {
    Auto,  ///< on a terminal that has colours, unless NO_COLOR is set
    Always,
    Never
};

struct OutputOptions {
    bool json = false;
    bool table = false;  ///< also if standard output is not a terminal
    bool pager = false;
    ColorChoice color = ColorChoice::Auto;
    int width = 0;     ///< columns; 0 for the terminal's
    std::string zone;  ///< name in the zone database; empty for TZ, or else the service's

    int columns() const;
    bool hasColours() const;
};

struct ReportSection {
    std::string name;   ///< begins each line in a pipe; empty for nothing
    std::string title;  ///< above the table; empty for none
    Table table;
    std::string none;      ///< what people get if the table has no rows; empty leaves the section out
    std::string sentence;  ///< what people get in place of the table
};

struct Report {
    Json json = Json::object();
    std::vector<ReportSection> sections;
};

/// Prints a report on standard output.
/// @throws std::runtime_error if there is no pager
void print(const Report& report, const OutputOptions& output);

/// Prints a string on standard output, through the pager if it is wanted and this is a terminal.
/// @throws std::runtime_error if there is no pager
void printPaged(const std::string& string, const OutputOptions& output);

/// Prints one JSON value: in one line, or indented on a terminal.
void printJson(const Json& json, const OutputOptions& output);

}  // namespace W::host
