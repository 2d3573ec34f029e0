// The order of the transport's members: first those that other parts of the device know, then the others.

#include <map>

#include <gtest/gtest.h>

#include "FakeHost.h"
#include "VorelService.h"

namespace W::test {
namespace {

using Address = const char* (*)(const VorelService& service);

std::map<int, Address>& addresses()
{
    static std::map<int, Address> s_addresses;
    return s_addresses;
}

/// Records the address of a private member, which an explicit instantiation may name.
template <int number, auto member>
struct Revealed {
    inline static const bool s_noted =
        addresses()
            .emplace(number,
                     [](const VorelService& service) { return reinterpret_cast<const char*>(&(service.*member)); })
            .second;
};

template struct Revealed<0, &VorelService::m_sessionLock>;
template struct Revealed<1, &VorelService::m_requestLock>;
template struct Revealed<2, &VorelService::m_token>;
template struct Revealed<3, &VorelService::m_name>;
template struct Revealed<4, &VorelService::m_session>;
template struct Revealed<5, &VorelService::m_args>;
template struct Revealed<6, &VorelService::m_requests>;
template struct Revealed<7, &VorelService::m_delegator>;
template struct Revealed<8, &VorelService::m_magicID>;
template struct Revealed<9, &VorelService::m_lastReference>;
template struct Revealed<10, &VorelService::m_tokenSecret>;
template struct Revealed<11, &VorelService::m_baseUrl>;
template struct Revealed<12, &VorelService::m_argsCount>;
template struct Revealed<13, &VorelService::m_headerLock>;
template struct Revealed<14, &VorelService::m_header>;
template struct Revealed<15, &VorelService::m_life>;

TEST(Layout, MembersOfTheTransportAreInTheirOrder)
{
    FakeHost host;
    const VorelService service("Corvane", WContentProvider("Corvane", 14));
    constexpr int kLastStated = 9;
    const char* const last = addresses().at(kLastStated)(service);
    for (const auto& [number, address] : addresses()) {
        SCOPED_TRACE(number);
        if (number > kLastStated) {
            EXPECT_GT(address(service), last);
        } else if (number > 0) {
            EXPECT_GT(address(service), addresses().at(number - 1)(service));
        }
    }
}

}  // namespace
}  // namespace W::test
