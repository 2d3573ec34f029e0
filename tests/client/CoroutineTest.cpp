// Coroutines of corvane/client.h.
#include <chrono>
#include <string>
#include <thread>
#include <tuple>

#include <gtest/gtest.h>

#include "ClientSupport.h"

namespace W::test {
namespace {

using namespace std::chrono_literals;
using corvane::Call;

class Coroutine : public testing::Test, public ClientOnFakeHost {};

Call<std::string> agreementTwice(corvane::Client& client)
{
    const auto [first, confirmed] = co_await client.call(&WCorvaneOAI::checkAgreement);
    auto second = co_await client.call(&WCorvaneOAI::checkAgreement);
    co_return first + " " + std::get<0>(second);
}

TEST_F(Coroutine, ContinuesOnTheThreadOfTheResult)
{
    auto call = agreementTwice(*client);
    EXPECT_EQ(host.sent.size(), 1u);
    std::thread executor([this] { host.answer(kAgreement); });
    executor.join();
    EXPECT_EQ(host.sent.size(), 2u);
    EXPECT_FALSE(call.waitFor(0ms));
    host.answer(kAgreement);
    EXPECT_EQ(call.get(), "agreed agreed");
}

Call<void> outer(corvane::Client& client, std::string& result)
{
    result = co_await agreementTwice(client);
}

TEST_F(Coroutine, AwaitsAnotherCoroutine)
{
    std::string result;
    auto call = outer(*client, result);
    host.answer(kAgreement);
    host.answer(kAgreement);
    call.get();
    EXPECT_EQ(result, "agreed agreed");
}

TEST_F(Coroutine, PassesFailuresOn)
{
    auto call = agreementTwice(*client);
    host.answer("not JSON");
    EXPECT_EQ(host.sent.size(), 1u);
    EXPECT_EQ(statusOf(call), status::kNotJson);
}

TEST_F(Coroutine, AwaitsCallsThatHaveEnded)
{
    host.addRequestResult = -3;
    auto call = agreementTwice(*client);
    EXPECT_EQ(statusOf(call), -3);
}

Call<std::size_t> countProgrammes(corvane::Client& client)
{
    const auto programmes = co_await callSchedule(client);
    co_return programmes.size();
}

Call<std::size_t> countTwice(corvane::Client& client)
{
    const std::size_t first = co_await countProgrammes(client);
    co_return first + co_await countProgrammes(client);
}

TEST_F(Coroutine, CancelReachesTheCallThatItAwaits)
{
    auto call = countTwice(*client);
    host.answer(kNoProgrammes);
    ASSERT_EQ(host.sent.size(), 2u);
    EXPECT_EQ(call.cancel(), status::kCancelled);
    EXPECT_TRUE(host.sent[1].request->isCancelled());
    host.answer(1, session::kCancelled, 0);
    EXPECT_EQ(statusOf(call), status::kCancelled);
}

Call<int> catchesCancellation(corvane::Client& client)
{
    int failures = 0;
    for (int round = 0; round < 2; ++round) {
        try {
            co_await callSchedule(client);
        } catch (const corvane::Error&) {
            ++failures;
        }
    }
    co_return failures;
}

TEST_F(Coroutine, CancelReachesLaterCallsToo)
{
    auto call = catchesCancellation(*client);
    call.cancel();
    host.answer(0, session::kCancelled, 0);
    ASSERT_EQ(host.sent.size(), 2u);
    EXPECT_TRUE(host.sent[1].request->isCancelled());
    host.answer(1, session::kCancelled, 0);
    EXPECT_EQ(call.get(), 2);
}

struct Watch {
    bool& gone;
    ~Watch() { gone = true; }
};

Call<void> withVariable(corvane::Client& client, bool& gone)
{
    const Watch watch{gone};
    co_await client.call(&WCorvaneOAI::checkAgreement);
}

TEST_F(Coroutine, DestroysItsVariablesBeforeItsResultIsPublished)
{
    bool gone = false;
    auto call = withVariable(*client, gone);
    std::thread executor([this] { host.answer(kAgreement); });
    call.get();
    EXPECT_TRUE(gone);
    executor.join();
}

TEST_F(Coroutine, EndsWhenTheClientIsDestroyed)
{
    bool gone = false;
    auto call = withVariable(*client, gone);
    client.reset();
    EXPECT_TRUE(gone);
    EXPECT_EQ(statusOf(call), status::kCancelled);
}

}  // namespace
}  // namespace W::test
