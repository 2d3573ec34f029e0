#include "FavouriteLists.h"

namespace W::host {

Json fetchFavourites(OperationCaller& operations, Favourite kind)
{
    constexpr int kImageSize = 1;
    constexpr int kPage = 200;
    const bool areChannels = kind == Favourite::Channel;
    Json all = Json::array();
    for (int start = 0;; start += kPage) {
        const Json results = operations.call(
            "fetch the favourites", areChannels ? "getFavoriteChannelList" : "getFavoriteContentList",
            Json::array({areChannels ? "channel" : "content", kImageSize, "time", "desc", start, kPage}));
        const Json& page = results[0]["data"];
        all.insert(all.end(), page.begin(), page.end());
        if (page.size() < kPage) {
            return {{"count", all.size()}, {"data", all}};
        }
    }
}

}  // namespace W::host
