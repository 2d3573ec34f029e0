// The transport of one plug-in object: it turns finished URLs into host requests, keeps each under its reference until
// its completion has been delivered, and holds the session. Read next: VorelServiceRequests.cpp for requests on their
// way out, cbVorelFnCallback() in VorelService.cpp for their completion, VorelServiceStatus.cpp for statuses.
//
// Locks: the session lock and the request lock are never held together, and none is held while a completion runs.
#pragma once

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "DebugPrint.h"
#include "HttpDelegator.h"
#include "LinkedList.h"
#include "RequestTable.h"
#include "WContentProvider.h"
#include "WVLService.h"

namespace Json {
class Value;
}

namespace W {

class VorelService;
class VorelServiceCMD;

/// Called when a request has ended; returns the reference of the request to clean up.  [executor thread]
using VorelCompletion = unsigned long long (*)(SESSION_STATUS, const HttpResponse&, VorelServiceCMD*,
                                               unsigned long long);

/// What a completion needs. Part of its request. The service owns the command from addARGS() on.
struct VorelServiceArgs {
    VorelService* service;
    VorelServiceCMD* command;  ///< owned
    VorelCompletion completion;
    bool isListed = false;
    vorel::Link<VorelServiceArgs> link = {};
    VorelRequestInfo record = {};  ///< of the request; filled by createRequestInfo()
};

using HeaderMap = std::map<std::string, std::string>;

class VorelService {
public:
    /// References run from 1 to this one and then start again.
    static constexpr std::int32_t kLastReference = 10000000;

    VorelService(const std::string& name, const WContentProvider& provider,
                 std::int32_t lastReference = kLastReference);
    /// Ends all requests without running a callback and frees what is left of them.
    virtual ~VorelService();
    VorelService(const VorelService&) = delete;
    VorelService& operator=(const VorelService&) = delete;

    // -- Requests (VorelServiceRequests.cpp)  [any thread]
    // Each returns 0 and a reference, or a negative status and a reference of 0, and then keeps nothing. After the
    // request has been registered, a failure destroys the command, as every end of a request does; before that, the
    // command stays with the caller. `body`, `url` and `headers` may belong to the command: they are copied first.

    /// GET of a reply. @return also -3 out of memory or closing; other statuses are the executor's
    WSTATUS getDataRequest(std::string url, const HeaderMap& headers, std::string body, VorelServiceCMD* command,
                           unsigned long long& reference, VorelCompletion completion);
    /// GET into a file, without headers. Quirk: the second string is ignored.
    /// @return also -1 if the path is empty
    WSTATUS getDataRequest(std::string url, const std::string& unused, VorelServiceCMD* command,
                           const std::string& filePath, unsigned long long& reference, VorelCompletion completion);
    /// PUT of a file. @return also -1 if the path is empty, -403 if the file cannot be opened
    WSTATUS putDataRequest(std::string url, const HeaderMap& headers, VorelServiceCMD* command,
                           const std::string& filePath, unsigned long long& reference, VorelCompletion completion);
    /// PUT of a body.
    WSTATUS putDataRequest(std::string url, const HeaderMap& headers, std::string body, VorelServiceCMD* command,
                           unsigned long long& reference, VorelCompletion completion);
    WSTATUS deleteDataRequest(std::string url, const HeaderMap& headers, std::string body, VorelServiceCMD* command,
                              unsigned long long& reference, VorelCompletion completion);

    // -- Records of live requests  [any thread]
    // An unknown reference is ignored, and getters return false for it.

    /// Tag of all requests of this service: the provider's ID.
    UINT64 getMagicID() const { return m_magicID; }
    /// @param args  provides the record; if null, a record is allocated
    /// @return 0 and a new reference, whose record owns `request` from then on; -3 and `reference` unchanged if out of
    ///         memory or if every reference is in use
    WSTATUS createRequestInfo(HttpRequest* request, VorelServiceArgs* args, unsigned int requestID,
                              unsigned long long& reference);
    /// Removes the record; request and block stay.
    void deleteRequestInfo(unsigned long long reference);
    /// Reference of a request; 0 if it is unknown. Takes time proportional to the number of requests.
    UINT64 getReferenceID(const HttpRequest* request);
    void setRequestedStatus(unsigned long long reference);
    bool getRequestedStatus(unsigned long long reference);
    void setRespondStatus(unsigned long long reference);
    bool getRespondStatus(unsigned long long reference);
    bool getCancelStatus(unsigned long long reference);
    /// True if the callback must get 600: the request was cancelled before its response arrived.
    bool isCancelledFirst(unsigned long long reference);
    /// @return 600 marked; 700 marked before; -9 unknown, or a download that has responded; -15 not cancellable
    WSTATUS setCancelStatus(unsigned long long reference);
    void addARGS(VorelServiceArgs* args);
    /// Destroys the command of a listed block and removes the block from the list. Any other pointer is ignored; it is
    /// only compared. Takes time proportional to the number of blocks.
    void cleanupARGS(VorelServiceArgs* args);
    /// Removes a request completely: record, HTTP request, command, block.
    void cleanRequest(unsigned long long reference);
    std::size_t requestCount();
    std::size_t argsCount();

