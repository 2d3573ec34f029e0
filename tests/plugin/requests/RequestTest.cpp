// Compares every request byte by byte: URL, body, verb, header lines in order, file, and the settings in the order in
// which they are read. RequestRows.h has what differs between calls, the envelopes below what differs between
// operations.

#include <algorithm>
#include <set>
#include <sstream>

#include <gtest/gtest.h>

#include "Calls.h"
#include "FakeHost.h"
#include "Operations.h"
#include "RequestRows.h"

namespace W::test {
namespace {

enum class Set {
    None,
    Standard,
    Compressed,
    SeedKey,
};

/// Where the parameters of an operation are, and the settings that it reads (their names without "vorel_").
struct RequestEnvelope {
    const char* operation;
    unsigned int key;
    HTTP_REQUEST_TYPE verb;
    Set headers;
    const char* column;   ///< read before the checks
    const char* address;  ///< read while the address and the body are written
};

constexpr char kAllFour[] = "country language headend device_type";

const RequestEnvelope kEnvelopes[] = {
    {"getAuthSeedkey", 3, HTTP_GET, Set::SeedKey, "app_key duid model_id country auth_token", ""},
    {"getGenreList", 4, HTTP_GET, Set::Compressed, "country", "country language"},
    {"getConfLog", 5, HTTP_GET, Set::Standard, "country headend", "country headend device_type"},
    {"getLocalTime", 6, HTTP_GET, Set::None, "country headend", "country headend device_type"},
    {"resetHistory", 7, HTTP_PUT, Set::Standard, "country", "country"},
    {"getServerUrl", 8, HTTP_GET, Set::None, "country server_url", "country"},
    {"checkUpload", 9, HTTP_GET, Set::Standard, "country headend device_type", "country headend device_type"},
    {"sendChannel", 10, HTTP_PUT, Set::Standard, "channelinfo_filepath", ""},
    {"getCertificationRule", 11, HTTP_GET, Set::Standard, "country", "country headend device_type"},
    {"getChannelList", 12, HTTP_GET, Set::Compressed, "country headend", kAllFour},
    {"getHeadend", 13, HTTP_GET, Set::Standard, "country", "country"},
    {"getCityList", 14, HTTP_GET, Set::Standard, "country", "country"},
    {"getCityList_browse", 15, HTTP_GET, Set::Standard, "country", "country"},
    {"getHeadend_Kor", 16, HTTP_GET, Set::Standard, "country", "country"},
    {"getHeadend_browse", 17, HTTP_GET, Set::Standard, "country", "country"},
    {"getSchedule", 18, HTTP_GET, Set::Standard, "", "country language"},
    {"getOnAir", 19, HTTP_GET, Set::Standard, "headend device_type", kAllFour},
    {"getTodayURL", 20, HTTP_GET, Set::Standard, "country headend", kAllFour},
    {"getFocusChannel", 21, HTTP_GET, Set::Standard, "", "country language"},
    {"getLineupTest", 22, HTTP_GET, Set::Standard, "country", "country"},
    {"getContentList", 23, HTTP_GET, Set::Standard, "headend", kAllFour},
    {"getContentDetailInfo", 24, HTTP_GET, Set::Standard, "headend", kAllFour},
    {"getGuide", 25, HTTP_GET, Set::Standard, "headend", "country headend device_type"},
    {"getPersonDetailInfo", 26, HTTP_GET, Set::Standard, "", "country language"},
    {"getSeriesDetailInfo", 27, HTTP_GET, Set::Standard, "", kAllFour},
    {"setFavorite", 28, HTTP_PUT, Set::Standard, "headend", "country headend device_type"},
    {"deleteFavorite", 29, HTTP_DELETE, Set::Standard, "headend", "country headend device_type"},
    {"getFavoriteChannel", 30, HTTP_GET, Set::Standard, "", "country"},
    {"getFavoriteContent", 31, HTTP_GET, Set::Standard, "", "country"},
    {"getFavoriteChannelList", 32, HTTP_GET, Set::Standard, "", "country"},
    {"getFavoriteContentList", 33, HTTP_GET, Set::Standard, "", "country"},
    {"sendTuneHistory", 34, HTTP_PUT, Set::Standard, "headend", "country headend device_type"},
    {"sendLike", 35, HTTP_PUT, Set::Standard, "", "country"},
    {"getLikeHistory", 36, HTTP_GET, Set::Standard, "", "country"},
    {"saveHeadend", 37, HTTP_PUT, Set::Standard, "headend device_type", "country headend device_type"},
    {"loadHeadend", 38, HTTP_GET, Set::Standard, "country", "country"},
    {"getSmartChannel", 39, HTTP_GET, Set::Compressed, "headend", kAllFour},
    {"getSmartPopular", 40, HTTP_GET, Set::Compressed, "headend", kAllFour},
    {"getPopularChannel", 41, HTTP_GET, Set::Standard, "headend", kAllFour},
    {"getRelatedContent", 42, HTTP_GET, Set::Standard, "headend", kAllFour},
    {"getMissedContent", 43, HTTP_GET, Set::Standard, "headend", kAllFour},
    {"getCandidateMissedContent", 44, HTTP_GET, Set::Standard, "headend", kAllFour},
    {"getCombination", 45, HTTP_GET, Set::Standard, "headend", kAllFour},
    {"searchEPG", 46, HTTP_GET, Set::Standard, "", "country headend device_type"},
    {"checkAgreement", 47, HTTP_GET, Set::Standard, "", "country"},
    {"confirmAgreement", 48, HTTP_PUT, Set::Standard, "", "country"},
    {"setAnonymAgreement", 49, HTTP_PUT, Set::Standard, "", "country"},
    {"revocateAgreement", 50, HTTP_PUT, Set::Standard, "", "country"},
    {"download", 51, HTTP_GET, Set::None, "", ""},
};

const RequestEnvelope& envelopeOf(const std::string& operation)
{
    const auto found = std::find_if(std::begin(kEnvelopes), std::end(kEnvelopes),
                                    [&](const RequestEnvelope& row) { return operation == row.operation; });
    if (found == std::end(kEnvelopes)) {
        throw std::invalid_argument("no envelope of " + operation);
    }
    return *found;
}

/// "country language" as the names of options.
std::vector<std::string> optionNames(const std::string& names)
{
    std::istringstream words(names);
    std::vector<std::string> options;
    for (std::string word; words >> word;) {
        options.push_back("vorel_" + word);
    }
    return options;
}

std::vector<HttpHeader::Line> headersOf(Set set, std::map<std::string, std::string>& options)
{
    // SHA-1 of "K+secret".
    const std::string token = "S+U+4d9ede85cb3404df20d6468db3a3193dccb34c6e";
    switch (set) {
        case Set::None:
            return {};
        case Set::Compressed:
            return {{"Accept-encoding", "gzip, deflate"}, {"AppKey", "app"},      {"Cache-Control", "no-cache"},
                    {"Content-Type", "text/json"},        {"Pragma", "no-cache"}, {"Token", token}};
        case Set::Standard:
            return {{"AppKey", "app"},
                    {"Cache-Control", "no-cache"},
                    {"Content-Type", "text/json"},
                    {"Pragma", "no-cache"},
                    {"Token", token}};
        case Set::SeedKey:
            return {{"AppKey", "app"},
                    {"AuthToken", "auth"},
                    {"Cache-Control", "no-cache"},
                    {"Content-Type", "text/json"},
                    {"CountryCode", options["vorel_country"]},
                    {"DUID", "duid"},
                    {"ModelID", "model"},
                    {"Pragma", "no-cache"},
                    {"Version", "0.59"}};
    }
    return {};
}

std::string wholeUrl(const std::string& url)
{
    if (url.find("://") != std::string::npos) {
        return url;
    }
    return "http://base" + (url.front() == '/' ? url : "/openapi/service/vorel/" + url);
}

const std::vector<RequestRow>& allRows()
{
    static const std::vector<RequestRow> kRows = [] {
        std::vector<RequestRow> rows;
        for (const auto& family :
             {configRows(), channelRows(), guideRows(), detailRows(), viewerRows(), recommendRows()}) {
            rows.insert(rows.end(), family.begin(), family.end());
        }
        return rows;
    }();
    return kRows;
}

/// The call of a row with one of its settings.
struct Case {
    const RequestRow* row;
    Wire wire;
};

/// For example "getOnAir_OneOfEach_without_country".
std::string nameOf(const Case& one)
{
    std::string name = std::string(one.row->operation) + "_" + one.row->what;
    std::istringstream words(one.wire.settings);
    for (std::string word; words >> word;) {
        const std::size_t sign = word.find('=');
        name += (sign + 1 == word.size() ? "_without_" : "_with_") + word.substr(0, sign);
    }
    return name;
}

void PrintTo(const Case& one, std::ostream* out)
{
    *out << nameOf(one);
}

/// The cases of the rows, and those in which an empty setting changes nothing.
std::vector<Case> allCases()
{
    std::vector<Case> cases;
    for (const RequestRow& row : allRows()) {
        for (const Wire& wire : row.wires) {
            cases.push_back({&row, wire});
        }
        for (const char* settings : {"country=", "language=", "headend=", "device_type="}) {
            const bool hasOwn = std::any_of(row.wires.begin(), row.wires.end(),
                                            [&](const Wire& wire) { return std::string(settings) == wire.settings; });
            if (!hasOwn) {
                cases.push_back({&row, {settings, row.wires.front().url, row.wires.front().body}});
            }
        }
    }
    return cases;
}

struct RequestOfOperation : ::testing::TestWithParam<Case> {
    RequestOfOperation()
    {
        setAllOptions(host);
        object.emplace();
        openSession(*object);
        // The only operation with a time that needs no valid time difference shows that.
        if (std::string(GetParam().row->operation) != "resetHistory") {
            setClock(*object);
        }
    }

