/** The camera behind nodes in memory, as the nodes see it.
 *
 *  A node brackets each access with Lock and Unlock. Inside, it first calls Enter (does the camera
 *  answer?), then checks the access rules, and calls InjectFaults when the access reaches the
 *  camera. Texts for the journal are made only while the journal is on; otherwise an access
 *  allocates nothing. */
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
    /** Counts the access and injects the faults armed for it, so it may raise anything and may take
     *  long. Under the lock. */
    virtual void InjectFaults(injection::AccessKind kind, const char* feature) = 0;
};

/** The scope of one access: under the lock and with thread cancellation deferred. */
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
