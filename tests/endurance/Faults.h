// Network faults: what each is, what ends the requests that meet it, the status that they end with, and the operations
// that end differently. The statuses are those of docs/statuses.md.
// Read next: FaultServer.h for the servers, FaultMatrixTest.cpp for the test.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "FaultServer.h"
#include "Scratch.h"
#include "TlsServer.h"

namespace W::test {

using Milliseconds = std::chrono::milliseconds;

// Time-outs of the executor.

/// All three, for faults that end a request by themselves. Long, so that a busy machine does not cause a time-out.
constexpr Milliseconds kPatientTimeout{20'000};
/// For faults that are ended by one of them. They are far apart, so that the test can see which one it was.
constexpr Milliseconds kConnectTimeout{700};
constexpr Milliseconds kStallTimeout{1500};
constexpr Milliseconds kTotalTimeout{2500};

/// The short form only begins to read a hundred megabytes for every operation; the long form reads up to the usual cap
/// of hosts.
std::size_t payloadCap();

/// What servers are built from.
struct Ground {
    GoodService service;
    host::ScratchDirectory scratch;
    host::TlsIdentity healthy{{}, scratch.file("healthy.pem")};
    host::TlsIdentity expired{{"127.0.0.1", -3600}, scratch.file("expired.pem")};
    host::TlsIdentity otherName{{"127.0.0.2", 3600}, scratch.file("other.pem")};
    host::TlsIdentity unknown{{}, scratch.file("unknown.pem")};

    /// The certificates that the client trusts: all except the unknown one.
    std::string caFile() const
    {
        return scratch.write("ca.pem", host::readFile(scratch.file("healthy.pem")) +
                                           host::readFile(scratch.file("expired.pem")) +
                                           host::readFile(scratch.file("other.pem")));
    }
};

/// How far an exchange gets. Exceptions of operations depend on it.
enum class Got {
    Nothing,    ///< no complete header block
    Part,       ///< a header block with 200, and not all of the body
    Drops,      ///< the same, byte by byte
    Refusal,    ///< a reply with a code that means failure
    NoContent,  ///< 204
    Text,       ///< a body that is not JSON
    Packed,     ///< the same, compressed, whether or not the client accepts that
    Deep,       ///< JSON that is nested too deeply
    Huge,       ///< larger than the client keeps
};

/// What ends it.
enum class FaultEnd {
    AtOnce,   ///< the fault itself
    Connect,  ///< the connect time-out; the others likewise
    Stall,
    Total,
    PastTotal,  ///< nothing, although the total time-out has passed
};

struct Span {
    Milliseconds earliest;  ///< time of the earliest callback
    Milliseconds due;       ///< time of the callback, without what a busy machine adds
    Milliseconds next;      ///< time at which the next limit would apply
};
Span spanOf(FaultEnd end);

struct Fault {
    const char* name;
    Got got;
    FaultEnd end;
    int status;                                               ///< of the callbacks
    std::function<FaultServerPointer(const Ground&)> server;  ///< makes a server; the ground must outlive it
};
const std::vector<Fault>& allFaults();

/// An operation that ends differently.
struct Exception {
    const char* operation;
    Got got;
    int status;
    const char* why;
};
const std::vector<Exception>& allExceptions();

struct Expected {
    int status;
    FaultEnd end;
};
/// The result of an operation, by its name, that meets a fault.
Expected expected(const Fault& fault, const std::string& operation);

}  // namespace W::test
