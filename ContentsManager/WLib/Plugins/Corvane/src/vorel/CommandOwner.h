// What commands and the transport need of the plug-in object, which knows both of them.
#pragma once

#include "WTypes.h"

namespace W {

class VorelServiceCMD;
class WVorelOAI;

namespace vorel {

/// The object that made a command.  [any thread]
class CommandOwner {
public:
    CommandOwner() = default;
    CommandOwner(const CommandOwner&) = delete;
    CommandOwner& operator=(const CommandOwner&) = delete;

    /// Whether a request has been cancelled; false if it is not known, or without a service.
    virtual bool isCancelled(UINT64 reference) const = 0;
    /// Forgets a command that is about to be destroyed.
    virtual void releaseCommand(VorelServiceCMD* command) = 0;

protected:
    ~CommandOwner() = default;
};

/// A plug-in object as the owner of commands. A plug-in object has one base class, so this is a part of it.
CommandOwner& ownerOf(WVorelOAI& object);

}  // namespace vorel
}  // namespace W
