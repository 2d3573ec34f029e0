// Every kind of request at its completion: a command whose callback records its arguments, the handler's name, the
// parser and the order of the results. Replies can be delivered to the command without a request.
#pragma once

#include <functional>
#include <memory>
#include <tuple>

#include "Capture.h"
#include "ParseCases.h"
#include "VorelCommand.h"

namespace W::test {

inline Shown show(const WContentProvider& provider)
{
    return provider.getName();
}

/// The arguments of a callback. Convert `RecordingCallback()` to the callback; the user data must be the address of
/// this.
struct Delivered {
    int calls = 0;
    int status = 12345;
    Shown results;  ///< an array, in the callback's order
    UINT64 reference = 0;
    bool throws = false;         ///< the callback throws after it has recorded its arguments
    std::function<void()> then;  ///< the callback calls it after it has recorded its arguments
    Shown resultsAfterwards;     ///< the results after `then` has returned

    struct RecordingCallback {
        template <class... Arguments>
        operator WCallback<Arguments...>() const
        {
            return [](int given, Arguments... arguments) {
                const auto all = std::forward_as_tuple(arguments...);
                constexpr std::size_t kResults = sizeof...(Arguments) - 2;
                auto& self = *static_cast<Delivered*>(std::get<kResults + 1>(all));
                ++self.calls;
                self.status = given;
                self.reference = std::get<kResults>(all);
                self.results = Shown::array();
                showFirst(all, self.results, std::make_index_sequence<kResults>());
                if (self.then) {
                    self.then();
                    self.resultsAfterwards = Shown::array();
                    showFirst(all, self.resultsAfterwards, std::make_index_sequence<kResults>());
                }
                if (self.throws) {
                    throw 42;
                }
            };
        }

        template <class Tuple, std::size_t... Index>
        static void showFirst(const Tuple& all, Shown& results, std::index_sequence<Index...> /*indices*/)
        {
            (results.push_back(show(std::get<Index>(all))), ...);
        }
    };
};

struct CommandKind {
    unsigned int key;
    const char* handler;
    /// Its row in parserCases(); null if nothing is parsed.
    const char* parser;
    /// The parser's outputs in the order of the callback's arguments.
    std::vector<const char*> results;
    /// @param delivered  null for a command without a callback
    std::function<std::unique_ptr<VorelServiceCMD>(WVorelOAI* owner, Delivered* delivered)> make;
};

/// In the order of the keys, 3 to 51.
const std::vector<CommandKind>& kinds();
const CommandKind& kindOf(unsigned int key);

/// Delivers a reply to a command. @return the result of the completion
UINT64 complete(VorelServiceCMD& command, SESSION_STATUS session, HTTP_RESPONSE_CODE code, const std::string& body,
                UINT64 reference = 4711);

}  // namespace W::test
