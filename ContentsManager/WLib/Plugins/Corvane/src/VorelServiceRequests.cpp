// The request builders: five forms of one sequence, queue(). Outgoing holds their differences.

#include "VorelService.h"

#include <algorithm>
#include <cstdio>
#include <utility>
#include <vector>

#include "VorelCommand.h"

namespace W {

using namespace vorel;

struct VorelService::Outgoing {
    HTTP_REQUEST_TYPE type;
    std::string url;
    const HeaderMap* headers = nullptr;
    std::string body = {};
    const std::string* filePath = nullptr;  ///< of a request between the network and a file
    bool encodesUrl = false;
    bool uploadsFile = false;
};

/// A request with its block and record in one piece of memory. With thousands of requests in flight, the cost of a
/// completion is mostly the number of cache lines that it has to fetch.
class VorelService::Exchange final : public HttpRequest {
public:
    Exchange(HTTP_REQUEST_TYPE type, std::string url, HttpHeader header, std::string body)
        : HttpRequest(type, std::move(url), std::move(header), std::move(body), cbVorelFnCallback, &args)
    {}
    Exchange(HTTP_REQUEST_TYPE type, std::string url, HttpHeader header, const std::string* filePath)
        : HttpRequest(type, std::move(url), std::move(header), cbVorelFnCallback, &args, *filePath)
    {}

    VorelServiceArgs args{};
};

HttpHeader VorelService::headerOf(const HeaderMap& map)
{
    const std::lock_guard<std::mutex> hold(m_headerLock);
    const std::vector<HttpHeader::Line>& lines = m_header.lines();
    const bool isSame = std::equal(map.begin(), map.end(), lines.begin(), lines.end(),
                                   [](const auto& entry, const HttpHeader::Line& line) {
                                       return entry.first == line.first && entry.second == line.second;
                                   });
    if (!isSame) {
        HttpHeader header;
        for (const auto& [name, value] : map) {
            header.add(name, value);
        }
        m_header = std::move(header);
    }
    return m_header;
}

WSTATUS VorelService::queue(Outgoing outgoing, VorelServiceCMD* command, unsigned long long& reference,
                            VorelCompletion completion, Here here)
{
    WSTATUS result = status::kNoService;
    UINT64 created = 0;
    std::unique_ptr<Exchange> exchange;
    try {
        HttpHeader header = outgoing.headers != nullptr ? headerOf(*outgoing.headers) : HttpHeader();
        if (outgoing.filePath != nullptr) {
            exchange = std::make_unique<Exchange>(outgoing.type, std::move(outgoing.url), std::move(header),
                                                  outgoing.filePath);
        } else {
            exchange = std::make_unique<Exchange>(outgoing.type, std::move(outgoing.url), std::move(header),
                                                  std::move(outgoing.body));
        }
        exchange->args.service = this;
        exchange->args.command = command;
        exchange->args.completion = completion;
        if (outgoing.uploadsFile) {
            exchange->setOptionFileUpload();
        }
        exchange->setID(getMagicID());
        addARGS(&exchange->args);
        result = createRequestInfo(exchange.get(), &exchange->args, command->getCMDKey(), created);
        if (result >= 0) {
            HttpRequest* const recorded = exchange.release();
            if (outgoing.encodesUrl) {
                recorded->setEncoding();
            }
            reference = created;
            result = m_life->closing ? status::kNoService : m_delegator->addRequest(recorded);
            if (result >= 0) {
                // The completion may already have deleted everything: only the reference is safe to use.
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
    } else if (exchange != nullptr) {
        dropArgs(&exchange->args);
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
    Outgoing outgoing{HTTP_GET, std::move(url), &headers, std::move(body)};
    outgoing.encodesUrl = true;
    return queue(std::move(outgoing), command, reference, completion);
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
    Outgoing outgoing{HTTP_GET, std::move(url)};
    outgoing.filePath = &filePath;
    return queue(std::move(outgoing), command, reference, completion);
}

WSTATUS VorelService::putDataRequest(std::string url, const HeaderMap& headers, VorelServiceCMD* command,
                                     const std::string& filePath, unsigned long long& reference,
                                     VorelCompletion completion)
{
    reference = 0;
    if (filePath.empty()) {
        return status::kBadArgument;
    }
    // Tests only whether the file can be opened; the host reads it.
    std::FILE* const file = std::fopen(filePath.c_str(), "rb");
    if (file == nullptr) {
        return status::kFileNotReadable;
    }
    std::fclose(file);
    Outgoing outgoing{HTTP_PUT, std::move(url), &headers};
    outgoing.filePath = &filePath;
    outgoing.uploadsFile = true;
    return queue(std::move(outgoing), command, reference, completion);
}

WSTATUS VorelService::putDataRequest(std::string url, const HeaderMap& headers, std::string body,
                                     VorelServiceCMD* command, unsigned long long& reference,
                                     VorelCompletion completion)
{
    reference = 0;
    Outgoing outgoing{HTTP_PUT, std::move(url), &headers, std::move(body)};
    outgoing.encodesUrl = true;
    return queue(std::move(outgoing), command, reference, completion);
}

WSTATUS VorelService::deleteDataRequest(std::string url, const HeaderMap& headers, std::string body,
                                        VorelServiceCMD* command, unsigned long long& reference,
                                        VorelCompletion completion)
{
    reference = 0;
    CCDebug::Print<CWCCDebug>(kTraceLevel, kPlain, "[%s:%d] [++ VorelService::deleteDataRequest", __func__, __LINE__);
    return queue({HTTP_DELETE, std::move(url), &headers, std::move(body)}, command, reference, completion);
}

}  // namespace W
