#include "ReplyParts.h"

#include <algorithm>

namespace corvaned {

Json imageOf(const guide::Image& image, const char* type)
{
    return {{"url", image.url},
            {"type", type},
            {"index", "0"},
            {"width", std::to_string(image.width)},
            {"height", std::to_string(image.height)}};
}

void addImage(Json& object, const char* key, const guide::Image& image, const char* type)
{
    if (!image.url.empty()) {
        object[key] = imageOf(image, type);
    }
}

Json genresOf(std::string_view numbers)
{
    Json genres = Json::array();
    while (!numbers.empty()) {
        const std::string_view id = numbers.substr(0, numbers.find(','));
        genres.push_back({{"id", id}});
        numbers.remove_prefix(std::min(id.size() + 1, numbers.size()));
    }
    return genres;
}

std::string durationOf(Instant start, Instant stop)
{
    return std::to_string((stop - start + 30) / 60);
}

}  // namespace corvaned
