// Records of live requests, their cancelling and their end. How a request comes to be: VorelServiceRequests.cpp.

#include "VorelService.h"

#include "Operations.h"
#include "VorelCommand.h"
#include "WVorelOAI.h"

#include <algorithm>
#include <memory>

namespace W {

using namespace vorel;

namespace {

using Lock = std::lock_guard<std::mutex>;

/// References run from 1 to ten million and then start again.
constexpr std::int32_t kLastReference = 10000000;

/// Destroys a command that a block held: its owner's registry lets go of it first, so that it never lists a command
/// that is gone.
void destroyCommand(VorelServiceCMD* command)
{
    if (command == nullptr)
        return;
    if (WVorelOAI* const owner = command->owner())
        owner->releaseCMD(command);
    delete command;
}

}  // namespace

VorelService::VorelService(const std::string& name, const WContentProvider& provider)
    : m_sName(name), m_pDelegator(HttpDelegator::getInstance()), m_pLife(std::make_shared<Life>())
{
    const Lock hold(m_sessionLock);
    m_uMagicID = provider.getID();
}

VorelService::~VorelService()
{
    close();
    for (VorelServiceArgs* const block : m_args) {
        destroyCommand(block->command);
        delete block;
    }
    for (const auto& [reference, record] : m_requests)
        delete record.request;
}

void VorelService::close()
{
    if (!m_pLife->closing.exchange(true))
        flushHttpRequests();
}

void VorelService::surrenderCommands()
{
    const Lock hold(m_sessionLock);
    for (VorelServiceArgs* const block : m_args) {
        if (block->command != nullptr && block->command->owner() != nullptr)
            block->command = nullptr;
    }
}

UINT64 VorelService::getMagicID()
{
    const Lock hold(m_sessionLock);
    return m_uMagicID;
}

WSTATUS VorelService::createRequestInfo(HttpRequest* request, VorelServiceArgs* args, unsigned int requestID,
                                        unsigned long long& reference)
{
    try {
        VorelRequestInfo record;
        record.request = request;
        record.args = args;
        record.requestID = requestID;

        const Lock hold(m_requestLock);
        // A number that is still in use when the counter comes round is skipped.
        do {
            m_iLastReference = m_iLastReference >= kLastReference ? 1 : m_iLastReference + 1;
        } while (m_requests.count(static_cast<UINT64>(m_iLastReference)) != 0);
        record.reference = static_cast<UINT64>(m_iLastReference);
        CCDebug::Print<CWCCDebug>(kTraceLevel, kPlain, "[%s:%d] [createRequestInfo uRequestRef(Final) : %lld", __func__,
                                  __LINE__, static_cast<long long>(record.reference));
        m_requests.emplace(record.reference, record);
        if (args != nullptr)
            args->reference = record.reference;
        reference = record.reference;
        return status::kOk;
    } catch (const std::exception&) {
        return failed(status::kNoService, kServiceFile);
    }
}

std::optional<VorelRequestInfo> VorelService::takeRecord(unsigned long long reference)
{
    const Lock hold(m_requestLock);
    const auto found = m_requests.find(reference);
    if (found == m_requests.end())
        return std::nullopt;
    CCDebug::Print<CWCCDebug>(kTraceLevel, kPlain, "[%s:%d] [deleteRequestInfo uRequestRef(Final) : %lld\n",
                              "deleteRequestInfo", __LINE__, static_cast<long long>(reference));
    const VorelRequestInfo record = found->second;
    m_requests.erase(found);
    return record;
}

void VorelService::deleteRequestInfo(unsigned long long reference)
{
    takeRecord(reference);
}

UINT64 VorelService::getReferenceID(const HttpRequest* request)
{
    const Lock hold(m_requestLock);
    const auto found = std::find_if(m_requests.begin(), m_requests.end(),
                                    [request](const auto& entry) { return entry.second.request == request; });
    return found == m_requests.end() ? 0 : found->first;
}

bool VorelService::respond(const VorelServiceArgs& args, const HttpRequest* request, SESSION_STATUS sessionStatus)
{
    const Lock hold(m_requestLock);
    const auto found = m_requests.find(args.reference);
    if (found == m_requests.end() || found->second.request != request)
        return false;
    if (sessionStatus != session::kCancelled)
        found->second.respondedFlag = true;
    return true;
}

bool VorelService::flag(unsigned long long reference, bool VorelRequestInfo::*member)
{
    const Lock hold(m_requestLock);
    const auto found = m_requests.find(reference);
    return found != m_requests.end() && found->second.*member;
}

void VorelService::setFlag(unsigned long long reference, bool VorelRequestInfo::*member)
{
    const Lock hold(m_requestLock);
    const auto found = m_requests.find(reference);
    if (found != m_requests.end())
        found->second.*member = true;
}

void VorelService::setRequestedStatus(unsigned long long reference)
{
    setFlag(reference, &VorelRequestInfo::requestedFlag);
}

bool VorelService::getRequestedStatus(unsigned long long reference)
{
    return flag(reference, &VorelRequestInfo::requestedFlag);
}

void VorelService::setRespondStatus(unsigned long long reference)
{
    setFlag(reference, &VorelRequestInfo::respondedFlag);
}

bool VorelService::getRespondStatus(unsigned long long reference)
{
    return flag(reference, &VorelRequestInfo::respondedFlag);
}

bool VorelService::getCancelStatus(unsigned long long reference)
{
    return flag(reference, &VorelRequestInfo::cancelFlag);
}

bool VorelService::isCancelledFirst(unsigned long long reference)
{
    return flag(reference, &VorelRequestInfo::cancelledFirst);
}

WSTATUS VorelService::setCancelStatus(unsigned long long reference)
{
    const Lock hold(m_requestLock);
    const auto shown = static_cast<long long>(reference);
    CCDebug::Print<CWCCDebug>(kTraceLevel, kPlain, "[%s:%d] [++ VorelService::setCancelStatus] uRequesetRef : %lld",
                              __func__, __LINE__, shown);
    if (m_requests.empty()) {
        CCDebug::Print<CWCCDebug>(
            kTraceLevel, kPlain,
            "[%s:%d] [-- VorelService::setCancelStatus] Request List is empty, uRequesetRef : %lld", __func__, __LINE__,
            shown);
        return status::kNotFound;
    }
    const auto found = m_requests.find(reference);
    if (found == m_requests.end())
        return status::kNotFound;
    VorelRequestInfo& record = found->second;
    if (record.cancelFlag)
        return status::kAlreadyCancelled;
    CCDebug::Print<CWCCDebug>(kTraceLevel, kPlain,
                              "[%s:%d] [   VorelService::setCancelStatus] m_uRequestID : %d, uRequesetRef : %lld",
                              __func__, __LINE__, static_cast<int>(record.requestID), shown);

    if (!isOperation(record.requestID) || operation(record.requestID).cancel == Cancel::No)
        return status::kNotCancellable;
    if (record.respondedFlag) {
        // Wanted: a download that has arrived is "not found", any other kind is marked without touching its request.
        if (operation(record.requestID).cancel == Cancel::UntilResponded)
            return status::kNotFound;
        record.cancelFlag = true;
        return status::kCancelled;
    }
    record.cancelFlag = true;
    record.cancelledFirst = true;
    record.request->setCancel();
    return status::kCancelled;
}

void VorelService::addARGS(VorelServiceArgs* args)
{
    const Lock hold(m_sessionLock);
    m_args.insert(args);
}

void VorelService::cleanupARGS(VorelServiceArgs* args)
{
    if (args == nullptr)
        return;
    {
        const Lock hold(m_sessionLock);
        if (m_args.erase(args) == 0)
            return;
    }
    // Destroyed outside the lock: the command's owner takes its own.
    destroyCommand(args->command);
    delete args;
}

void VorelService::cleanRequest(unsigned long long reference)
{
    // From here on nobody else finds the request, so that cancel() never meets one that is being deleted.
    const std::optional<VorelRequestInfo> record = takeRecord(reference);
    if (!record)
        return;
    delete record->request;
    cleanupARGS(record->args);
}

std::size_t VorelService::requestCount()
{
    const Lock hold(m_requestLock);
    return m_requests.size();
}

std::size_t VorelService::argsCount()
{
    const Lock hold(m_sessionLock);
    return m_args.size();
}

void VorelService::flushHttpRequests()
{
    m_pDelegator->flushHttpRequests(getMagicID());
}

void VorelService::flushHttpRequests(HttpRequest* request)
{
    if (request != nullptr)
        m_pDelegator->flushHttpRequests(request->getID());
}

void VorelService::cbVorelFnCallback(SESSION_STATUS sessionStatus, HttpRequest* request, void* user)
{
    const auto* const args = static_cast<VorelServiceArgs*>(user);
    if (args == nullptr || args->service == nullptr)
        return;
    VorelService* const service = args->service;
    // The caller's callback may destroy the plug-in object, and this service with it: what is asked afterwards has to
    // live longer than both.
    const std::shared_ptr<const Life> life = service->m_pLife;
    if (life->closing)
        return;

    if (!service->respond(*args, request, sessionStatus))
        return;
    const unsigned long long finished =
        args->completion(sessionStatus, request->response(), args->command, args->reference);
    // While it closes, what is left is freed by the destructor, which waits for this call to return unless it was
    // called from inside it.
    if (!life->closing)
        service->cleanRequest(finished);
}

std::string VorelService::int2str(unsigned int value)
{
    return std::to_string(value);
}

std::string VorelService::int2str(int value)
{
    return std::to_string(value);
}

std::string VorelService::space2Char(std::string& text)
{
    std::replace(text.begin(), text.end(), ' ', '+');
    return text;
}

}  // namespace W
