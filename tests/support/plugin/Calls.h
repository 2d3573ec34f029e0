// One good call of every operation, by key; tests of all operations walk this table. The calls use the interface, so
// that they work with an object of the loaded library and with one of the test's process.
#pragma once

#include <functional>
#include <map>
#include <string>

#include "Capture.h"
#include "FakeHost.h"
#include "WVorelOAI.h"

namespace W::test {

struct OperationCall {
    unsigned int key;
    std::function<int(WCorvaneOAI& object, Counter& counter)> call;
};

/// In the order of the keys, 3 to 51.
const std::vector<OperationCall>& operationCalls();

/// The row of a key.
const OperationCall& callOf(unsigned int key);

/// The call of a key with all its requests to one server, including those whose address the caller chooses.
/// @param baseUrl    of that server, without a slash at the end; must be the object's
/// @param directory  where a download puts its file, "corvane-b.ts"; the test's if empty
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

/// The smallest reply that the parser accepts as success.
std::string emptyReply(unsigned int key);

}  // namespace W::test
