// A hundred thousand broken replies to all operations: each request gets exactly one callback, and nothing is left.

#include <cstdlib>
#include <iostream>

#include <gtest/gtest.h>

#include "Calls.h"
#include "Mutator.h"
#include "ParseDeliveries.h"

namespace W::test {
namespace {

constexpr int kReplies = 100000;
/// The number of replies after which the object is destroyed and a new one created.
constexpr int kRepliesPerObject = 1000;

TEST(Mutation, EveryBrokenReplyIsAnsweredOnce)
{
    const char* const given = std::getenv("CORVANE_SEED");
    const unsigned int seed = given != nullptr ? static_cast<unsigned int>(std::strtoul(given, nullptr, 10)) : 20261121;
    std::cout << "CORVANE_SEED=" << seed << "\n";
    Mutator mutate(seed);
    std::map<int, int> statuses;

    for (int done = 0; done < kReplies; done += kRepliesPerObject) {
        FakeHost host;
        host.keepsLines = false;
        setAllOptions(host);
        WVorelOAI object;
        for (int count = 0; count < kRepliesPerObject; ++count) {
            // A reply may have changed the session and the clock.
            openSession(object);
            setClock(object);
            const CommandKind& kind = kinds()[static_cast<std::size_t>(mutate.below(kinds().size() - 1))];
            const std::string reply =
                kind.parser != nullptr ? replyBody(fullReply(parserCase(kind.parser))) : R"({"rsp":{"stat":"OK"}})";
            const std::string body = mutate(reply);
            Counter counter;
            ASSERT_EQ(counter.accepted(callOf(kind.key).call(object, counter)), 0) << kind.handler;
            ASSERT_NO_THROW(host.answer(body)) << kind.handler << "\n" << body;
            ASSERT_EQ(counter.calls, 1) << kind.handler << "\n" << body;
            ASSERT_LE(counter.status, 0) << kind.handler << "\n" << body;
            ++statuses[counter.status];
        }
        ASSERT_EQ(object.service()->requestCount(), 0u);
        ASSERT_EQ(object.commandCount(), 0u);
    }
    // Every status of a broken reply occurs.
    for (const int status : {0, -16, -55, -56, -57, -9000}) {
        EXPECT_GT(statuses[status], 10) << "replies that gave " << status;
    }
}

}  // namespace
}  // namespace W::test
