#include "Messages.h"

#include <iterator>

#include "JsonTree.h"

namespace corvaned {
namespace {

struct CodeRow {
    std::string_view text;
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

}  // namespace

std::string_view codeText(ServiceCode code)
{
    return rowOf(code).text;
}

Reply success(std::string body)
{
    return {rowOf(ServiceCode::Ok).status, ServiceCode::Ok, std::move(body)};
}

Reply failure(ServiceCode code, const std::string& message)
{
    const CodeRow& row = rowOf(code);
    return {row.status, code, jsonText({{"rsp", {{"stat", "FAIL"}, {"err", {{"code", row.text}, {"msg", message}}}}}})};
}

}  // namespace corvaned
