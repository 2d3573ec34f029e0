// The page's files, compiled into the program. Generated from web/ and docs/statuses.md by embed_assets.
#pragma once

#include <cstddef>
#include <string_view>

namespace W::host {

struct WebAsset {
    std::string_view path;  ///< as in "/app/app.js"
    std::string_view content;
};

extern const WebAsset* const kWebAssets;
extern const std::size_t kWebAssetCount;

}  // namespace W::host
