// One good call of every operation, by key: what holds for all operations is tested by walking this table.
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
    std::function<int(WVorelOAI& object, Counter& counter)> call;
};

/// In the order of the keys, 3 to 51.
const std::vector<OperationCall>& operationCalls();

/// The row of a key.
const OperationCall& callOf(unsigned int key);

/// Options with a distinct value for every key, and a file for the upload, which is written.
std::map<std::string, std::string> allOptions();
void setAllOptions(FakeHost& host);

/// Gives the object a session, and a server time difference of +09:00.
void openSession(WVorelOAI& object);
void setClock(WVorelOAI& object, const std::string& offset = "+09:00");

/// The smallest reply that every parser takes as success.
std::string emptyReply(unsigned int key);

}  // namespace W::test
