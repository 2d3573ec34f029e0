// The status functions under the transport's names; Status.cpp implements them.

#include "VorelService.h"

#include "Status.h"

namespace W {

GSTATUS VorelService::getVorelSTATUS(HTTP_RESPONSE_CODE code)
{
    return vorel::statusOfHttp(code);
}

GSTATUS VorelService::getVorelSTATUS(const std::string& serviceCode)
{
    return vorel::statusOfService(serviceCode);
}

WSTATUS VorelService::getWlibSTATUS(GSTATUS status)
{
    return vorel::hostStatus(status);
}

bool VorelService::HasHTTPOKStatus(HTTP_RESPONSE_CODE code)
{
    return vorel::isHttpOk(code);
}

WSTATUS VorelService::ExtractErrorCodeInInt(const std::string& stat, const Json::Value& err, std::string& message)
{
    return vorel::errorCode(stat, err, message);
}

WSTATUS VorelService::ExtractErrorCodeInInt(const std::string& body, std::string& message)
{
    return vorel::errorCode(body, message);
}

}  // namespace W
