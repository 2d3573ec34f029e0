#include "Report.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>

#include <fmt/format.h>
#include <sys/wait.h>
#include <unistd.h>

#include "Terminal.h"

namespace W::host {

namespace {

/// While a pager runs, it handles Ctrl-C, and may end before it has read everything.
class PagerSignals {
public:
    PagerSignals() : m_interrupt(std::signal(SIGINT, SIG_IGN)), m_pipe(std::signal(SIGPIPE, SIG_IGN)) {}
    ~PagerSignals()
    {
        std::signal(SIGINT, m_interrupt);
        std::signal(SIGPIPE, m_pipe);
    }
    PagerSignals(const PagerSignals&) = delete;
    PagerSignals& operator=(const PagerSignals&) = delete;

private:
    using Handler = void (*)(int);
    Handler m_interrupt;
    Handler m_pipe;
};

void page(const std::string& string)
{
    constexpr int kShellFoundNoCommand = 127;
    const char* const set = std::getenv("PAGER");
    const std::string pager = set && *set ? set : "less";
    // Show colours, and end at once if everything fits on the screen.
    ::setenv("LESS", "FRX", 0);
    std::fflush(stdout);
    const PagerSignals signals;
    std::FILE* const pipe = ::popen(pager.c_str(), "w");
    if (!pipe) {
        throw std::runtime_error(fmt::format("cannot start the pager \"{}\"; omit --pager", pager));
    }
    std::fwrite(string.data(), 1, string.size(), pipe);
    const int status = ::pclose(pipe);
    if (WIFEXITED(status) && WEXITSTATUS(status) == kShellFoundNoCommand) {
        throw std::runtime_error(
            fmt::format("cannot start the pager \"{}\"; set PAGER to another program, or omit --pager", pager));
    }
}

std::string forPeople(const Report& report, const TableStyle& style)
{
    std::string text;
    for (const ReportSection& section : report.sections) {
        std::string content =
            section.sentence.empty() ? layOut(section.table, style) : paragraph(section.sentence, style.width);
        if (section.table.rows.empty() && section.sentence.empty()) {
            if (section.none.empty()) {
                continue;
            }
            content = paragraph(section.none, style.width);
        }
        text += text.empty() ? "" : "\n";
        if (!section.title.empty()) {
            std::string title = paragraph(section.title, style.width);
            title.pop_back();  // the reset comes before the line feed
            text += style.colours ? fmt::format("{}{}{}\n", kBold, title, kPlain) : title + "\n";
        }
        text += content;
    }
    return text;
}

}  // namespace

int OutputOptions::columns() const
{
    return width > 0 ? width : terminalWidth();
}

bool OutputOptions::hasColours() const
{
    return color == ColorChoice::Auto ? terminalHasColours() : color == ColorChoice::Always;
}

void printPaged(const std::string& string, const OutputOptions& output)
{
    if (output.pager && ::isatty(STDOUT_FILENO) == 1) {
        page(string);
    } else {
        std::fwrite(string.data(), 1, string.size(), stdout);
    }
}

void printJson(const Json& json, const OutputOptions& output)
{
    constexpr int kIndent = 2;
    const int indent = ::isatty(STDOUT_FILENO) == 1 ? kIndent : -1;
    printPaged(json.dump(indent, ' ', false, Json::error_handler_t::replace) + "\n", output);
}

void print(const Report& report, const OutputOptions& output)
{
    if (output.json) {
        printJson(report.json, output);
        return;
    }
    if (output.table || ::isatty(STDOUT_FILENO) == 1) {
        printPaged(forPeople(report, {output.columns(), output.hasColours()}), output);
        return;
    }
    std::string lines;
    for (const ReportSection& section : report.sections) {
        lines += tabSeparated(section.table, section.name);
    }
    printPaged(lines, output);
}

}  // namespace W::host
