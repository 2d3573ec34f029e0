// All request operations in one table, in the order of their keys: checks, headers, verb and form of log lines. The
// frame in WVorelOAI.cpp and the transport's cancel decision use these rows. Tests state them a second time, and
// docs/operations.md documents them.
#pragma once

#include <cstddef>

#include "ProviderOptions.h"

namespace W::vorel {

enum class Verb {
    Get,
    Put,
    Delete,
    Upload,    ///< PUT of a file
    Download,  ///< GET into a file
};

enum class Session {
    Needed,
    NotNeeded,
};

enum class Clock {
    Needed,  ///< refuses with -59 until getLocalTime() has succeeded
    NotNeeded,
};

enum class Headers {
    None,
    Standard,
    Compressed,  ///< the standard set, and the reply may come compressed
    SeedKey,
};

enum class Cancel {
    Yes,
    No,              ///< cancel() answers -15
    UntilResponded,  ///< cancel() answers -9 once the response has arrived
};

/// Form of the two lines about a missing service or session.
enum class Lines {
    Plain,
    Bracketed,
};

struct Operation {
    unsigned int key;
    const char* name;
    Verb verb;
    Session session;
    Clock clock;
    Headers headers;
    Cancel cancel;
    Lines lines;
    Options reads;     ///< read before the checks, even if they are not checked
    Options required;  ///< must not be empty: -1
};

inline constexpr unsigned int kFirstKey = 3;

// clang-format off
inline constexpr Operation kOperations[] = {
    { 3, "getAuthSeedkey",            Verb::Get,      Session::NotNeeded, Clock::NotNeeded, Headers::SeedKey,    Cancel::Yes,            Lines::Plain,     AppKey | Duid | ModelId | Country | AuthToken, AppKey },
    { 4, "getGenreList",              Verb::Get,      Session::Needed,    Clock::NotNeeded, Headers::Compressed, Cancel::Yes,            Lines::Plain,     Country,                    None },
    { 5, "getConfLog",                Verb::Get,      Session::Needed,    Clock::NotNeeded, Headers::Standard,   Cancel::Yes,            Lines::Plain,     Country | Headend,          None },
    { 6, "getLocalTime",              Verb::Get,      Session::NotNeeded, Clock::NotNeeded, Headers::None,       Cancel::Yes,            Lines::Plain,     Country | Headend,          Country | Headend },
    { 7, "resetHistory",              Verb::Put,      Session::Needed,    Clock::NotNeeded, Headers::Standard,   Cancel::Yes,            Lines::Plain,     Country,                    None },
    { 8, "getServerUrl",              Verb::Get,      Session::NotNeeded, Clock::NotNeeded, Headers::None,       Cancel::No,             Lines::Plain,     Country | ServerUrl,        None },
    { 9, "checkUpload",               Verb::Get,      Session::Needed,    Clock::NotNeeded, Headers::Standard,   Cancel::No,             Lines::Plain,     Country | Headend | Device, None },
    {10, "sendChannel",               Verb::Upload,   Session::Needed,    Clock::NotNeeded, Headers::Standard,   Cancel::No,             Lines::Plain,     ChannelInfoPath,            ChannelInfoPath },
    {11, "getCertificationRule",      Verb::Get,      Session::Needed,    Clock::NotNeeded, Headers::Standard,   Cancel::No,             Lines::Plain,     Country,                    Country },
    {12, "getChannelList",            Verb::Get,      Session::Needed,    Clock::NotNeeded, Headers::Compressed, Cancel::Yes,            Lines::Plain,     Country | Headend,          None },
    {13, "getHeadend",                Verb::Get,      Session::Needed,    Clock::NotNeeded, Headers::Standard,   Cancel::Yes,            Lines::Plain,     Country,                    None },
    {14, "getCityList",               Verb::Get,      Session::Needed,    Clock::NotNeeded, Headers::Standard,   Cancel::No,             Lines::Plain,     Country,                    None },
    {15, "getCityList_browse",        Verb::Get,      Session::Needed,    Clock::NotNeeded, Headers::Standard,   Cancel::No,             Lines::Plain,     Country,                    None },
    {16, "getHeadend_Kor",            Verb::Get,      Session::Needed,    Clock::NotNeeded, Headers::Standard,   Cancel::No,             Lines::Plain,     Country,                    None },
    {17, "getHeadend_browse",         Verb::Get,      Session::Needed,    Clock::NotNeeded, Headers::Standard,   Cancel::No,             Lines::Plain,     Country,                    None },
    {18, "getSchedule",               Verb::Get,      Session::Needed,    Clock::Needed,    Headers::Standard,   Cancel::Yes,            Lines::Plain,     None,                       None },
    {19, "getOnAir",                  Verb::Get,      Session::Needed,    Clock::Needed,    Headers::Standard,   Cancel::Yes,            Lines::Plain,     Headend | Device,           None },
    {20, "getTodayURL",               Verb::Get,      Session::Needed,    Clock::Needed,    Headers::Standard,   Cancel::Yes,            Lines::Plain,     Country | Headend,          None },
    {21, "getFocusChannel",           Verb::Get,      Session::Needed,    Clock::Needed,    Headers::Standard,   Cancel::Yes,            Lines::Plain,     None,                       None },
    {22, "getLineupTest",             Verb::Get,      Session::Needed,    Clock::NotNeeded, Headers::Standard,   Cancel::No,             Lines::Plain,     Country,                    None },
    {23, "getContentList",            Verb::Get,      Session::Needed,    Clock::Needed,    Headers::Standard,   Cancel::Yes,            Lines::Plain,     Headend,                    None },
    {24, "getContentDetailInfo",      Verb::Get,      Session::Needed,    Clock::Needed,    Headers::Standard,   Cancel::Yes,            Lines::Plain,     Headend,                    None },
    {25, "getGuide",                  Verb::Get,      Session::Needed,    Clock::Needed,    Headers::Standard,   Cancel::Yes,            Lines::Plain,     Headend,                    None },
    {26, "getPersonDetailInfo",       Verb::Get,      Session::Needed,    Clock::NotNeeded, Headers::Standard,   Cancel::Yes,            Lines::Plain,     None,                       None },
    {27, "getSeriesDetailInfo",       Verb::Get,      Session::Needed,    Clock::Needed,    Headers::Standard,   Cancel::Yes,            Lines::Plain,     None,                       None },
    {28, "setFavorite",               Verb::Put,      Session::Needed,    Clock::NotNeeded, Headers::Standard,   Cancel::Yes,            Lines::Plain,     Headend,                    None },
    {29, "deleteFavorite",            Verb::Delete,   Session::Needed,    Clock::NotNeeded, Headers::Standard,   Cancel::Yes,            Lines::Plain,     Headend,                    None },
    {30, "getFavoriteChannel",        Verb::Get,      Session::Needed,    Clock::NotNeeded, Headers::Standard,   Cancel::Yes,            Lines::Plain,     None,                       None },
    {31, "getFavoriteContent",        Verb::Get,      Session::Needed,    Clock::NotNeeded, Headers::Standard,   Cancel::Yes,            Lines::Plain,     None,                       None },
    {32, "getFavoriteChannelList",    Verb::Get,      Session::Needed,    Clock::NotNeeded, Headers::Standard,   Cancel::Yes,            Lines::Plain,     None,                       None },
    {33, "getFavoriteContentList",    Verb::Get,      Session::Needed,    Clock::NotNeeded, Headers::Standard,   Cancel::Yes,            Lines::Plain,     None,                       None },
    {34, "sendTuneHistory",           Verb::Put,      Session::Needed,    Clock::NotNeeded, Headers::Standard,   Cancel::Yes,            Lines::Plain,     Headend,                    None },
    {35, "sendLike",                  Verb::Put,      Session::Needed,    Clock::NotNeeded, Headers::Standard,   Cancel::Yes,            Lines::Plain,     None,                       None },
    {36, "getLikeHistory",            Verb::Get,      Session::Needed,    Clock::NotNeeded, Headers::Standard,   Cancel::Yes,            Lines::Plain,     None,                       None },
    {37, "saveHeadend",               Verb::Put,      Session::Needed,    Clock::NotNeeded, Headers::Standard,   Cancel::Yes,            Lines::Plain,     Headend | Device,           None },
    {38, "loadHeadend",               Verb::Get,      Session::Needed,    Clock::NotNeeded, Headers::Standard,   Cancel::Yes,            Lines::Plain,     Country,                    None },
    {39, "getSmartChannel",           Verb::Get,      Session::Needed,    Clock::Needed,    Headers::Compressed, Cancel::Yes,            Lines::Plain,     Headend,                    None },
    {40, "getSmartPopular",           Verb::Get,      Session::Needed,    Clock::Needed,    Headers::Compressed, Cancel::No,             Lines::Plain,     Headend,                    None },
    {41, "getPopularChannel",         Verb::Get,      Session::Needed,    Clock::Needed,    Headers::Standard,   Cancel::Yes,            Lines::Plain,     Headend,                    None },
    {42, "getRelatedContent",         Verb::Get,      Session::Needed,    Clock::Needed,    Headers::Standard,   Cancel::Yes,            Lines::Plain,     Headend,                    None },
    {43, "getMissedContent",          Verb::Get,      Session::Needed,    Clock::Needed,    Headers::Standard,   Cancel::Yes,            Lines::Plain,     Headend,                    None },
    {44, "getCandidateMissedContent", Verb::Get,      Session::Needed,    Clock::Needed,    Headers::Standard,   Cancel::Yes,            Lines::Plain,     Headend,                    None },
    {45, "getCombination",            Verb::Get,      Session::Needed,    Clock::Needed,    Headers::Standard,   Cancel::Yes,            Lines::Bracketed, Headend,                    None },
    {46, "searchEPG",                 Verb::Get,      Session::Needed,    Clock::NotNeeded, Headers::Standard,   Cancel::No,             Lines::Bracketed, None,                       None },
    {47, "checkAgreement",            Verb::Get,      Session::Needed,    Clock::NotNeeded, Headers::Standard,   Cancel::No,             Lines::Bracketed, None,                       None },
    {48, "confirmAgreement",          Verb::Put,      Session::Needed,    Clock::NotNeeded, Headers::Standard,   Cancel::No,             Lines::Bracketed, None,                       None },
    {49, "setAnonymAgreement",        Verb::Put,      Session::Needed,    Clock::NotNeeded, Headers::Standard,   Cancel::No,             Lines::Bracketed, None,                       None },
    {50, "revocateAgreement",         Verb::Put,      Session::Needed,    Clock::NotNeeded, Headers::Standard,   Cancel::No,             Lines::Bracketed, None,                       None },
    {51, "download",                  Verb::Download, Session::NotNeeded, Clock::NotNeeded, Headers::None,       Cancel::UntilResponded, Lines::Plain,     None,                       None },
};
// clang-format on

inline constexpr std::size_t kOperationCount = sizeof(kOperations) / sizeof(kOperations[0]);
inline constexpr unsigned int kLastKey = kFirstKey + kOperationCount - 1;

constexpr bool isOperation(unsigned int key)
{
    return key >= kFirstKey && key <= kLastKey;
}

/// Row of a key, for which isOperation() must be true.
constexpr const Operation& operation(unsigned int key)
{
    return kOperations[key - kFirstKey];
}

constexpr bool everyRowIsAtItsKey()
{
    for (std::size_t index = 0; index < kOperationCount; ++index) {
        if (kOperations[index].key != kFirstKey + index) {
            return false;
        }
    }
    return true;
}
static_assert(everyRowIsAtItsKey() && kLastKey == 51);

}  // namespace W::vorel
