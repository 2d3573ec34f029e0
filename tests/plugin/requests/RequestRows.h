// What goes out: one row per call of an operation, with the exact text of every request that it makes under different
// settings. The rows are in RequestRows<Family>.cpp; RequestTest.cpp runs them.
#pragma once

#include <functional>
#include <list>
#include <string>
#include <vector>

#include "Capture.h"
#include "WVorelOAI.h"

namespace W::test {

using Texts = std::list<std::string>;
using Numbers = std::list<int>;

/// One request of a call.
struct Wire {
    /// What is changed in the settings of setAllOptions(), for example "country=" or "country= language=".
    const char* settings;
    /// What follows "/openapi/service/vorel/" after the base address; what begins with "/" follows the base address
    /// itself; what holds "://" is the whole URL. Null when the call is refused with -1.
    const char* url;
    const char* body = "";
};

/// One call. Unless it has a row, an empty country, language, headend or device changes nothing: that is tested
/// too, so that these rows are complete.
struct RequestRow {
    const char* operation;
    const char* what;  ///< of the arguments, in CapWords
    std::function<int(WVorelOAI& object, Counter& counter)> call;
    std::vector<Wire> wires;
};

std::vector<RequestRow> configRows();
std::vector<RequestRow> channelRows();
std::vector<RequestRow> guideRows();
std::vector<RequestRow> detailRows();
std::vector<RequestRow> viewerRows();
std::vector<RequestRow> recommendRows();

/// A call of an operation with its own arguments.
template <class Method, class... Arguments>
std::function<int(WVorelOAI&, Counter&)> calling(Method method, Arguments... arguments)
{
    return [=](WVorelOAI& object, Counter& counter) {
        return (object.*method)(Counter::Callback(), arguments..., &counter, counter.out);
    };
}

}  // namespace W::test
