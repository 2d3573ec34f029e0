// What an operation reports to its caller at once, before any result: key, reference and status of the request.
#pragma once

#include "WTypes.h"

#pragma GCC visibility push(default)
namespace W {

/// Filled by an operation before it returns; owned by the caller.
/// Virtual, so that a host can observe what is written and how often.
class WRequestStatus {
public:
    virtual ~WRequestStatus() = default;

    virtual void setRequestID(unsigned int kind) { m_uRequestID = kind; }
    virtual void setReqRefernce(UINT64 reference) { m_reference = reference; }
    virtual void setWStatus(WSTATUS status) { m_status = status; }

    /// Key of the request's kind.
    unsigned int getRequestID() const { return m_uRequestID; }
    /// Reference for cancelling the request; 0 if there is none.
    UINT64 getReqRefernce() const { return m_reference; }
    WSTATUS getWStatus() const { return m_status; }

private:
    UINT64 m_reference = 0;
    unsigned int m_uRequestID = 0;
    WSTATUS m_status = 0;
};

}  // namespace W
#pragma GCC visibility pop
