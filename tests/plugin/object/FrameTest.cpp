// Properties of all operations, tested for each row of StatedOperations.h: order of the checks, one write of the status
// record, nothing sent by refused calls, everything freed if the executor refuses.

#include <algorithm>
#include <iterator>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Calls.h"
#include "FailingNew.h"
#include "StatedOperations.h"

namespace W::test {
namespace {

std::string errorLine(const StatedOperation& operation, WSTATUS status)
{
    return std::string("[") + operation.name + "] #ERROR WSTATUS:" + WSTATUS2STRING(status) + "(" +
           std::to_string(status) + ")\tFILE:ContentsManager/WLib/Plugins/Corvane/src/WVorelOAI(";
}

class EveryOperation : public ::testing::TestWithParam<StatedOperation> {
protected:
    EveryOperation() { setAllOptions(host); }

    int call(WVorelOAI& object, Counter& counter) { return counter.accepted(callOf(row.key).call(object, counter)); }

    /// Expects that a call was refused: the status record was written once, and the last error line is the operation's.
    void expectRefused(int returned, WSTATUS status, const Counter& counter)
    {
        EXPECT_EQ(returned, status);
        EXPECT_EQ(counter.out.getRequestID(), row.key);
        EXPECT_EQ(counter.out.getReqRefernce(), 0u);
        EXPECT_EQ(counter.out.getWStatus(), status);
        EXPECT_EQ(counter.out.writes, 1);
        const std::vector<std::string> errors = host.texts(1);
        ASSERT_FALSE(errors.empty());
        EXPECT_EQ(errors.back().rfind(errorLine(row, status), 0), 0u) << errors.back();
    }

    /// The lines of level 8 about exceptions.
    std::vector<std::string> exceptionLines()
    {
        std::vector<std::string> found = host.texts(8);
        found.erase(
            std::remove_if(found.begin(), found.end(),
                           [](const std::string& line) { return line.find("Exception Caught") == std::string::npos; }),
            found.end());
        return found;
    }

    FakeHost host;
    const StatedOperation row = GetParam();
};

/// By key, from 3.
const std::vector<std::string> kHandlers = {
    "cbGetAuthSeedkeyDone",
    "cbGetGenreListDone",
    "cbGetConfLogDone",
    "cbGetLocalTimeDone",
    "cbResetHistoryDone",
    "cbGetServerUrlDone",
    "cbCheckUploadDone",
    "cbSendChannelDone",
    "cbGetCertificationRuleDone",
    "cbGetChannelListDone",
    "cbGetHeadendDone",
    "cbGetCityListDone",
    "cbGetCityListBrowseDone",
    "cbGetHeadendKorDone",
    "cbGetHeadendBrowseDone",
    "cbGetScheduleDone",
    "cbGetOnAirDone",
    "cbGetTodayURLDone",
    "cbGetFocusChannelDone",
    "cbGetLineupTestDone",
    "cbGetContentListDone",
    "cbGetContentDetailInfoDone",
    "cbGetGuideDone",
    "cbGetPersonDetailInfoDone",
    "cbGetSeriesDetailInfoDone",
    "cbSetFavoriteDone",
    "cbDeleteFavoriteDone",
    "cbGetFavoriteChannelDone",
    "cbGetFavoriteContentDone",
    "cbGetFavoriteChannelListDone",
    "cbGetFavoriteContentListDone",
    "cbSendTuneHistoryDone",
    "cbSendLikeDone",
    "cbGetLikeHistoryDone",
    "cbSaveHeadendDone",
    "cbLoadHeadendDone",
    "cbGetSmartChannelDone",
    "cbGetSmartPopularDone",
    "cbGetPopularChDone",
    "cbGetRelatedDone",
    "cbGetMissedDone",
    "cbGetCandidateMissedDone",
    "cbGetCombinationDone",
    "cbSearchEpgDone",
    "cbCheckAgreementDone",
    "cbConfirmAgreementDone",
    "cbSetAnonymAgreementDone",
    "cbRevocateAgreementDone",
    "cbDownloadDone",
};

TEST_P(EveryOperation, WithoutAServiceIsRefused)
{
    std::unique_ptr<WVorelOAI> object;
    {
        const FailingNew outOfMemory;
        object = std::make_unique<WVorelOAI>();
    }
    ASSERT_EQ(object->service(), nullptr);
    Counter counter;
#ifndef NDEBUG
    if (row.key == VorelDownloadCMD::kKey) {
        EXPECT_DEATH(call(*object, counter), "m_pService != __null");
        return;
    }
#endif
    expectRefused(call(*object, counter), status::kNoService, counter);
    EXPECT_TRUE(host.sent.empty());
    EXPECT_EQ(host.texts(8).back(),
              std::string("[") + row.name +
                  (row.lines == LineForm::Bracketed ? "] [========= m_pService is NULL!!!!!!! \n]"
                                                    : "] ========= m_pService is NULL!!!!!!! \n"));
}

TEST(CancelFrame, WithoutAServiceIsRefusedAndLogged)
{
    FakeHost host;
    std::unique_ptr<WVorelOAI> object;
    {
        const FailingNew outOfMemory;
        object = std::make_unique<WVorelOAI>();
    }
    host.forgetLines();
    EXPECT_EQ(object->cancel(object->getContentProvider(), 1), status::kNoService);
    const std::vector<Line> lines = host.lines();
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0].text, "[cancel] [++ WVorelOAI::cancel Requested] uRequesetRef : 1");
    EXPECT_EQ(lines[1].text, "[cancel] ========= m_pService is NULL!!!!!!! \n");
    EXPECT_EQ(lines[1].level, 8u);
    EXPECT_EQ(lines[2].text.rfind("[cancel] #ERROR WSTATUS:no service object or out of memory(-3)", 0), 0u);
}

