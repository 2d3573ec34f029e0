#include "Messages.h"

#include <iterator>

#include "JsonTree.h"

namespace corvaned {
namespace {

struct CodeRow {
    std::string_view code;
    int status;  // of HTTP
};

// In the order of ServiceCode.
constexpr CodeRow kCodes[] = {
    {"OK", 200},  {"100", 400}, {"101", 400}, {"102", 404}, {"103", 405}, {"105", 400},
    {"206", 401}, {"207", 401}, {"500", 500}, {"600", 401}, {"104", 404}, {"503", 503},
};
static_assert(std::size(kCodes) == static_cast<std::size_t>(ServiceCode::Unavailable) + 1);

const CodeRow& rowOf(ServiceCode code)
{
    return kCodes[static_cast<std::size_t>(code)];
}

http::Reply replyOf(const CodeRow& row, std::string body)
{
    http::Reply reply;
    reply.status = row.status;
    reply.code = row.code;
    reply.headers.set("Content-Type", "application/json; charset=utf-8");
    reply.body = std::move(body);
    return reply;
}

}  // namespace

std::string_view wireCode(ServiceCode code)
{
    return rowOf(code).code;
}

http::Reply success(std::string body)
{
    return replyOf(rowOf(ServiceCode::Ok), std::move(body));
}

http::Reply failure(ServiceCode code, const std::string& message, std::string note)
{
    const CodeRow& row = rowOf(code);
    http::Reply reply =
        replyOf(row, serialize({{"rsp", {{"stat", "FAIL"}, {"err", {{"code", row.code}, {"msg", message}}}}}}));
    reply.note = std::move(note);
    return reply;
}

}  // namespace corvaned
