// Finds channels by the numbers and names that people use.
#pragma once

#include <list>
#include <string>
#include <string_view>
#include <vector>

#include "WVLChannel.h"

namespace W::host {

/// The channel that a word means: its number, source or name, in this order, or a beginning that only one channel has.
/// @return the end of the list if there is none
/// @throws ServiceProblem if several channels have this beginning
std::list<WVLChannel>::iterator findChannel(std::list<WVLChannel>& channels, std::string_view wanted);

/// As findChannel().
/// @throws ServiceProblem also if there is none; it suggests a similar name
WVLChannel channelNamed(std::list<WVLChannel> channels, std::string_view wanted);

/// Keeps the wanted channels, in the wanted order; all if none is named. Complains on standard error about those that
/// do not exist.
/// @throws ServiceProblem if none is left
std::list<WVLChannel> chosenChannels(std::list<WVLChannel> channels, const std::vector<std::string>& wanted);

/// Number and name, or the source if there is no name.
std::string shownChannel(const WVLChannel& channel);

std::vector<std::string> sourcesOf(const std::list<WVLChannel>& channels);

}  // namespace W::host
