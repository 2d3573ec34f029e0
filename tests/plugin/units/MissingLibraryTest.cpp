// The library that encodes postal codes is not installed, or OpenSSL refuses SHA-1. A separate program, because the
// library stays loaded.

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <openssl/sha.h>

#include "Calls.h"

namespace {
bool s_isMissing = false;
bool s_isDigestRefused = false;
}  // namespace

extern "C" {
void* __real_dlopen(const char* name, int flags);

void* __wrap_dlopen(const char* name, int flags)
{
    return __real_dlopen(s_isMissing ? "/nonexistent/library.so" : name, flags);
}

int __real_SHA1_Init(SHA_CTX* context);

int __wrap_SHA1_Init(SHA_CTX* context)
{
    return s_isDigestRefused ? 0 : __real_SHA1_Init(context);
}
}

namespace W::test {
namespace {

TEST(MissingLibrary, IsReportedAndLookedForAgain)
{
    FakeHost host;
    WVorelOAI object;
    openSession(object);
    setAllOptions(host);
    s_isMissing = true;
    for (int time = 0; time < 2; ++time) {
        Counter counter;
        EXPECT_EQ(counter.accepted(callOf(VorelGetHeadendCMD::kKey).call(object, counter)), status::kNoService);
        const std::vector<std::string> errors = host.texts(1);
        ASSERT_GE(errors.size(), 2u);
        EXPECT_NE(errors[errors.size() - 2].find("cannot load liboauth, install it: /nonexistent/library.so"),
                  std::string::npos)
            << errors[errors.size() - 2];
        host.forgetLines();
    }
    s_isMissing = false;
    Counter counter;
    EXPECT_EQ(counter.accepted(callOf(VorelGetHeadendCMD::kKey).call(object, counter)), 0);
    host.answer(emptyReply(VorelGetHeadendCMD::kKey));
}

TEST(RefusedDigest, IsReportedAndRefusesTheOperation)
{
    FakeHost host;
    WVorelOAI object;
    openSession(object);
    setAllOptions(host);
    s_isDigestRefused = true;
    host.forgetLines();
    Counter counter;
    EXPECT_EQ(counter.accepted(callOf(VorelGetConfLogCMD::kKey).call(object, counter)), status::kNoService);
    s_isDigestRefused = false;
    const std::vector<std::string> errors = host.texts(1);
    ASSERT_EQ(errors.size(), 2u);
    EXPECT_EQ(errors[0], "[getSessionToken] cannot make the session token: OpenSSL refuses SHA-1");
    EXPECT_TRUE(host.sent.empty());
    Counter second;
    EXPECT_EQ(second.accepted(callOf(VorelGetConfLogCMD::kKey).call(object, second)), 0);
    host.answer(emptyReply(VorelGetConfLogCMD::kKey));
}

}  // namespace
}  // namespace W::test
