// The plug-in object: entry points, account operations, registry, session, token, clock, cancel(), destruction, the
// debug module.

#include <chrono>
#include <cstring>
#include <deque>
#include <thread>

#include <gtest/gtest.h>

#include "Calls.h"
#include "DebugPrint.h"
#include "FailingNew.h"
#include "KeptOutput.h"

extern "C" W::WPlugin* createPlugin();
extern "C" void destroyPlugin(W::WPlugin* plugin);

namespace W::test {
namespace {

TEST(EntryPoints, CreateAndDestroyAnObject)
{
    FakeHost host;
    host.options["vorel_base_url"] = "http://base";
    WPlugin* const plugin = createPlugin();
    ASSERT_NE(plugin, nullptr);
    // The handle word is never set.
    EXPECT_FALSE(plugin->isValid());
    EXPECT_TRUE(host.hasLine("[WVorelOAI] WVorelOAI::WVorelOAI\n"));
    EXPECT_EQ(host.reads, std::vector<std::string>{"vorel_base_url"});
    EXPECT_TRUE(host.sent.empty());
    destroyPlugin(plugin);
    destroyPlugin(nullptr);
}

TEST(EntryPoints, TheProviderIsFixed)
{
    FakeHost host;
    const WVorelOAI object;
    EXPECT_EQ(object.getContentProvider().getName(), "Corvane");
    EXPECT_EQ(object.getContentProvider().getServiceType(), 14);
}

TEST(Account, StubsDoNothing)
{
    FakeHost host;
    WVorelOAI object;
    host.forgetLines();
    CountingStatus out;
    std::list<WException*> exceptions;
    EXPECT_EQ(object.login("id", "password", nullptr, nullptr, out), -6);
    EXPECT_EQ(object.logout(nullptr, nullptr, out), -6);
    EXPECT_EQ(object.retrieveExceptions(exceptions), -6);
    EXPECT_EQ(object.resolveException(nullptr, nullptr, nullptr, out), -6);
    EXPECT_EQ(out.writes, 0);
    EXPECT_TRUE(host.lines().empty());
}

/// Number of a virtual operation in the table, as the Itanium C++ ABI keeps it in a pointer to a member.
template <class Member>
std::size_t slot(Member member)
{
    std::ptrdiff_t words[2];
    static_assert(sizeof(member) == sizeof(words));
    std::memcpy(words, &member, sizeof(words));
#if defined(__arm__)
    return static_cast<std::size_t>(words[0]) / sizeof(void*);
#else
    return static_cast<std::size_t>(words[0] - 1) / sizeof(void*);
#endif
}

TEST(Slots, AreInTheStatedOrder)
{
    // Slots 1 and 2 are the two forms of the destructor.
    EXPECT_EQ(slot(&WPlugin::isValid), 0u);
    const std::size_t slots[] = {
        slot(&WAbstractOAI::login),
        slot(&WAbstractOAI::logout),
        slot(&WAbstractOAI::retrieveExceptions),
        slot(&WAbstractOAI::resolveException),
        slot(&WCorvaneOAI::cancel),
        slot(&WCorvaneOAI::getAuthSeedkey),
        slot(&WCorvaneOAI::setAuthSeedkey),
        slot(&WCorvaneOAI::getGenreList),
        slot(&WCorvaneOAI::getConfLog),
        slot(&WCorvaneOAI::getLocalTime),
        slot(&WCorvaneOAI::resetHistory),
        slot(&WCorvaneOAI::getServerUrl),
        slot(&WCorvaneOAI::checkUpload),
        slot(&WCorvaneOAI::sendChannel),
        slot(&WCorvaneOAI::getCertificationRule),
        slot(&WCorvaneOAI::getChannelList),
        slot(&WCorvaneOAI::getHeadend),
        slot(&WCorvaneOAI::getCityList),
        slot(&WCorvaneOAI::getCityList_browse),
        slot(&WCorvaneOAI::getHeadend_Kor),
        slot(&WCorvaneOAI::getHeadend_browse),
        slot(&WCorvaneOAI::getSchedule),
        slot(&WCorvaneOAI::getOnAir),
        slot(&WCorvaneOAI::getTodayURL),
        slot(&WCorvaneOAI::getTodaySchedule),
        slot(&WCorvaneOAI::getLineupTest),
        slot(&WCorvaneOAI::getFocusChannel),
        slot(&WCorvaneOAI::getContentList),
        slot(&WCorvaneOAI::getContentDetailInfo),
        slot(&WCorvaneOAI::getGuide),
        slot(&WCorvaneOAI::getPersonDetailInfo),
        slot(&WCorvaneOAI::getSeriesDetailInfo),
        slot(&WCorvaneOAI::setFavorite),
        slot(&WCorvaneOAI::deleteFavorite),
        slot(&WCorvaneOAI::getFavoriteChannel),
        slot(&WCorvaneOAI::getFavoriteContent),
        slot(&WCorvaneOAI::getFavoriteChannelList),
        slot(&WCorvaneOAI::getFavoriteContentList),
        slot(&WCorvaneOAI::sendTuneHistory),
        slot(&WCorvaneOAI::sendLike),
        slot(&WCorvaneOAI::getLikeHistory),
        slot(&WCorvaneOAI::saveHeadend),
        slot(&WCorvaneOAI::loadHeadend),
        slot(&WCorvaneOAI::getSmartChannel),
        slot(&WCorvaneOAI::getSmartPopular),
        slot(&WCorvaneOAI::getPopularChannel),
        slot(&WCorvaneOAI::getRelatedContent),
        slot(&WCorvaneOAI::getMissedContent),
        slot(&WCorvaneOAI::getCandidateMissedContent),
        slot(&WCorvaneOAI::getCombination),
        slot(&WCorvaneOAI::searchEPG),
        slot(&WCorvaneOAI::checkAgreement),
        slot(&WCorvaneOAI::confirmAgreement),
        slot(&WCorvaneOAI::setAnonymAgreement),
        slot(&WCorvaneOAI::revocateAgreement),
        slot(&WCorvaneOAI::download),
    };
    for (std::size_t index = 0; index < std::size(slots); ++index) {
        EXPECT_EQ(slots[index], index + 3);
    }
    EXPECT_EQ(std::size(slots), 56u);
}

TEST(Object, SetWRequestStatusWritesInOrder)
{
    class Ordered final : public WRequestStatus {
    public:
        void setRequestID(unsigned int kind) override { text += "id" + std::to_string(kind); }
        void setReqRefernce(UINT64 reference) override { text += " ref" + std::to_string(reference); }
        void setWStatus(WSTATUS value) override { text += " status" + std::to_string(value); }
        std::string text;
    };
    Ordered out;
    WVorelOAI::setWRequestStatus(18, 7, -3, out);
    EXPECT_EQ(out.text, "id18 ref7 status-3");
}

TEST(Object, DestructorDestroysRegisteredCommands)
{
    FakeHost host;
    WVorelOAI object;
    auto* const first = new VorelGetConfLogCMD(nullptr, nullptr, &object, object.getContentProvider());
    object.addCMD(first);
    object.addCMD(new VorelGetConfLogCMD(nullptr, nullptr, &object, object.getContentProvider()));
    object.cleanupCMD(first);
    object.cleanupCMD(nullptr);
    EXPECT_EQ(object.commandCount(), 1u);
    object.cleanupCMD();
    EXPECT_EQ(object.commandCount(), 0u);
    object.addCMD(new VorelGetConfLogCMD(nullptr, nullptr, &object, object.getContentProvider()));
}

TEST(Session, TokenIsSessionUserAndDigest)
{
    FakeHost host;
    VorelService service("Corvane", WContentProvider("Corvane", 14));
    WVLSession session;
    session.setSessionID("S");
    EXPECT_FALSE(service.IsAvailableSession());
    service.setSessionInfo(session);
    EXPECT_FALSE(service.IsAvailableSession()) << "a seed key is needed too";
    session.setUserID("U");
    session.setSeedKey("K");
    service.setSessionInfo(session);
    EXPECT_TRUE(service.IsAvailableSession());
    // printf 'K+X' | sha1sum; printf 'K+' | sha1sum
    host.options["vorel_secret_key"] = "X";
    EXPECT_EQ(service.getSessionToken(WContentProvider()), "S+U+2f6264b98a04932759a55dd72dde7aec4462f346");
    host.options.clear();
    EXPECT_EQ(service.getSessionToken(WContentProvider()), "S+U+cf5e29e0fdd5ceb106e6e3eb19e3765d08386603");
}

TEST(Object, WithoutAServiceNeitherReadsAFileNorStoresASession)
{
    FakeHost host;
    std::unique_ptr<WVorelOAI> object;
    {
        const FailingNew outOfMemory;
        object = std::make_unique<WVorelOAI>();
    }
    ASSERT_EQ(object->service(), nullptr);
    std::list<WVLContent> kept(1);
    WContainer<WVLContent> result;
    result.data() = std::move(kept);
    result.setCount(1);
    EXPECT_EQ(object->getTodaySchedule("/dev/null", result), status::kNoService);
    EXPECT_EQ(result.getCount(), 1);
    EXPECT_TRUE(host.hasLine("[getTodaySchedule] ========= m_pService is NULL!!!!!!! \n"));
    object->setAuthSeedkey(WVLSession());
}

TEST(Session, SetAuthSeedkeyPrintsAndReplaces)
{
    FakeHost host;
    WVorelOAI object;
    openSession(object);
    EXPECT_TRUE(host.hasLine("[setAuthSeedkey] SessionID : S"));
    EXPECT_TRUE(host.hasLine("[setAuthSeedkey] Seedkey : K"));
    EXPECT_TRUE(host.hasLine("[setAuthSeedkey] UserID : U"));
    EXPECT_TRUE(object.service()->IsAvailableSession());
    object.setAuthSeedkey(WVLSession());
    EXPECT_FALSE(object.service()->IsAvailableSession());
}

constexpr char kSessionReply[] =
    R"({"rsp":{"stat":"OK","session":{"id":"S9","user":{"id":"U9"},"seedkey":"K9","expired":"2026-11-22T01:30:00Z"}}})";

using SessionCapture = Capture<const WVLSession&>;

TEST(Session, IsStoredAfterASuccessfulReply)
{
    FakeHost host;
    setAllOptions(host);
    WVorelOAI object;
    SessionCapture capture;
    capture.accepted(object.getAuthSeedkey(SessionCapture::done, &capture, capture.out));
    host.answer(kSessionReply);
    EXPECT_EQ(capture.status, 0);
    EXPECT_EQ(capture.result<0>().getSessionID(), "S9");
    EXPECT_EQ(capture.result<0>().getUserID(), "U9");
    EXPECT_EQ(capture.result<0>().getSeedKey(), "K9");
    EXPECT_EQ(capture.result<0>().getExpireTime().toString(), "2026-11-22T01:30:00Z");
    EXPECT_EQ(object.service()->getSessionToken(object.getContentProvider()).substr(0, 6), "S9+U9+");
}

TEST(Session, IsNotStoredAfterAFailureOrACancel)
{
    FakeHost host;
    setAllOptions(host);
    WVorelOAI object;
    for (const char* const reply :
         {R"({"rsp":{"stat":"OK","err":{"code":"0"},"session":{"id":"S","seedkey":"K"}}})", "no", "{}"}) {
        SessionCapture capture;
        capture.accepted(object.getAuthSeedkey(SessionCapture::done, &capture, capture.out));
        host.answer(reply);
        EXPECT_LT(capture.status, 0) << reply;
        EXPECT_FALSE(object.service()->IsAvailableSession()) << reply;
    }
    openSession(object);
    SessionCapture capture;
    capture.accepted(object.getAuthSeedkey(SessionCapture::done, &capture, capture.out));
    EXPECT_EQ(object.cancel(object.getContentProvider(), capture.out.getReqRefernce()), status::kCancelled);
    host.answer(kSessionReply);
    EXPECT_EQ(capture.status, status::kCancelled);
    EXPECT_EQ(capture.result<0>().getSessionID(), "");
    EXPECT_EQ(object.service()->getSessionToken(object.getContentProvider()).substr(0, 4), "S+U+");
}

using LocaltimeCapture = Capture<const WVLLocaltime&>;

TEST(Clock, IsStoredAfterASuccessfulReplyOnly)
{
    FakeHost host;
    setAllOptions(host);
    WVorelOAI object;
    LocaltimeCapture capture;
    capture.accepted(object.getLocalTime(LocaltimeCapture::done, &capture, capture.out));
    host.answer(0, session::kCompleted, 500);
    EXPECT_FALSE(object.serverTimeDifference().getOffsetTime().isValid());
    LocaltimeCapture second;
    second.accepted(object.getLocalTime(LocaltimeCapture::done, &second, second.out));
    host.answer(R"({"rsp":{"stat":"OK","date":"2026-11-21T01:30:00Z","localdate":"2026-11-20T20:00:00",)"
                R"("timezone":"X","difference":"-05:30"}})");
    EXPECT_EQ(second.result<0>().getUTC().toString(), "2026-11-21T01:30:00Z");
    EXPECT_EQ(second.result<0>().getTimezone(), "X");
    EXPECT_EQ(object.serverTimeDifference().offsetSeconds(), -19800);
    LocaltimeCapture third;
    third.accepted(object.getLocalTime(LocaltimeCapture::done, &third, third.out));
    host.answer("no");
    EXPECT_EQ(object.serverTimeDifference().offsetSeconds(), -19800);
}

TEST(Cancel, RefusesWithoutASessionAndForAnotherProvider)
{
    FakeHost host;
    setAllOptions(host);
    WVorelOAI object;
    EXPECT_EQ(object.cancel(object.getContentProvider(), 1), status::kNoSession);
    EXPECT_TRUE(host.hasLine("[cancel] [++ WVorelOAI::cancel Requested] uRequesetRef : 1"));
    EXPECT_TRUE(host.hasLine("[cancel] ========= Session is not available!!!!!!! \n"));
    EXPECT_EQ(host.texts(1).size(), 1u);
    openSession(object);
    Counter counter;
    counter.accepted(callOf(5).call(object, counter));
    EXPECT_EQ(object.cancel(WContentProvider("Corvane", 15), 1), status::kBadArgument);
    EXPECT_EQ(object.cancel(WContentProvider("Corvana", 14), 1), status::kBadArgument);
    EXPECT_FALSE(object.service()->getCancelStatus(1));
    EXPECT_EQ(object.cancel(object.getContentProvider(), 2), status::kNotFound);
    EXPECT_TRUE(host.hasLine("[cancel] [-- WVorelOAI::cancel Requested]"));
    host.answer(emptyReply(5));
}

TEST(Dispatch, IgnoresReservedAndUnknownKeys)
{
    FakeHost host;
    WVorelOAI object;
    const HttpResponse response;
    class KeyedCommand final : public VorelServiceCMD {
    public:
        KeyedCommand(WVorelOAI* owner, unsigned int key) : VorelServiceCMD(WContentProvider(), nullptr, owner)
        {
            setCMDKey(key);
        }
    };
    EXPECT_EQ(WVorelOAI::cbFnVorelRequestCompleted(0, response, nullptr, 7), 7u);
    EXPECT_TRUE(host.hasLine("[cbFnVorelRequestCompleted] ========= pCmd is NULL!!!!!!! \n"));
    for (const unsigned int key : {0u, 1u, 2u}) {
        KeyedCommand command(&object, key);
        EXPECT_EQ(WVorelOAI::cbFnVorelRequestCompleted(0, response, &command, 7), 0u);
    }
    for (const unsigned int key : {52u, 0xFFFFFFFFu}) {
        KeyedCommand command(&object, key);
        EXPECT_EQ(WVorelOAI::cbFnVorelRequestCompleted(0, response, &command, 7), 7u);
    }
    KeyedCommand orphan(nullptr, 18);
    EXPECT_EQ(WVorelOAI::cbFnVorelRequestCompleted(0, response, &orphan, 7), 7u);
    EXPECT_TRUE(
        host.hasLine("[cbFnVorelRequestCompleted]  ================ cbFnVorelRequestCompleted : uRequestRef = 7\n"));
}

TEST(Delivery, ANullCallbackIsAllowed)
{
    FakeHost host;
    setAllOptions(host);
    WVorelOAI object;
    openSession(object);
    WRequestStatus out;
    EXPECT_EQ(object.getConfLog(nullptr, nullptr, out), 0);
    host.answer(emptyReply(5));
    EXPECT_TRUE(host.hasLine("[cbGetConfLogDone] [-- WVorelOAI::cbGetConfLogDone]"));
    EXPECT_EQ(object.service()->requestCount(), 0u);
}

TEST(Delivery, ACallbackMayIssueAndCancelRequests)
{
    FakeHost host;
    setAllOptions(host);
    static WVorelOAI* object;
    static Counter* inner;
    WVorelOAI theObject;
    object = &theObject;
    openSession(*object);
    Counter second;
    inner = &second;
    Counter first;
    first.then = [](Counter& /*self*/) {
        inner->accepted(callOf(5).call(*object, *inner));
        EXPECT_EQ(object->cancel(object->getContentProvider(), inner->out.getReqRefernce()), status::kCancelled);
        openSession(*object);
    };
    first.accepted(callOf(5).call(*object, first));
    host.answer(emptyReply(5));
    host.answer(1, session::kCancelled);
    EXPECT_EQ(second.status, status::kCancelled);
}

TEST(Destruction, WaitsForACallbackOnAnotherThread)
{
    FakeHost host;
    setAllOptions(host);
    auto object = std::make_unique<WVorelOAI>();
    openSession(*object);
    static std::atomic<bool> entered;
    static std::atomic<bool> left;
    entered = false;
    left = false;
    Counter counter;
    counter.then = [](Counter& /*self*/) {
        entered = true;
        std::this_thread::sleep_for(std::chrono::milliseconds(50));  // a destructor that does not wait returns sooner
        left = true;
    };
    counter.accepted(callOf(5).call(*object, counter));
    std::thread delivery([&] { host.answer(0, session::kCompleted, 200, emptyReply(5)); });
    while (!entered) {
        std::this_thread::yield();
    }
    object.reset();
    EXPECT_TRUE(left);
    delivery.join();
}

TEST(Destruction, RefusesRequestsFromACallbackThatItWaitsFor)
{
    FakeHost host;
    setAllOptions(host);
    static WVorelOAI* object;
    static std::atomic<bool> entered;
    static FakeHost* fake;
    entered = false;
    fake = &host;
    object = new WVorelOAI;
    openSession(*object);
    Counter counter;
    counter.then = [](Counter& self) {
        entered = true;
        // After the flush has begun, the object is closing.
        for (bool flushed = false; !flushed; std::this_thread::yield()) {
            flushed = fake->hasFlushed();
        }
        auto& inner = *static_cast<Counter*>(self.thenData);
        EXPECT_EQ(inner.accepted(callOf(5).call(*object, inner)), status::kNoService);
    };
    Counter inner;
    counter.thenData = &inner;
    counter.accepted(callOf(5).call(*object, counter));
    std::thread delivery([&] { host.answer(0, session::kCompleted, 200, emptyReply(5)); });
    while (!entered) {
        std::this_thread::yield();
    }
    delete object;
    delivery.join();
}

TEST(Races, RequestsCancelsAndRepliesRunOnManyThreads)
{
    FakeHost host;
    setAllOptions(host);
    host.keepsLines = false;
    WVorelOAI object;
    openSession(object);
    setClock(object);
    constexpr int kThreads = 4;
    constexpr int kRounds = 300;
    std::vector<std::thread> threads;
    std::deque<Counter> counters(kThreads * kRounds);
    host.onAccepted = [](FakeHost& fake, std::size_t index) { fake.answerSoon(index); };
    for (int number = 0; number < kThreads; ++number) {
        threads.emplace_back([&, number] {
            for (int round = 0; round < kRounds; ++round) {
                Counter& counter = counters[static_cast<std::size_t>(number * kRounds + round)];
                const unsigned int key = vorel::kFirstKey + static_cast<unsigned int>(round) % 48;
                counter.accepted(callOf(key).call(object, counter));
                if (round % 3 == 0) {
                    object.cancel(object.getContentProvider(), counter.out.getReqRefernce());
                }
                if (round % 7 == 0) {
                    openSession(object);
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    host.joinAnswers();
    EXPECT_EQ(object.commandCount(), 0u);
    EXPECT_EQ(object.service()->requestCount(), 0u);
    EXPECT_EQ(object.service()->argsCount(), 0u);
}

// -- The debug module

TEST(DebugModule, LevelZeroGoesStraightToTheOutput)
{
    FakeHost host;
    CCDebug::Print<CWCCDebug>(0, 0, "without an output %d", 1);
    KeptOutput output;
    CCDebug::DebugIO = &output;
    CCDebug::Print<CWCCDebug>(0, 0, "a %d", 1);
    CCDebug::Print<CWCCDebug>(0, 0, "b\n");
    EXPECT_EQ(output.text, "a 1\nb\n\n");
    EXPECT_TRUE(host.lines().empty());
    CCDebug::Print<CWCCDebug>(1, 0, "to the host's module");
    EXPECT_EQ(host.lines().size(), 1u);
    CCDebug::DebugIO = nullptr;
}

void print(CCDebug& module, void (CCDebug::*how)(unsigned long, unsigned long, const char*, va_list*),
           const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    (module.*how)(0, 0, format, &arguments);
    va_end(arguments);
}

TEST(DebugModule, EndsLinesButNotRawStringsAndPrintsNothingWithoutAnOutput)
{
    FakeHost host;
    CCDebug& module = *CCDebug::m_Instance<CCDebugCommon>();
    KeptOutput output;
    for (CCDebugOutput* const listens : {static_cast<CCDebugOutput*>(nullptr), static_cast<CCDebugOutput*>(&output)}) {
        CCDebug::DebugIO = listens;
        print(module, &CCDebug::t_Print, "line %d", 1);
        print(module, &CCDebug::t_PrintR, "text %d", 2);
    }
    CCDebug::DebugIO = nullptr;
    EXPECT_EQ(output.text, "line 1\ntext 2");
}

TEST(DebugModule, RegistersItsNameAndIsTheCommonModule)
{
    FakeHost host;
    CCDebug* const module = CCDebug::m_Instance<CCDebugCommon>();
    EXPECT_EQ(module, CCDebug::m_Instance<CCDebugCommon>());
    EXPECT_TRUE(module->t_IsCommonModule());
    module->t_InitModule();
    EXPECT_EQ(host.options["registered module"], "CommonDebug");
    module->t_ShowDebugSubMenu();
    module->t_SelectDebugSubMenu(1);
}

}  // namespace
}  // namespace W::test