/// The source lines in the URL lines of some kinds.
std::set<int> urlLineNumbers(const std::vector<unsigned int>& keys)
{
    FakeHost host;
    setAllOptions(host);
    WVorelOAI object;
    std::set<int> numbers;
    for (const unsigned int key : keys) {
        // Some replies change session and clock.
        openSession(object);
        setClock(object);
        host.forgetLines();
        Counter counter;
        counter.accepted(callOf(key).call(object, counter));
        for (const Line& line : host.lines()) {
            if (line.text.rfind("[MakeURL] URL:[", 0) == 0) {
                numbers.insert(line.number);
            }
        }
        host.answer(emptyReply(key));
    }
    return numbers;
}

TEST(UrlLines, DifferForTheCommandsOfAFile)
{
    // One row per source file of commands.
    const std::vector<unsigned int> files[] = {
        {3, 5, 6, 7, 8, 9, 10, 11, 47, 48, 49, 50},
        {12, 13, 14, 15, 16, 17, 22, 37, 38},
        {18, 19, 20, 21, 23, 25, 46},
        {4, 24, 26, 27},
        {28, 29, 30, 31, 32, 33, 34, 35, 36},
        {39, 40, 41, 42, 43, 44, 45},
        {51},
    };
    for (const std::vector<unsigned int>& keys : files) {
        EXPECT_EQ(urlLineNumbers(keys).size(), keys.size()) << "the file of key " << keys.front();
    }
}

TEST_P(EveryOperation, WithoutASessionIsRefusedIfItNeedsOne)
{
    WVorelOAI object;
    setClock(object);
    Counter counter;
    const int returned = call(object, counter);
    if (row.session == NeedsSession::No) {
        EXPECT_EQ(returned, 0);
        host.answer(0, session::kTimedOut);
        return;
    }
    expectRefused(returned, status::kNoSession, counter);
    EXPECT_TRUE(host.sent.empty());
    EXPECT_EQ(object.commandCount(), 0u);
    EXPECT_TRUE(host.hasLine(std::string("[") + row.name +
                             (row.lines == LineForm::Bracketed ? "] [========= Session is not available!!!!!!! \n]"
                                                               : "] ========= Session is not available!!!!!!! \n")));
}

TEST_P(EveryOperation, WithoutTheServersTimeIsRefusedIfItNeedsIt)
{
    WVorelOAI object;
    openSession(object);
    Counter counter;
    const int returned = call(object, counter);
    if (row.clock == NeedsClock::No) {
        EXPECT_EQ(returned, 0);
        host.answer(0, session::kTimedOut);
        return;
    }
    expectRefused(returned, status::kNoServerTime, counter);
    EXPECT_TRUE(host.sent.empty());
}

