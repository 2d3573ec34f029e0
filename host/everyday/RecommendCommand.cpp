// `corvane recommend`: one row per kind of recommendation.
#include <algorithm>
#include <string_view>

#include "EverydayGroups.h"
#include "ProgrammeCells.h"

namespace W::host {

namespace {

constexpr int kMostPopular = 10;

struct RecommendationRow {
    const char* group;  ///< the word on the command line; empty for "all" only
    const char* key;    ///< of the JSON object, and the first field of lines in a pipe
    const char* operation;
    Json parameters;
    const char* title;
    const char* none;
};

const std::vector<RecommendationRow>& recommendationRows()
{
    static const std::vector<RecommendationRow> s_rows{
        {"channels", "smartChannels", "getSmartChannel", Json::array(), "At your usual time",
         "Watch something to get suggestions for this time of day."},
        {"popular", "popularChannels", "getPopularChannel", Json::array({kImageSize, kMostPopular}), "Popular now",
         "Nothing is on at the moment."},
        {"popular", "smartPopular", "getSmartPopular", Json::array(), "Popular at this time",
         "Nothing is on at the moment."},
        {"missed", "missed", "getMissedContent", Json::array({"time"}), "Missed",
         "You have missed nothing. This list shows what you missed of your favourites."},
        {"missed", "candidates", "getCandidateMissedContent", Json::array(), "Perhaps missed", ""},
        {"", "concierge", "getCombination", Json::array({"corvane"}), "Chosen for you",
         "Nothing is chosen for you yet."},
    };
    return s_rows;
}

/// The records to show. Popular channels without a current programme are left out.
Json recordsOf(const Json& result)
{
    Json records = result.contains("Personalized") ? result["Personalized"] : listOf(result);
    records.erase(std::remove_if(records.begin(), records.end(),
                                 [](const Json& record) { return stringOf(record, "Title").empty(); }),
                  records.end());
    return records;
}

}  // namespace

Report recommend(OpenedService& service, const EverydayArguments& arguments, const OutputOptions& output)
{
    const std::string_view wanted = arguments.kind.empty() ? "all" : std::string_view(arguments.kind);
    const ShownTimes times(service.now(), service.zone(output.zone));
    const ChannelNames names(service.channels());
    Report report;
    for (const RecommendationRow& row : recommendationRows()) {
        if (wanted != "all" && wanted != row.group) {
            continue;
        }
        const Json results = service.operations().call("fetch recommendations", row.operation, row.parameters);
        report.json[row.key] = results[0];
        report.sections.push_back(
            {row.key, row.title, programmeTable(recordsOf(results[0]), times, names), row.none, ""});
    }
    return report;
}

}  // namespace W::host
