/** What stands behind in-memory nodes: the camera that an access reaches.
 *
 *  A node brackets each access by Lock and Unlock. Inside, it calls Enter first (is the camera
 *  there?), checks what it can check by itself, and calls Strike when the access reaches the camera
 *  (it is counted; scripted faults strike). What was done is recorded only while somebody wants to
 *  read it, so that an access allocates nothing otherwise. */
#pragma once

#include "gen_api.h"

#include "base/cancellation.h"

#include <string>

namespace genapi
{

enum class AccessKind { Read, Write };

class AccessHook
{
public:
    virtual ~AccessHook() = default;
    virtual void Lock() = 0;
    virtual void Unlock() = 0;
    /** Raises TimeoutException when the camera does not answer. Under the lock. */
    virtual void Enter() = 0;
    /** May raise anything and may take long. Under the lock. */
    virtual void Strike(AccessKind kind, const char* feature) = 0;
    virtual bool Recording() const = 0;
    /** `kind` as in the journal: "cam", "read", "mode". */
    virtual void Record(const char* kind, std::string text) = 0;
};

/** One access: locked, and not to be cancelled. */
class AccessScope
{
public:
    explicit AccessScope(AccessHook& hook) : hook_(hook) { hook_.Lock(); }
    ~AccessScope() { hook_.Unlock(); }
    AccessScope(const AccessScope&) = delete;
    AccessScope& operator=(const AccessScope&) = delete;

private:
    base::CancellationGuard hold_; // before the lock, so that it ends after the unlock
    AccessHook& hook_;
};

} // namespace genapi
