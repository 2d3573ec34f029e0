// Construction and destruction of the plug-in object, and the frame of its operations.

#include "WVorelOAI.h"

#include "DebugPrint.h"
#include "WConfigManager.h"

namespace W {

using namespace vorel;

namespace {

constexpr char kProviderName[] = "Corvane";
constexpr int kServiceType = 14;

}  // namespace

WVorelOAI::WVorelOAI()
{
    m_provider = WContentProvider(kProviderName, kServiceType);
    CCDebug::Print<CWCCDebug>(kTraceLevel, kEntryExit, "[%s:%d] WVorelOAI::WVorelOAI\n", __func__, __LINE__);
    try {
        std::unique_ptr<VorelService> service(new (std::nothrow) VorelService(kProviderName, m_provider));
        if (service != nullptr) {
            service->setBaseUrl(readOption(m_provider, BaseUrl));
        }
        m_pService = service.release();
    } catch (const std::exception&) {
        // Every operation reports the missing service.
    }
}

WVorelOAI::~WVorelOAI()
{
    if (m_pService != nullptr) {
        m_pService->close();
        m_pService->surrenderCommands();
    }
    cleanupCMD();
    delete m_pService;
    m_pService = nullptr;
}

int WVorelOAI::login(const std::string& /*id*/, const std::string& /*password*/, LoginCallback /*done*/,
                     void* /*userData*/, WRequestStatus& /*out*/)
{
    return status::kUnsupported;
}

int WVorelOAI::logout(LogoutCallback /*done*/, void* /*userData*/, WRequestStatus& /*out*/)
{
    return status::kUnsupported;
}

int WVorelOAI::retrieveExceptions(std::list<WException*>& /*exceptions*/)
{
    return status::kUnsupported;
}

int WVorelOAI::resolveException(WException* /*exception*/, ResolveCallback /*done*/, void* /*userData*/,
                                WRequestStatus& /*out*/)
{
    return status::kUnsupported;
}

void WVorelOAI::setWRequestStatus(unsigned int requestID, unsigned long long reference, int status, WRequestStatus& out)
{
    out.setRequestID(requestID);
    out.setReqRefernce(reference);
    out.setWStatus(status);
}

bool WVorelOAI::Owner::isCancelled(UINT64 reference) const
{
    return m_object.m_pService != nullptr && m_object.m_pService->getCancelStatus(reference);
}

CommandOwner& vorel::ownerOf(WVorelOAI& object)
{
    return object.m_owner;
}

WDateTime WVorelOAI::serverTimeDifference() const
{
    const std::lock_guard<std::mutex> hold(m_clockLock);
    return m_serverTimeDifference;
}

void WVorelOAI::setServerTimeDifference(const WDateTime& difference)
{
    const std::lock_guard<std::mutex> hold(m_clockLock);
    m_serverTimeDifference = difference;
}

WSTATUS WVorelOAI::admit(const Operation& operation, const ProviderOptions& options, const CallContext& call) const
{
    const bool bracketed = operation.lines == Lines::Bracketed;
    if (m_pService == nullptr) {
        printNoService(operation, call);
        return status::kNoService;
    }
    if (operation.session == Session::Needed && !m_pService->IsAvailableSession()) {
        CCDebug::Print<CWCCDebug>(kTraceLevel, kPlain,
                                  bracketed ? "[%s:%d] [========= Session is not available!!!!!!! \n]"
                                            : "[%s:%d] ========= Session is not available!!!!!!! \n",
                                  operation.name, call.line);
        return status::kNoSession;
    }
    if (!call.given || !options.hasAll(operation.required)) {
        if (operation.key == VorelGetCertificationRuleCMD::kKey) {
            CCDebug::Print<CWCCDebug>(kTraceLevel, kPlain, "[%s:%d] ========= CountryCode is empty!!!!!!! \n",
                                      operation.name, call.line);
        }
        return status::kBadArgument;
    }
    if (operation.clock == Clock::Needed && !serverTimeDifference().getOffsetTime().isValid()) {
        return status::kNoServerTime;
    }
    return status::kOk;
}

int WVorelOAI::send(const Operation& operation, const ProviderOptions& options, const CallContext& call,
                    std::unique_ptr<VorelServiceCMD> command, std::string url, const std::string& filePath)
{
    const HeaderMap map = headers(operation, options);
    VorelServiceCMD* const handed = command.get();
    const CommandRegistry::Ticket ticket = m_registry.add(handed);
    static_cast<void>(command.release());  // the registry owns it now

    unsigned long long reference = 0;
    const WSTATUS result = transport(operation.verb, *handed, map, std::move(url), filePath, reference);
    if (result < 0) {
        m_registry.destroy(handed, ticket);
        return refuse(operation, call, result);
    }
    // The completion may have run and destroyed the command, so nothing of it is touched from here on.
    setWRequestStatus(operation.key, reference, status::kOk, call.out);
    return status::kOk;
}

int WVorelOAI::refuse(const Operation& operation, const CallContext& call, WSTATUS status)
{
    failed(status, kObjectFile, {operation.name, call.line});
    setWRequestStatus(operation.key, 0, status, call.out);
    return status;
}

int WVorelOAI::refuse(const Operation& operation, const CallContext& call, const std::exception& exception)
{
    if (!isOutOfMemory(exception)) {
        reportException(exception, {operation.name, call.line});
    }
    return refuse(operation, call, status::kNoService);
}

void WVorelOAI::printNoService(const Operation& operation, const CallContext& call)
{
    CCDebug::Print<CWCCDebug>(kTraceLevel, kPlain,
                              operation.lines == Lines::Bracketed ? "[%s:%d] [========= m_pService is NULL!!!!!!! \n]"
                                                                  : "[%s:%d] ========= m_pService is NULL!!!!!!! \n",
                              operation.name, call.line);
}

HeaderMap WVorelOAI::headers(const Operation& operation, const ProviderOptions& options) const
{
    HeaderMap map;
    switch (operation.headers) {
        case Headers::None:
            return map;
        case Headers::SeedKey:
            map = {
                {"AppKey", options[AppKey]}, {"AuthToken", options[AuthToken]}, {"CountryCode", options[Country]},
                {"DUID", options[Duid]},     {"ModelID", options[ModelId]},     {"Version", "0.59"},
            };
            break;
        case Headers::Compressed:
            map.emplace("Accept-encoding", "gzip, deflate");
            [[fallthrough]];
        case Headers::Standard:
            map.emplace("Token", m_pService->getSessionToken(m_provider));
            map.emplace("AppKey", readOption(m_provider, AppKey));
            break;
    }
    map.emplace("Content-Type", "text/json");
    map.emplace("Cache-Control", "no-cache");
    map.emplace("Pragma", "no-cache");
    return map;
}

WSTATUS WVorelOAI::transport(Verb verb, VorelServiceCMD& command, const HeaderMap& headers, std::string url,
                             const std::string& filePath, unsigned long long& reference)
{
    switch (verb) {
        case Verb::Get:
            return m_pService->getDataRequest(std::move(url), headers, command.takeBody(), &command, reference,
                                              cbFnVorelRequestCompleted);
        case Verb::Put:
            return m_pService->putDataRequest(std::move(url), headers, command.takeBody(), &command, reference,
                                              cbFnVorelRequestCompleted);
        case Verb::Delete:
            return m_pService->deleteDataRequest(std::move(url), headers, command.takeBody(), &command, reference,
                                                 cbFnVorelRequestCompleted);
        case Verb::Upload:
            return m_pService->putDataRequest(std::move(url), headers, &command, filePath, reference,
                                              cbFnVorelRequestCompleted);
        case Verb::Download:
            return m_pService->getDataRequest(std::move(url), std::string(), &command, filePath, reference,
                                              cbFnVorelRequestCompleted);
    }
    return status::kNoService;
}

}  // namespace W

extern "C" {

/// Creates a plug-in object, which the host passes to destroyPlugin() later. Null if out of memory.  [host thread]
__attribute__((visibility("default"))) W::WPlugin* createPlugin()
{
    try {
        return new (std::nothrow) W::WVorelOAI;
    } catch (const std::exception&) {
        return nullptr;
    }
}

/// Destroys an object of createPlugin(); null is ignored. After it returns, no callback of the object runs, except the
/// one that called it, if any.  [any thread]
__attribute__((visibility("default"))) void destroyPlugin(W::WPlugin* plugin)
{
    delete plugin;
}
}
