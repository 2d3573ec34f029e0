// Runs every file of exchanges/: the command `corvane rpc` with the loaded library on one side, a server that answers
// from the file on the other. The file's form is told in ExchangeFile.h.

#include "ExchangeFile.h"
#include "RawServer.h"
#include "RpcProcess.h"

#include <gtest/gtest.h>
#include <zlib.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>

namespace W::test {
namespace {

using Json = nlohmann::json;
using Path = std::filesystem::path;

std::string gzipped(const std::string& text)
{
    z_stream stream{};
    constexpr int kGzip = 15 + 16;
    if (deflateInit2(&stream, Z_BEST_COMPRESSION, Z_DEFLATED, kGzip, 8, Z_DEFAULT_STRATEGY) != Z_OK)
        throw std::runtime_error("zlib");
    std::string packed(deflateBound(&stream, text.size()), '\0');
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
    stream.avail_in = static_cast<uInt>(text.size());
    stream.next_out = reinterpret_cast<Bytef*>(packed.data());
    stream.avail_out = static_cast<uInt>(packed.size());
    deflate(&stream, Z_FINISH);
    packed.resize(stream.total_out);
    deflateEnd(&stream);
    return packed;
}

std::string wireReply(const ExchangeReply& reply)
{
    const std::string body = reply.gzip ? gzipped(reply.body) : reply.body;
    return "HTTP/1.1 " + std::to_string(reply.code) + " Reply\r\n" + (reply.gzip ? "Content-Encoding: gzip\r\n" : "") +
           "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

/// Empty texts, zeros, falsehoods, nulls and what holds nothing else.
bool isNothing(const Json& value)
{
    return value.is_null() || value.empty() || value == "" || value == 0 || value == false;
}

/// Leaves out the members of records that hold nothing, so that a file names the others only. The elements of lists
/// all count.
Json withoutNothing(const Json& value)
{
    Json kept = value;
    if (value.is_array()) {
        for (Json& element : kept)
            element = withoutNothing(element);
    } else if (value.is_object()) {
        kept = Json::object();
        for (const auto& [key, member] : value.items()) {
            Json inner = withoutNothing(member);
            if (!isNothing(inner))
                kept[key] = std::move(inner);
        }
    }
    return kept;
}

std::string fileText(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return in ? std::string(std::istreambuf_iterator<char>(in), {}) : "(no file)";
}

class Exchange : public ::testing::Test {
public:
    explicit Exchange(Path file) : m_file(std::move(file)) {}
    ~Exchange() override { std::filesystem::remove_all(m_temp); }

    void TestBody() override
    {
        std::string pattern = ::testing::TempDir() + "corvane-exchange-XXXXXX";
        ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
        m_temp = pattern;
        try {
            run();
        } catch (const std::exception& error) {
            FAIL() << error.what();
        }
    }

private:
    void run()
    {
        host::RawServer server([this](host::RawServer::Connection& connection) { serve(connection); });
        const std::string host = "127.0.0.1:" + std::to_string(server.port());
        const ExchangeFile exchange =
            readExchange(m_file, {{"base", "http://" + host}, {"host", host}, {"temp", m_temp.string()}});
        for (const auto& [path, text] : exchange.given)
            std::ofstream(path, std::ios::binary) << text;

        std::vector<std::string> options = {"vorel_base_url=http://" + host};
        options.insert(options.end(), exchange.options.begin(), exchange.options.end());
        RpcProcess process(CORVANE_COMMAND, CORVANE_LIBRARY, options);
        if (exchange.session)
            process.call("setAuthSeedkey", {{{"SessionID", "S"}, {"UserID", "U"}, {"SeedKey", "K"}}});
        if (!exchange.clock.empty())
            setClock(process, exchange.clock);

        for (const ExchangeStep& step : exchange.steps) {
            SCOPED_TRACE(step.operation + " " + step.parameters);
            setReply(wireReply(step.reply));
            const std::size_t before = server.requests().size();
            const Json answer = process.call(step.operation, Json::parse(step.parameters));
            expectResult(step, answer, process.accepted());
            expectRequests(step, server.requests(), before);
            for (const auto& [path, text] : step.files)
                EXPECT_EQ(fileText(path), text) << path;
        }
        EXPECT_EQ(process.finish(), 0);
    }

    void serve(host::RawServer::Connection& connection)
    {
        while (connection.readRequest()) {
            std::string reply;
            {
                const std::lock_guard<std::mutex> hold(m_lock);
                reply = m_reply;
            }
            connection.send(reply);
        }
    }

    void setReply(const std::string& reply)
    {
        const std::lock_guard<std::mutex> hold(m_lock);
        m_reply = reply;
    }

    void setClock(RpcProcess& process, const std::string& offset)
    {
        setReply(wireReply({200, false, R"({"rsp":{"stat":"OK","difference":")" + offset + R"("}})"}));
        const Json answer = process.call("getLocalTime", Json::array());
        if (answer.value("/result/status"_json_pointer, -1) != 0)
            throw std::runtime_error("no server time: " + answer.dump());
    }

    static void expectResult(const ExchangeStep& step, const Json& answer, const Json& accepted)
    {
        ASSERT_TRUE(answer.contains("result")) << answer;
        const Json& result = answer["result"];
        Json expected = Json::parse(step.result);
        expected.emplace("return", 0);
        for (const auto& [name, value] : expected.items()) {
            ASSERT_TRUE(result.contains(name)) << name << " in " << result;
            EXPECT_EQ(withoutNothing(result[name]).dump(2), value.dump(2)) << name;
        }
        // What a call brings is always said, and so is that it brings nothing.
        EXPECT_EQ(result.contains("results"), expected.contains("results")) << result;
        if (result.contains("results") && result.contains("reference")) {
            EXPECT_EQ(accepted.value("method", ""), "accepted");
            EXPECT_EQ(accepted.value("/params/reference"_json_pointer, 0), result["reference"]) << accepted;
            EXPECT_EQ(accepted.value("/params/requestID"_json_pointer, 0), result["requestID"]) << accepted;
        }
    }

    static void expectRequests(const ExchangeStep& step, const std::vector<std::string>& all, std::size_t before)
    {
        std::vector<std::string> expected;
        if (step.request)
            expected.push_back(*step.request);
        EXPECT_EQ(std::vector<std::string>(all.begin() + static_cast<std::ptrdiff_t>(before), all.end()), expected);
    }

    Path m_file;
    Path m_temp;
    std::mutex m_lock;
    std::string m_reply;
};

std::vector<Path> exchangeFiles()
{
    std::vector<Path> files;
    for (const auto& entry : std::filesystem::directory_iterator(CORVANE_EXCHANGES)) {
        if (entry.path().extension() == ".exchange")
            files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end());
    return files;
}

}  // namespace
}  // namespace W::test

int main(int argc, char** argv)
{
    ::testing::InitGoogleTest(&argc, argv);
    for (const auto& file : W::test::exchangeFiles())
        ::testing::RegisterTest("Exchange", file.stem().c_str(), nullptr, nullptr, file.c_str(), 1,
                                [file] { return new W::test::Exchange(file); });
    return RUN_ALL_TESTS();
}
