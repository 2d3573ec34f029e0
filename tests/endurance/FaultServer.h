// Servers that apply one fault to every request until they are healed, and serve correctly afterwards. Each counts the
// requests that its fault has reached; the comments say how.
// Read next: FaultMatrixTest.cpp, which has the rows; Loopback.h for faults before a server is reached.
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "RawServer.h"
#include "TlsServer.h"

namespace W::test {

/// Good replies to the requests of all operations, which it recognises by their request lines.
class GoodService {
public:
    /// Call it before the first request. Two operations cannot have the same line.
    void learn(const std::string& request, unsigned int key);
    /// Key of the operation that sent a request. Fails the test and returns 0 if no operation sends it.
    unsigned int keyOf(const std::string& request) const;
    /// A few bytes for a download, a full reply for all others.
    static const std::string& bodyFor(unsigned int key);
    /// The bytes of the good reply to a request.
    std::string replyTo(const std::string& request) const { return host::okReply(bodyFor(keyOf(request))); }

private:
    std::map<std::string, unsigned int> m_keys;
};

class FaultServer {
public:
    FaultServer() = default;
    virtual ~FaultServer() = default;
    FaultServer(const FaultServer&) = delete;
    FaultServer& operator=(const FaultServer&) = delete;

    /// The URL before every path, the same before and after healing.
    virtual std::string baseUrl() const = 0;
    /// How many requests have met the fault. Call it repeatedly while requests wait, because some servers can
    /// count them only then.
    virtual std::size_t served() = 0;
    /// Ends the fault. No request may be in flight.
    virtual void heal() = 0;
};

using FaultServerPointer = std::unique_ptr<FaultServer>;

// Each answers from a service, which must outlive it.

/// A name that is not found. Loopback.h answers the look-up, not a resolver. Served: look-ups of libcurl that were
/// answered so.
FaultServerPointer unknownName(const GoodService& service);

/// A name whose look-up gets no answer. Served: look-ups that hang.
FaultServerPointer hangingName(const GoodService& service);

/// A port that is bound and does not listen, so that the system refuses. Served: attempts to connect to it. That each
/// was refused follows from the port; it is not observed.
FaultServerPointer closedPort(const GoodService& service);

/// A port whose queue of connections is full, so that the system drops further attempts to connect. Served: the largest
/// number of attempts that the system lists as unanswered at one time.
FaultServerPointer fullQueue(const GoodService& service);

/// A port whose connections are established and never accepted, so that requests stay in its queue. Served: whole
/// requests that are found in the queue afterwards.
FaultServerPointer blackHole(const GoodService& service);

/// A fault during the TLS handshake. @return whether it has happened
using TlsHarm = std::function<bool(host::RawServer::RawConnection& connection)>;

/// A TLS server. Served: connections on which the fault has happened.
/// @param healthy  its identity after healing; must outlive it
FaultServerPointer badTls(const GoodService& service, const host::TlsIdentity& healthy, TlsHarm harm);

/// A certificate that the client rejects. It has happened if the client ended the handshake with an alert.
/// @param identity  must outlive the fault
/// @param alert     0 if the client ends the handshake without one, before it sends a request
TlsHarm certificate(const host::TlsIdentity& identity, int alert);
/// The connection ends after the client's first message.
bool cutHandshake(host::RawServer::RawConnection& connection);

/// A fault of HTTP that the service's own injector has: `corvaned serve --fault` with the same string after "*=".
/// Served: requests whose replies were handed to the injector, each operation's once.
/// @param fault  such as "status 503"
FaultServerPointer injectedReply(const GoodService& service, const std::string& fault);

// Faults that the injector does not have: replies that break off at a certain byte of their body, or are framed in a
// way in which the service's server never sends one.

struct Meeting {
    host::RawServer::RawConnection& connection;
    const std::string& request;
    const std::string& good;  ///< body of the good reply
};

/// What the server does instead of sending a good reply. @return whether it could
using ReplyHarm = std::function<bool(const Meeting& meeting)>;

enum class After {
    Close,   ///< the server closes the connection
    GoesOn,  ///< the connection can carry another request, if the client wants that
};

/// An HTTP server. Served: requests that were read and answered with the fault, each operation's once.
FaultServerPointer badReply(const GoodService& service, After after, ReplyHarm harm);

}  // namespace W::test