    void change(const std::string& settings)
    {
        std::istringstream words(settings);
        for (std::string word; words >> word;) {
            const std::size_t sign = word.find('=');
            host.options["vorel_" + word.substr(0, sign)] = word.substr(sign + 1);
        }
    }

    std::vector<std::string> expectedReads(const RequestEnvelope& envelope, bool refused) const
    {
        std::string names = envelope.column;
        if (!refused) {
            names += std::string(" ") + envelope.address;
            if (envelope.headers == Set::Standard || envelope.headers == Set::Compressed) {
                names += " secret_key app_key";
            }
        }
        return optionNames(names);
    }

    FakeHost host;
    std::optional<WVorelOAI> object;
    Counter counter;
};

TEST_P(RequestOfOperation, IsSentAsStated)
{
    const RequestRow& row = *GetParam().row;
    const Wire& wire = GetParam().wire;
    const RequestEnvelope& envelope = envelopeOf(row.operation);
    change(wire.settings);
    host.reads.clear();

    const int returned = row.call(*object, counter);

    EXPECT_EQ(host.reads, expectedReads(envelope, wire.url == nullptr));
    EXPECT_EQ(counter.out.writes, 1);
    EXPECT_EQ(counter.out.getRequestID(), envelope.key);
    if (wire.url == nullptr) {
        EXPECT_EQ(returned, -1);
        EXPECT_EQ(counter.out.getWStatus(), -1);
        EXPECT_TRUE(host.sent.empty());
        return;
    }
    ASSERT_EQ(returned, 0);
    ASSERT_EQ(host.sent.size(), 1u);
    const Sent& sent = host.sent[0];
    const bool upload = envelope.key == 10;
    const bool download = envelope.key == 51;
    EXPECT_EQ(sent.url, wholeUrl(wire.url));
    EXPECT_EQ(sent.body, wire.body);
    EXPECT_EQ(sent.type, envelope.verb);
    EXPECT_EQ(sent.headers, headersOf(envelope.headers, host.options));
    EXPECT_EQ(sent.filePath, upload ? host.options["vorel_channelinfo_filepath"] : download ? "/dir/name.ts" : "");
    EXPECT_EQ(sent.upload, upload);
    EXPECT_EQ(sent.encoding, !upload && !download && envelope.verb != HTTP_DELETE);

    const std::string shownUrl = download ? std::string() : sent.url;
    const std::string shownBody = envelope.key == 46 ? sent.url : sent.body;
    EXPECT_TRUE(host.hasLine("[MakeURL] URL:[" + shownUrl + "]\n"));
    EXPECT_EQ(host.hasLine("[MakeURL] BODY:[" + shownBody + "]\n"), !download);
}

INSTANTIATE_TEST_SUITE_P(Rows, RequestOfOperation, ::testing::ValuesIn(allCases()),
                         [](const auto& parameter) { return nameOf(parameter.param); });

TEST(RequestTable, HoldsEveryOperation)
{
    ASSERT_EQ(std::size(kEnvelopes), vorel::kOperationCount);
    std::set<std::string> called;
    for (const RequestRow& row : allRows()) {
        called.insert(row.operation);
    }
    for (std::size_t index = 0; index < std::size(kEnvelopes); ++index) {
        EXPECT_EQ(kEnvelopes[index].key, vorel::kFirstKey + index);
        EXPECT_STREQ(kEnvelopes[index].operation, vorel::kOperations[index].name);
        EXPECT_EQ(called.count(kEnvelopes[index].operation), 1u) << kEnvelopes[index].operation;
    }
}

TEST(RequestTable, HasDistinctNamesForItsCases)
{
    std::set<std::string> names;
    for (const Case& one : allCases()) {
        EXPECT_TRUE(names.insert(nameOf(one)).second) << nameOf(one);
    }
}

}  // namespace
}  // namespace W::test