    void flushHttpRequests();
    /// Ends all requests with the tag of `request`; null is ignored.
    void flushHttpRequests(HttpRequest* request);

    /// Refuses new requests, drops all completions from now on, ends the outstanding requests and waits for completions
    /// that run on other threads. No lock may be held.
    void close();

    /// After close(): leaves the commands of all blocks to their owner's registry.
    void surrenderCommands();

    /// Completion of every request of a service; `user` is its VorelServiceArgs.  [executor thread]
    static void cbVorelFnCallback(SESSION_STATUS status, HttpRequest* request, void* user);

    // -- Session (VorelServiceSession.cpp)  [any thread]

    /// Replaces the whole session.
    void setSessionInfo(const WVLSession& session);
    /// True if session ID and seed key are both set.
    bool IsAvailableSession();
    /// Session ID, "+", user ID, "+", and the lower-case hexadecimal SHA-1 (FIPS 180-4) of seed key, "+" and the
    /// option "vorel_secret_key" of `provider`.
    std::string getSessionToken(const WContentProvider& provider);

    // -- Meaning of statuses (VorelServiceStatus.cpp): pure functions

    static GSTATUS getVorelSTATUS(HTTP_RESPONSE_CODE code);
    static GSTATUS getVorelSTATUS(const std::string& serviceCode);
    static WSTATUS getWlibSTATUS(GSTATUS status);
    /// True for 200 and 204. Quirk: disagrees with getVorelSTATUS() about 201, 204 and 304.
    static bool HasHTTPOKStatus(HTTP_RESPONSE_CODE code);
    /// 0 if the reply reports success, else -9000 minus its error code, or -57 if it cannot be read.
    /// @param err      the reply's "err" value as a whole
    /// @param message  receives the service's error message
    static WSTATUS ExtractErrorCodeInInt(const std::string& stat, const Json::Value& err, std::string& message);
    /// The same for a whole reply; -56 if it is not JSON.
    static WSTATUS ExtractErrorCodeInInt(const std::string& body, std::string& message);

    // -- Strings

    static std::string int2str(unsigned int value);
    static std::string int2str(int value);
    /// Replaces every blank by "+", in place, and returns a copy.
    static std::string space2Char(std::string& text);

    const std::string& baseUrl() const { return m_baseUrl; }
    /// Before the first request only.
    void setBaseUrl(std::string url) { m_baseUrl = std::move(url); }

private:
    /// Shared with completions, which may run while the service is destroyed and outlive it.
    struct Life {
        std::atomic<bool> closing{false};
    };
    struct Outgoing;
    class Exchange;

    /// The header lines of a map. Most requests of a session have equal lines and share them.
    HttpHeader headerOf(const HeaderMap& map);
    WSTATUS queue(Outgoing outgoing, VorelServiceCMD* command, unsigned long long& reference,
                  VorelCompletion completion, vorel::Here here = {});
    /// Takes the record out of the table; null if there is none.
    VorelRequestInfo* takeRecord(unsigned long long reference);
    /// Takes a live block out of the list and destroys its command; does nothing if the block is not listed.
    void dropArgs(VorelServiceArgs* args);
    /// The cancel decision of setCancelStatus().  REQUIRES: m_requestLock held
    WSTATUS cancelRecord(unsigned long long reference);
    /// Notes how a request ended. @return false if the request is unknown or does not belong to the block
    bool respond(const VorelServiceArgs& args, const HttpRequest* request, SESSION_STATUS sessionStatus);
    bool flag(unsigned long long reference, bool VorelRequestInfo::*member);
    void setFlag(unsigned long long reference, bool VorelRequestInfo::*member);

    std::mutex m_sessionLock;  ///< session and token
    std::mutex m_requestLock;  ///< request records, reference counter, argument blocks
    std::string m_token;       ///< of m_session and m_tokenSecret; empty until it is needed
    std::string m_name;
    WVLSession m_session;
    vorel::LinkedList<VorelServiceArgs, &VorelServiceArgs::link> m_args;
    vorel::RequestTable m_requests;
    HttpDelegator* m_delegator;
    const UINT64 m_magicID;
    std::int32_t m_lastReference = 0;

    std::size_t m_argsCount = 0;
    std::mutex m_headerLock;  ///< header lines
    HttpHeader m_header;      ///< the lines that were built last
    std::string m_tokenSecret;
    std::string m_baseUrl;
    std::shared_ptr<Life> m_life;
};

}  // namespace W
