// One good call of every operation, by key: what holds for all operations is tested by walking this table. The calls go
// through the interface, so that they fit an object of the loaded library as well as one of the test's own process.
#pragma once

#include "Capture.h"
#include "FakeHost.h"
#include "WVorelOAI.h"

#include <functional>
#include <map>
#include <string>

namespace W::test {

struct OperationCall {
    unsigned int key;
    std::function<int(WCorvaneOAI& object, Counter& counter)> call;
};

/// In the order of the keys, 3 to 51.
const std::vector<OperationCall>& operationCalls();

/// The row of a key.
const OperationCall& callOf(unsigned int key);

/// The call of a key with everything it sends going to one server: also those whose address the caller chooses.
/// @param baseUrl    of that server, without a slash at the end; for the others it has to be the object's own
/// @param directory  where a download puts its file, "corvane-b.ts"; the test's own where it is empty
int callAt(const std::string& baseUrl, unsigned int key, WCorvaneOAI& object, Counter& counter,
           const std::string& directory = {});

/// Options with a distinct value for every key, and a file for the upload, which is written.
std::map<std::string, std::string> allOptions();
inline void setAllOptions(FakeHost& host)
{
    host.options = allOptions();
}

/// Gives the object a session.
void openSession(WCorvaneOAI& object);

/// Gives an object of this process a server time difference.
inline void setClock(WVorelOAI& object, const std::string& offset = "+09:00")
{
    object.setServerTimeDifference(WDateTime::fromString(offset, WDateTime::FORMAT_OFFSET, WDateTime::TIMEZONE_NONE));
}

/// The smallest reply that every parser takes as success.
std::string emptyReply(unsigned int key);

}  // namespace W::test
