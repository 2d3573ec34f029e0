// Which commands are alive and who destroys them. A command is created by its operation, registered here before it is
// handed to the transport, and destroyed by exactly one of: the transport, when its request is over (release() first);
// the operation, when it fails (destroy() with its ticket); the plug-in object, when it goes (destroyAll()).
#pragma once

#include "WTypes.h"

#include <mutex>
#include <unordered_map>
#include <utility>
#include <vector>

namespace W {

class VorelServiceCMD;

namespace vorel {

/// The commands of one plug-in object. Finding one costs the same however many there are. Commands are destroyed
/// through their virtual destructors.  [any thread]
class CommandRegistry {
public:
    /// Tells two registrations apart, also of commands at the same address one after the other; never 0.
    using Ticket = UINT64;

    CommandRegistry() = default;
    CommandRegistry(const CommandRegistry&) = delete;
    CommandRegistry& operator=(const CommandRegistry&) = delete;
    ~CommandRegistry() { destroyAll(); }

    /// Adds a command, which the registry then owns. There is no check for duplicates.
    /// @throws std::bad_alloc, and the command stays the caller's
    Ticket add(VorelServiceCMD* command);

    /// Forgets a live command without destroying it; one that is not registered is ignored.
    void release(VorelServiceCMD* command);

    /// Destroys the first registration of `command`; nothing happens without one.
    void destroy(VorelServiceCMD* command);

    /// Destroys `command` if it still stands under `ticket`. The pointer is only compared: the command may be gone and
    /// its address in use again.
    void destroy(VorelServiceCMD* command, Ticket ticket);

    /// Destroys every command, in the order in which they were added.
    void destroyAll();

    std::size_t size() const;

    /// The lock, for small values that operations and completions share besides the commands.
    std::mutex& mutex() const { return m_lock; }

private:
    using Commands = std::unordered_multimap<VorelServiceCMD*, Ticket>;

    /// The first registration of a command; the end when there is none.  REQUIRES: m_lock held
    Commands::iterator firstOf(VorelServiceCMD* command);

    mutable std::mutex m_lock;
    Commands m_commands;
    std::vector<std::pair<Ticket, VorelServiceCMD*>> m_inOrder;  ///< room for destroyAll(), which asks for no memory
    Ticket m_uLastTicket = 0;
};

}  // namespace vorel
}  // namespace W
