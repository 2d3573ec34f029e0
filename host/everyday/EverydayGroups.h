// The functions that the rows of everydayCommands() call, by file.
#pragma once

#include "EverydayCommands.h"

namespace W::host {

/// The image size that commands ask for; they show no images.
inline constexpr int kImageSize = 1;

using CommandFunction = Report(OpenedService& service, const EverydayArguments& arguments, const OutputOptions& output);

// NowCommand.cpp
CommandFunction showNow;
CommandFunction showChannels;

// SearchCommand.cpp
CommandFunction searchGuide;

// DetailCommands.cpp
CommandFunction showProgramme;
CommandFunction showPerson;
CommandFunction showSeries;

// ViewerCommands.cpp
CommandFunction favourites;
CommandFunction like;
CommandFunction dislike;
CommandFunction unlike;
CommandFunction watchChannel;

// RecommendCommand.cpp
CommandFunction recommend;

// LineUpCommand.cpp
CommandFunction findLineUp;

// AccountCommands.cpp
CommandFunction terms;
CommandFunction uploadFile;
CommandFunction resetHistory;

}  // namespace W::host
