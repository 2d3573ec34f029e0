#include "CommandRegistry.h"

#include "VorelCommand.h"

#include <algorithm>

namespace W::vorel {

CommandRegistry::Ticket CommandRegistry::add(VorelServiceCMD* command)
{
    const std::lock_guard<std::mutex> hold(m_lock);
    if (m_inOrder.capacity() <= m_commands.size())
        m_inOrder.reserve(2 * m_commands.size() + 1);
    m_commands.emplace(command, m_uLastTicket + 1);
    return ++m_uLastTicket;
}

void CommandRegistry::release(VorelServiceCMD* command)
{
    const std::lock_guard<std::mutex> hold(m_lock);
    if (const auto found = firstOf(command); found != m_commands.end())
        m_commands.erase(found);
}

void CommandRegistry::destroy(VorelServiceCMD* command)
{
    const std::lock_guard<std::mutex> hold(m_lock);
    if (const auto found = firstOf(command); found != m_commands.end()) {
        m_commands.erase(found);
        delete command;
    }
}

void CommandRegistry::destroy(VorelServiceCMD* command, Ticket ticket)
{
    const std::lock_guard<std::mutex> hold(m_lock);
    const auto [first, last] = m_commands.equal_range(command);
    const auto found = std::find_if(first, last, [ticket](const auto& entry) { return entry.second == ticket; });
    if (found != last) {
        m_commands.erase(found);
        delete command;
    }
}

void CommandRegistry::destroyAll()
{
    const std::lock_guard<std::mutex> hold(m_lock);
    for (const auto& [command, ticket] : m_commands)
        m_inOrder.emplace_back(ticket, command);
    std::sort(m_inOrder.begin(), m_inOrder.end());
    for (const auto& [ticket, command] : m_inOrder)
        delete command;
    m_inOrder.clear();
    m_commands.clear();
}

std::size_t CommandRegistry::size() const
{
    const std::lock_guard<std::mutex> hold(m_lock);
    return m_commands.size();
}

CommandRegistry::Commands::iterator CommandRegistry::firstOf(VorelServiceCMD* command)
{
    const auto [first, last] = m_commands.equal_range(command);
    const auto found =
        std::min_element(first, last, [](const auto& one, const auto& other) { return one.second < other.second; });
    return found == last ? m_commands.end() : found;
}

}  // namespace W::vorel
