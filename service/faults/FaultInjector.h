// For tests of clients: delays, damages or withholds replies if the operator requests it. The faults are the rows of
// kFaultKinds in FaultInjector.cpp.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "ExchangeHook.h"

namespace corvaned {

/// One rule: the fault of the replies of one path.
struct InjectedFault {
    std::string path;       // "channel/schedule", "/openapi/service/..." or "*"
    std::size_t kind = 0;   // row of kFaultKinds
    std::int64_t argument;  // its meaning depends on the kind

    /// Reads "channel/schedule=delay 500" or "*=reset".
    /// @throws OperatorError
    static InjectedFault parse(const std::string& text);

    /// Whether the rule is for that path. Compares whole segments: "conf" is for /conf and /conf/server, but not for
    /// /config.
    bool concerns(std::string_view requestPath) const;
};

/// Changes replies according to its rules.  [any thread]
class FaultInjector final : public http::ExchangeHook {
public:
    /// @param faults  as InjectedFault::parse reads them; if several are for one path, the first counts
    /// @throws OperatorError
    explicit FaultInjector(const std::vector<std::string>& faults);

    void alter(const http::Request& request, http::Reply& reply) override;
    void deliver(const http::Request& request, std::string& bytes, http::ReplyDelivery& delivery) override;

private:
    const InjectedFault* faultOf(std::string_view path) const;

    std::vector<InjectedFault> m_faults;
};

}  // namespace corvaned
