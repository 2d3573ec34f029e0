// Runs every file of exchanges/: the command `corvane rpc` with the loaded library on one side, a server that answers
// from the file on the other. ExchangeFile.h describes the format.

#include <algorithm>
#include <fstream>
#include <iterator>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "Conversation.h"
#include "ExchangeFile.h"
#include "Gzip.h"
#include "Operations.h"

namespace W::test {
namespace {

using Json = nlohmann::json;
using Path = std::filesystem::path;

std::string wireReply(const ExchangeReply& reply)
{
    const std::string body = reply.gzip ? gzipped(reply.body) : reply.body;
    return "HTTP/1.1 " + std::to_string(reply.code) + " Reply\r\n" + (reply.gzip ? "Content-Encoding: gzip\r\n" : "") +
           "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

/// True for "", 0, false, null, [] and {}.
bool isNothing(const Json& value)
{
    return value.empty() || value == Json(std::string()) || value == 0 || value == false;
}

/// Removes the empty members of records, so that a file names only the others. Elements of lists are kept.
Json withoutNothing(const Json& value)
{
    Json kept = value;
    if (value.is_array()) {
        for (Json& element : kept) {
            element = withoutNothing(element);
        }
    } else if (value.is_object()) {
        kept = Json::object();
        for (const auto& [key, member] : value.items()) {
            Json inner = withoutNothing(member);
            if (!isNothing(inner)) {
                kept[key] = std::move(inner);
            }
        }
    }
    return kept;
}

std::string contentOf(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return in ? std::string(std::istreambuf_iterator<char>(in), {}) : "(no file)";
}

class ExchangeOfFile : public ::testing::Test {
public:
    explicit ExchangeOfFile(Path file) : m_file(std::move(file)) {}

    void TestBody() override
    {
        try {
            run();
        } catch (const std::exception& error) {
            FAIL() << error.what();
        }
    }

private:
    void run()
    {
        Conversation conversation;
        const ExchangeFile exchange = readExchange(
            m_file,
            {{"base", conversation.url()}, {"host", conversation.host()}, {"temp", conversation.directory().string()}});
        for (const auto& [path, text] : exchange.given) {
            std::ofstream(path, std::ios::binary) << text;
        }
        conversation.start(exchange.options);
        if (exchange.session) {
            conversation.openSession();
        }
        if (!exchange.clock.empty()) {
            conversation.setClock(exchange.clock);
        }

        for (const ExchangeStep& step : exchange.steps) {
            SCOPED_TRACE(step.operation + " " + step.parameters);
            conversation.setReply(wireReply(step.reply));
            const Conversation::CallOutcome outcome = conversation.call(step.operation, Json::parse(step.parameters));
            expectResult(step, outcome);
            EXPECT_EQ(outcome.requests,
                      step.request ? std::vector<std::string>{*step.request} : std::vector<std::string>{});
            for (const auto& [path, text] : step.files) {
                EXPECT_EQ(contentOf(path), text) << path;
            }
        }
        EXPECT_EQ(conversation.finish(), 0);
    }

    static void expectResult(const ExchangeStep& step, const Conversation::CallOutcome& outcome)
    {
        ASSERT_TRUE(outcome.answer.contains("result")) << outcome.answer;
        const Json& result = outcome.answer["result"];
        Json expected = Json::parse(step.result);
        expected.emplace("return", 0);
        for (const auto& [name, value] : expected.items()) {
            ASSERT_TRUE(result.contains(name)) << name << " in " << result;
            EXPECT_EQ(withoutNothing(result[name]).dump(2), value.dump(2)) << name;
        }
        // A file must state the results of a call if and only if there are any.
        EXPECT_EQ(result.contains("results"), expected.contains("results")) << result;
        if (result.contains("results") && result.contains("reference")) {
            EXPECT_EQ(outcome.accepted.value("method", ""), "accepted");
            EXPECT_EQ(outcome.accepted.value("/params/reference"_json_pointer, 0), result["reference"])
                << outcome.accepted;
            EXPECT_EQ(outcome.accepted.value("/params/requestID"_json_pointer, 0), result["requestID"])
                << outcome.accepted;
        }
    }

    Path m_file;
};

std::vector<Path> exchangeFiles()
{
    std::vector<Path> files;
    for (const auto& entry : std::filesystem::directory_iterator(CORVANE_EXCHANGES)) {
        if (entry.path().extension() == ".exchange") {
            files.push_back(entry.path());
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

TEST(ExchangeFiles, CoverEveryOperation)
{
    for (const vorel::Operation& row : vorel::kOperations) {
        const Path file = Path(CORVANE_EXCHANGES) / (std::string(row.name) + ".exchange");
        ASSERT_TRUE(std::filesystem::exists(file)) << file;
        bool accepted = false;
        for (const ExchangeStep& step : readExchange(file, {}).steps) {
            accepted = accepted || (step.operation == row.name && step.request);
        }
        EXPECT_TRUE(accepted) << file << " sends no request of " << row.name;
    }
}

}  // namespace
}  // namespace W::test

int main(int argc, char** argv)
{
    ::testing::InitGoogleTest(&argc, argv);
    for (const auto& file : W::test::exchangeFiles()) {
        ::testing::RegisterTest("Exchange", file.stem().c_str(), nullptr, nullptr, file.c_str(), 1,
                                [file] { return new W::test::ExchangeOfFile(file); });
    }
    return RUN_ALL_TESTS();
}
