// Servers that do one harm to every request until they are healed, and serve well from then on. Each tells how many
// requests its harm has reached, and by what it knows.
// Read next: FaultMatrixTest.cpp, which has the rows; Loopback.h for the harms that come before any server.
#pragma once

#include "RawServer.h"
#include "TlsServer.h"

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <string>

namespace W::test {

/// Good replies to the requests of all operations, which it knows by their request lines.
class GoodService {
public:
    /// Before anybody asks. Two operations cannot have the same line.
    void learn(const std::string& request, unsigned int key);
    /// Key of the operation that sent a request; fails the test and gives 0 for one that nobody sends.
    unsigned int keyOf(const std::string& request) const;
    /// For a download a few bytes, for all others a full reply.
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

    /// What stands in front of every path, before and after healing.
    virtual std::string baseUrl() const = 0;
    /// How many requests have met the harm. To be asked again and again while requests wait: some of it can be seen
    /// only then.
    virtual std::size_t served() = 0;
    /// Ends the harm. No request may be on its way.
    virtual void heal() = 0;
};

using FaultServerPointer = std::unique_ptr<FaultServer>;

// All of them answer by a service, which outlives them.

/// A name that is not found. No resolver is asked: the look-up is ours (Loopback.h). Served: look-ups of libcurl that
/// we have answered so.
FaultServerPointer unknownName(const GoodService& service);

/// A name whose look-up gets no answer. Served: look-ups that hang.
FaultServerPointer hangingName(const GoodService& service);

/// A port that is bound and does not listen, so that the system refuses. Served: attempts to connect to it; that each
/// was refused follows from the port and is not seen.
FaultServerPointer closedPort(const GoodService& service);

/// A port whose queue of connections is full, so that the system drops who else wants to connect. Served: attempts that
/// the system lists as waiting for their first answer, all at one time.
FaultServerPointer fullQueue(const GoodService& service);

/// A port whose connections nobody takes: they stand, and what is sent stays where it is. Served: whole requests that
/// are found in the queue afterwards.
FaultServerPointer blackHole(const GoodService& service);

/// What happens to a connection before TLS stands. @return whether it has happened
using TlsHarm = std::function<bool(host::RawServer::Connection& connection)>;

/// A TLS server. Served: connections on which the harm has happened.
/// @param healthy  outlives it; what it shows once it is healed
FaultServerPointer badTls(const GoodService& service, const host::TlsIdentity& healthy, TlsHarm harm);

/// A certificate that the client does not take. It has happened when the client ended the handshake with an alert.
/// @param identity  outlives the harm
/// @param alert     0 where the client ends it without one, and then before it sends a request
TlsHarm certificate(const host::TlsIdentity& identity, int alert);
/// The connection ends when the client's first message is there.
bool cutHandshake(host::RawServer::Connection& connection);

struct Meeting {
    host::RawServer::Connection& connection;
    const std::string& request;
    const std::string& good;  ///< body of the good reply
};

/// What the server does instead of a good reply. @return whether it could
using ReplyHarm = std::function<bool(const Meeting& meeting)>;

enum class After {
    Close,   ///< the connection is over
    GoesOn,  ///< the connection can carry another request, if the client wants that
};

/// An HTTP server. Served: requests that were read and answered by the harm, each operation's once.
FaultServerPointer badReply(const GoodService& service, After after, ReplyHarm harm);

}  // namespace W::test
