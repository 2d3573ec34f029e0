#include "ChannelChoice.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <iterator>

#include <fmt/format.h>

#include "ServiceProblem.h"
#include "Suggestion.h"

namespace W::host {

namespace {

using ChannelField = const std::string& (WVLChannel::*)() const;
constexpr ChannelField kNames[] = {&WVLChannel::getNumber, &WVLChannel::getSource, &WVLChannel::getName};

bool startsWithIgnoringCase(std::string_view string, std::string_view beginning)
{
    const auto lower = [](char letter) { return std::tolower(static_cast<unsigned char>(letter)); };
    return string.size() >= beginning.size() && std::equal(beginning.begin(), beginning.end(), string.begin(),
                                                           [&](char x, char y) { return lower(x) == lower(y); });
}

std::string missing(const std::list<WVLChannel>& channels, std::string_view wanted)
{
    std::vector<std::string> names;
    for (const WVLChannel& channel : channels) {
        names.push_back(channel.getName());
    }
    return fmt::format("there is no channel \"{}\" in the line-up{}", wanted, didYouMean(wanted, names));
}

}  // namespace

std::list<WVLChannel>::iterator findChannel(std::list<WVLChannel>& channels, std::string_view wanted)
{
    if (wanted.empty()) {
        return channels.end();
    }
    for (const ChannelField field : kNames) {
        const auto exact = std::find_if(channels.begin(), channels.end(), [&](const WVLChannel& channel) {
            const std::string& name = (channel.*field)();
            return name.size() == wanted.size() && startsWithIgnoringCase(name, wanted);
        });
        if (exact != channels.end()) {
            return exact;
        }
    }
    const auto starts = [&](const WVLChannel& channel) {
        return std::any_of(std::begin(kNames), std::end(kNames),
                           [&](ChannelField field) { return startsWithIgnoringCase((channel.*field)(), wanted); });
    };
    const auto first = std::find_if(channels.begin(), channels.end(), starts);
    if (std::count_if(channels.begin(), channels.end(), starts) < 2) {
        return first;
    }
    constexpr int kShown = 5;
    std::string names;
    int shown = 0;
    for (const WVLChannel& channel : channels) {
        if (starts(channel) && ++shown <= kShown) {
            names += fmt::format("{}{} {}", names.empty() ? "" : ", ", channel.getNumber(), channel.getName());
        }
    }
    throw ServiceProblem(
        fmt::format("several channels begin with \"{}\": {}{}", wanted, names, shown > kShown ? ", …" : ""),
        "write more of the name, or the number or source");
}

WVLChannel channelNamed(std::list<WVLChannel> channels, std::string_view wanted)
{
    const auto found = findChannel(channels, wanted);
    if (found == channels.end()) {
        throw ServiceProblem(missing(channels, wanted), "\"corvane channels\" lists numbers, names and sources");
    }
    return *found;
}

std::list<WVLChannel> chosenChannels(std::list<WVLChannel> channels, const std::vector<std::string>& wanted)
{
    if (wanted.empty()) {
        return channels;
    }
    std::list<WVLChannel> kept;
    for (const std::string& name : wanted) {
        const auto found = findChannel(channels, name);
        if (found != channels.end()) {
            kept.splice(kept.end(), channels, found);
        } else {
            fmt::print(stderr, "corvane: {}\n", missing(channels, name));
        }
    }
    if (kept.empty()) {
        throw ServiceProblem("none of these channels is in the line-up", "omit --channels to see all channels");
    }
    return kept;
}

std::string shownChannel(const WVLChannel& channel)
{
    const std::string& name = channel.getName().empty() ? channel.getSource() : channel.getName();
    return channel.getNumber().empty() ? name : channel.getNumber() + " " + name;
}

std::vector<std::string> sourcesOf(const std::list<WVLChannel>& channels)
{
    std::vector<std::string> sources;
    for (const WVLChannel& channel : channels) {
        sources.push_back(channel.getSource());
    }
    return sources;
}

}  // namespace W::host
