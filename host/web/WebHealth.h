// The content of the page's health view: the checks of `corvane doctor` that are possible while the plug-in runs, the
// session, and the settings without secrets.
#pragma once

#include "LineUpChoice.h"
#include "RecordJson.h"
#include "Runtime.h"
#include "SessionKeeper.h"

namespace W::host {

/// Asks the service; takes at most `patience` for each of two requests.
/// @return {"checks": [{"verdict", "name", "finding"}], "hint", "session": {"open", "expires"}, "settings": [{"name",
///         "value", "source"}]}
Json webHealth(Runtime& runtime, SessionKeeper& session, LineUpChoice& lineUp, std::chrono::milliseconds patience);

}  // namespace W::host
