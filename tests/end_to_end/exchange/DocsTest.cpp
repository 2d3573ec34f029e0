// Compares docs/operations.md with the operation table, and its examples with the requests and refusals of the library.

#include <fstream>
#include <map>
#include <sstream>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "Conversation.h"
#include "Operations.h"

namespace W::test {
namespace {

using Json = nlohmann::json;
using vorel::Operation;

constexpr const char* kParts[] = {"Call", "Request", "Reply", "Statuses", "Cancel", "Example"};

/// The page's description of one operation.
struct Description {
    std::string title;
    std::vector<std::string> parts;           ///< in their order
    std::map<std::string, std::string> says;  ///< by part, its line
    std::map<std::string, std::string> code;  ///< by part, the lines of its block
};

std::vector<Description> readPage()
{
    std::ifstream in(CORVANE_OPERATIONS_PAGE);
    std::vector<Description> all;
    bool inCode = false;
    for (std::string line; std::getline(in, line);) {
        if (!inCode && line.rfind("## ", 0) == 0) {
            all.push_back({line.substr(3), {}, {}, {}});
        } else if (all.empty()) {
            continue;
        } else if (line == "```") {
            inCode = !inCode;
        } else if (inCode) {
            std::string& code = all.back().code[all.back().parts.back()];
            code += (code.empty() ? "" : "\n") + line;
        } else if (line.rfind("**", 0) == 0) {
            const std::size_t end = line.find("**", 2);
            all.back().parts.push_back(line.substr(2, end - 2));
            all.back().says[all.back().parts.back()] = line.substr(std::min(end + 3, line.size()));
        }
    }
    return all;
}

const std::vector<Description>& page()
{
    static const std::vector<Description> kPage = readPage();
    return kPage;
}

std::string requestWords(const Operation& row)
{
    std::string words;
    switch (row.verb) {
        case vorel::Verb::Get:
            words = "GET";
            break;
        case vorel::Verb::Put:
            words = "PUT";
            break;
        case vorel::Verb::Delete:
            words = "DELETE";
            break;
        case vorel::Verb::Upload:
            words = "PUT of a file";
            break;
        case vorel::Verb::Download:
            words = "GET into a file";
            break;
    }
    if (row.session == vorel::Session::Needed) {
        words += ", session";
    }
    if (row.clock == vorel::Clock::Needed) {
        words += ", server's time";
    }
    switch (row.headers) {
        case vorel::Headers::None:
            return words + ", no headers";
        case vorel::Headers::Standard:
            return words + ", standard headers";
        case vorel::Headers::Compressed:
            return words + ", standard headers and compression";
        case vorel::Headers::SeedKey:
            return words + ", seed-key headers";
    }
    return words;
}

const char* cancelWords(const Operation& row)
{
    switch (row.cancel) {
        case vorel::Cancel::Yes:
            return "yes";
        case vorel::Cancel::No:
            return "no";
        case vorel::Cancel::UntilResponded:
            return "until the response has arrived";
    }
    return "";
}

/// The statuses that an operation returns according to the page: those before "later".
std::vector<std::string> returnedStatuses(const Description& description)
{
    std::vector<std::string> found;
    std::istringstream parts(description.says.at("Statuses"));
    for (std::string part; std::getline(parts >> std::ws, part, ';') && part.rfind("later ", 0) != 0;) {
        found.push_back(part);
    }
    return found;
}

bool lists(const Description& description, const std::string& status)
{
    for (const std::string& listed : returnedStatuses(description)) {
        if (listed == status || listed.rfind(status + " ", 0) == 0) {
            return true;
        }
    }
    return false;
}

/// Whether each argument in the line "Call" is required, in order.
std::vector<bool> requiredArguments(const Description& description)
{
    std::vector<bool> required;
    const std::string& call = description.says.at("Call");
    std::istringstream words(call.substr(0, call.find(';')));
    for (std::string word; std::getline(words, word, ',');) {
        if (word.find('`') != std::string::npos) {
            required.push_back(word.find('!') != std::string::npos);
        }
    }
    return required;
}

TEST(OperationsPage, DescribesEveryOperationInOrder)
{
    ASSERT_EQ(page().size(), vorel::kOperationCount);
    for (std::size_t index = 0; index < page().size(); ++index) {
        const Operation& row = vorel::kOperations[index];
        EXPECT_EQ(page()[index].title, std::to_string(row.key) + " " + row.name);
        EXPECT_EQ(page()[index].parts, std::vector<std::string>(std::begin(kParts), std::end(kParts))) << row.name;
    }
}

TEST(OperationsPage, AgreesWithTheOperationTable)
{
    ASSERT_EQ(page().size(), vorel::kOperationCount);
    for (std::size_t index = 0; index < page().size(); ++index) {
        const Operation& row = vorel::kOperations[index];
        SCOPED_TRACE(row.name);
        const Description& description = page()[index];
        EXPECT_EQ(description.says.at("Request"), requestWords(row));
        EXPECT_EQ(description.says.at("Cancel"), cancelWords(row));
        EXPECT_TRUE(lists(description, "-3"));
        EXPECT_EQ(lists(description, "-202"), row.session == vorel::Session::Needed);
        EXPECT_EQ(lists(description, "-59"), row.clock == vorel::Clock::Needed);
    }
}

/// Runs the page's examples with the library.
struct OperationsPageExamples : ::testing::Test {
    /// @param without  an option to leave empty, or ""
    void start(const std::string& without = {})
    {
        conversation.emplace();
        const std::string file = (conversation->directory() / "channels.json").string();
        std::ofstream(file) << "the file at channelinfo_filepath";
        std::vector<std::string> options;
        for (const std::string& option : {std::string("vorel_app_key=app"), std::string("vorel_country=US"),
                                          std::string("vorel_language=en"), std::string("vorel_headend=H1"),
                                          std::string("vorel_device_type=X"), "vorel_channelinfo_filepath=" + file}) {
            const std::string key = option.substr(0, option.find('='));
            options.push_back(key == without ? key + "=" : option);
        }
        conversation->start(options);
        conversation->openSession();
        // The reply to every example: a success that changes neither the session nor the server's time.
        conversation->setReplyBody(
            R"({"rsp":{"stat":"OK","session":{"id":"S","user":{"id":"U"},"seedkey":"K"},"difference":"+09:00"}})");
    }

