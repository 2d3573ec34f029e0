// The envelope: HTTP code, "stat", error code and message. The first line is the HTTP code, the second the service's
// error code, the third the rest of the body's "rsp"; without the lines the input is the body.
#include "Fuzz.h"

#include <string>

#include <json/value.h>
#include <json/writer.h>

#include "ParseDeliveries.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace W::test;
    static FakeHost host;
    host.keepsLines = false;
    static W::WVorelOAI object;
    std::string_view text = stringOf(data, size);
    const std::string http(takeLine(text));
    const std::string code(takeLine(text));
    const std::string rest(takeLine(text));
    std::string body = rest;
    if (rest.empty() || rest.front() != '{') {
        Json::Value root;
        root["rsp"]["stat"] = rest.empty() ? "FAIL" : rest;
        root["rsp"]["err"]["code"] = code;
        root["rsp"]["err"]["msg"] = rest;
        body = Json::FastWriter().write(root);
    }
    constexpr unsigned int kAcknowledged = 28;  // setFavorite: nothing but the envelope is read
    Delivered delivered;
    const auto command = kindOf(kAcknowledged).make(&object, &delivered);
    const auto response = static_cast<W::HTTP_RESPONSE_CODE>(std::strtol(http.c_str(), nullptr, 10));
    complete(*command, W::session::kCompleted, response, body);
    require(delivered.calls == 1, "one callback");
    return 0;
}
