// The properties of each operation, written by hand from the plug-in's contract, so that a wrong row in the plug-in's
// table fails a test.
#pragma once

#include <ostream>

namespace W::test {

enum class NeedsSession {
    No,
    Yes
};
enum class NeedsClock {
    No,
    Yes
};
enum class Cancellable {
    No,
    Yes,
    UntilResponded
};
/// Form of the two lines about a missing service or session.
enum class LineForm {
    Plain,
    Bracketed
};

struct StatedOperation {
    unsigned int key;
    const char* name;
    NeedsSession session;
    NeedsClock clock;
    Cancellable cancel;
    LineForm lines;
    const char* required;  ///< options that must not be empty, without "vorel_"
};

/// For failure messages.
inline void PrintTo(const StatedOperation& row, std::ostream* out)
{
    *out << row.name;
}

// clang-format off
inline constexpr StatedOperation kStatedOperations[] = {
    { 3, "getAuthSeedkey",            NeedsSession::No,  NeedsClock::No,  Cancellable::Yes,            LineForm::Plain,     "app_key"},
    { 4, "getGenreList",              NeedsSession::Yes, NeedsClock::No,  Cancellable::Yes,            LineForm::Plain,     ""},
    { 5, "getConfLog",                NeedsSession::Yes, NeedsClock::No,  Cancellable::Yes,            LineForm::Plain,     ""},
    { 6, "getLocalTime",              NeedsSession::No,  NeedsClock::No,  Cancellable::Yes,            LineForm::Plain,     "country headend"},
    { 7, "resetHistory",              NeedsSession::Yes, NeedsClock::No,  Cancellable::Yes,            LineForm::Plain,     ""},
    { 8, "getServerUrl",              NeedsSession::No,  NeedsClock::No,  Cancellable::No,             LineForm::Plain,     ""},
    { 9, "checkUpload",               NeedsSession::Yes, NeedsClock::No,  Cancellable::No,             LineForm::Plain,     ""},
    {10, "sendChannel",               NeedsSession::Yes, NeedsClock::No,  Cancellable::No,             LineForm::Plain,     "channelinfo_filepath"},
    {11, "getCertificationRule",      NeedsSession::Yes, NeedsClock::No,  Cancellable::No,             LineForm::Plain,     "country"},
    {12, "getChannelList",            NeedsSession::Yes, NeedsClock::No,  Cancellable::Yes,            LineForm::Plain,     ""},
    {13, "getHeadend",                NeedsSession::Yes, NeedsClock::No,  Cancellable::Yes,            LineForm::Plain,     ""},
    {14, "getCityList",               NeedsSession::Yes, NeedsClock::No,  Cancellable::No,             LineForm::Plain,     ""},
    {15, "getCityList_browse",        NeedsSession::Yes, NeedsClock::No,  Cancellable::No,             LineForm::Plain,     ""},
    {16, "getHeadend_Kor",            NeedsSession::Yes, NeedsClock::No,  Cancellable::No,             LineForm::Plain,     ""},
    {17, "getHeadend_browse",         NeedsSession::Yes, NeedsClock::No,  Cancellable::No,             LineForm::Plain,     ""},
    {18, "getSchedule",               NeedsSession::Yes, NeedsClock::Yes, Cancellable::Yes,            LineForm::Plain,     ""},
    {19, "getOnAir",                  NeedsSession::Yes, NeedsClock::Yes, Cancellable::Yes,            LineForm::Plain,     ""},
    {20, "getTodayURL",               NeedsSession::Yes, NeedsClock::Yes, Cancellable::Yes,            LineForm::Plain,     ""},
    {21, "getFocusChannel",           NeedsSession::Yes, NeedsClock::Yes, Cancellable::Yes,            LineForm::Plain,     ""},
    {22, "getLineupTest",             NeedsSession::Yes, NeedsClock::No,  Cancellable::No,             LineForm::Plain,     ""},
    {23, "getContentList",            NeedsSession::Yes, NeedsClock::Yes, Cancellable::Yes,            LineForm::Plain,     ""},
    {24, "getContentDetailInfo",      NeedsSession::Yes, NeedsClock::Yes, Cancellable::Yes,            LineForm::Plain,     ""},
    {25, "getGuide",                  NeedsSession::Yes, NeedsClock::Yes, Cancellable::Yes,            LineForm::Plain,     ""},
    {26, "getPersonDetailInfo",       NeedsSession::Yes, NeedsClock::No,  Cancellable::Yes,            LineForm::Plain,     ""},
    {27, "getSeriesDetailInfo",       NeedsSession::Yes, NeedsClock::Yes, Cancellable::Yes,            LineForm::Plain,     ""},
    {28, "setFavorite",               NeedsSession::Yes, NeedsClock::No,  Cancellable::Yes,            LineForm::Plain,     ""},
    {29, "deleteFavorite",            NeedsSession::Yes, NeedsClock::No,  Cancellable::Yes,            LineForm::Plain,     ""},
    {30, "getFavoriteChannel",        NeedsSession::Yes, NeedsClock::No,  Cancellable::Yes,            LineForm::Plain,     ""},
    {31, "getFavoriteContent",        NeedsSession::Yes, NeedsClock::No,  Cancellable::Yes,            LineForm::Plain,     ""},
    {32, "getFavoriteChannelList",    NeedsSession::Yes, NeedsClock::No,  Cancellable::Yes,            LineForm::Plain,     ""},
    {33, "getFavoriteContentList",    NeedsSession::Yes, NeedsClock::No,  Cancellable::Yes,            LineForm::Plain,     ""},
    {34, "sendTuneHistory",           NeedsSession::Yes, NeedsClock::No,  Cancellable::Yes,            LineForm::Plain,     ""},
    {35, "sendLike",                  NeedsSession::Yes, NeedsClock::No,  Cancellable::Yes,            LineForm::Plain,     ""},
    {36, "getLikeHistory",            NeedsSession::Yes, NeedsClock::No,  Cancellable::Yes,            LineForm::Plain,     ""},
    {37, "saveHeadend",               NeedsSession::Yes, NeedsClock::No,  Cancellable::Yes,            LineForm::Plain,     ""},
    {38, "loadHeadend",               NeedsSession::Yes, NeedsClock::No,  Cancellable::Yes,            LineForm::Plain,     ""},
    {39, "getSmartChannel",           NeedsSession::Yes, NeedsClock::Yes, Cancellable::Yes,            LineForm::Plain,     ""},
    {40, "getSmartPopular",           NeedsSession::Yes, NeedsClock::Yes, Cancellable::No,             LineForm::Plain,     ""},
    {41, "getPopularChannel",         NeedsSession::Yes, NeedsClock::Yes, Cancellable::Yes,            LineForm::Plain,     ""},
    {42, "getRelatedContent",         NeedsSession::Yes, NeedsClock::Yes, Cancellable::Yes,            LineForm::Plain,     ""},
    {43, "getMissedContent",          NeedsSession::Yes, NeedsClock::Yes, Cancellable::Yes,            LineForm::Plain,     ""},
    {44, "getCandidateMissedContent", NeedsSession::Yes, NeedsClock::Yes, Cancellable::Yes,            LineForm::Plain,     ""},
    {45, "getCombination",            NeedsSession::Yes, NeedsClock::Yes, Cancellable::Yes,            LineForm::Bracketed, ""},
    {46, "searchEPG",                 NeedsSession::Yes, NeedsClock::No,  Cancellable::No,             LineForm::Bracketed, ""},
    {47, "checkAgreement",            NeedsSession::Yes, NeedsClock::No,  Cancellable::No,             LineForm::Bracketed, ""},
    {48, "confirmAgreement",          NeedsSession::Yes, NeedsClock::No,  Cancellable::No,             LineForm::Bracketed, ""},
    {49, "setAnonymAgreement",        NeedsSession::Yes, NeedsClock::No,  Cancellable::No,             LineForm::Bracketed, ""},
    {50, "revocateAgreement",         NeedsSession::Yes, NeedsClock::No,  Cancellable::No,             LineForm::Bracketed, ""},
    {51, "download",                  NeedsSession::No,  NeedsClock::No,  Cancellable::UntilResponded, LineForm::Plain,     ""},
};
// clang-format on

}  // namespace W::test
