#include "Status.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "DebugPrint.h"
#include "Json.h"

namespace W::vorel {

namespace {

constexpr GSTATUS kUnknown = 255;

/// The function's name in the lines of errorCode().
constexpr char kPrintedName[] = "ExtractErrorCodeInInt";

struct HttpRow {
    HTTP_RESPONSE_CODE code;
    GSTATUS status;
};

constexpr HttpRow kHttpRows[] = {
    {200, 0},  {201, 0},  {304, 0},  {400, 141}, {403, 141}, {401, 142},
    {404, 45}, {410, 45}, {409, 44}, {412, 44},  {500, 43},
};

struct ServiceRow {
    const char* code;
    GSTATUS status;
};

constexpr ServiceRow kServiceRows[] = {
    {"206", 142}, {"207", 142}, {"600", 142},                              //
    {"100", 1},   {"101", 1},   {"102", 1},   {"103", 1},   {"104", 1},    //
    {"105", 1},   {"106", 1},   {"107", 1},   {"108", 1},   {"109", 1},    //
    {"110", 1},   {"209", 1},   {"210", 1},   {"211", 1},   {"212", 1},    //
    {"204", 101}, {"205", 101}, {"208", 101}, {"500", 101}, {"501", 101},  //
    {"502", 101}, {"601", 101}, {"603", 101}, {"602", 21},  {"610", 21},  {"OK", 0},
};

struct StatusRow {
    GSTATUS first;
    GSTATUS last;
    std::int16_t status;
};

constexpr StatusRow kStatusRows[] = {
    {1, 1, -1},     {5, 5, -3},       {21, 21, -200}, {25, 25, -200},   {22, 23, -13},  {26, 28, -13},  {24, 24, -500},
    {29, 29, -107}, {43, 43, -107},   {30, 30, -202}, {142, 142, -202}, {41, 41, -100}, {42, 42, -105}, {44, 44, -203},
    {45, 45, -205}, {141, 141, -205}, {61, 67, -5},   {81, 81, -108},   {102, 102, -9},
};

constexpr std::size_t kStatusCount = 142;

constexpr std::array<std::int16_t, kStatusCount> statusTable()
{
    std::array<std::int16_t, kStatusCount> table{};
    for (auto& entry : table) {
        entry = status::kWrongProvider;
    }
    for (const StatusRow& row : kStatusRows) {
        for (GSTATUS number = row.first; number <= row.last; ++number) {
            table[static_cast<std::size_t>(number - 1)] = row.status;
        }
    }
    return table;
}

constexpr std::array<std::int16_t, kStatusCount> kStatusTable = statusTable();

/// "OK" in any mix of case, independent of the locale. Quirk: only the first two letters count.
bool beginsWithOk(const std::string& stat)
{
    return stat.size() >= 2 && (stat[0] == 'O' || stat[0] == 'o') && (stat[1] == 'K' || stat[1] == 'k');
}

/// Quirk: 9000 is added to a code below -9000, instead of subtracting it: -9500 gives -500. And -9000 gives 0.
WSTATUS statusOfErrorCode(int code)
{
    if (code < status::kServiceError) {
        return code - status::kServiceError;
    }
    const std::int64_t sum = static_cast<std::int64_t>(status::kServiceError) - code;
    return static_cast<WSTATUS>(std::max<std::int64_t>(sum, INT32_MIN));
}

}  // namespace

GSTATUS statusOfHttp(HTTP_RESPONSE_CODE code)
{
    for (const HttpRow& row : kHttpRows) {
        if (row.code == code) {
            return row.status;
        }
    }
    return kUnknown;
}

GSTATUS statusOfService(const std::string& code)
{
    for (const ServiceRow& row : kServiceRows) {
        if (code == row.code) {
            return row.status;
        }
    }
    return kUnknown;
}

WSTATUS hostStatus(GSTATUS gstatus)
{
    if (gstatus == session::kCompleted || gstatus == session::kCancelled) {
        return gstatus;
    }
    if (gstatus < 1 || gstatus > static_cast<GSTATUS>(kStatusCount)) {
        return status::kWrongProvider;
    }
    return kStatusTable[static_cast<std::size_t>(gstatus - 1)];
}

bool isHttpOk(HTTP_RESPONSE_CODE code)
{
    return code == 200 || code == 204;
}

bool reportsSuccess(const std::string& stat, const Json::Value& err)
{
    return beginsWithOk(stat) && err.empty();
}

WSTATUS errorCode(const std::string& stat, const Json::Value& err, std::string& message)
{
    try {
        if (reportsSuccess(stat, err)) {
            return status::kOk;
        }
        const std::string number = toString(member(err, "code"));
        message = toString(member(err, "msg"));
        CCDebug::Print<CWCCDebug>(kTraceLevel, kPlain, "[%s:%d] [%s:%d] Error Code:%s   ErrorMsg:%s\n", kPrintedName,
                                  __LINE__, kPrintedName, __LINE__, number.c_str(), message.c_str());
        return statusOfErrorCode(toInt(number.c_str()));
    } catch (const std::exception& exception) {
        reportException(exception, {kPrintedName});
        return status::kUnreadableReply;
    }
}

WSTATUS errorCode(const std::string& body, std::string& message)
{
    try {
        Json::Value root;
        if (!parseJson(body, root)) {
            return status::kNotJson;
        }
        const Json::Value& rsp = member(root, "rsp");
        return errorCode(toString(member(rsp, "stat")), member(rsp, "err"), message);
    } catch (const std::exception& exception) {
        reportException(exception, {kPrintedName});
        return status::kUnreadableReply;
    }
}

}  // namespace W::vorel
