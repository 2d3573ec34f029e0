// The faults of a network: what each is, what ends the requests that meet it, and the status that they end with; and
// the operations that make something else of it. The statuses are those of docs/statuses.md.
// Read next: FaultServer.h for who does the harm, FaultMatrixTest.cpp for the test.
#pragma once

#include "FaultServer.h"
#include "Scratch.h"
#include "TlsServer.h"

#include <chrono>
#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace W::test {

using Milliseconds = std::chrono::milliseconds;

// Time-outs of the executor.

/// All three, for faults that end a request by themselves: a machine that is busy must not be taken for the reason.
constexpr Milliseconds kPatientTimeout{20'000};
/// For faults that are ended by one of them. They are far from each other, so that it shows by which.
constexpr Milliseconds kConnectTimeout{700};
constexpr Milliseconds kStallTimeout{1500};
constexpr Milliseconds kTotalTimeout{2500};

/// In the short form a hundred megabytes are begun for every operation; in the long form they are read up to the cap
/// that hosts have.
std::size_t payloadCap();

/// What servers are made of.
struct Ground {
    GoodService service;
    host::ScratchDirectory scratch;
    host::TlsIdentity healthy{{}, scratch.file("healthy.pem")};
    host::TlsIdentity expired{{"127.0.0.1", -3600}, scratch.file("expired.pem")};
    host::TlsIdentity otherName{{"127.0.0.2", 3600}, scratch.file("other.pem")};
    host::TlsIdentity unknown{{}, scratch.file("unknown.pem")};

    /// The certificates that the client trusts: all but the unknown one.
    std::string caFile() const
    {
        return scratch.write("ca.pem", host::readFile(scratch.file("healthy.pem")) +
                                           host::readFile(scratch.file("expired.pem")) +
                                           host::readFile(scratch.file("other.pem")));
    }
};

/// How far an exchange gets: what operations make exceptions for.
enum class Got {
    Nothing,    ///< no complete header block
    Part,       ///< a header block with 200, and not all of the body
    Drops,      ///< the same, byte by byte
    Refusal,    ///< a reply with a code that means failure
    NoContent,  ///< 204
    Text,       ///< a body that is no JSON
    Packed,     ///< the same, and compressed, whether or not the client has asked for that
    Deep,       ///< a body that is JSON and nested too deeply
    Huge,       ///< more than is kept
};

/// What ends it.
enum class End {
    AtOnce,   ///< the fault itself
    Connect,  ///< the connect time-out, and so on
    Stall,
    Total,
    PastTotal,  ///< nothing, though the total time-out has passed
};

struct Span {
    Milliseconds earliest;  ///< that a callback may come
    Milliseconds due;       ///< when it has to come, but for what the machine takes
    Milliseconds next;      ///< when the limit behind it would be the reason
};
Span spanOf(End end);

struct Fault {
    const char* name;
    Got got;
    End end;
    int status;                                               ///< that callbacks get
    std::function<FaultServerPointer(const Ground&)> server;  ///< makes one, which the ground outlives
};
const std::vector<Fault>& allFaults();

/// An operation that ends otherwise.
struct Exception {
    const char* operation;
    Got got;
    int status;
    const char* why;
};
const std::vector<Exception>& allExceptions();

struct Expected {
    int status;
    End end;
};
/// What comes of an operation, by its name, that meets a fault.
Expected expected(const Fault& fault, const std::string& operation);

}  // namespace W::test
