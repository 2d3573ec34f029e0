// What commands and the transport need from the plug-in object. It knows both; they do not know it.
#pragma once

#include "WTypes.h"

namespace W {

class VorelServiceCMD;
class WVorelOAI;

namespace vorel {

/// The object that created a command.  [any thread]
class CommandOwner {
public:
    CommandOwner() = default;
    CommandOwner(const CommandOwner&) = delete;
    CommandOwner& operator=(const CommandOwner&) = delete;

    /// Whether a request has been cancelled; false if it is unknown or there is no service.
    virtual bool isCancelled(UINT64 reference) const = 0;
    /// Forgets a command that is about to be destroyed.
    virtual void releaseCommand(VorelServiceCMD* command) = 0;

protected:
    ~CommandOwner() = default;
};

/// The owner that a plug-in object contains. It is not a second base class: the object's layout allows only one.
CommandOwner& ownerOf(WVorelOAI& object);

}  // namespace vorel
}  // namespace W