    void fetchTime() { EXPECT_EQ(returned(conversation->call("getLocalTime", Json::array())), 0); }

    /// The example's parameters, with the service and the directory of this test.
    Json parameters(const Description& description) const
    {
        std::string line = description.code.at("Example");
        replace(line, "http://127.0.0.1:8900", conversation->url());
        replace(line, "/tmp", conversation->directory().string());
        const Json request = Json::parse(line);
        EXPECT_EQ(request.value("method", ""), description.title.substr(description.title.find(' ') + 1));
        return request.at("params");
    }

    static void replace(std::string& text, const std::string& what, const std::string& by)
    {
        const std::size_t at = text.find(what);
        if (at != std::string::npos) {
            text.replace(at, what.size(), by);
        }
    }

    static int returned(const Conversation::CallOutcome& outcome)
    {
        return outcome.answer.value("/result/return"_json_pointer, 12345);
    }

    std::string nameOf(const Description& description) const
    {
        return description.title.substr(description.title.find(' ') + 1);
    }

    std::optional<Conversation> conversation;
};

/// The part of a request that the page shows: the request line without the version, and the body.
std::string shown(const std::string& request)
{
    const std::string line = request.substr(0, request.find(" HTTP/1.1\r\n"));
    const std::string body = request.substr(request.find("\r\n\r\n") + 4);
    return body.empty() ? line : line + "\n\n" + body;
}

TEST_F(OperationsPageExamples, SendTheRequestsThatThePageShows)
{
    start();
    fetchTime();
    for (const Description& description : page()) {
        SCOPED_TRACE(description.title);
        const auto outcome = conversation->call(nameOf(description), parameters(description));
        EXPECT_EQ(returned(outcome), 0) << outcome.answer;
        ASSERT_EQ(outcome.requests.size(), 1u);
        EXPECT_EQ(shown(outcome.requests[0]), description.code.at("Request"));
    }
}

TEST_F(OperationsPageExamples, AreRefusedWithoutARequiredArgument)
{
    start();
    fetchTime();
    for (const Description& description : page()) {
        const Json given = parameters(description);
        const std::vector<bool> required = requiredArguments(description);
        ASSERT_EQ(required.size(), given.size()) << description.title;
        for (std::size_t index = 0; index < given.size(); ++index) {
            SCOPED_TRACE(description.title + ", argument " + std::to_string(index + 1));
            Json parameters = given;
            const Json& old = given[index];
            parameters[index] = old.is_string()    ? Json("")
                                : old.is_array()   ? Json::array()
                                : old.is_boolean() ? Json(false)
                                                   : Json(0);
            const auto outcome = conversation->call(nameOf(description), parameters);
            EXPECT_EQ(returned(outcome), required[index] ? -1 : 0) << outcome.answer;
            EXPECT_TRUE(!required[index] || lists(description, "-1"));
        }
    }
}

TEST_F(OperationsPageExamples, AreRefusedWithoutAnOptionThatThePageNames)
{
    for (const char* option : {"app_key", "country", "language", "headend", "device_type", "channelinfo_filepath"}) {
        start(std::string("vorel_") + option);
        for (const Description& description : page()) {
            // Without a country the server's time cannot be fetched; these operations require no option.
            if (lists(description, "-59")) {
                continue;
            }
            SCOPED_TRACE(description.title + " without " + option);
            bool named = false;
            for (const std::string& status : returnedStatuses(description)) {
                named = named || (status.rfind("-1 without ", 0) == 0 &&
                                  status.find("`" + std::string(option) + "`") != std::string::npos);
            }
            EXPECT_EQ(returned(conversation->call(nameOf(description), parameters(description))), named ? -1 : 0);
        }
    }
}

}  // namespace
}  // namespace W::test
