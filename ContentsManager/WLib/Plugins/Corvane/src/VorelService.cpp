// Records of live requests, cancelling and completion. VorelServiceRequests.cpp builds requests.

#include "VorelService.h"

#include <algorithm>
#include <memory>
#include <new>
#include <utility>

#include "CommandOwner.h"
#include "Operations.h"
#include "VorelCommand.h"

namespace W {

using namespace vorel;

namespace {

using Lock = std::lock_guard<std::mutex>;

/// Destroys the command of a block. Its owner's registry forgets it first, so that the registry never lists a destroyed
/// command.
void destroyCommand(VorelServiceCMD* command)
{
    if (command == nullptr) {
        return;
    }
    if (WVorelOAI* const owner = command->owner()) {
        ownerOf(*owner).releaseCommand(command);
    }
    delete command;
}

/// Starts to fetch an object into the cache. Null is ignored.
template <class Object>
void prefetch(const Object* object)
{
    constexpr std::size_t kCacheLine = 64;  // on most processors; affects only the speed
    if (object == nullptr) {
        return;
    }
    const auto* const bytes = reinterpret_cast<const char*>(object);
    for (std::size_t offset = 0; offset < sizeof(Object); offset += kCacheLine) {
        __builtin_prefetch(bytes + offset);
    }
    // The object may begin in the middle of a line and so reach into one more.
    __builtin_prefetch(bytes + sizeof(Object) - 1);
}

/// Frees a record, unless it is part of its request's block.
void freeRecord(VorelRequestInfo* record)
{
    if (record->args == nullptr) {
        delete record;
    }
}

/// Deletes a request with its block and record.
void deleteRequest(VorelRequestInfo* record)
{
    HttpRequest* const request = record->request;
    freeRecord(record);
    delete request;
}

}  // namespace

VorelService::VorelService(const std::string& name, const WContentProvider& provider, std::int32_t lastReference)
    : m_name(name),
      m_requests(lastReference),
      m_delegator(HttpDelegator::getInstance()),
      m_magicID(provider.getID()),
      m_life(std::make_shared<Life>())
{}

VorelService::~VorelService()
{
    close();
    for (VorelServiceArgs* block = m_args.takeAll(); block != nullptr; block = m_args.next(block)) {
        destroyCommand(block->command);
    }
    m_requests.forEach([](VorelRequestInfo& record) { deleteRequest(&record); });
}

void VorelService::close()
{
    if (!m_life->closing.exchange(true)) {
        flushHttpRequests();
    }
}

void VorelService::surrenderCommands()
{
    const Lock hold(m_requestLock);
    for (VorelServiceArgs* block = m_args.front(); block != nullptr; block = m_args.next(block)) {
        if (block->command != nullptr && block->command->owner() != nullptr) {
            block->command = nullptr;
        }
    }
}

WSTATUS VorelService::createRequestInfo(HttpRequest* request, VorelServiceArgs* args, unsigned int requestID,
                                        unsigned long long& reference)
{
    VorelRequestInfo* const record = args != nullptr ? &args->record : new (std::nothrow) VorelRequestInfo;
    if (record == nullptr) {
        return failed(status::kNoService, kServiceFile);
    }
    *record = {};
    record->request = request;
    record->args = args;
    record->requestID = requestID;
    {
        const Lock hold(m_requestLock);
        if (m_requests.advance(m_lastReference)) {
            record->reference = static_cast<UINT64>(m_lastReference);
            CCDebug::Print<CWCCDebug>(kTraceLevel, kPlain, "[%s:%d] [createRequestInfo uRequestRef(Final) : %lld",
                                      __func__, __LINE__, static_cast<long long>(record->reference));
            reference = record->reference;
            m_requests.add(record);
            return status::kOk;
        }
    }
    freeRecord(record);
    return failed(status::kNoService, kServiceFile);
}

VorelRequestInfo* VorelService::takeRecord(unsigned long long reference)
{
    VorelRequestInfo* const record = m_requests.remove(reference);
    if (record != nullptr) {
        CCDebug::Print<CWCCDebug>(kTraceLevel, kPlain, "[%s:%d] [deleteRequestInfo uRequestRef(Final) : %lld\n",
                                  "deleteRequestInfo", __LINE__, static_cast<long long>(reference));
    }
    return record;
}

void VorelService::deleteRequestInfo(unsigned long long reference)
{
    const Lock hold(m_requestLock);
    if (VorelRequestInfo* const record = takeRecord(reference)) {
        freeRecord(record);
    }
}

UINT64 VorelService::getReferenceID(const HttpRequest* request)
{
    const Lock hold(m_requestLock);
    UINT64 reference = 0;
    m_requests.forEach([&](const VorelRequestInfo& record) {
        if (record.request == request) {
            reference = record.reference;
        }
    });
    return reference;
}

bool VorelService::respond(const VorelServiceArgs& args, const HttpRequest* request, SESSION_STATUS sessionStatus)
{
    const Lock hold(m_requestLock);
    VorelRequestInfo* const record = m_requests.find(args.record.reference);
    if (record == nullptr || record->request != request) {
        return false;
    }
    if (sessionStatus != session::kCancelled) {
        record->respondedFlag = true;
    }
    return true;
}

bool VorelService::flag(unsigned long long reference, bool VorelRequestInfo::*member)
{
    const Lock hold(m_requestLock);
    const VorelRequestInfo* const record = m_requests.find(reference);
    return record != nullptr && record->*member;
}

void VorelService::setFlag(unsigned long long reference, bool VorelRequestInfo::*member)
{
    const Lock hold(m_requestLock);
    if (VorelRequestInfo* const record = m_requests.find(reference)) {
        record->*member = true;
    }
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
    const auto shown = static_cast<long long>(reference);
    {
        const Lock hold(m_requestLock);
        CCDebug::Print<CWCCDebug>(kTraceLevel, kPlain, "[%s:%d] [++ VorelService::setCancelStatus] uRequesetRef : %lld",
                                  __func__, __LINE__, shown);
        if (m_requests.size() != 0) {
            return cancelRecord(reference);
        }
    }
    CCDebug::Print<CWCCDebug>(kTraceLevel, kPlain,
                              "[%s:%d] [-- VorelService::setCancelStatus] Request List is empty, uRequesetRef : %lld",
                              __func__, __LINE__, shown);
    return status::kNotFound;
}

WSTATUS VorelService::cancelRecord(unsigned long long reference)
{
    VorelRequestInfo* const record = m_requests.find(reference);
    if (record == nullptr) {
        return status::kNotFound;
    }
    if (record->cancelFlag) {
        return status::kAlreadyCancelled;
    }
    CCDebug::Print<CWCCDebug>(
        kTraceLevel, kPlain, "[%s:%d] [   VorelService::setCancelStatus] m_uRequestID : %d, uRequesetRef : %lld",
        "setCancelStatus", __LINE__, static_cast<int>(record->requestID), static_cast<long long>(reference));

    if (!isOperation(record->requestID) || operation(record->requestID).cancel == Cancel::No) {
        return status::kNotCancellable;
    }
    if (record->respondedFlag) {
        // Quirk: a download that has arrived is "not found"; any other kind is marked, and its request is not touched.
        if (operation(record->requestID).cancel == Cancel::UntilResponded) {
            return status::kNotFound;
        }
        record->cancelFlag = true;
        return status::kCancelled;
    }
    record->cancelFlag = true;
    record->cancelledFirst = true;
    record->request->setCancel();
    return status::kCancelled;
}

void VorelService::addARGS(VorelServiceArgs* args)
{
    const Lock hold(m_requestLock);
    args->isListed = true;
    m_args.append(args);
    ++m_argsCount;
}

void VorelService::cleanupARGS(VorelServiceArgs* args)
{
    {
        const Lock hold(m_requestLock);
        if (!m_args.contains(args)) {
            return;
        }
    }
    dropArgs(args);
}

VorelServiceCMD* VorelService::takeCommand(VorelServiceArgs& args)
{
    if (!args.isListed) {
        return nullptr;
    }
    args.isListed = false;
    m_args.remove(&args);
    --m_argsCount;
    return std::exchange(args.command, nullptr);
}

void VorelService::dropArgs(VorelServiceArgs* args)
{
    VorelServiceCMD* command = nullptr;
    {
        const Lock hold(m_requestLock);
        command = takeCommand(*args);
    }
    // Without the lock: the command's owner takes its own.
    destroyCommand(command);
}

void VorelService::cleanRequest(unsigned long long reference)
{
    VorelRequestInfo* record = nullptr;
    VorelServiceCMD* command = nullptr;
    {
        // After this, cancel() does not find the request, so it never touches one that is being deleted.
        const Lock hold(m_requestLock);
        record = takeRecord(reference);
        if (record == nullptr) {
            return;
        }
        if (record->args != nullptr) {
            command = takeCommand(*record->args);
        }
    }
    destroyCommand(command);
    deleteRequest(record);
}

std::size_t VorelService::requestCount()
{
    const Lock hold(m_requestLock);
    return m_requests.size();
}

std::size_t VorelService::argsCount()
{
    const Lock hold(m_requestLock);
    return m_argsCount;
}

void VorelService::flushHttpRequests()
{
    m_delegator->flushHttpRequests(getMagicID());
}

void VorelService::flushHttpRequests(HttpRequest* request)
{
    if (request != nullptr) {
        m_delegator->flushHttpRequests(request->getID());
    }
}

void VorelService::cbVorelFnCallback(SESSION_STATUS sessionStatus, HttpRequest* request, void* user)
{
    const auto* const args = static_cast<VorelServiceArgs*>(user);
    if (args == nullptr || args->service == nullptr) {
        return;
    }
    // With thousands of requests in flight, none of this one's memory is in a cache. Fetching all of it at once is
    // faster than waiting for one line after the other.
    prefetch(request);
    prefetch(args);
    prefetch(args->command);
    VorelService* const service = args->service;
    // The caller's callback may destroy the plug-in object, and this service with it: what is read afterwards must
    // outlive both.
    const std::shared_ptr<const Life> life = service->m_life;
    if (life->closing || !service->respond(*args, request, sessionStatus)) {
        return;
    }
    // Moved out of the request: the callback may destroy the request, and its results may be part of the response.
    const HttpResponse response = std::move(request->response());
    const unsigned long long finished =
        args->completion(sessionStatus, response, args->command, args->record.reference);
    // If the service is closing, its destructor frees the rest. It waits for this call to return, unless it was called
    // from inside this call.
    if (!life->closing) {
        service->cleanRequest(finished);
    }
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
