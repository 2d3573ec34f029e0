// Which commands are alive and who destroys them. A command is created by its operation, registered here before it is
// handed to the transport, and destroyed by exactly one of: the transport, when its request is over (release() first);
// the operation, when it fails (destroy() with its ticket); the plug-in object, when it is destroyed (destroyAll()).
#pragma once

#include <cstddef>
#include <mutex>

#include "VorelCommand.h"
#include "WTypes.h"

namespace W::vorel {

/// The commands of one plug-in object, in the order in which they were added. Adding and releasing cost the same
/// however many there are, and ask for no memory. Commands are destroyed through their virtual destructors and without
/// the lock.  [any thread]
class CommandRegistry {
public:
    /// Tells two registrations apart, also of commands at the same address one after the other; never 0.
    using Ticket = UINT64;

    CommandRegistry() = default;
    CommandRegistry(const CommandRegistry&) = delete;
    CommandRegistry& operator=(const CommandRegistry&) = delete;
    ~CommandRegistry() { destroyAll(); }

    /// Adds a command, which the registry then owns. One that is registered already keeps its ticket.
    Ticket add(VorelServiceCMD* command);

    /// Forgets a live command without destroying it; one that is not registered is ignored.
    void release(VorelServiceCMD* command);

    /// Destroys `command` if it is registered. The pointer is only compared. Looks at one command after the other.
    void destroy(VorelServiceCMD* command);

    /// Destroys `command` if it is still registered with `ticket`. The pointer is only compared: the command may be
    /// gone and its address in use again. Looks at the commands that were added later, and at no others.
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
