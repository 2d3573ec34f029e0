// Operations on files of the device: downloads, and reading today's schedule from a file.

#include "WVorelOAI.h"

#include <cassert>
#include <cerrno>
#include <cstdio>
#include <memory>

#include <fcntl.h>
#include <json/value.h>
#include <sys/stat.h>
#include <unistd.h>

#include "DebugPrint.h"
#include "Lists.h"
#include "Pieces.h"
#include "Programmes.h"
#include "Reply.h"
#include "Status.h"

namespace W {

using namespace vorel;

namespace {

constexpr off_t kLargestSchedule = off_t{64} * 1024 * 1024;

/// An open file that closes itself.
class LocalFile {
public:
    explicit LocalFile(const std::string& path) : m_descriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK))
    {}
    ~LocalFile() { close(); }
    LocalFile(const LocalFile&) = delete;
    LocalFile& operator=(const LocalFile&) = delete;

    bool isOpen() const { return m_descriptor >= 0; }

    void close()
    {
        if (isOpen()) {
            ::close(m_descriptor);
        }
        m_descriptor = -1;
    }

    /// Reads a regular file of at most `limit` bytes as a whole. Refuses devices, pipes and directories without
    /// blocking.
    bool readAll(std::string& text, off_t limit)
    {
        struct stat state = {};
        if (!isOpen() || ::fstat(m_descriptor, &state) != 0 || !S_ISREG(state.st_mode) || state.st_size > limit) {
            return false;
        }
        text.resize(static_cast<std::size_t>(state.st_size));
        std::size_t done = 0;
        while (done < text.size()) {
            const ssize_t got = ::read(m_descriptor, &text[done], text.size() - done);
            if (got < 0 && errno == EINTR) {
                continue;
            }
            if (got <= 0) {
                return false;
            }
            done += static_cast<std::size_t>(got);
        }
        return true;
    }

private:
    int m_descriptor;
};

constexpr Field<WVLChannel> kTodayChannel[] = {
    {"source", &WVLChannel::setSource},
    {"name", &WVLChannel::setName},
    {"number", &WVLChannel::setNumber},
};

constexpr Field<WVLContent> kTodayContent[] = {
    {"id", &WVLContent::setID},
    {"lang", &WVLContent::setLang},
    {"title", &WVLContent::setTitle},
    {"cert_flag", &WVLContent::setCerti_flag},
    {"starttime", &WVLContent::setStartTime},
    {"duration", &WVLContent::setDuration},
    {"genres", &WVLContent::setGenrelist},
    {"poster", &WVLContent::setPoster},
    {"short_desc", &WVLContent::setShortDesc},
};

/// Reads the programmes of an array of channels.
template <class Array>
void readToday(const Array& channels, const WDateTime& clock, std::list<WVLContent>& list)
{
    const ReadingRules rules{&clock, ImageTest::HasMembers, kImageWithoutSize};
    for (Json::ArrayIndex index = 0, count = channels.size(); index < count; ++index) {
        readProgrammes(channels[index], kTodayChannel, kTodayContent, rules, list);
    }
}

/// Reads a long schedule channel by channel.
/// @param root  receives the document without its channels
/// @return false if the file must be read as a whole; nothing is written then
bool readTodayInPieces(const std::string& text, const WDateTime& clock, Json::Value& root, std::list<WVLContent>& list)
{
    try {
        const Pieces pieces(text, "channel");
        readToday(pieces, clock, list);
        root = pieces.frame();
        return hasElements(pieces);
    } catch (const std::exception&) {
        list.clear();
        return false;
    }
}

}  // namespace

