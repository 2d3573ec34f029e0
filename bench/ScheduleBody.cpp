#include "ScheduleBody.h"

#include <array>
#include <cstdio>

namespace W::bench {

namespace {

std::string programme(int number)
{
    std::array<char, 512> text{};
    const int length = std::snprintf(
        text.data(), text.size(),
        R"({"id":"SH%08d","lang":"en","title":"A programme of the evening %d","type":"series",)"
        R"("starttime":"2026-11-%02dT%02d:%02d:00Z","duration":"%d","genres":[{"id":"g%d"},{"id":"g%d"}],)"
        R"("poster":{"url":"http://img.example.com/posters/%08d.jpg","type":"poster","index":"%d",)"
        R"("width":"480","height":"720"}})",
        number, number, 1 + number % 28, number % 24, number % 60, 15 + number % 90, number % 40, number % 7, number,
        number % 9);
    return {text.data(), static_cast<std::size_t>(length)};
}

}  // namespace

std::string schedule(std::size_t size, int channels)
{
    std::string text;
    // Reserved once, so that the measured code cannot reuse memory that was freed here.
    text.reserve(size + static_cast<std::size_t>(channels) * 1024);
    text = R"({"rsp":{"stat":"OK","err":{},"channel":[)";
    const std::size_t perChannel = size / static_cast<std::size_t>(channels);
    int number = 0;
    for (int channel = 0; channel < channels; ++channel) {
        const std::string name = std::to_string(channel);
        text.append(channel == 0 ? "" : ",").append(R"({"source":"10)").append(name);
        text.append(R"(","name":"Channel )").append(name);
        text.append(R"(","station_img":{"url":"http://img.example.com/stations/)").append(name);
        text += R"(.png","type":"logo","index":"1","width":"96","height":"96"},"content":[)";
        const std::size_t end = perChannel * static_cast<std::size_t>(channel + 1);
        for (bool first = true; first || text.size() < end; first = false) {
            text.append(first ? "" : ",").append(programme(number++));
        }
        text += "]}";
    }
    return text += "]}}";
}

}  // namespace W::bench
