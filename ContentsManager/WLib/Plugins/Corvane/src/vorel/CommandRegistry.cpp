#include "CommandRegistry.h"

#include <memory>

namespace W::vorel {

CommandRegistry::Ticket CommandRegistry::add(VorelServiceCMD* command)
{
    const std::lock_guard<std::mutex> hold(m_lock);
    if (command->m_ticket == 0) {
        command->m_ticket = ++m_lastTicket;
        m_commands.append(command);
        ++m_size;
    }
    return command->m_ticket;
}

void CommandRegistry::release(VorelServiceCMD* command)
{
    const std::lock_guard<std::mutex> hold(m_lock);
    if (command->m_ticket != 0) {
        unlink(command);
    }
}

void CommandRegistry::destroy(VorelServiceCMD* command)
{
    // Declared before the lock, so that the command is destroyed after the lock is released.
    std::unique_ptr<VorelServiceCMD> found;
    const std::lock_guard<std::mutex> hold(m_lock);
    if (m_commands.contains(command)) {
        unlink(command);
        found.reset(command);
    }
}

void CommandRegistry::destroy(VorelServiceCMD* command, Ticket ticket)
{
    std::unique_ptr<VorelServiceCMD> found;
    const std::lock_guard<std::mutex> hold(m_lock);
    VorelServiceCMD* last = m_commands.back();
    while (last != nullptr && last->m_ticket > ticket) {
        last = m_commands.previous(last);
    }
    if (last != nullptr && last->m_ticket == ticket && last == command) {
        unlink(command);
        found.reset(command);
    }
}

void CommandRegistry::destroyAll()
{
    VorelServiceCMD* command = nullptr;
    {
        const std::lock_guard<std::mutex> hold(m_lock);
        command = m_commands.takeAll();
        m_size = 0;
        for (VorelServiceCMD* each = command; each != nullptr; each = m_commands.next(each)) {
            each->m_ticket = 0;
        }
    }
    while (command != nullptr) {
        const std::unique_ptr<VorelServiceCMD> first(command);
        command = m_commands.next(command);
    }
}

std::size_t CommandRegistry::size() const
{
    const std::lock_guard<std::mutex> hold(m_lock);
    return m_size;
}

void CommandRegistry::unlink(VorelServiceCMD* command)
{
    m_commands.remove(command);
    command->m_ticket = 0;
    --m_size;
}

}  // namespace W::vorel
