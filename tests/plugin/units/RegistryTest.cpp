// The command registry: every command is destroyed exactly once.

#include <vector>

#include <gtest/gtest.h>

#include "CommandRegistry.h"
#include "FakeHost.h"
#include "VorelCommand.h"

namespace W::test {
namespace {

using vorel::CommandRegistry;

class Watched final : public VorelServiceCMD {
public:
    explicit Watched(int& destroyed)
        : VorelServiceCMD(WContentProvider("p", 1), nullptr, nullptr), m_destroyed(destroyed)
    {}
    ~Watched() override { ++m_destroyed; }

private:
    int& m_destroyed;
};

TEST(Registry, DestroysARegisteredCommandOnce)
{
    int destroyed = 0;
    CommandRegistry registry;
    auto* const command = new Watched(destroyed);
    registry.add(command);
    registry.destroy(command);
    EXPECT_EQ(destroyed, 1);
    EXPECT_EQ(registry.size(), 0u);
    registry.destroy(command);
    EXPECT_EQ(destroyed, 1);
}

TEST(Registry, NullAndUnknownCommandsChangeNothing)
{
    int destroyed = 0;
    CommandRegistry registry;
    registry.add(new Watched(destroyed));
    registry.destroy(nullptr);
    Watched unknown(destroyed);
    registry.destroy(&unknown);
    registry.release(&unknown);
    EXPECT_EQ(registry.size(), 1u);
    EXPECT_EQ(destroyed, 0);
}

TEST(Registry, ACommandIsRegisteredOnce)
{
    int destroyed = 0;
    CommandRegistry registry;
    auto* const command = new Watched(destroyed);
    const CommandRegistry::Ticket ticket = registry.add(command);
    EXPECT_EQ(registry.add(command), ticket);
    EXPECT_EQ(registry.size(), 1u);
    registry.destroy(command);
    EXPECT_EQ(destroyed, 1);
    EXPECT_EQ(registry.size(), 0u);
    registry.destroy(command);  // the pointer is only compared
    EXPECT_EQ(destroyed, 1);
}

TEST(Registry, RemovesCommandsFromAnyPlace)
{
    int destroyed = 0;
    CommandRegistry registry;
    std::vector<Watched*> commands;
    std::vector<CommandRegistry::Ticket> tickets;
    for (int count = 0; count < 5; ++count) {
        commands.push_back(new Watched(destroyed));
        tickets.push_back(registry.add(commands.back()));
    }
    registry.destroy(commands[2]);
    registry.destroy(commands[0], tickets[0]);
    registry.destroy(commands[0], tickets[0]);
    registry.destroy(commands[4], tickets[3]);  // another command's ticket
    EXPECT_EQ(destroyed, 2);
    registry.destroy(commands[4], tickets[4]);
    EXPECT_EQ(destroyed, 3);
    EXPECT_EQ(registry.size(), 2u);
    registry.release(commands[1]);
    delete commands[1];
    registry.destroyAll();
    EXPECT_EQ(destroyed, 5);
}

TEST(Registry, ReleaseForgetsWithoutDestroying)
{
    int destroyed = 0;
    CommandRegistry registry;
    Watched command(destroyed);
    registry.add(&command);
    registry.release(&command);
    EXPECT_EQ(registry.size(), 0u);
    EXPECT_EQ(destroyed, 0);
}

TEST(Registry, ATicketDoesNotReachALaterCommandAtTheSameAddress)
{
    int destroyed = 0;
    CommandRegistry registry;
    auto* const command = new Watched(destroyed);
    const CommandRegistry::Ticket first = registry.add(command);
    registry.release(command);
    const CommandRegistry::Ticket second = registry.add(command);
    registry.destroy(command, first);
    EXPECT_EQ(destroyed, 0);
    registry.destroy(command, second);
    EXPECT_EQ(destroyed, 1);
}

TEST(Registry, DestroysWhatIsLeft)
{
    int destroyed = 0;
    {
        CommandRegistry registry;
        for (int count = 0; count < 3; ++count) {
            registry.add(new Watched(destroyed));
        }
        registry.destroyAll();
        EXPECT_EQ(destroyed, 3);
        registry.add(new Watched(destroyed));
    }
    EXPECT_EQ(destroyed, 4);
}

TEST(Command, CarriesProviderAndKind)
{
    FakeHost host;
    const WContentProvider provider("Corvane", 14);
    const VorelGetGuideCMD command(nullptr, nullptr, nullptr, provider);
    EXPECT_EQ(command.getCPKey(), provider.getID());
    EXPECT_EQ(command.getCMDKey(), 25u);
    EXPECT_EQ(command.getID(), (std::uint64_t{provider.getID()} << 32) + 25);
}

TEST(Command, HasNoKindBeforeADerivedConstructorHasRun)
{
    int destroyed = 0;
    EXPECT_EQ(Watched(destroyed).getCMDKey(), 0xFFFFFFFFu);
}

TEST(Command, SendLikeRemembersItsType)
{
    FakeHost host;
    const WContentProvider provider("Corvane", 14);
    VorelSendLikeCMD command(nullptr, nullptr, nullptr, provider);
    EXPECT_EQ(command.GetType(), "");
    command.MakeURL("id", "7", "dislike", provider);
    EXPECT_EQ(command.GetType(), "dislike");
}

TEST(Command, DownloadKeepsItsStringsAndNoUrl)
{
    FakeHost host;
    const WContentProvider provider("Corvane", 14);
    VorelDownloadCMD command(nullptr, nullptr, nullptr, provider);
    command.MakeURL("http://h/f", "/d/f", "f");
    EXPECT_EQ(command.url(), "");
    EXPECT_EQ(command.body(), "");
    EXPECT_EQ(command.takeLocalPath(), "/d/f");
    EXPECT_TRUE(host.hasLine("[MakeURL] URL:[]\n"));
}

}  // namespace
}  // namespace W::test
