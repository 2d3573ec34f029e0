#include "Suggestion.h"

#include <algorithm>
#include <cctype>
#include <numeric>

#include <fmt/format.h>

namespace W::host {

namespace {

std::string lower(std::string_view string)
{
    std::string result(string);
    std::transform(result.begin(), result.end(), result.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    return result;
}

/// Letters to insert, delete, replace or swap (optimal string alignment).
std::size_t distance(const std::string& a, const std::string& b)
{
    std::vector<std::vector<std::size_t>> costs(a.size() + 1, std::vector<std::size_t>(b.size() + 1));
    for (std::size_t i = 0; i <= a.size(); ++i) {
        for (std::size_t j = 0; j <= b.size(); ++j) {
            if (i == 0 || j == 0) {
                costs[i][j] = i + j;
                continue;
            }
            const std::size_t replaced = costs[i - 1][j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
            costs[i][j] = std::min({costs[i - 1][j] + 1, costs[i][j - 1] + 1, replaced});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
                costs[i][j] = std::min(costs[i][j], costs[i - 2][j - 2] + 1);
            }
        }
    }
    return costs[a.size()][b.size()];
}

}  // namespace

std::string closest(std::string_view written, const std::vector<std::string>& known)
{
    constexpr std::size_t kLongest = 64;
    constexpr std::size_t kLeastForBeginnings = 4;
    if (written.empty() || written.size() > kLongest) {
        return {};
    }
    const std::string wanted = lower(written);
    // A third of the letters may be wrong.
    std::size_t best = std::max<std::size_t>(1, wanted.size() / 3) + 1;
    std::string found;
    for (const std::string& name : known) {
        const std::string candidate = lower(name).substr(0, kLongest);
        std::size_t cost = distance(wanted, candidate);
        for (std::size_t length = wanted.size(); length <= wanted.size() + 1; ++length) {
            if (wanted.size() >= kLeastForBeginnings && candidate.size() > length) {
                cost = std::min(cost, distance(wanted, candidate.substr(0, length)));
            }
        }
        if (cost < best) {
            best = cost;
            found = name;
        }
    }
    return found;
}

std::string didYouMean(std::string_view written, const std::vector<std::string>& known)
{
    const std::string found = closest(written, known);
    return found.empty() ? std::string() : fmt::format("; did you mean {}?", found);
}

}  // namespace W::host
