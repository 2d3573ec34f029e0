// A Client on a plug-in object, and a host that answers when the test tells it to.
#pragma once

#include <memory>

#include "Calls.h"
#include "corvane/client.h"

namespace W::test {

inline constexpr const char* kAgreement = R"({"rsp":{"stat":"OK","reg_info":{"status":"agreed","confirmed":"yes"}}})";
inline constexpr const char* kHeadends = R"({"rsp":{"stat":"OK","mso":[{"id":"m1"},{"id":"m2"}]}})";

inline constexpr const char* kNoProgrammes = R"({"rsp":{"stat":"OK","channel":[]}})";

/// An operation that can be cancelled.
inline corvane::Call<std::list<WVLContent>> callSchedule(corvane::Client& client)
{
    return client.call(&WCorvaneOAI::getSchedule, std::list<std::string>{"a"}, 0UL, 3, std::list<int>{1});
}

/// The status with which a call fails; 0 if it succeeds.
template <class Call>
int statusOf(Call& call)
{
    try {
        call.get();
        return 0;
    } catch (const corvane::Error& error) {
        return error.status();
    }
}

struct ClientOnFakeHost {
    ClientOnFakeHost()
    {
        setAllOptions(host);
        auto object = std::make_shared<WVorelOAI>();
        openSession(*object);
        setClock(*object);
        client = std::make_unique<corvane::Client>(std::move(object));
    }
    FakeHost host;
    std::unique_ptr<corvane::Client> client;
};

}  // namespace W::test
