// The rows. A fault is a server (FaultServer.h), with the fault of the service's injector or a harm (ReplyHarms.h) if
// it damages replies.
#include "Faults.h"

#include "CurlTransfer.h"
#include "LongForm.h"
#include "ReplyHarms.h"

namespace W::test {

namespace {

auto reply(After after, ReplyHarm harm)
{
    return [after, harm = std::move(harm)](const Ground& ground) { return badReply(ground.service, after, harm); };
}

auto tls(TlsHarm harm)
{
    return [harm = std::move(harm)](const Ground& ground) { return badTls(ground.service, ground.healthy, harm); };
}

auto tls(host::TlsIdentity Ground::*identity, int alert)
{
    return [identity, alert](const Ground& ground) {
        return badTls(ground.service, ground.healthy, certificate(ground.*identity, alert));
    };
}

auto injected(const char* fault)
{
    return [fault](const Ground& ground) { return injectedReply(ground.service, fault); };
}

// TLS alerts (RFC 8446, section 6).
constexpr int kCertificateExpired = 45;
constexpr int kUnknownAuthority = 48;
constexpr int kNoAlert = 0;

}  // namespace

std::size_t payloadCap()
{
    return shortOrLong(std::size_t{4} << 20, host::HttpLimits().payloadCap);
}

Span spanOf(FaultEnd end)
{
    switch (end) {
        case FaultEnd::AtOnce:
            return {Milliseconds::zero(), kPatientTimeout, kPatientTimeout};
        case FaultEnd::Connect:
            return {kConnectTimeout, kConnectTimeout, kStallTimeout};
        case FaultEnd::Stall:
            return {kStallTimeout, kStallTimeout, kTotalTimeout};
        case FaultEnd::Total:
            return {kTotalTimeout, kTotalTimeout, 2 * kTotalTimeout};
        case FaultEnd::PastTotal:
            break;
    }
    return {kTotalTimeout, 2 * kTotalTimeout, 2 * kTotalTimeout};
}

const std::vector<Fault>& allFaults()
{
    static const std::vector<Fault> s_faults = {
        {"name not found", Got::Nothing, FaultEnd::AtOnce, -200,
         [](const Ground& g) { return unknownName(g.service); }},
        {"look-up hangs", Got::Nothing, FaultEnd::Connect, -500,
         [](const Ground& g) { return hangingName(g.service); }},
        {"refused", Got::Nothing, FaultEnd::AtOnce, -200, [](const Ground& g) { return closedPort(g.service); }},
        {"connect time-out", Got::Nothing, FaultEnd::Connect, -500,
         [](const Ground& g) { return fullQueue(g.service); }},
        {"black hole", Got::Nothing, FaultEnd::Stall, -500, [](const Ground& g) { return blackHole(g.service); }},
        {"TLS self-signed", Got::Nothing, FaultEnd::AtOnce, -13, tls(&Ground::unknown, kUnknownAuthority)},
        {"TLS expired", Got::Nothing, FaultEnd::AtOnce, -13, tls(&Ground::expired, kCertificateExpired)},
        {"TLS wrong name", Got::Nothing, FaultEnd::AtOnce, -13, tls(&Ground::otherName, kNoAlert)},
        {"TLS handshake cut", Got::Nothing, FaultEnd::AtOnce, -13, tls(cutHandshake)},
        {"reset before headers", Got::Nothing, FaultEnd::AtOnce, -13, injected("reset 0")},
        {"reset inside headers", Got::Nothing, FaultEnd::AtOnce, -13, injected("reset 25")},
        {"body cut before its first byte", Got::Part, FaultEnd::AtOnce, -13, reply(After::Close, cutBeforeFirstByte)},
        {"body cut in the middle", Got::Part, FaultEnd::AtOnce, -13, reply(After::Close, cutInTheMiddle)},
        {"body cut before its last byte", Got::Part, FaultEnd::AtOnce, -13, reply(After::Close, cutBeforeLastByte)},
        {"Content-Length too big", Got::Part, FaultEnd::AtOnce, -13, injected("length 10")},
        {"Content-Length too small", Got::Text, FaultEnd::AtOnce, -56, reply(After::GoesOn, lengthTooSmall)},
        {"bad chunks", Got::Part, FaultEnd::AtOnce, -13, reply(After::GoesOn, badChunks)},
        {"stall", Got::Part, FaultEnd::Stall, -500, reply(After::Close, stall)},
        {"one byte a second", Got::Drops, FaultEnd::Total, -500, reply(After::Close, oneByteASecond)},
        {"redirect loop", Got::Refusal, FaultEnd::AtOnce, -16, reply(After::GoesOn, redirectToItself)},
        {"400", Got::Refusal, FaultEnd::AtOnce, -205, injected("status 400")},
        {"401", Got::Refusal, FaultEnd::AtOnce, -202, injected("status 401")},
        {"403", Got::Refusal, FaultEnd::AtOnce, -205, injected("status 403")},
        {"404", Got::Refusal, FaultEnd::AtOnce, -205, injected("status 404")},
        {"408", Got::Refusal, FaultEnd::AtOnce, -16, injected("status 408")},
        {"429", Got::Refusal, FaultEnd::AtOnce, -16, injected("status 429")},
        {"500", Got::Refusal, FaultEnd::AtOnce, -107, injected("status 500")},
        {"502", Got::Refusal, FaultEnd::AtOnce, -16, injected("status 502")},
        {"503", Got::Refusal, FaultEnd::AtOnce, -16, injected("status 503")},
        {"504", Got::Refusal, FaultEnd::AtOnce, -16, injected("status 504")},
        {"204", Got::NoContent, FaultEnd::AtOnce, -56, reply(After::GoesOn, noContent)},
        {"HTML for JSON", Got::Text, FaultEnd::AtOnce, -56, injected("html")},
        {"truncated JSON", Got::Text, FaultEnd::AtOnce, -56, reply(After::GoesOn, truncatedJson)},
        {"1,001 levels of JSON", Got::Deep, FaultEnd::AtOnce, -57, reply(After::GoesOn, deepJson)},
        {"100 MB", Got::Huge, FaultEnd::AtOnce, -3, reply(After::GoesOn, hugeBody(payloadCap()))},
        {"bomb of compressed zeros", Got::Packed, FaultEnd::AtOnce, -56,
         reply(After::GoesOn, packedZeros(payloadCap()))},
    };
    return s_faults;
}

const std::vector<Exception>& allExceptions()
{
    static const std::vector<Exception> s_exceptions = {
        {"download", Got::Nothing, -403, "there is no file, whatever the reason"},
        {"download", Got::Drops, 0, "it may take as long as it likes, as long as something comes"},
        {"download", Got::NoContent, -16, "a file comes with 200"},
        {"download", Got::Text, 0, "a file may hold anything"},
        {"download", Got::Packed, 0, "a file may hold anything"},
        {"download", Got::Deep, 0, "a file may hold anything"},
        {"download", Got::Huge, 0, "it goes to the disk as it comes"},
        {"searchEPG", Got::NoContent, 0, "the body goes to the caller as it came"},
        {"searchEPG", Got::Text, 0, "the body goes to the caller as it came"},
        {"searchEPG", Got::Packed, 0, "the body goes to the caller as it came"},
        {"searchEPG", Got::Deep, 0, "the body goes to the caller as it came"},
        {"getPopularChannel", Got::Deep, -16, "what is -57 for the others"},
        {"getGenreList", Got::Packed, -3, "asks for compressed replies, and then zeros are unpacked up to the cap"},
        {"getChannelList", Got::Packed, -3, "the same"},
        {"getSmartChannel", Got::Packed, -3, "the same"},
        {"getSmartPopular", Got::Packed, -3, "the same"},
    };
    return s_exceptions;
}

Expected expected(const Fault& fault, const std::string& operation)
{
    for (const Exception& exception : allExceptions()) {
        if (exception.operation == operation && exception.got == fault.got) {
            return {exception.status, fault.got == Got::Drops ? FaultEnd::PastTotal : fault.end};
        }
    }
    return {fault.status, fault.end};
}

}  // namespace W::test
