#include "ReplyParts.h"

#include <algorithm>
#include <charconv>

namespace corvaned {
namespace {

void addText(Json& object, const char* key, std::string_view text)
{
    if (!text.empty()) {
        object[key] = text;
    }
}

void addNumber(Json& object, const char* key, std::int64_t number)
{
    if (number != 0) {
        object[key] = std::to_string(number);
    }
}

void addPart(Json& object, const guide::Programme& programme, Part part)
{
    switch (part) {
        case Part::Id:
            return addNumber(object, "id", programme.content);
        case Part::Lang:
            object["lang"] = programme.lang;
            return;
        case Part::Title:
            object["title"] = programme.title;
            return;
        case Part::EpisodeTitle:
            return addText(object, "ep_title", programme.episodeTitle);
        case Part::EpisodeNumber:
            return addNumber(object, "ep_number", programme.episode);
        case Part::SeasonSeq:
            return addNumber(object, "season_seq", programme.season);
        case Part::EpisodeSeq:
            return addNumber(object, "episode_seq", programme.episode);
        case Part::Type:
            object["type"] = programme.type;
            return;
        case Part::Start:
            object["starttime"] = formatUtc(programme.start);
            return;
        case Part::Duration:
            object["duration"] = durationOf(programme.start, programme.stop);
            return;
        case Part::Genres:
            object["genres"] = genresOf(programme.genres);
            return;
        case Part::Year:
            return addNumber(object, "year", programme.year);
        case Part::Runtime:
            return addNumber(object, "runtime", programme.runtime);
        case Part::ShortDesc:
            return addText(object, "short_desc", programme.description);
        case Part::Rating:
            return addText(object, "cert_flag", programme.rating);
        case Part::Poster:
            return addImage(object, "poster", programme.image, "poster");
    }
}

}  // namespace

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

void addParts(Json& object, const guide::Programme& programme, std::initializer_list<Part> parts)
{
    for (const Part part : parts) {
        addPart(object, programme, part);
    }
}

std::optional<std::int64_t> idOf(std::string_view text)
{
    std::int64_t id = 0;
    const std::from_chars_result read = std::from_chars(text.data(), text.data() + text.size(), id);
    if (read.ec != std::errc() || read.ptr != text.data() + text.size()) {
        return std::nullopt;
    }
    return id;
}

std::string durationOf(Instant start, Instant stop)
{
    return std::to_string((stop - start + 30) / 60);
}

}  // namespace corvaned
