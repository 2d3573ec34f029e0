// The commands that exist, and who destroys them. An operation creates a command and registers it here before it passes
// it to the transport. Exactly one of these destroys it: the transport, when the request has ended (release() first);
// the operation, if it fails (destroy() with its ticket); the plug-in object, when it is destroyed (destroyAll()).
#pragma once

#include <cstddef>
#include <mutex>

#include "VorelCommand.h"
#include "WTypes.h"

namespace W::vorel {

/// The commands of one plug-in object, in the order in which they were added. Adding and releasing take constant time
/// and allocate nothing. Commands are destroyed through their virtual destructors, without holding the lock.
/// [any thread]
class CommandRegistry {
public:
    /// Identifies a registration, even if a later command has the same address; never 0.
    using Ticket = UINT64;

    CommandRegistry() = default;
    CommandRegistry(const CommandRegistry&) = delete;
    CommandRegistry& operator=(const CommandRegistry&) = delete;
    ~CommandRegistry() { destroyAll(); }

    /// Adds a command, which the registry then owns. A command that is registered already keeps its ticket.
    Ticket add(VorelServiceCMD* command);

    /// Forgets a live command without destroying it; one that is not registered is ignored.
    void release(VorelServiceCMD* command);

    /// Destroys `command` if it is registered. The pointer is only compared. Takes time proportional to size().
    void destroy(VorelServiceCMD* command);

    /// Destroys `command` if it is still registered with `ticket`. The pointer is only compared: the command may have
    /// been destroyed and its address reused. Takes time proportional to the number of commands added later.
    void destroy(VorelServiceCMD* command, Ticket ticket);

    /// Destroys every command, in the order in which they were added.
    void destroyAll();

    std::size_t size() const;

private:
    /// REQUIRES: m_lock held, `command` registered
    void unlink(VorelServiceCMD* command);

    mutable std::mutex m_lock;
    LinkedList<VorelServiceCMD, &VorelServiceCMD::m_link> m_commands;
    std::size_t m_size = 0;
    Ticket m_lastTicket = 0;
};

}  // namespace W::vorel
