// Queries of programmes: what is on, what follows, and where a content is shown. Every function reads through the
// connection that it gets.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Clock.h"
#include "Guide.h"
#include "Sqlite.h"

namespace corvaned::guide {

/// One airing with its channel. Its strings are valid during the callback that receives it.
struct Programme {
    std::int64_t airing = 0;  // its id, valid until the next import
    std::int64_t content = 0;
    std::int64_t series = 0;  // 0: none
    Channel channel;
    Instant start = 0;
    Instant stop = 0;
    std::string_view type;
    int season = 0;  // 0: unknown, as for the next three
    int episode = 0;
    int year = 0;
    int runtime = 0;  // minutes
    std::string_view lang;
    std::string_view title;
    std::string_view episodeTitle;
    std::string_view description;
    std::string_view rating;
    std::string_view genres;  // numbers, separated by commas
    Image image;
};

using ProgrammeVisit = std::function<void(const Programme&)>;

/// A page of results: `count` of them, beginning at `start`, counted from 0.
struct Page {
    std::int64_t start = 0;
    std::int64_t count = 0;
};

/// The programme that is on the air on that channel at that moment; if airings overlap, the one that began last.
void onAir(sqlite::Connection& connection, std::int64_t source, Instant at, std::string_view lang,
           const ProgrammeVisit& visit);

/// The programmes that are on the air on that channel at any moment of [from, to), in order of start.
void window(sqlite::Connection& connection, std::int64_t source, Instant from, Instant to, std::string_view lang,
            const ProgrammeVisit& visit);

/// The programme that is on the air and those that follow on that channel, in order of start.
void following(sqlite::Connection& connection, std::int64_t source, Instant at, std::int64_t count,
               std::string_view lang, const ProgrammeVisit& visit);

/// Contents that are on the air at any moment of [from, to), each once, with its first airing in that time, in order of
/// start.
/// @param genres  only contents with one of these genres; empty: any content
void contents(sqlite::Connection& connection, const std::vector<std::int64_t>& genres, Instant from, Instant to,
              Page page, std::string_view lang, const ProgrammeVisit& visit);

/// All airings of a content that end after `from`, by channel in the order of the line-up, then by start.
/// @param source  only airings on that channel; 0: on all channels
void airingsOf(sqlite::Connection& connection, std::int64_t content, std::int64_t source, Instant from,
               std::string_view lang, const ProgrammeVisit& visit);

/// The airing of a content that is on the air or comes next; if there is neither, its last one.
/// @return whether the guide has the content
bool nextAiring(sqlite::Connection& connection, std::int64_t content, Instant at, std::string_view lang,
                const ProgrammeVisit& visit);

/// Contents with the strings of their last airing, in the order given; those that the guide lacks are left out. Their
/// channel, times, runtime, description, rating and genres are not set.
void describeContents(sqlite::Connection& connection, const std::vector<std::int64_t>& contents, std::string_view lang,
                      const ProgrammeVisit& visit);

/// One airing by its id, as another query has returned it.
/// @param row  its id in the current guide
/// @return whether the guide has it
bool airing(sqlite::Connection& connection, std::int64_t row, std::string_view lang, const ProgrammeVisit& visit);

/// The series of an episode, or the number itself if it is that of a series; 0 if there is none.
std::int64_t seriesOf(sqlite::Connection& connection, std::int64_t contentOrSeries);

/// The episodes of a series by season and number, each once: with an airing on the given channel if there is one, else
/// with the airing that nextAiring chooses.
void episodesOf(sqlite::Connection& connection, std::int64_t series, std::int64_t source, Instant at,
                std::string_view lang, const ProgrammeVisit& visit);

struct Credit {
    std::int64_t person = 0;
    std::string_view name;
    std::string_view job;  // as XMLTV names its elements: "director", "actor" ...
    std::string_view role;
};

/// Calls back for each person who takes part in a content, in the order of the listing. The record is valid during the
/// call.
void forEachCredit(sqlite::Connection& connection, std::int64_t content,
                   const std::function<void(const Credit&)>& visit);

struct Person {
    std::int64_t id = 0;
    std::string name;
    std::string job;                     // the most frequent one in the current guide; empty if there is none
    std::vector<std::int64_t> contents;  // of the current guide
};

std::optional<Person> findPerson(sqlite::Connection& connection, std::int64_t id);

struct Genre {
    std::int64_t id = 0;
    std::string name;
};

/// The genres of the current guide, by number.
std::vector<Genre> genres(sqlite::Connection& connection);

}  // namespace corvaned::guide
