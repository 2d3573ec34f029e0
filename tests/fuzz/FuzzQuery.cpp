// Requests to the service: the first line is "METHOD path?query", the rest the body. The first byte of the line chooses
// a client with a session ('+' in front) or one without. Whatever comes, the reply is a good one, and never a fault of
// the service's own.
#include "Endpoints.h"
#include "Fuzz.h"
#include "Sample.h"
#include "Session.h"

#include <httplib.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <memory>
#include <string>

namespace {

constexpr corvaned::Instant kNow = 1'795'240'800;

struct SampleService {
    SampleService()
    {
        corvaned::importSample(store, kNow, corvaned::Zone::named("+00:00"));
        corvaned::ServiceSettings settings;
        settings.zone = corvaned::Zone::named("+00:00");
        settings.now = [] { return kNow; };
        service = std::make_unique<corvaned::Service>(store, settings);
        token = corvaned::sessionToken(corvaned::openSession(*store.lease(), "fuzz", kNow, 86400), "");
    }
    corvaned::TemporaryDatabase file;
    corvaned::Store store{file.path(), corvaned::Store::Mode::Create};
    std::unique_ptr<corvaned::Service> service;
    std::string token;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace W::test;
    static SampleService s_sample;
    std::string_view text = textOf(data, size);
    std::string line(takeLine(text));
    const bool known = !line.empty() && line.front() == '+';
    if (known)
        line.erase(0, 1);

    corvaned::Request request;
    const std::size_t blank = std::min(line.find(' '), line.size());
    request.method = line.substr(0, blank);
    const std::string target = line.substr(std::min(blank + 1, line.size()));
    request.path = httplib::detail::decode_url(target.substr(0, target.find('?')), false);
    if (target.find('?') != std::string::npos)
        httplib::detail::parse_query_text(target.substr(target.find('?') + 1), request.query);
    request.header = [known](const char* name) {
        const std::string wanted = name;
        return wanted == "Token" && known ? s_sample.token : wanted == "DUID" || wanted == "AppKey" ? "f" : "";
    };
    request.body = text;
    request.origin = "http://127.0.0.1:8900";
    const corvaned::Reply reply = s_sample.service->answer(request);
    require(reply.code != corvaned::ServiceCode::Fault, "no fault of the service's own");
    const nlohmann::json said = nlohmann::json::parse(reply.body, nullptr, false);
    require(said.is_object() && said.contains("rsp") && said["rsp"].contains("stat"), "the reply has its envelope");
    require((said["rsp"]["stat"] == "OK") == (reply.code == corvaned::ServiceCode::Ok), "envelope and code agree");
    return 0;
}
