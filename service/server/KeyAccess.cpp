#include "KeyAccess.h"

#include "Digest.h"

namespace corvaned {

http::Reply refusedReply(int status, ServiceCode code, const std::string& message)
{
    http::Reply reply = failure(code, message);
    reply.status = status;
    return reply;
}

std::optional<http::Reply> KeyAccess::refusal(const http::Request& request, const std::string& what) const
{
    if (request.method != "GET" && request.method != "HEAD") {
        http::Reply reply = refusedReply(405, ServiceCode::WrongMethod, what + " can be got with GET only");
        reply.headers.set("Allow", "GET, HEAD");
        return reply;
    }
    if (isOpen) {
        return std::nullopt;
    }
    if (!appKey) {
        return refusedReply(403, ServiceCode::AppKeyWrong,
                            what + " is served with an application key only; start the service with --app-key-file");
    }
    const auto parameter = request.query.find("appkey");
    const std::string& given = parameter == request.query.end() ? request.header("AppKey") : parameter->second;
    if (sha1(given) != sha1(*appKey)) {
        return refusedReply(401, ServiceCode::AppKeyWrong,
                            "the parameter 'appkey' or the header 'AppKey' must have the application key");
    }
    return std::nullopt;
}

}  // namespace corvaned
