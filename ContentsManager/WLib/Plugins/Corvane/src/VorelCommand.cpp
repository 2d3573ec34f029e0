// The base of the commands, the download command, and the exported instantiations of WContainer.

#include "VorelCommand.h"

#include "CommandOwner.h"
#include "RequestQuery.h"

namespace W {

using namespace vorel;

namespace {

constexpr std::string_view kCommonPath = "/openapi/service/vorel/";

/// Appends a path, which must not be empty. One that begins with "/" does not get the common prefix.
void appendPath(std::string& url, std::string_view path)
{
    if (path.front() != '/') {
        url += kCommonPath;
    }
    url += path;
}

}  // namespace

template class WContainer<WVLChannel>;
template class WContainer<WVLContent>;
template class WContainer<WVLHeadend>;
template class WContainer<WVLCityCode>;
template class WContainer<WVLDownloadURL>;
template class WContainer<WVLGenre>;
template class WContainer<WVLRepGenre>;
template class WContainer<WVLQuiz>;
template class WContainer<WVLPerson>;

VorelServiceCMD::VorelServiceCMD(const WContentProvider& provider, void* userData, WVorelOAI* service)
    : m_cpKey(provider.getID()), m_userData(userData), m_pService(service)
{}

VorelServiceCMD::~VorelServiceCMD() = default;

std::uint32_t VorelServiceCMD::getCPKey() const
{
    return m_cpKey;
}

std::uint32_t VorelServiceCMD::getCMDKey() const
{
    return m_cmdKey;
}

void VorelServiceCMD::setCMDKey(unsigned int key)
{
    m_cmdKey = key;
}

std::uint64_t VorelServiceCMD::getID() const
{
    return static_cast<std::uint64_t>(m_cpKey) << 32 | m_cmdKey;
}

void VorelServiceCMD::setUrl(const std::string& url)
{
    // Room for path and query, so that appending them does not reallocate.
    constexpr std::size_t kRoom = 200;
    m_url.reserve(url.size() + kRoom);
    m_url = url;
}

bool VorelServiceCMD::isCancelled(UINT64 reference) const
{
    return m_pService != nullptr && ownerOf(*m_pService).isCancelled(reference);
}

RequestQuery VorelServiceCMD::urlQuery(std::string_view path, const ProviderOptions& options, Here here)
{
    appendPath(m_url, path);
    m_url += '?';
    return {m_url, m_body, RequestQuery::Destination::Url, options, here};
}

RequestQuery VorelServiceCMD::bodyQuery(std::string_view path, const ProviderOptions& options, Here here)
{
    appendPath(m_url, path);
    return {m_url, m_body, RequestQuery::Destination::Body, options, here};
}

RequestQuery VorelServiceCMD::urlOnly(std::string_view string, Here here)
{
    static const ProviderOptions kNone(WContentProvider(), None);
    m_url += string;
    return {m_url, m_body, RequestQuery::Destination::Url, kNone, here};
}

VorelDownloadCMD::VorelDownloadCMD(Callback done, void* userData, WVorelOAI* service, const WContentProvider& provider)
    : VorelServiceCMD(provider, userData, service), m_done(done)
{
    setCMDKey(kKey);
}

VorelDownloadCMD::~VorelDownloadCMD() = default;

void VorelDownloadCMD::MakeURL(const std::string& url, const std::string& localPath, const std::string& fileName)
{
    m_sourceUrl = url;
    m_localPath = localPath;
    m_fileName = fileName;
    // Quirk: the URL of the base stays empty and is printed nevertheless.
    CCDebug::Print<CWCCDebug>(kTraceLevel, kPlain, "[%s:%d] URL:[%s]\n", __func__, __LINE__, m_url.c_str());
}

}  // namespace W