class OperationWithRequiredOptions : public EveryOperation {};

TEST_P(OperationWithRequiredOptions, IsRefusedWithoutOneOfThem)
{
    std::istringstream names(row.required);
    for (std::string name; names >> name;) {
        SCOPED_TRACE(name);
        WVorelOAI object;
        openSession(object);
        setClock(object);
        ASSERT_EQ(host.options.erase("vorel_" + name), 1u);
        Counter counter;
        expectRefused(call(object, counter), status::kBadArgument, counter);
        EXPECT_TRUE(host.sent.empty());
        setAllOptions(host);
    }
}

TEST_P(EveryOperation, OutOfMemoryIsRefused)
{
    WVorelOAI object;
    openSession(object);
    setClock(object);
    Counter counter;
    int returned = 0;
    {
        const FailingNew outOfMemory;
        returned = call(object, counter);
    }
    expectRefused(returned, status::kNoService, counter);
    EXPECT_TRUE(host.sent.empty());
    EXPECT_EQ(object.commandCount(), 0u);
}

TEST_P(EveryOperation, RefusedByTheExecutorLeavesNothing)
{
    WVorelOAI object;
    openSession(object);
    setClock(object);
    host.addRequestResult = -77;
    Counter counter;
    expectRefused(call(object, counter), -77, counter);
    EXPECT_EQ(host.texts(1).size(), 2u) << "the builder's line and the operation's";
    EXPECT_EQ(object.commandCount(), 0u);
    EXPECT_EQ(object.service()->requestCount(), 0u);
    EXPECT_EQ(object.service()->argsCount(), 0u);
}

TEST_P(EveryOperation, AcceptedReportsItsKeyAndReference)
{
    WVorelOAI object;
    openSession(object);
    setClock(object);
    Counter counter;
    EXPECT_EQ(call(object, counter), 0);
    EXPECT_EQ(counter.out.getRequestID(), row.key);
    EXPECT_EQ(counter.out.getReqRefernce(), 1u);
    EXPECT_EQ(counter.out.getWStatus(), 0);
    EXPECT_EQ(counter.out.writes, 1);
    EXPECT_EQ(object.commandCount(), 1u);
    EXPECT_EQ(counter.calls, 0);
    host.answer(emptyReply(row.key));
    EXPECT_EQ(counter.reference, 1u);
    EXPECT_EQ(object.commandCount(), 0u) << "a destroyed command is not registered";
    EXPECT_EQ(object.service()->requestCount(), 0u);
    EXPECT_EQ(object.service()->argsCount(), 0u);
}

TEST_P(EveryOperation, MayBeAnsweredBeforeItReturns)
{
    WVorelOAI object;
    openSession(object);
    setClock(object);
    host.onAccepted = [](FakeHost& fake, std::size_t index) {
        std::thread([&] { fake.answer(index, session::kCompleted, 404); }).join();
    };
    Counter counter;
    EXPECT_EQ(call(object, counter), 0);
    EXPECT_EQ(counter.out.getRequestID(), row.key);
    EXPECT_EQ(counter.out.getReqRefernce(), 1u);
    EXPECT_EQ(counter.status, -205);
}

class CancellableOperation : public EveryOperation {};

TEST_P(CancellableOperation, CancelledBeforeItsReplyIsReportedOnceWith600)
{
    for (const SESSION_STATUS end : {session::kCancelled, session::kCompleted, session::kBrokeOff}) {
        SCOPED_TRACE(end);
        WVorelOAI object;
        openSession(object);
        setClock(object);
        Counter counter;
        call(object, counter);
        EXPECT_EQ(object.cancel(object.getContentProvider(), counter.out.getReqRefernce()), status::kCancelled);
        EXPECT_EQ(object.cancel(object.getContentProvider(), counter.out.getReqRefernce()), status::kAlreadyCancelled);
        EXPECT_EQ(counter.calls, 0) << "cancel itself runs no callback";
        // A reply that arrives nevertheless changes nothing.
        host.answer(host.sent.size() - 1, end, 200, emptyReply(row.key));
        EXPECT_EQ(counter.status, status::kCancelled);
        EXPECT_EQ(object.cancel(object.getContentProvider(), counter.out.getReqRefernce()), status::kNotFound);
    }
}

class UncancellableOperation : public EveryOperation {};

