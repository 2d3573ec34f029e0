// The request builders: five forms of one sequence, queue(). Outgoing holds what they differ in.

#include "VorelCommand.h"
#include "VorelService.h"

#include <cstdio>
#include <new>

namespace W {

using namespace vorel;

struct VorelService::Outgoing {
    HTTP_REQUEST_TYPE type;
    const std::string& url;
    const HeaderMap* headers = nullptr;
    const std::string* body = nullptr;      ///< null for a request between the network and a file
    const std::string* filePath = nullptr;  ///< of that file
    bool encodesUrl = false;
    bool uploadsFile = false;
};

WSTATUS VorelService::queue(const Outgoing& outgoing, VorelServiceCMD* command, unsigned long long& reference,
                            VorelCompletion completion, Here here)
{
    WSTATUS result = status::kNoService;
    UINT64 created = 0;
    VorelServiceArgs* listed = nullptr;
    try {
        auto args = std::make_unique<VorelServiceArgs>(VorelServiceArgs{this, command, completion});
        HttpHeader header;
        if (outgoing.headers != nullptr) {
            for (const auto& [name, value] : *outgoing.headers) {
                header.add(name, value);
            }
        }
        std::unique_ptr<HttpRequest> request;
        if (outgoing.filePath != nullptr) {
            request = std::make_unique<HttpRequest>(outgoing.type, outgoing.url, std::move(header), cbVorelFnCallback,
                                                    args.get(), *outgoing.filePath);
        } else {
            request = std::make_unique<HttpRequest>(outgoing.type, outgoing.url, std::move(header), *outgoing.body,
                                                    cbVorelFnCallback, args.get());
        }
        if (outgoing.uploadsFile) {
            request->setOptionFileUpload();
        }
        request->setID(getMagicID());
        addARGS(args.get());
        listed = args.release();
        result = createRequestInfo(request.get(), listed, command->getCMDKey(), created);
        if (result >= 0) {
            HttpRequest* const recorded = request.release();
            if (outgoing.encodesUrl) {
                recorded->setEncoding();
            }
            reference = created;
            result = m_pLife->closing ? status::kNoService : m_pDelegator->addRequest(recorded);
            if (result >= 0) {
                // The completion may have cleaned everything up by now: only the number is safe to use.
                setRequestedStatus(created);
                return status::kOk;
            }
        }
    } catch (const std::exception&) {
        result = status::kNoService;
    }
    failed(result, kServiceFile, here);
    if (created != 0) {
        cleanRequest(created);
    } else if (listed != nullptr) {
        dropArgs(listed);
    }
    reference = 0;
    return result;
}

WSTATUS VorelService::getDataRequest(std::string url, const HeaderMap& headers, std::string body,
                                     VorelServiceCMD* command, unsigned long long& reference,
                                     VorelCompletion completion)
{
    reference = 0;
    CCDebug::Print<CWCCDebug>(kTraceLevel, kPlain, "[%s:%d] [++ VorelService::getDataRequest\n", __func__, __LINE__);
    Outgoing outgoing{HTTP_GET, url, &headers, &body};
    outgoing.encodesUrl = true;
    return queue(outgoing, command, reference, completion, {});
}

WSTATUS VorelService::getDataRequest(std::string url, const std::string& /*unused*/, VorelServiceCMD* command,
                                     const std::string& filePath, unsigned long long& reference,
                                     VorelCompletion completion)
{
    reference = 0;
    CCDebug::Print<CWCCDebug>(kTraceLevel, kPlain, "[%s:%d] [++ VorelService::getDataRequest", __func__, __LINE__);
    if (filePath.empty()) {
        return status::kBadArgument;
    }
    Outgoing outgoing{HTTP_GET, url};
    outgoing.filePath = &filePath;
    return queue(outgoing, command, reference, completion, {});
}

WSTATUS VorelService::putDataRequest(std::string url, const HeaderMap& headers, VorelServiceCMD* command,
                                     const std::string& filePath, unsigned long long& reference,
                                     VorelCompletion completion)
{
    reference = 0;
    if (filePath.empty()) {
        return status::kBadArgument;
    }
    // Only to learn whether it can be read: the host reads the file itself.
    std::FILE* const file = std::fopen(filePath.c_str(), "rb");
    if (file == nullptr) {
        return status::kFileNotReadable;
    }
    std::fclose(file);
    Outgoing outgoing{HTTP_PUT, url, &headers};
    outgoing.filePath = &filePath;
    outgoing.uploadsFile = true;
    return queue(outgoing, command, reference, completion, {});
}

WSTATUS VorelService::putDataRequest(std::string url, const HeaderMap& headers, std::string body,
                                     VorelServiceCMD* command, unsigned long long& reference,
                                     VorelCompletion completion)
{
    reference = 0;
    Outgoing outgoing{HTTP_PUT, url, &headers, &body};
    outgoing.encodesUrl = true;
    return queue(outgoing, command, reference, completion, {});
}

WSTATUS VorelService::deleteDataRequest(std::string url, const HeaderMap& headers, std::string body,
                                        VorelServiceCMD* command, unsigned long long& reference,
                                        VorelCompletion completion)
{
    reference = 0;
    CCDebug::Print<CWCCDebug>(kTraceLevel, kPlain, "[%s:%d] [++ VorelService::deleteDataRequest", __func__, __LINE__);
    return queue({HTTP_DELETE, url, &headers, &body}, command, reference, completion, {});
}

}  // namespace W
