// Requests to the service: the first line is "METHOD path?query", the rest the body. The first byte of the line chooses
// a client with a session ('+' in front) or one without. Whatever comes, the reply is a good one, and never a fault of
// the service's own.
#include "Fuzz.h"

#include <algorithm>
#include <memory>
#include <string>

#include <nlohmann/json.hpp>

#include "Sample.h"
#include "Service.h"
#include "Session.h"
#include "UrlDecoding.h"

namespace {

constexpr corvaned::Instant kNow = 1'795'240'800;
constexpr std::int64_t kShift = kNow - kNow % 86400 - 946'684'800;  // the sample's day is that of 2000-01-01

/// Undoes every write at once, so that one request does not change the next one's reply.
class UndoingStore : public corvaned::ViewerStore {
public:
    explicit UndoingStore(corvaned::ViewerStore& store) : m_store(store) {}

    void read(const Work& work) override { m_store.read(work); }
    void write(const Work& work) override
    {
        struct Undo {};
        try {
            m_store.write([&work](corvaned::SqlConnection& connection) {
                work(connection);
                throw Undo();
            });
        } catch (const Undo&) {
            // As wanted.
        }
    }
    const std::string& name() const override { return m_store.name(); }
    corvaned::ServiceFigures figures() override { return m_store.figures(); }

private:
    corvaned::ViewerStore& m_store;
};

/// The service with one day of the sample: ten days would only make replies ten times as large.
class SampleService {
public:
    SampleService()
    {
        corvaned::ImportOptions options;
        options.shifts = [](const corvaned::ListedSpan&) { return std::vector{kShift}; };
        const corvaned::ListingInput sample{"sample",
                                            [] { return corvaned::openMemory(corvaned::sampleListing(), "sample"); }};
        corvaned::importGuide(m_file.path(), {sample}, options);
        m_guide = std::make_unique<corvaned::GuideFile>(m_file.path());
        m_viewers = corvaned::openViewers(corvaned::viewersBeside(m_file.path()));
        m_undoing = std::make_unique<UndoingStore>(*m_viewers);
        token = corvaned::sessionToken(corvaned::openSession(*m_viewers, "fuzz", "127.0.0.1", kNow, {}, kNow), "");
        corvaned::ServiceSettings settings;
        settings.zone = corvaned::Zone::named("+00:00");
        settings.now = [] { return kNow; };
        m_service = std::make_unique<corvaned::Service>(*m_guide, *m_undoing, settings);
    }

    http::Reply answer(const http::Request& request) { return m_service->answer(request); }

    std::string token;

private:
    corvaned::TemporaryDatabase m_file;
    std::unique_ptr<corvaned::GuideFile> m_guide;
    std::unique_ptr<corvaned::ViewerStore> m_viewers;
    std::unique_ptr<UndoingStore> m_undoing;
    std::unique_ptr<corvaned::Service> m_service;
};

/// Reads the needed parts of a reply without building the rest.
struct EnvelopeReader : nlohmann::json_sax<nlohmann::json> {
    bool null() override { return true; }
    bool boolean(bool /*value*/) override { return true; }
    bool number_integer(number_integer_t /*value*/) override { return true; }
    bool number_unsigned(number_unsigned_t /*value*/) override { return true; }
    bool number_float(number_float_t /*value*/, const string_t& /*text*/) override { return true; }
    bool binary(binary_t& /*value*/) override { return true; }
    bool string(string_t& value) override
    {
        if (m_depth == 2 && m_inRsp && m_key == "stat") {
            stat = value;
        }
        return true;
    }
    bool key(string_t& value) override
    {
        m_inRsp = m_depth == 1 ? value == "rsp" : m_inRsp;
        m_key = value;
        return true;
    }
    bool start_object(std::size_t /*members*/) override { return ++m_depth > 0; }
    bool end_object() override { return m_depth-- > 0; }
    bool start_array(std::size_t /*elements*/) override { return ++m_depth > 1; }
    bool end_array() override { return m_depth-- > 0; }
    bool parse_error(std::size_t /*at*/, const std::string& /*token*/, const nlohmann::json::exception& /*e*/) override
    {
        return false;
    }

    std::string stat;

private:
    int m_depth = 0;
    bool m_inRsp = false;
    std::string m_key;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace W::test;
    static SampleService s_sample;
    std::string_view text = stringOf(data, size);
    std::string line(takeLine(text));
    const bool known = !line.empty() && line.front() == '+';
    if (known) {
        line.erase(0, 1);
    }

    http::Request request;
    const std::size_t blank = std::min(line.find(' '), line.size());
    request.method = line.substr(0, blank);
    const std::string target = line.substr(std::min(blank + 1, line.size()));
    request.path = http::percentDecoded(target.substr(0, target.find('?')), http::Plus::IsPlus);
    if (target.find('?') != std::string::npos) {
        request.query = http::parseQuery(target.substr(target.find('?') + 1));
    }
    request.headers.set("DUID", "f");
    request.headers.set("AppKey", "f");
    if (known) {
        request.headers.set("Token", s_sample.token);
    }
    request.body = text;
    request.origin = "http://127.0.0.1:8900";
    const http::Reply reply = s_sample.answer(request);
    require(reply.code != wireCode(corvaned::ServiceCode::Fault), "no fault of the service's own");
    EnvelopeReader envelope;
    require(nlohmann::json::sax_parse(reply.body, &envelope), "the reply is a JSON object");
    require(!envelope.stat.empty(), "the reply has its envelope");
    require((envelope.stat == "OK") == (reply.code == wireCode(corvaned::ServiceCode::Ok)), "envelope and code agree");
    return 0;
}