TEST_P(UncancellableOperation, RefusesToBeCancelled)
{
    WVorelOAI object;
    openSession(object);
    setClock(object);
    Counter counter;
    call(object, counter);
    EXPECT_EQ(object.cancel(object.getContentProvider(), counter.out.getReqRefernce()), status::kNotCancellable);
    host.answer(emptyReply(row.key));
    EXPECT_NE(counter.status, status::kCancelled);
}

TEST_P(EveryOperation, IsDroppedWithoutCallbackWhenTheObjectIsDestroyed)
{
    Counter counter;
    {
        WVorelOAI object;
        openSession(object);
        setClock(object);
        EXPECT_EQ(callOf(row.key).call(object, counter), 0);
    }
    EXPECT_EQ(counter.calls, 0);
    EXPECT_EQ(host.flushes.size(), 1u);
}

TEST_P(EveryOperation, SurvivesACallbackThatDestroysTheObject)
{
    auto* const object = new WVorelOAI;
    openSession(*object);
    setClock(*object);
    Counter counter;
    Counter other;
    EXPECT_EQ(callOf(row.key).call(*object, other), 0);
    EXPECT_EQ(call(*object, counter), 0);
    counter.thenData = object;
    counter.then = [](Counter& self) { delete static_cast<WVorelOAI*>(self.thenData); };
    host.answer(emptyReply(row.key));
    EXPECT_EQ(other.calls, 0);
}

TEST_P(EveryOperation, SurvivesACallbackThatThrows)
{
    WVorelOAI object;
    openSession(object);
    setClock(object);
    Counter counter;
    counter.then = [](Counter& /*self*/) { throw std::runtime_error("the caller's fault"); };
    EXPECT_EQ(call(object, counter), 0);
    EXPECT_NO_THROW(host.answer(emptyReply(row.key)));
    EXPECT_EQ(object.commandCount(), 0u);
    EXPECT_EQ(object.service()->requestCount(), 0u);
    EXPECT_EQ(exceptionLines(), std::vector<std::string>{std::string("[") + kHandlers.at(row.key - 3) +
                                                         "] Exception Caught: the caller's fault"});
}

TEST_P(EveryOperation, SurvivesACallbackThatThrowsANumber)
{
    WVorelOAI object;
    openSession(object);
    setClock(object);
    Counter counter;
    counter.then = [](Counter& /*self*/) { throw 42; };
    EXPECT_EQ(call(object, counter), 0);
    EXPECT_NO_THROW(host.answer(emptyReply(row.key)));
    EXPECT_EQ(object.service()->requestCount(), 0u);
    EXPECT_EQ(exceptionLines().size(), 1u);
}

template <class Condition>
std::vector<StatedOperation> operationsThat(Condition condition)
{
    std::vector<StatedOperation> found;
    std::copy_if(std::begin(kStatedOperations), std::end(kStatedOperations), std::back_inserter(found), condition);
    return found;
}

std::string nameOf(const ::testing::TestParamInfo<StatedOperation>& test)
{
    return test.param.name;
}

INSTANTIATE_TEST_SUITE_P(Operations, EveryOperation, ::testing::ValuesIn(kStatedOperations), nameOf);
INSTANTIATE_TEST_SUITE_P(
    Operations, OperationWithRequiredOptions,
    ::testing::ValuesIn(operationsThat([](const StatedOperation& row) { return *row.required != '\0'; })), nameOf);
INSTANTIATE_TEST_SUITE_P(Operations, CancellableOperation,
                         ::testing::ValuesIn(operationsThat([](const StatedOperation& row) {
                             return row.cancel != Cancellable::No;
                         })),
                         nameOf);
INSTANTIATE_TEST_SUITE_P(Operations, UncancellableOperation,
                         ::testing::ValuesIn(operationsThat([](const StatedOperation& row) {
                             return row.cancel == Cancellable::No;
                         })),
                         nameOf);

TEST(StatedOperations, AreAllOperations)
{
    ASSERT_EQ(std::size(kStatedOperations), vorel::kOperationCount);
    for (std::size_t index = 0; index < std::size(kStatedOperations); ++index) {
        EXPECT_EQ(kStatedOperations[index].key, index + 3);
    }
}

}  // namespace
}  // namespace W::test
