#include "ReplyParts.h"

#include <algorithm>
#include <charconv>

namespace corvaned {
namespace {

// An object that is written as JSON at once.
class ObjectWriter {
public:
    explicit ObjectWriter(std::string& json) : m_json(json) { m_json += '{'; }

    void add(std::string_view key, std::string_view value)
    {
        const auto isPlain = [](char c) { return c >= 0x20 && c < 0x7f && c != '"' && c != '\\'; };
        begin(key);
        if (std::all_of(value.begin(), value.end(), isPlain)) {
            m_json.append("\"").append(value).append("\"");
        } else {
            m_json += serialize(Json(value));
        }
    }
    void addTree(std::string_view key, const Json& value)
    {
        begin(key);
        m_json += serialize(value);
    }
    void end() { m_json += '}'; }

private:
    void begin(std::string_view key) { m_json.append(m_json.back() == '{' ? "\"" : ",\"").append(key).append("\":"); }

    std::string& m_json;
};

// The same interface for a tree.
class ObjectTree {
public:
    explicit ObjectTree(Json& object) : m_object(object) {}
    void add(const char* key, std::string_view value) { m_object[key] = value; }
    void addTree(const char* key, Json value) { m_object[key] = std::move(value); }

private:
    Json& m_object;
};

template <typename Object>
void addIfSet(Object& object, const char* key, std::string_view value)
{
    if (!value.empty()) {
        object.add(key, value);
    }
}

template <typename Object>
void addNumber(Object& object, const char* key, std::int64_t number)
{
    if (number != 0) {
        object.add(key, std::to_string(number));
    }
}

template <typename Object>
void addPart(Object& object, const guide::Programme& programme, Part part)
{
    switch (part) {
        case Part::Id:
            return addNumber(object, "id", programme.content);
        case Part::Lang:
            return object.add("lang", programme.lang);
        case Part::Title:
            return object.add("title", programme.title);
        case Part::EpisodeTitle:
            return addIfSet(object, "ep_title", programme.episodeTitle);
        case Part::EpisodeNumber:
            return addNumber(object, "ep_number", programme.episode);
        case Part::SeasonSeq:
            return addNumber(object, "season_seq", programme.season);
        case Part::EpisodeSeq:
            return addNumber(object, "episode_seq", programme.episode);
        case Part::Type:
            return object.add("type", programme.type);
        case Part::Start:
            return object.add("starttime", formatUtc(programme.start));
        case Part::Duration:
            return object.add("duration", durationOf(programme.start, programme.stop));
        case Part::Genres:
            return object.addTree("genres", genresOf(programme.genres));
        case Part::Year:
            return addNumber(object, "year", programme.year);
        case Part::Runtime:
            return addNumber(object, "runtime", programme.runtime);
        case Part::ShortDesc:
            return addIfSet(object, "short_desc", programme.description);
        case Part::Rating:
            return addIfSet(object, "cert_flag", programme.rating);
        case Part::Poster:
            if (!programme.image.url.empty()) {
                object.addTree("poster", imageOf(programme.image, "poster"));
            }
            return;
    }
}

template <typename Object>
void addAll(Object object, const guide::Programme& programme, std::initializer_list<Part> parts)
{
    for (const Part part : parts) {
        addPart(object, programme, part);
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
    addAll(ObjectTree(object), programme, parts);
}

void appendParts(std::string& json, const guide::Programme& programme, std::initializer_list<Part> parts)
{
    ObjectWriter object(json);
    addAll(object, programme, parts);
    object.end();
}

std::optional<std::int64_t> idOf(std::string_view value)
{
    std::int64_t id = 0;
    const std::from_chars_result read = std::from_chars(value.data(), value.data() + value.size(), id);
    if (read.ec != std::errc() || read.ptr != value.data() + value.size()) {
        return std::nullopt;
    }
    return id;
}

std::string durationOf(Instant start, Instant stop)
{
    return std::to_string((stop - start + 30) / 60);
}

}  // namespace corvaned
