// The records of live requests, by reference. Used by VorelService under its request lock.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "WTypes.h"

namespace W {

class HttpRequest;
struct VorelServiceArgs;

/// One live request.
struct VorelRequestInfo {
    HttpRequest* request = nullptr;  ///< owned; holds the block, and the record with it
    bool cancelFlag = false;
    bool requestedFlag = false;   ///< the executor has accepted it
    bool respondedFlag = false;   ///< it ended, and not by being cancelled
    std::uint32_t requestID = 0;  ///< key of its command
    UINT64 reference = 0;
    VorelServiceArgs* args = nullptr;
    UINT64 spare[2] = {0, 0};
    bool cancelledFirst = false;       ///< cancel() returned 600 before it responded: its callback gets 600
    VorelRequestInfo* next = nullptr;  ///< in the same slot of the table
};

namespace vorel {

/// Records by reference. Finding one takes constant time, and adding one never fails. References run from 1 to a last
/// one and then start again. Owns nothing.  [one thread at a time]
class RequestTable {
public:
    /// @param lastReference  at least 1
    explicit RequestTable(std::int32_t lastReference);
    RequestTable(const RequestTable&) = delete;
    RequestTable& operator=(const RequestTable&) = delete;

    /// Advances a counter to the next reference that is not in use.
    /// @return false if all of them are; the counter is unchanged then
    bool advance(std::int32_t& counter) const;

    /// Adds a record under its reference, which must not be in use.
    void add(VorelRequestInfo* record);

    /// @return null if there is none
    VorelRequestInfo* find(UINT64 reference) const;

    /// Removes a record. @return null if there is none
    VorelRequestInfo* remove(UINT64 reference);

    std::size_t size() const { return m_size; }

    /// Calls `each` with every record, in no particular order; `each` may free it.
    template <class Each>
    void forEach(Each each) const
    {
        for (VorelRequestInfo* first : m_slots) {
            for (VorelRequestInfo* record = first; record != nullptr;) {
                VorelRequestInfo* const next = record->next;
                each(*record);
                record = next;
            }
        }
    }

private:
    std::size_t indexOf(UINT64 reference) const { return static_cast<std::size_t>(reference) & (m_slots.size() - 1); }
    VorelRequestInfo*& slot(UINT64 reference) { return m_slots[indexOf(reference)]; }
    /// Doubles the number of slots; without memory for that, each slot holds more records.
    void grow() noexcept;

    std::int32_t m_lastReference;
    std::size_t m_size = 0;
    std::vector<VorelRequestInfo*> m_slots;  ///< a power of two of them; consecutive references spread evenly
};

}  // namespace vorel
}  // namespace W
