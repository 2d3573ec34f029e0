// Calls and futures of corvane/client.h.
#include <chrono>
#include <fstream>
#include <future>
#include <string>
#include <thread>
#include <tuple>
#include <type_traits>

#include <gtest/gtest.h>

#include "ClientSupport.h"

namespace W::test {
namespace {

using namespace std::chrono_literals;

class ClientCalls : public testing::Test, public ClientOnFakeHost {};

TEST_F(ClientCalls, GivesTheResultsOfTheCallback)
{
    auto call = client->call(&WCorvaneOAI::checkAgreement);
    static_assert(std::is_same_v<decltype(call), corvane::Call<std::tuple<std::string, std::string>>>);
    EXPECT_FALSE(call.waitFor(0ms));
    host.answer(kAgreement);
    EXPECT_TRUE(call.waitFor(0ms));
    EXPECT_EQ(call.get(), std::make_tuple("agreed", "yes"));
}

TEST_F(ClientCalls, GivesAListForAContainer)
{
    corvane::Call<std::list<WVLHeadend>> call = client->call(&WCorvaneOAI::getHeadend, std::string("1"));
    host.answer(kHeadends);
    EXPECT_EQ(call.get().size(), 2u);
}

TEST_F(ClientCalls, GivesNothingForAnAcknowledgement)
{
    corvane::Call<void> call = client->call(&WCorvaneOAI::confirmAgreement);
    host.answer(R"({"rsp":{"stat":"OK"}})");
    EXPECT_NO_THROW(call.get());
}

TEST_F(ClientCalls, WaitsForAResultFromAnotherThread)
{
    auto call = client->call(&WCorvaneOAI::checkAgreement);
    std::thread executor([this] { host.answer(kAgreement); });
    EXPECT_EQ(std::get<0>(call.get()), "agreed");
    executor.join();
}

TEST_F(ClientCalls, ReportsRefusals)
{
    host.addRequestResult = -3;
    auto call = client->call(&WCorvaneOAI::checkAgreement);
    EXPECT_TRUE(call.waitFor(0ms));
    EXPECT_EQ(statusOf(call), -3);
    EXPECT_EQ(call.cancel(), status::kNotFound);
}

TEST_F(ClientCalls, ReportsFailuresInWords)
{
    auto call = client->call(&WCorvaneOAI::checkAgreement);
    host.answer("not JSON");
    try {
        call.get();
        FAIL() << "no error";
    } catch (const corvane::Error& error) {
        EXPECT_EQ(error.status(), status::kNotJson);
        EXPECT_EQ(error.what(), WSTATUS2STRING(-56) + std::string(" (status -56)"));
    }
}

TEST_F(ClientCalls, CancelsTheRequest)
{
    auto call = callSchedule(*client);
    EXPECT_EQ(call.cancel(), status::kCancelled);
    EXPECT_EQ(call.cancel(), status::kAlreadyCancelled);
    EXPECT_TRUE(host.sent.back().request->isCancelled());
    host.answer(host.sent.size() - 1, session::kCancelled, 0);
    EXPECT_EQ(statusOf(call), status::kCancelled);
    EXPECT_EQ(call.cancel(), status::kNotFound);
}

TEST_F(ClientCalls, ReportsOperationsThatCannotBeCancelled)
{
    auto call = client->call(&WCorvaneOAI::checkAgreement);
    EXPECT_EQ(call.cancel(), status::kNotCancellable);
    host.answer(kAgreement);
    EXPECT_EQ(statusOf(call), 0);
}

TEST_F(ClientCalls, EndsOutstandingCallsWhenItIsDestroyed)
{
    auto first = client->call(&WCorvaneOAI::checkAgreement);
    auto second = client->call(&WCorvaneOAI::getHeadend, std::string("1"));
    client.reset();
    EXPECT_EQ(statusOf(first), status::kCancelled);
    EXPECT_EQ(statusOf(second), status::kCancelled);
    EXPECT_EQ(first.cancel(), status::kNotFound);
}

TEST_F(ClientCalls, ACallMayBeDroppedBeforeItEnds)
{
    static_cast<void>(client->call(&WCorvaneOAI::checkAgreement));
    host.answer(kAgreement);
}

TEST_F(ClientCalls, GivesFutures)
{
    std::future<std::tuple<std::string, std::string>> late = client->call(&WCorvaneOAI::checkAgreement).future();
    EXPECT_EQ(late.wait_for(0ms), std::future_status::timeout);
    host.answer(kAgreement);
    EXPECT_EQ(std::get<1>(late.get()), "yes");

    host.addRequestResult = -3;
    std::future<void> refused = client->call(&WCorvaneOAI::confirmAgreement).future();
    EXPECT_THROW(refused.get(), corvane::Error);
}

TEST_F(ClientCalls, DownloadsWithThePathAsResult)
{
    std::string folder = testing::TempDir();
    folder.pop_back();
    auto call = client->download("http://h/f.bin", folder, "client-test.bin");
    std::ofstream(host.sent.back().filePath) << "content";
    host.answer("");
    EXPECT_EQ(std::get<1>(call.get()), folder + "/client-test.bin");
}

}  // namespace
}  // namespace W::test
