#include "Session.h"

#include <set>

#include <gtest/gtest.h>

#include "Digest.h"
#include "TestSupport.h"

namespace corvaned {
namespace {

constexpr Instant kNow = 1795224600;

TEST(Session, TokenIsSessionUserAndDigest)
{
    // printf 'K+X' | sha1sum
    EXPECT_EQ(sessionToken({"S", "U", "K", 0}, "X"), "S+U+2f6264b98a04932759a55dd72dde7aec4462f346");
    // printf 'K+' | sha1sum
    EXPECT_EQ(sessionToken({"S", "U", "K", 0}, ""), "S+U+cf5e29e0fdd5ceb106e6e3eb19e3765d08386603");
}

TEST(Session, UserFollowsTheDeviceAndNothingElseRepeats)
{
    test::TestStore db;
    const Store::Lease lease = db.store.lease();
    const ViewerSession first = openSession(*lease, "device", kNow, 60);
    const ViewerSession second = openSession(*lease, "device", kNow + 1, 60);
    const ViewerSession other = openSession(*lease, "another", kNow, 60);
    EXPECT_EQ(first.user, second.user);
    EXPECT_NE(first.user, other.user);
    EXPECT_EQ(
        (std::set<std::string>{first.id, second.id, other.id, first.seedkey, second.seedkey, other.seedkey}.size()),
        6U);
    EXPECT_EQ(first.expires, kNow + 60);
    EXPECT_EQ(first.user.find("device"), std::string::npos);
}

TEST(Session, EachPartOfTheTokenIsChecked)
{
    test::TestStore db;
    const Store::Lease lease = db.store.lease();
    const ViewerSession session = openSession(*lease, "device", kNow, 3600);
    const ViewerSession other = openSession(*lease, "another", kNow, 3600);
    const std::string good = sessionToken(session, "secret");
    const std::string zeros(40, '0');
    std::string upper = good;
    for (char& c : upper) {
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
    const struct {
        const char* what;
        std::string token;
        Instant now;
        TokenCheck expected;
    } rows[] = {
        {"good", good, kNow, TokenCheck::Good},
        {"good until it expires", good, kNow + 3599, TokenCheck::Good},
        {"expired", good, kNow + 3600, TokenCheck::Unknown},
        {"empty", "", kNow, TokenCheck::Malformed},
        {"one part", "abc", kNow, TokenCheck::Malformed},
        {"two parts", "a+b", kNow, TokenCheck::Malformed},
        {"short digest", good.substr(0, good.size() - 1), kNow, TokenCheck::Malformed},
        {"long digest", good + "0", kNow, TokenCheck::Malformed},
        {"unknown session", "x+" + session.user + "+" + zeros, kNow, TokenCheck::Unknown},
        {"wrong digest", session.id + "+" + session.user + "+" + zeros, kNow, TokenCheck::Wrong},
        {"wrong user", session.id + "+" + other.user + good.substr(good.size() - 41), kNow, TokenCheck::Wrong},
        {"another session's digest", other.id + "+" + other.user + good.substr(good.size() - 41), kNow,
         TokenCheck::Wrong},
        {"another secret", sessionToken(session, "Secret"), kNow, TokenCheck::Wrong},
        {"no secret", sessionToken(session, ""), kNow, TokenCheck::Wrong},
        {"injection", "' OR 1=1 --+u+" + zeros, kNow, TokenCheck::Unknown},
    };
    for (const auto& row : rows) {
        std::string user = "untouched";
        EXPECT_EQ(checkToken(*lease, row.token, "secret", row.now, user), row.expected) << row.what;
        EXPECT_EQ(user, row.expected == TokenCheck::Good ? session.user : "untouched") << row.what;
    }
}

TEST(Session, SurvivesARestartUntilItExpires)
{
    TemporaryDatabase file;
    ViewerSession session;
    {
        Store store(file.path(), Store::Mode::Create);
        session = openSession(*store.lease(), "device", kNow, 3600);
    }
    Store store(file.path(), Store::Mode::Existing);
    std::string user;
    EXPECT_EQ(checkToken(*store.lease(), sessionToken(session, "s"), "s", kNow, user), TokenCheck::Good);
    openSession(*store.lease(), "device", kNow + 3600, 3600);
    EXPECT_EQ(test::rows(store, "SELECT count(*) FROM session"), std::vector<std::string>{"1"});
}

TEST(Session, SecretsAreComparedInFull)
{
    EXPECT_TRUE(sameSecret("", ""));
    EXPECT_TRUE(sameSecret("abc", "abc"));
    EXPECT_FALSE(sameSecret("abc", "abd"));
    EXPECT_FALSE(sameSecret("abc", "ab"));
}

}  // namespace
}  // namespace corvaned
