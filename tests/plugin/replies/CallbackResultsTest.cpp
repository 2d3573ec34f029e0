// The results of a callback exist until it returns, whatever it does.

#include <gtest/gtest.h>

#include "Calls.h"
#include "ParseDeliveries.h"

namespace W::test {
namespace {

/// A good reply, so long that its string must allocate memory.
std::string goodBody(const CommandKind& kind)
{
    if (kind.parser == nullptr) {
        return "{\"rsp\":{\"stat\":\"OK\",\"result\":\"" + std::string(5000, 'x') + "\"}}";
    }
    return replyBody(fullReply(parserCase(kind.parser)));
}

TEST(CallbackResults, LiveUntilTheCallbackReturnsWhenItDestroysTheObject)
{
    for (const CommandKind& kind : kinds()) {
        SCOPED_TRACE(kind.handler);
        FakeHost host;
        setAllOptions(host);
        auto* const object = new WVorelOAI;
        setClock(*object);
        Delivered delivered;
        delivered.then = [object] { delete object; };
        VorelServiceCMD* const command = kind.make(object, &delivered).release();
        if (auto* const download = dynamic_cast<VorelDownloadCMD*>(command)) {
            download->MakeURL("http://host/file", ::testing::TempDir() + "corvane-there-is-no-such-file", "file");
        }
        object->addCMD(command);
        unsigned long long reference = 0;
        ASSERT_EQ(
            object->service()->getDataRequest("u", {}, "", command, reference, WVorelOAI::cbFnVorelRequestCompleted),
            0);
        host.answer(goodBody(kind));
        EXPECT_EQ(delivered.calls, 1);
        EXPECT_EQ(delivered.resultsAfterwards, delivered.results);
    }
}

}  // namespace
}  // namespace W::test