int WVorelOAI::getTodaySchedule(const std::string& path, WContainer<WVLContent>& result)
{
    if (m_pService == nullptr) {
        CCDebug::Print<CWCCDebug>(kTraceLevel, kPlain, "[%s:%d] ========= m_pService is NULL!!!!!!! \n", __func__,
                                  __LINE__);
        return failed(status::kNoService, kObjectFile);
    }
    try {
        std::string text;
        if (!LocalFile(path).readAll(text, kLargestSchedule)) {
            return failed(status::kFileNotReadable, kObjectFile);
        }
        const WDateTime clock = serverTimeDifference();
        std::list<WVLContent> list;
        Json::Value root;
        const bool isRead = readTodayInPieces(text, clock, root, list);
        if (!isRead && !parseJson(text, root)) {
            return failed(status::kNotJson, kObjectFile);
        }
        const Json::Value& rsp = member(root, "rsp");
        // Quirk: the status word is printed and not tested.
        CCDebug::Print<CWCCDebug>(kTraceLevel, kPlain, "[%s:%d] \tstat : %s\n", __func__, __LINE__,
                                  toString(member(rsp, "stat")).c_str());
        const Json::Value& channels = member(rsp, "channel");
        if (!member(rsp, "err").empty() || !(isRead || hasElements(channels))) {
            return failed(status::kUnreadableReply, kObjectFile);
        }
        readToday(channels, clock, list);
        handOver(std::move(list), result);
        return status::kOk;
    } catch (const std::exception& exception) {
        if (isOutOfMemory(exception)) {
            return failed(status::kNoService, kObjectFile);
        }
        reportException(exception);
        return failed(status::kUnreadableReply, kObjectFile);
    }
}

// A download checks its provider, composes strings and sends no headers, so the frame's steps are written out.
int WVorelOAI::download(const WContentProvider& provider, const std::string& url, const std::string& directory,
                        const std::string& fileName, DownloadCallback done, void* userData, WRequestStatus& out)
{
    constexpr const Operation& row = operation(VorelDownloadCMD::kKey);
    const CallContext call(userData, out);
    if (m_pService == nullptr) {
        printNoService(row, call);
    }
    assert(m_pService != nullptr && "m_pService != __null");
    if (m_pService == nullptr) {
        return refuse(row, call, status::kNoService);
    }
    try {
        if (url.empty() || directory.empty()) {
            return refuse(row, call, status::kBadArgument);
        }
        const std::string name = fileName.empty() ? url.substr(url.rfind('/') + 1) : fileName;
        if (name.empty()) {
            return refuse(row, call, status::kBadArgument);
        }
        const std::string localPath = directory + "/" + name;
        if (provider.getID() != m_provider.getID()) {
            return refuse(row, call, status::kWrongProvider);
        }
        std::unique_ptr<VorelDownloadCMD> command(new (std::nothrow)
                                                      VorelDownloadCMD(done, userData, this, m_provider));
        if (command == nullptr) {
            return refuse(row, call, status::kNoService);
        }
        command->MakeURL(url, localPath, name);
        return send(row, ProviderOptions(m_provider, None), call, std::move(command), url, localPath);
    } catch (const std::exception& exception) {
        return refuse(row, call, exception);
    }
}

UINT64 WVorelOAI::cbDownloadDone(SESSION_STATUS sessionStatus, const HttpResponse& response, VorelDownloadCMD* command,
                                 UINT64 reference)
{
    WVorelOAI* const owner = command->owner();
    if (owner == nullptr || owner->m_pService == nullptr) {
        return reference;
    }
    CCDebug::Print<CWCCDebug>(kTraceLevel, kEntryExit, "[%s:%d] [++ WVorelOAI::cbDownloadDone]", __func__, __LINE__);

    // The callback may destroy the object and the command, so none of its arguments belongs to them.
    const std::string localPath = command->takeLocalPath();
    const WContentProvider provider = owner->m_provider;
    LocalFile file(localPath);
    WSTATUS result = status::kOk;
    // Quirk: an incomplete exchange is -403 if no file was written, for whatever reason; an HTTP failure never is.
    if (sessionStatus == session::kCompleted && response.getHttpResponseCode() != 200) {
        result = hostStatus(statusOfHttp(response.getHttpResponseCode()));
    } else if (!file.isOpen()) {
        result = status::kFileNotReadable;
    } else {
        result = hostStatus(sessionStatus);
    }

    if (const auto done = command->callback()) {
        if (owner->m_pService->isCancelledFirst(reference)) {
            file.close();
            std::remove(localPath.c_str());
            ::sync();
            CCDebug::Print<CWCCDebug>(kTraceLevel, kPlain, "[%s:%d] [--WVorelOAI::cbDownloadDone] Canceled", __func__,
                                      __LINE__);
            result = status::kCancelled;
        }
        callBack({}, [&] { done(result, provider, localPath, reference, command->userData()); });
    }
    file.close();
    CCDebug::Print<CWCCDebug>(kTraceLevel, kEntryExit, "[%s:%d] [--  WVorelOAI::cbDownloadDone]", __func__, __LINE__);
    return reference;
}

}  // namespace W
