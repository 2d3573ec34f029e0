// The transport's records: references, flags, the cancel decision, clean-up; and the requests that it builds.

#include <gtest/gtest.h>

#include "FakeHost.h"
#include "Operations.h"
#include "VorelCommand.h"
#include "VorelService.h"

namespace W::test {
namespace {

UINT64 ignored(SESSION_STATUS /*status*/, const HttpResponse& /*response*/, VorelServiceCMD* /*command*/,
               unsigned long long reference)
{
    return reference;
}

class KindCommand final : public VorelServiceCMD {
public:
    KindCommand(unsigned int key, int* destroyed = nullptr)
        : VorelServiceCMD(WContentProvider("p", 1), nullptr, nullptr), m_destroyed(destroyed)
    {
        setCMDKey(key);
    }
    ~KindCommand() override
    {
        if (m_destroyed != nullptr) {
            ++*m_destroyed;
        }
    }

private:
    int* m_destroyed;
};

struct ServiceTest : ::testing::Test {
    FakeHost host;
    int destroyed = 0;  ///< before `service`, which may destroy commands last
    WContentProvider provider{"Corvane", 14};
    VorelService service{"Corvane", provider};

    /// Sends a GET of a kind and returns its reference.
    UINT64 send(unsigned int key, int* count = nullptr, VorelCompletion completion = ignored)
    {
        unsigned long long reference = 99;
        EXPECT_EQ(service.getDataRequest("u", {}, "", new KindCommand(key, count), reference, completion), 0);
        return reference;
    }
};

TEST_F(ServiceTest, TagsRequestsWithTheProvidersId)
{
    EXPECT_EQ(service.getMagicID(), provider.getID());
    send(18);
    send(19);
    EXPECT_EQ(host.sent[0].id, provider.getID());
    EXPECT_EQ(host.sent[1].id, provider.getID());
}

TEST_F(ServiceTest, ReferencesRunFromOne)
{
    EXPECT_EQ(send(18), 1u);
    EXPECT_EQ(send(18), 2u);
    EXPECT_TRUE(host.hasLine("[createRequestInfo] [createRequestInfo uRequestRef(Final) : 2"));
}

TEST_F(ServiceTest, ReferencesStartAgainAfterTenMillionAndSkipThoseInUse)
{
    const UINT64 kept = send(18);
    ASSERT_EQ(kept, 1u);
    host.keepsLines = false;
    HttpRequest request(HTTP_GET, "u", {}, "", nullptr, nullptr);
    unsigned long long reference = 0;
    for (int count = 2; count <= 10000000; ++count) {
        if (service.createRequestInfo(&request, nullptr, 18, reference) != 0) {
            FAIL();
        }
        service.deleteRequestInfo(reference);
    }
    EXPECT_EQ(reference, 10000000u);
    service.createRequestInfo(&request, nullptr, 18, reference);
    EXPECT_EQ(reference, 2u);
    service.deleteRequestInfo(reference);
}

TEST_F(ServiceTest, RefusesARequestWhenEveryReferenceIsInUse)
{
    VorelService few("Corvane", provider, 2);
    unsigned long long reference = 0;
    const auto request = [&] {
        return few.getDataRequest("u", {}, "", new KindCommand(18, &destroyed), reference, ignored);
    };
    EXPECT_EQ(request(), 0);
    EXPECT_EQ(request(), 0);
    EXPECT_EQ(reference, 2u);
    EXPECT_EQ(request(), status::kNoService);
    EXPECT_EQ(reference, 0u);
    EXPECT_EQ(destroyed, 1);
    EXPECT_EQ(few.requestCount(), 2u);
    EXPECT_EQ(few.argsCount(), 2u);
    EXPECT_EQ(host.sent.size(), 2u);
    EXPECT_EQ(host.texts(1).size(), 2u) << "of createRequestInfo and of getDataRequest";
    host.answer(0, session::kCompleted);
    EXPECT_EQ(request(), 0);
    EXPECT_EQ(reference, 1u);
}

TEST_F(ServiceTest, KnowsItsRequests)
{
    const UINT64 reference = send(18);
    EXPECT_EQ(service.getReferenceID(host.sent[0].request), reference);
    HttpRequest stranger(HTTP_GET, "u", {}, "", nullptr, nullptr);
    EXPECT_EQ(service.getReferenceID(&stranger), 0u);
    VorelService::cbVorelFnCallback(session::kCompleted, &stranger, nullptr);
}

TEST_F(ServiceTest, FlagsOfUnknownReferencesAreFalseAndStay)
{
    service.setRequestedStatus(7);
    service.setRespondStatus(7);
    EXPECT_FALSE(service.getRequestedStatus(7));
    EXPECT_FALSE(service.getRespondStatus(7));
    EXPECT_FALSE(service.getCancelStatus(7));
    EXPECT_FALSE(service.isCancelledFirst(7));
}

TEST_F(ServiceTest, MarksARequestAsRequestedWhenTheExecutorHasTakenIt)
{
    EXPECT_TRUE(service.getRequestedStatus(send(18)));
}

TEST_F(ServiceTest, CompletionWithCancelledLeavesTheRespondedFlagClear)
{
    static bool responded;
    static VorelService* asked;
    asked = &service;
    const VorelCompletion look = [](SESSION_STATUS, const HttpResponse&, VorelServiceCMD*, unsigned long long ref) {
        responded = asked->getRespondStatus(ref);
        return ref;
    };
    send(18, nullptr, look);
    host.answer(0, session::kCancelled);
    EXPECT_FALSE(responded);
    send(18, nullptr, look);
    host.answer(1, session::kTimedOut);
    EXPECT_TRUE(responded);
}

TEST_F(ServiceTest, CleansARequestWhenItsCompletionHasRun)
{
    const UINT64 reference = send(18, &destroyed);
    host.answer(0, session::kCompleted);
    EXPECT_EQ(destroyed, 1);
    EXPECT_EQ(service.requestCount(), 0u);
    EXPECT_EQ(service.argsCount(), 0u);
    EXPECT_EQ(service.setCancelStatus(reference), status::kNotFound);
    EXPECT_TRUE(host.hasLine("[deleteRequestInfo] [deleteRequestInfo uRequestRef(Final) : 1\n"));
}

TEST_F(ServiceTest, CleansTheRequestThatTheCompletionNames)
{
    send(18, &destroyed,
         [](SESSION_STATUS, const HttpResponse&, VorelServiceCMD*, unsigned long long) { return 0ull; });
    host.answer(0, session::kCompleted);
    EXPECT_EQ(destroyed, 0);
    EXPECT_EQ(service.requestCount(), 1u);
}

TEST_F(ServiceTest, ACompletionOfAnotherRequestIsIgnored)
{
    static int s_called;
    s_called = 0;
    const VorelCompletion completion = [](SESSION_STATUS, const HttpResponse&, VorelServiceCMD*,
                                          unsigned long long reference) {
        ++s_called;
        return reference;
    };
    const UINT64 reference = send(18, &destroyed, completion);
    HttpRequest stranger(HTTP_GET, "u", {}, "", nullptr, nullptr);
    VorelServiceArgs block{&service, nullptr, completion};
    block.record.reference = reference;
    VorelService::cbVorelFnCallback(session::kCompleted, &stranger, &block);
    block.record.reference = reference + 1;
    VorelService::cbVorelFnCallback(session::kCompleted, &stranger, &block);
    block.service = nullptr;
    VorelService::cbVorelFnCallback(session::kCompleted, &stranger, &block);
    VorelService::cbVorelFnCallback(session::kCompleted, &stranger, nullptr);
    EXPECT_EQ(s_called, 0);
    EXPECT_EQ(destroyed, 0);
    host.answer(0, session::kCompleted);
    EXPECT_EQ(s_called, 1);
}

TEST_F(ServiceTest, UnlistedBlocksAreLeftAlone)
{
    KindCommand command(18, &destroyed);
    VorelServiceArgs block{&service, &command, ignored};
    service.cleanupARGS(&block);
    service.cleanupARGS(nullptr);
    EXPECT_EQ(destroyed, 0);
    service.cleanRequest(12);
}

TEST_F(ServiceTest, SurrendersNoCommandWithoutAnOwner)
{
    send(18, &destroyed);
    service.surrenderCommands();
    host.answer(0, session::kCompleted);
    EXPECT_EQ(destroyed, 1);
}

TEST_F(ServiceTest, FlushesByTag)
{
    service.flushHttpRequests(static_cast<HttpRequest*>(nullptr));
    EXPECT_TRUE(host.flushes.empty());
    HttpRequest request(HTTP_GET, "u", {}, "", nullptr, nullptr);
    request.setID(77);
    service.flushHttpRequests(&request);
    service.flushHttpRequests();
    EXPECT_EQ(host.flushes, (std::vector<UINT64>{77, provider.getID()}));
}

TEST_F(ServiceTest, CancelOfAnEmptyMapIsLogged)
{
    EXPECT_EQ(service.setCancelStatus(5), status::kNotFound);
    EXPECT_TRUE(host.hasLine("[setCancelStatus] [++ VorelService::setCancelStatus] uRequesetRef : 5"));
    EXPECT_TRUE(
        host.hasLine("[setCancelStatus] [-- VorelService::setCancelStatus] Request List is empty, uRequesetRef : 5"));
}

TEST_F(ServiceTest, WakeIsOptionalForExecutors)
{
    class Plain final : public HttpDelegator {
    public:
        int addRequest(HttpRequest* /*request*/) override { return 0; }
        void flushHttpRequests(UINT64 /*id*/) override {}
    };
    Plain executor;
    executor.wake();
}

TEST_F(ServiceTest, CancelDecidesByKind)
{
    // The kinds that can be cancelled, stated independently of the product's table.
    const auto cancellable = [](unsigned int key) {
        return (key >= 3 && key <= 7) || key == 12 || key == 13 || (key >= 18 && key <= 21) ||
               (key >= 23 && key <= 39) || (key >= 41 && key <= 45) || key == 51;
    };
    for (unsigned int key = 0; key <= 60; ++key) {
        SCOPED_TRACE(key);
        const int wakes = host.wakes;
        const UINT64 reference = send(key);
        HttpRequest* const request = host.sent.back().request;
        if (!cancellable(key)) {
            EXPECT_EQ(service.setCancelStatus(reference), status::kNotCancellable);
            EXPECT_FALSE(service.getCancelStatus(reference));
            EXPECT_FALSE(request->isCancelled());
            continue;
        }
        EXPECT_EQ(service.setCancelStatus(reference), status::kCancelled);
        EXPECT_TRUE(host.hasLine("[setCancelStatus] [   VorelService::setCancelStatus] m_uRequestID : " +
                                 std::to_string(key) + ", uRequesetRef : " + std::to_string(reference)));
        EXPECT_TRUE(service.getCancelStatus(reference));
        EXPECT_TRUE(service.isCancelledFirst(reference));
        EXPECT_TRUE(request->isCancelled());
        EXPECT_EQ(host.wakes, wakes + 1);
        EXPECT_EQ(service.setCancelStatus(reference), status::kAlreadyCancelled);

        const UINT64 responded = send(key);
        service.setRespondStatus(responded);
        EXPECT_EQ(service.setCancelStatus(responded), key == 51 ? status::kNotFound : status::kCancelled);
        EXPECT_EQ(service.getCancelStatus(responded), key != 51);
        EXPECT_FALSE(service.isCancelledFirst(responded));
        EXPECT_FALSE(host.sent.back().request->isCancelled());
    }
    EXPECT_EQ(service.setCancelStatus(4711), status::kNotFound);
}

TEST_F(ServiceTest, ARefusedRequestLeavesNothing)
{
    host.addRequestResult = -42;
    unsigned long long reference = 99;
    EXPECT_EQ(service.getDataRequest("u", {}, "", new KindCommand(18, &destroyed), reference, ignored), -42);
    EXPECT_EQ(reference, 0u);
    EXPECT_EQ(destroyed, 1);
    EXPECT_EQ(service.requestCount(), 0u);
    EXPECT_EQ(service.argsCount(), 0u);
    EXPECT_EQ(host.texts(1).size(), 1u);
    EXPECT_EQ(host.texts(1)[0].rfind("[getDataRequest] #ERROR WSTATUS:", 0), 0u) << host.texts(1)[0];
    EXPECT_NE(host.texts(1)[0].find("(-42)\tFILE:ContentsManager/WLib/Plugins/Corvane/src/VorelService("),
              std::string::npos)
        << host.texts(1)[0];
}

TEST_F(ServiceTest, RefusesWhileItCloses)
{
    service.close();
    unsigned long long reference = 99;
    EXPECT_EQ(service.getDataRequest("u", {}, "", new KindCommand(18, &destroyed), reference, ignored),
              status::kNoService);
    EXPECT_EQ(destroyed, 1);
    EXPECT_TRUE(host.sent.empty());
}

TEST_F(ServiceTest, ChecksFilesFirst)
{
    KindCommand command(10);
    unsigned long long reference = 99;
    EXPECT_EQ(service.putDataRequest("u", {}, &command, std::string(), reference, ignored), status::kBadArgument);
    EXPECT_EQ(service.putDataRequest("u", {}, &command, std::string("/no/such/file"), reference, ignored),
              status::kFileNotReadable);
    EXPECT_EQ(service.getDataRequest("u", std::string(), &command, std::string(), reference, ignored),
              status::kBadArgument);
    EXPECT_EQ(reference, 0u);
    EXPECT_EQ(service.argsCount(), 0u);
    EXPECT_TRUE(host.sent.empty());
}

TEST_F(ServiceTest, BuildsTheFiveForms)
{
    const HeaderMap headers = {{"b", "2"}, {"a", "1"}, {"B", "3"}};
    const std::vector<HttpHeader::Line> ordered = {{"B", "3"}, {"a", "1"}, {"b", "2"}};
    const std::string path = ::testing::TempDir() + "corvane-form";
    std::fclose(std::fopen(path.c_str(), "wb"));
    unsigned long long reference = 0;

    EXPECT_EQ(service.getDataRequest("u1", headers, "x", new KindCommand(18), reference, ignored), 0);
    EXPECT_EQ(service.getDataRequest("u2", "dead", new KindCommand(51), path, reference, ignored), 0);
    EXPECT_EQ(service.putDataRequest("u3", headers, new KindCommand(10), path, reference, ignored), 0);
    EXPECT_EQ(service.putDataRequest("u4", headers, "body", new KindCommand(28), reference, ignored), 0);
    EXPECT_EQ(service.deleteDataRequest("u5", headers, "", new KindCommand(29), reference, ignored), 0);

    struct ExpectedRequest {
        HTTP_REQUEST_TYPE type;
        std::string url, body, path;
        bool encoding, upload, hasHeaders;
    };
    const ExpectedRequest rows[] = {
        {HTTP_GET, "u1", "x", "", true, false, true},    {HTTP_GET, "u2", "", path, false, false, false},
        {HTTP_PUT, "u3", "", path, false, true, true},   {HTTP_PUT, "u4", "body", "", true, false, true},
        {HTTP_DELETE, "u5", "", "", false, false, true},
    };
    for (std::size_t index = 0; index < std::size(rows); ++index) {
        SCOPED_TRACE(rows[index].url);
        const Sent& sent = host.sent[index];
        EXPECT_EQ(sent.type, rows[index].type);
        EXPECT_EQ(sent.url, rows[index].url);
        EXPECT_EQ(sent.body, rows[index].body);
        EXPECT_EQ(sent.filePath, rows[index].path);
        EXPECT_EQ(sent.encoding, rows[index].encoding);
        EXPECT_EQ(sent.upload, rows[index].upload);
        EXPECT_EQ(sent.headers, rows[index].hasHeaders ? ordered : std::vector<HttpHeader::Line>());
    }
    EXPECT_TRUE(host.hasLine("[getDataRequest] [++ VorelService::getDataRequest\n"));
    EXPECT_TRUE(host.hasLine("[getDataRequest] [++ VorelService::getDataRequest"));
    EXPECT_TRUE(host.hasLine("[deleteDataRequest] [++ VorelService::deleteDataRequest"));
}

TEST_F(ServiceTest, RequestsWithTheSameHeadersShareTheLines)
{
    const auto request = [&](const HeaderMap& headers) -> const HttpHeader& {
        unsigned long long reference = 0;
        EXPECT_EQ(service.getDataRequest("u", headers, "", new KindCommand(18), reference, ignored), 0);
        return host.sent.back().request->header();
    };
    const HttpHeader& first = request({{"a", "1"}, {"b", "2"}});
    const HttpHeader& second = request({{"a", "1"}, {"b", "2"}});
    EXPECT_EQ(&first.lines(), &second.lines());
    const HttpHeader& other = request({{"a", "1"}, {"b", "3"}});
    const HttpHeader& shorter = request({{"a", "1"}});
    EXPECT_EQ(first.lines(), (std::vector<HttpHeader::Line>{{"a", "1"}, {"b", "2"}}));
    EXPECT_EQ(other.lines(), (std::vector<HttpHeader::Line>{{"a", "1"}, {"b", "3"}}));
    EXPECT_EQ(shorter.lines(), (std::vector<HttpHeader::Line>{{"a", "1"}}));

    HttpHeader copy = first;
    copy.add("c", "4");
    EXPECT_EQ(copy.lines().size(), 3u);
    EXPECT_EQ(first.lines().size(), 2u);
}

TEST_F(ServiceTest, ConvertsNumbersAndBlanks)
{
    EXPECT_EQ(VorelService::int2str(4294967295u), "4294967295");
    EXPECT_EQ(VorelService::int2str(-6), "-6");
    std::string text = " a b ";
    EXPECT_EQ(VorelService::space2Char(text), "+a+b+");
    EXPECT_EQ(text, "+a+b+");
    std::string empty;
    EXPECT_EQ(VorelService::space2Char(empty), "");
}

TEST(ServiceLife, ADestroyedServiceDestroysItsRequests)
{
    FakeHost host;
    int destroyed = 0;
    static int called;
    called = 0;
    {
        VorelService service("Corvane", WContentProvider("Corvane", 14));
        unsigned long long reference = 0;
        service.getDataRequest("u", {}, "", new KindCommand(18, &destroyed), reference,
                               [](SESSION_STATUS, const HttpResponse&, VorelServiceCMD*, unsigned long long ref) {
                                   ++called;
                                   return ref;
                               });
    }
    EXPECT_EQ(destroyed, 1);
    EXPECT_EQ(called, 0);
    EXPECT_EQ(host.flushes.size(), 1u);
}

}  // namespace
}  // namespace W::test
