// What reading a schedule costs beside parsing its text: from the text to the container that the callback gets, through
// the handler, against the JSON library's parse alone. Both destroy what they made. The two are measured in turns, so
// that what else the machine does slows both; the medians of their processor time are compared.
//
//     parse_bench [LIMIT]     fails when a ratio is above LIMIT (1.30)

#include "FakeHost.h"
#include "VorelCommand.h"
#include "VorelService.h"
#include "WVorelOAI.h"

#include <json/reader.h>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <string>
#include <vector>

namespace {

constexpr int kRounds = 15;
constexpr double kSecondsPerRound = 0.1;

struct Text {
    const char* name;
    std::size_t size;
    int channels;
};

constexpr Text kTexts[] = {{"10 KB", 10000, 3}, {"1 MB", 1000000, 40}};

std::string programme(int number)
{
    char text[512];
    std::snprintf(text, sizeof text,
                  R"({"id":"SH%08d","lang":"en","title":"A programme of the evening %d","type":"series",)"
                  R"("starttime":"2026-11-%02dT%02d:%02d:00Z","duration":"%d","genres":[{"id":"g%d"}],)"
                  R"("poster":{"url":"http://img.example.com/posters/%08d.jpg","type":"poster","index":"%d",)"
                  R"("width":"480","height":"720"}})",
                  number, number, 1 + number % 28, number % 24, number % 60, 15 + number % 90, number % 40, number,
                  number % 9);
    return text;
}

std::string schedule(const Text& wanted)
{
    std::string text = R"({"rsp":{"stat":"OK","err":{},"channel":[)";
    const std::size_t perChannel = wanted.size / static_cast<std::size_t>(wanted.channels);
    int number = 0;
    for (int channel = 0; channel < wanted.channels; ++channel) {
        const std::string name = std::to_string(channel);
        text.append(channel == 0 ? "" : ",").append(R"({"source":"10)").append(name);
        text.append(R"(","name":"Channel )").append(name);
        text.append(R"(","station_img":{"url":"http://img.example.com/stations/)").append(name);
        text += R"(.png","type":"logo","index":"1","width":"96","height":"96"},"content":[)";
        const std::size_t end = perChannel * static_cast<std::size_t>(channel + 1);
        for (bool first = true; first || text.size() < end; first = false)
            text.append(first ? "" : ",").append(programme(number++));
        text += "]}";
    }
    return text + "]}}";
}

void countProgrammes(int status, const W::WContainer<W::WVLContent>& list, W::UINT64 /*reference*/, void* userData)
{
    *static_cast<std::size_t*>(userData) = status == 0 ? list.getData().size() : 0;
}

/// Seconds of processor time of one call, from as many as fill a round.
double measure(const std::function<void()>& call, int calls)
{
    const std::clock_t begin = std::clock();
    for (int count = 0; count < calls; ++count)
        call();
    return static_cast<double>(std::clock() - begin) / CLOCKS_PER_SEC / calls;
}

/// The library's parse and the destruction of what it made.
template <class Parse>
void parseAlone(Parse parse)
{
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    Json::Reader reader;
#pragma GCC diagnostic pop
    Json::Value root;
    if (!parse(reader, root))
        std::abort();
}

double median(std::vector<double> values)
{
    std::nth_element(values.begin(), values.begin() + kRounds / 2, values.end());
    return values[kRounds / 2];
}

}  // namespace

int main(int argc, char** argv)
{
    const double limit = argc > 1 ? std::strtod(argv[1], nullptr) : 1.30;
    if (limit <= 0) {
        std::fprintf(stderr, "parse_bench: the limit \"%s\" is no number above 0\n", argv[1]);
        return 2;
    }
    W::test::FakeHost host;
    host.keepsLines = false;
    W::WVorelOAI object;
    bool isWithin = true;
    for (const Text& wanted : kTexts) {
        const std::string text = schedule(wanted);
        W::HttpResponse response;
        response.setHttpResponseCode(200);
        response.setPayload(text);
        std::size_t programmes = 0;
        W::VorelGetScheduleCMD command(countProgrammes, &programmes, &object, object.getContentProvider());

        const auto deliver = [&] {
            W::WVorelOAI::cbFnVorelRequestCompleted(W::session::kCompleted, response, &command, 1);
        };
        const auto parse = [&] {
            parseAlone([&](auto& reader, auto& root) { return reader.parse(text, root, true); });
        };
        const auto parseRange = [&] {
            const char* const begin = text.data();
            parseAlone([&](auto& reader, auto& root) { return reader.parse(begin, begin + text.size(), root, true); });
        };
        const int calls = std::max(1, static_cast<int>(kSecondsPerRound / measure(parse, 3)));
        std::vector<double> delivered;
        std::vector<double> parsed;
        std::vector<double> parsedRange;
        for (int round = 0; round < kRounds; ++round) {
            parsed.push_back(measure(parse, calls));
            delivered.push_back(measure(deliver, calls));
            parsedRange.push_back(measure(parseRange, calls));
        }
        if (programmes == 0) {
            std::fprintf(stderr, "parse_bench: the reply of %s was not delivered\n", wanted.name);
            return 1;
        }
        const double ratio = median(delivered) / median(parsed);
        isWithin = isWithin && ratio <= limit;
        std::printf("%-6s %7zu bytes, %4zu programmes of %zu: parse %8.1f us, deliver %8.1f us, ratio %.3f",
                    wanted.name, text.size(), programmes, text.size() / programmes, median(parsed) * 1e6,
                    median(delivered) * 1e6, ratio);
        std::printf(" (parse without its copy of the text %8.1f us, ratio %.3f)\n", median(parsedRange) * 1e6,
                    median(delivered) / median(parsedRange));
    }
    if (!isWithin)
        std::fprintf(stderr, "parse_bench: a ratio is above %.2f\n", limit);
    return isWithin ? 0 : 1;
}
