#include "Table.h"

#include <algorithm>
#include <cwctype>
#include <numeric>

#include "Terminal.h"

namespace W::host {

namespace {

constexpr int kGap = 2;

std::string blanks(int count)
{
    return std::string(static_cast<std::size_t>(std::max(0, count)), ' ');
}

std::string trimmed(std::string line)
{
    line.erase(line.find_last_not_of(' ') + 1);
    return line;
}

/// A column on the screen.
struct ShownColumn {
    std::size_t index;
    int width;
    int least;
};

int totalOf(const std::vector<ShownColumn>& columns)
{
    return std::accumulate(columns.begin(), columns.end(), -kGap,
                           [](int sum, const ShownColumn& column) { return sum + column.width + kGap; });
}

/// Narrows the widest column until all fit.
/// @return false if the columns do not fit with their least widths
bool narrow(std::vector<ShownColumn>& columns, int width)
{
    while (totalOf(columns) > width) {
        ShownColumn* widest = nullptr;
        for (ShownColumn& column : columns) {
            if (column.width > column.least && (!widest || column.width > widest->width)) {
                widest = &column;
            }
        }
        if (!widest) {
            return false;
        }
        --widest->width;
    }
    return true;
}

std::vector<ShownColumn> columnsFor(const Table& table, int width)
{
    std::vector<ShownColumn> all;
    for (std::size_t i = 0; i < table.columns.size(); ++i) {
        const TableColumn& column = table.columns[i];
        int widest = displayWidth(column.heading);
        bool isEmpty = true;
        for (const auto& row : table.rows) {
            widest = std::max(widest, displayWidth(row[i].shown));
            isEmpty = isEmpty && row[i].shown.empty();
        }
        if (!isEmpty) {
            all.push_back({i, widest, std::min(widest, column.least)});
        }
    }
    std::vector<ShownColumn> shown = all;
    while (!narrow(shown, width)) {
        const auto order = [&](const ShownColumn& column) { return table.columns[column.index].leftOut; };
        const auto next = std::max_element(
            all.begin(), all.end(), [&](const ShownColumn& a, const ShownColumn& b) { return order(a) < order(b); });
        if (order(*next) == 0) {
            // Columns that must stay are narrowed as far as possible, those that should stay whole last.
            constexpr int kLeast = 4;
            for (const bool areRigid : {false, true}) {
                for (ShownColumn& column : shown) {
                    if ((table.columns[column.index].least == TableColumn::kRigid) == areRigid) {
                        column.least = std::min(column.least, kLeast);
                    }
                }
                if (narrow(shown, width)) {
                    break;
                }
            }
            break;
        }
        all.erase(next);
        shown = all;
    }
    return shown;
}

std::string oneLine(const TableColumn& column, const std::string& string, int width)
{
    const int free = width - displayWidth(string);
    return column.alignsRight && free > 0 ? blanks(free) + fitted(string, width - free) : fitted(string, width);
}

std::vector<std::string> cellLines(const TableColumn& column, const std::string& string, int width)
{
    if (column.lines > 1) {
        return wrapped(string, width, static_cast<std::size_t>(column.lines));
    }
    return {oneLine(column, string, width)};
}

// --- highlighting ----------------------------------------------------------------------------------------------------

/// The letter without its accent, for lower-case letters of U+00C0 to U+017F.
wchar_t withoutAccent(wchar_t letter)
{
    // One letter for each code point.
    constexpr std::wstring_view kBases =
        L"aaaaaaaceeeeiiiidnooooo×ouuuuyþsaaaaaaaceeeeiiiidnooooo÷ouuuuyþy"
        L"aaaaaaccccccccddddeeeeeeeeeegggggggghhhhiiiiiiiiiiiijjkkk"
        L"llllllllllnnnnnnnnnoooooooorrrrrrssssssssttttttuuuuuuuuuuuuwwyyyzzzzzzs";
    constexpr wchar_t kFirst = 0xC0;
    static_assert(kBases.size() == 0x180 - kFirst);
    return letter < kFirst || letter >= 0x180 ? letter : kBases[static_cast<std::size_t>(letter - kFirst)];
}

struct FoldedString {
    std::wstring letters;
    std::vector<std::size_t> begins;  ///< where each letter begins; one more entry for the end
};

/// Letters without accents, also decomposed ones.
FoldedString fold(std::string_view string)
{
    FoldedString result;
    std::size_t place = 0;
    for (const CodePoint& point : lowerCase(string)) {
        const bool isAccent = point.value >= 0x300 && point.value < 0x370;
        if (!isAccent) {
            result.letters += withoutAccent(point.value);
            result.begins.push_back(place);
        }
        place += point.bytes.size();
    }
    result.begins.push_back(place);
    return result;
}

bool isWordLetter(wchar_t letter)
{
    return letter >= 0x80 || std::iswalnum(static_cast<std::wint_t>(letter)) != 0;
}

}  // namespace

std::string highlighted(std::string_view string, const std::vector<std::string>& words, std::string_view on,
                        std::string_view off)
{
    const FoldedString shown = fold(string);
    std::vector<std::wstring> wanted;
    for (const std::string& word : words) {
        wanted.push_back(fold(word).letters);
    }
    std::string result;
    std::size_t done = 0;
    for (std::size_t at = 0; at < shown.letters.size();) {
        const bool beginsWord = at == 0 || !isWordLetter(shown.letters[at - 1]) || shown.letters[at] >= 0x2E80;
        std::size_t length = 0;
        for (const std::wstring& word : wanted) {
            if (beginsWord && word.size() > length && shown.letters.compare(at, word.size(), word) == 0) {
                length = word.size();
            }
        }
        if (length > 0) {
            const std::size_t begin = shown.begins[at];
            const std::size_t end = shown.begins[at + length];
            result.append(string.substr(done, begin - done)).append(on).append(string.substr(begin, end - begin));
            result.append(off);
            done = end;
        }
        at += std::max<std::size_t>(1, length);
    }
    return result.append(string.substr(done));
}

std::string layOut(const Table& table, const TableStyle& style)
{
    const std::vector<ShownColumn> columns = columnsFor(table, style.width);
    std::string result;
    const bool hasHeadings = std::any_of(columns.begin(), columns.end(), [&](const ShownColumn& column) {
        return !table.columns[column.index].heading.empty();
    });
    if (hasHeadings && !table.rows.empty()) {
        std::string line;
        for (const ShownColumn& column : columns) {
            const TableColumn& described = table.columns[column.index];
            line += line.empty() ? "" : blanks(kGap);
            line += oneLine(described, described.heading, column.width);
        }
        result += style.colours ? std::string(kDim) + trimmed(line) + std::string(kPlain) : trimmed(line);
        result += '\n';
    }
    for (const auto& row : table.rows) {
        std::vector<std::vector<std::string>> cells;
        std::size_t height = 1;
        for (const ShownColumn& column : columns) {
            cells.push_back(cellLines(table.columns[column.index], row[column.index].shown, column.width));
            height = std::max(height, cells.back().size());
        }
        for (std::size_t i = 0; i < height; ++i) {
            std::string line;
            for (std::size_t place = 0; place < columns.size(); ++place) {
                const std::string cell = i < cells[place].size() ? cells[place][i] : blanks(columns[place].width);
                line += place == 0 ? "" : blanks(kGap);
                line += style.colours ? highlighted(cell, table.highlighted, kBold, kPlain) : cell;
            }
            result += trimmed(line) + "\n";
        }
    }
    return result;
}

std::string tabSeparated(const Table& table, const std::string& first)
{
    std::string result;
    for (const auto& row : table.rows) {
        std::string line = first;
        bool isFirst = first.empty();
        for (std::size_t i = 0; i < row.size(); ++i) {
            if (!table.columns[i].forPeopleOnly) {
                line += isFirst ? "" : "\t";
                line += printable(row[i].plain);
                isFirst = false;
            }
        }
        result += line + "\n";
    }
    return result;
}

}  // namespace W::host
