// The requests: one row per call of an operation, with the exact bytes of every request that it sends under different
// settings. The rows are in RequestRows<Family>.cpp; RequestTest.cpp runs them.
#pragma once

#include <functional>
#include <list>
#include <string>
#include <vector>

#include "Capture.h"
#include "WVorelOAI.h"

namespace W::test {

using Strings = std::list<std::string>;
using Numbers = std::list<int>;

/// One request of a call.
struct Wire {
    /// Changes to the settings of setAllOptions(), for example "country=" or "country= language=".
    const char* settings;
    /// The URL after the base address and "/openapi/service/vorel/"; if it begins with "/", the URL after the base
    /// address; if it contains "://", the whole URL. Null if the call is refused with -1.
    const char* url;
    const char* body = "";
};

/// One call. An empty country, language, headend or device without a row changes nothing: that is tested too, so the
/// rows are complete.
struct RequestRow {
    const char* operation;
    const char* what;  ///< describes the arguments, in CapWords
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
