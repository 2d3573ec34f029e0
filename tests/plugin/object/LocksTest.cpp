// Actions without a lock: printing a line, and destroying commands.

#include <chrono>
#include <future>
#include <memory>
#include <thread>

#include <gtest/gtest.h>

#include "Calls.h"
#include "CommandRegistry.h"

namespace W::test {
namespace {

/// Makes a call on another thread. @return whether it returns while this thread waits; false if it needs a lock that
/// this thread holds
bool returnsMeanwhile(const std::function<void()>& call)
{
    const auto returned = std::make_shared<std::promise<void>>();
    std::future<void> waiting = returned->get_future();
    std::thread([call, returned] {
        call();
        returned->set_value();
    }).detach();
    return waiting.wait_for(std::chrono::seconds(3)) == std::future_status::ready;
}

TEST(Locks, TheLineAboutAnEmptyListIsPrintedWithoutTheRequestLock)
{
    FakeHost host;
    VorelService service("Corvane", WContentProvider("Corvane", 14));
    int printed = 0;
    host.onLine = [&](const std::string& text) {
        if (text.find("Request List is empty") != std::string::npos) {
            ++printed;
            EXPECT_TRUE(returnsMeanwhile([&service] { service.getCancelStatus(1); }));
        }
    };
    EXPECT_EQ(service.setCancelStatus(5), status::kNotFound);
    EXPECT_EQ(printed, 1);
    host.onLine = nullptr;
}

/// A command whose destructor makes another thread call a function that takes a lock.
class Looking final : public VorelServiceCMD {
public:
    Looking(std::function<void()> call, int& destroyed)
        : VorelServiceCMD(WContentProvider("p", 1), nullptr, nullptr), m_call(std::move(call)), m_destroyed(destroyed)
    {}
    Looking(const vorel::CommandRegistry& registry, int& destroyed)
        : Looking([&registry] { static_cast<void>(registry.size()); }, destroyed)
    {}
    ~Looking() override
    {
        ++m_destroyed;
        EXPECT_TRUE(returnsMeanwhile(m_call));
    }

private:
    std::function<void()> m_call;
    int& m_destroyed;
};

TEST(Locks, CommandsAreDestroyedWithoutTheRegistrysLock)
{
    int destroyed = 0;
    vorel::CommandRegistry registry;
    auto* const first = new Looking(registry, destroyed);
    registry.add(first);
    registry.destroy(first);
    EXPECT_EQ(destroyed, 1);
    auto* const second = new Looking(registry, destroyed);
    registry.destroy(second, registry.add(second));
    EXPECT_EQ(destroyed, 2);
    registry.add(new Looking(registry, destroyed));
    registry.add(new Looking(registry, destroyed));
    registry.destroyAll();
    EXPECT_EQ(destroyed, 4);
}

TEST(Locks, CommandsAreDestroyedWithoutTheTransportsLocks)
{
    FakeHost host;
    int destroyed = 0;
    VorelService service("Corvane", WContentProvider("Corvane", 14));
    const auto look = [&service] {
        service.IsAvailableSession();
        service.requestCount();
        service.argsCount();
    };
    const auto finished = [](SESSION_STATUS, const HttpResponse&, VorelServiceCMD*, unsigned long long reference) {
        return reference;
    };
    unsigned long long reference = 0;
    ASSERT_EQ(service.getDataRequest("u", {}, "", new Looking(look, destroyed), reference, finished), 0);
    host.answer(0, session::kCompleted);
    EXPECT_EQ(destroyed, 1);
}

}  // namespace
}  // namespace W::test
