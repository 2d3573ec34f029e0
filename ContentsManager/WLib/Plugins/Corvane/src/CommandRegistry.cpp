#include "CommandRegistry.h"

#include "VorelCommand.h"

namespace W::vorel {

CommandRegistry::Ticket CommandRegistry::add(VorelServiceCMD* command)
{
    const std::lock_guard<std::mutex> hold(m_lock);
    m_nodes.push_back({command, ++m_uLastTicket});
    try {
        m_index.emplace(command, std::prev(m_nodes.end()));
    } catch (...) {
        m_nodes.pop_back();
        throw;
    }
    return m_uLastTicket;
}

void CommandRegistry::release(VorelServiceCMD* command)
{
    const std::lock_guard<std::mutex> hold(m_lock);
    if (const auto found = m_index.find(command); found != m_index.end())
        unlink(found);
}

void CommandRegistry::destroy(VorelServiceCMD* command)
{
    const std::lock_guard<std::mutex> hold(m_lock);
    if (const auto found = m_index.find(command); found != m_index.end()) {
        unlink(found);
        delete command;
    }
}

void CommandRegistry::destroy(VorelServiceCMD* command, Ticket ticket)
{
    const std::lock_guard<std::mutex> hold(m_lock);
    const auto [first, last] = m_index.equal_range(command);
    for (auto found = first; found != last; ++found) {
        if (found->second->uTicket == ticket) {
            unlink(found);
            delete command;
            return;
        }
    }
}

void CommandRegistry::destroyAll()
{
    const std::lock_guard<std::mutex> hold(m_lock);
    for (const Node& node : m_nodes)
        delete node.pCommand;
    m_nodes.clear();
    m_index.clear();
}

std::size_t CommandRegistry::size() const
{
    const std::lock_guard<std::mutex> hold(m_lock);
    return m_nodes.size();
}

void CommandRegistry::unlink(Index::iterator found)
{
    m_nodes.erase(found->second);
    m_index.erase(found);
}

}  // namespace W::vorel
