// The viewer's favourites.
#pragma once

#include "OperationCaller.h"

namespace W::host {

enum class Favourite {
    Channel,
    Programme
};

/// All favourites of a kind, the newest first, as a container: `{"count":N,"data":[…]}`.
Json fetchFavourites(OperationCaller& operations, Favourite kind);

}  // namespace W::host
