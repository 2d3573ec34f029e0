// A content provider as the host sees it: its identity and the four account operations that every provider offers.
#pragma once

#include <list>
#include <string>

#include "WContentProvider.h"
#include "WPlugin.h"
#include "WRequestStatus.h"

#pragma GCC visibility push(default)
namespace W {

class WException;

class WAbstractOAI : public WPlugin {
public:
    using LoginCallback = void (*)(int status, const WContentProvider& provider, const std::string& id,
                                   const std::string& name, void* userData);
    using LogoutCallback = void (*)(int status, const WContentProvider& provider, void* userData);
    using ResolveCallback = void (*)(int status, WException* exception, void* userData);

    /// Signs the account in.  [host thread]
    virtual int login(const std::string& id, const std::string& password, LoginCallback done, void* userData,
                      WRequestStatus& out) = 0;
    /// Signs the account out.  [host thread]
    virtual int logout(LogoutCallback done, void* userData, WRequestStatus& out) = 0;
    /// Lists the problems that keep the account from the content.  [host thread]
    virtual int retrieveExceptions(std::list<WException*>& exceptions) = 0;
    /// Resolves one of them.  [host thread]
    virtual int resolveException(WException* exception, ResolveCallback done, void* userData, WRequestStatus& out) = 0;

    /// The provider of this object.  [any thread]
    const WContentProvider& getContentProvider() const { return m_provider; }

protected:
    WContentProvider m_provider;
};

}  // namespace W
#pragma GCC visibility pop
