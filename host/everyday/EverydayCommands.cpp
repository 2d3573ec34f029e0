#include "EverydayCommands.h"

#include <algorithm>
#include <filesystem>
#include <fstream>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "EverydayGroups.h"
#include "Question.h"

namespace W::host {

namespace {

using Arguments = EverydayArguments;

constexpr int kMostFound = 200;

void channelsOption(CLI::App& command, Arguments& arguments)
{
    command
        .add_option("--channels", arguments.channels,
                    "Show only these channels, in this order: number, source, name, or an unambiguous start of a name")
        ->type_name("CHANNEL[,CHANNEL]")
        ->delimiter(',');
}

void searchArguments(CLI::App& command, Arguments& arguments)
{
    command.add_option("words", arguments.words, "Find these words in titles, descriptions and names of people")
        ->type_name("WORDS")
        ->required();
    command.add_flag("--exact", arguments.exact, "Find whole words only, in this order");
    command.add_option("--limit", arguments.limit, "Show at most this many programmes")
        ->type_name("N")
        ->check(CLI::Range(1, kMostFound).description(""))
        ->capture_default_str();
}

template <char const* Description>
void idArgument(CLI::App& command, Arguments& arguments)
{
    command.add_option("id", arguments.id, Description)->type_name("ID")->required();
}

constexpr char kProgrammeId[] = "Programme with this ID, which search prints";
constexpr char kPersonId[] = "Person with this ID, which show prints";
constexpr char kSeriesId[] = "Series with this ID, or the series of the programme with this ID";
constexpr char kChannelId[] = "Channel: number, source, name, or an unambiguous start of a name";

void voteArguments(CLI::App& command, Arguments& arguments)
{
    command.add_option("id", arguments.id, kProgrammeId)->type_name("ID")->required();
    command.add_flag("--person", arguments.person, "Take the ID as that of a person");
}

void favouritesArguments(CLI::App& command, Arguments& arguments)
{
    command.add_option("action", arguments.action, "Add or remove a favourite; default: list all")
        ->type_name("add|remove")
        ->check(CLI::IsMember({"add", "remove"}).description(""));
    command.add_option("kind", arguments.kind, "Take the ID as that of a channel or of a programme")
        ->type_name("channel|content")
        ->check(CLI::IsMember({"channel", "content"}).description(""));
    command
        .add_option("id", arguments.id,
                    "Channel, by number, source or name; or programme, by the ID that search prints")
        ->type_name("ID");
}

std::optional<std::string> favouritesProblem(const Arguments& arguments)
{
    if (!arguments.action.empty() && arguments.id.empty()) {
        return fmt::format("write {} channel ID or {} content ID", arguments.action, arguments.action);
    }
    return std::nullopt;
}

void recommendArguments(CLI::App& command, Arguments& arguments)
{
    command.add_option("kind", arguments.kind, "Show only recommendations of this kind; default: all")
        ->type_name("channels|popular|missed|all")
        ->check(CLI::IsMember({"channels", "popular", "missed", "all"}).description(""));
}

void lineUpArguments(CLI::App& command, Arguments& arguments)
{
    command.add_option("--postal-code", arguments.postalCode, "Find the line-ups of this postal code")
        ->type_name("CODE");
    CLI::Option* const state =
        command.add_option("--state", arguments.state, "Find the line-ups of a city in this state")->type_name("STATE");
    command.add_option("--city", arguments.city, "Choose the city by name or code")->type_name("CITY")->needs(state);
    command
        .add_option("--answer", arguments.answers, "Answer the question which channel is on NUMBER; may be repeated")
        ->type_name("NUMBER=NAME")
        ->allow_extra_args(false)
        ->check([](const std::string& text) {
            return text.find('=') == std::string::npos ? "write NUMBER=NAME, not " + text : std::string();
        });
    command.add_option("--headend", arguments.headend, "Choose the line-up with this ID")->type_name("ID");
    command.add_option("--device", arguments.device, "Choose the receiver by type or name; default: the first one")
        ->type_name("DEVICE");
    command.add_flag("--show", arguments.show, "Show the saved line-up");
}

std::optional<std::string> lineUpProblem(const Arguments& arguments)
{
    if (!arguments.postalCode.empty() && !arguments.state.empty()) {
        return "write either --postal-code or --state and --city";
    }
    return std::nullopt;
}

void termsArguments(CLI::App& command, Arguments& arguments)
{
    command.add_option("action", arguments.action, "Change your agreement; default: show it")
        ->type_name("agree|revoke|anonymous")
        ->check(CLI::IsMember({"agree", "revoke", "anonymous"}).description(""));
    command.add_option("flag", arguments.kind, "Turn anonymous use on or off")
        ->type_name("on|off")
        ->check(CLI::IsMember({"on", "off"}).description(""));
}

std::optional<std::string> termsProblem(const Arguments& arguments)
{
    if ((arguments.action == "anonymous") == arguments.kind.empty()) {
        return arguments.action == "anonymous" ? "write anonymous on or anonymous off"
                                               : "\"on\" and \"off\" belong to anonymous";
    }
    return std::nullopt;
}

void uploadArguments(CLI::App& command, Arguments& arguments)
{
    command.add_option("file", arguments.id, "Upload this file, which has the channel information of the device")
        ->type_name("FILE")
        ->required();
}

void uploadSettings(const Arguments& arguments, CommonOptions& options)
{
    const auto refuse = [&](const std::string& reason) {
        throw ServiceProblem(fmt::format("cannot upload {}: {}", arguments.id, reason),
                             "name a file that you may read");
    };
    std::error_code error;
    const auto state = std::filesystem::status(arguments.id, error);
    if (!std::filesystem::exists(state)) {
        refuse(error && error != std::errc::no_such_file_or_directory ? error.message() : "it does not exist");
    }
    if (!std::filesystem::is_regular_file(state)) {
        refuse(std::filesystem::is_directory(state) ? "it is a directory" : "it is not a regular file");
    }
    if (!std::ifstream(arguments.id)) {
        refuse("it is not readable");
    }
    options.settings.push_back("channelinfo_filepath=" + std::filesystem::absolute(arguments.id).string());
}

void resetArguments(CLI::App& command, Arguments& arguments)
{
    command.add_flag("--yes", arguments.yes, "Do not ask for confirmation; required without a terminal");
}

std::optional<std::string> resetProblem(const Arguments& arguments)
{
    if (!arguments.yes && !canAsk()) {
        return "cannot ask for confirmation without a terminal; write --yes to delete the history";
    }
    return std::nullopt;
}

}  // namespace

const std::vector<EverydayCommand>& everydayCommands()
{
    static const std::vector<EverydayCommand> s_rows{
        {"now",
         "Show what is on now and next on every channel",
         {"getChannelList", "getSchedule"},
         channelsOption,
         nullptr,
         nullptr,
         showNow},
        {"search",
         "Find programmes by words",
         {"searchEPG", "getChannelList"},
         searchArguments,
         nullptr,
         nullptr,
         searchGuide},
        {"show",
         "Show everything about a programme",
         {"getContentDetailInfo", "getRelatedContent", "getSeriesDetailInfo", "getLikeHistory", "getGenreList",
          "getChannelList"},
         idArgument<kProgrammeId>,
         nullptr,
         nullptr,
         showProgramme},
        {"person",
         "Show a member of a cast or crew",
         {"getPersonDetailInfo", "getLikeHistory"},
         idArgument<kPersonId>,
         nullptr,
         nullptr,
         showPerson},
        {"series",
         "Show the episodes of a series",
         {"getSeriesDetailInfo"},
         idArgument<kSeriesId>,
         nullptr,
         nullptr,
         showSeries},
        {"channels", "Show the line-up", {"getChannelList"}, channelsOption, nullptr, nullptr, showChannels},
        {"favourites",
         "List or change favourite channels and programmes",
         {"getFavoriteChannelList", "getFavoriteContentList", "setFavorite", "deleteFavorite", "getChannelList"},
         favouritesArguments,
         favouritesProblem,
         nullptr,
         favourites},
        {"like", "Vote for a programme or person", {"sendLike"}, voteArguments, nullptr, nullptr, like},
        {"dislike", "Vote against a programme or person", {"sendLike"}, voteArguments, nullptr, nullptr, dislike},
        {"unlike", "Withdraw a vote", {"sendLike"}, voteArguments, nullptr, nullptr, unlike},
        {"watch",
         "Record that you watch a channel now",
         {"getChannelList", "getOnAir", "sendTuneHistory"},
         idArgument<kChannelId>,
         nullptr,
         nullptr,
         watchChannel},
        {"recommend",
         "Show what is recommended to you",
         {"getSmartChannel", "getPopularChannel", "getSmartPopular", "getMissedContent", "getCandidateMissedContent",
          "getCombination", "getChannelList"},
         recommendArguments,
         nullptr,
         nullptr,
         recommend},
        {"lineup",
         "Find the line-up that you receive, and save it",
         {"getHeadend", "getCityList", "getHeadend_Kor", "getLineupTest", "getChannelList", "saveHeadend",
          "loadHeadend"},
         lineUpArguments,
         lineUpProblem,
         nullptr,
         findLineUp},
        {"terms",
         "Show or change your agreement to the service's terms",
         {"checkAgreement", "confirmAgreement", "revocateAgreement", "setAnonymAgreement"},
         termsArguments,
         termsProblem,
         nullptr,
         terms},
        {"upload",
         "Upload a file with channel information",
         {"checkUpload", "sendChannel"},
         uploadArguments,
         nullptr,
         uploadSettings,
         uploadFile},
        {"reset-history",
         "Delete the service's record of what you watched and voted for",
         {"resetHistory"},
         resetArguments,
         resetProblem,
         nullptr,
         resetHistory},
    };
    return s_rows;
}

int runEveryday(const EverydayCommand& command, const CommonOptions& options, const EverydayArguments& arguments,
                const OutputOptions& output)
{
    CommonOptions all = options;
    if (command.settings) {
        command.settings(arguments, all);
    }
    OpenedService service(all);
    print(command.run(service, arguments, output), output);
    return 0;
}

}  // namespace W::host
