/** What is behind nodes in memory: the camera that an access reaches.
 *
 *  A node brackets each access by Lock and Unlock. Inside, it first calls Enter (is the camera
 *  there?), then checks what it can check by itself, and calls InjectFaults when the access reaches
 *  the camera. Texts for the journal are made only while it is on, so that an access allocates
 *  nothing otherwise. */
#pragma once

#include "injection/node_faults.h"

#include "base/cancellation.h"

namespace genapi
{

class AccessHook
{
public:
    virtual ~AccessHook() = default;
    virtual void Lock() = 0;
    virtual void Unlock() = 0;
    /** Raises TimeoutException when the camera does not answer. Under the lock. */
    virtual void Enter() = 0;
    /** Counts the access as well. May raise anything and may take long. Under the lock. */
    virtual void InjectFaults(injection::AccessKind kind, const char* feature) = 0;
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
