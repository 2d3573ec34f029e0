#include "GuideSearch.h"

#include <cctype>
#include <string>

#include <fmt/format.h>

namespace corvaned::guide {
namespace {

// A match in a title weighs more than one in a name, and a name more than a word of the description.
constexpr std::string_view kMatches =
    "SELECT rowid FROM search WHERE search MATCH ?1 ORDER BY bm25(search, 10, 5, 1, 4), rowid LIMIT ?3 OFFSET ?2";
constexpr std::string_view kCount = "SELECT count(*) FROM search WHERE search MATCH ?1";

// The search expression of SQLite's full-text index. Every word is quoted, so that words such as AND are not operators.
std::string expressionOf(std::string_view question, Match match)
{
    std::string expression;
    std::string word;
    const auto endWord = [&] {
        if (!word.empty()) {
            expression += (expression.empty() ? "\"" : " \"") + word + (match == Match::Prefix ? "\"*" : "\"");
            word.clear();
        }
    };
    for (const char c : question) {
        const bool blank = static_cast<unsigned char>(c) <= ' ';
        if (blank && match == Match::Prefix) {
            endWord();
        } else {
            word += blank || c == '"' ? ' ' : c;
        }
    }
    endWord();
    return expression;
}

}  // namespace

std::string searchProblem(std::string_view question)
{
    std::size_t words = 0;
    std::size_t length = 0;
    for (const unsigned char c : question) {
        // ASCII characters that separate words in the index.
        const bool separates = c < 0x80 && std::isalnum(c) == 0;
        words += !separates && length == 0 ? 1 : 0;
        length = separates ? 0 : length + 1;
        if (length > kLongestSearchWord) {
            return fmt::format("has a word of more than {} bytes", kLongestSearchWord);
        }
    }
    return words > kMostSearchWords ? fmt::format("has {} words; at most {} are searched for", words, kMostSearchWords)
                                    : std::string();
}

Found search(sqlite::Connection& connection, std::string_view question, Match match, Page page)
{
    Found found;
    const std::string expression = expressionOf(question, match);
    if (expression.empty()) {
        return found;
    }
    {
        sqlite::Query count(connection, kCount);
        count.bind(expression).next();
        found.total = count.number(0);
    }
    sqlite::Query rows(connection, kMatches);
    rows.bind(expression, page.start, page.count);
    while (rows.next()) {
        found.contents.push_back(rows.number(0));
    }
    return found;
}

}  // namespace corvaned::guide
