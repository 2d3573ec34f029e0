#include "RequestTable.h"

#include <new>
#include <utility>

namespace W::vorel {

namespace {

constexpr std::size_t kFewestSlots = 16;

}  // namespace

RequestTable::RequestTable(std::int32_t lastReference) : m_lastReference(lastReference), m_slots(kFewestSlots) {}

bool RequestTable::advance(std::int32_t& counter) const
{
    if (m_size >= static_cast<std::size_t>(m_lastReference)) {
        return false;
    }
    do {
        counter = counter >= m_lastReference ? 1 : counter + 1;
    } while (find(static_cast<UINT64>(counter)) != nullptr);
    return true;
}

void RequestTable::add(VorelRequestInfo* record)
{
    if (m_size >= m_slots.size()) {
        grow();
    }
    VorelRequestInfo*& first = slot(record->reference);
    record->next = first;
    first = record;
    ++m_size;
}

VorelRequestInfo* RequestTable::find(UINT64 reference) const
{
    VorelRequestInfo* record = m_slots[indexOf(reference)];
    while (record != nullptr && record->reference != reference) {
        record = record->next;
    }
    return record;
}

VorelRequestInfo* RequestTable::remove(UINT64 reference)
{
    VorelRequestInfo** link = &slot(reference);
    while (*link != nullptr && (*link)->reference != reference) {
        link = &(*link)->next;
    }
    VorelRequestInfo* const found = *link;
    if (found != nullptr) {
        *link = std::exchange(found->next, nullptr);
        --m_size;
    }
    return found;
}

void RequestTable::grow() noexcept
{
    std::vector<VorelRequestInfo*> few;
    try {
        std::vector<VorelRequestInfo*> more(2 * m_slots.size());
        few.swap(m_slots);
        m_slots.swap(more);
    } catch (const std::bad_alloc&) {
        return;
    }
    for (VorelRequestInfo* record : few) {
        while (record != nullptr) {
            VorelRequestInfo* const next = record->next;
            VorelRequestInfo*& first = slot(record->reference);
            record->next = first;
            first = record;
            record = next;
        }
    }
}

}  // namespace W::vorel
