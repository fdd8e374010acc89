/** What all nodes of a network camera share: access mode, checks in one order, the lock.
 *
 *  Each access goes: the camera is there, its description is sound, the access mode allows it, the
 *  value fits, and only then the library is called, which checks nothing of this. What the
 *  description forbids never goes out: some cameras keep silent on it for seconds. An unverified
 *  write of that raises RuntimeException, as the refusal of a camera would. */
#pragma once

#include "net/control/device.h"
#include "net/description/description.h"
#include "net/errors.h"

#include "base/cancellation.h"

#include <mutex>
#include <string>

namespace net
{

/** One access: not to be cancelled, and the device locked. */
class AccessScope
{
public:
    explicit AccessScope(const Device& device) : lock_(device.Mutex()) {}

private:
    base::CancellationGuard hold_; // before the lock, so that it ends after the unlock
    std::lock_guard<std::recursive_mutex> lock_;
};

/** The access mode behind gates. Reads what they depend on; raises what that raises. Locks don't
 *  matter to who only reads: they are not asked then. Under the lock. */
GenApi_3_0::EAccessMode ModeBehind(const std::vector<Gate>& gates, GenApi_3_0::EAccessMode open,
                                   bool onlyReads, const std::string& name);

class Feature
{
public:
    Feature(Device& device, ArvGcFeatureNode* node, Facts facts);
    virtual ~Feature() = default;
    Feature(const Feature&) = delete;
    Feature& operator=(const Feature&) = delete;

    const std::string& Name() const { return name_; }
    const Facts& Says() const { return facts_; }

protected:
    // With a scope of the caller's.

    /** Of a camera that is gone: as it was asked last. */
    GenApi_3_0::EAccessMode Mode() const;
    void BeginRead() const;
    void BeginWrite() const;

    /** `misfit` gives "" or why the camera can't take the value, raised as `Refusal` or,
     *  unverified, as RuntimeException. `text` gives the value. */
    template <class Refusal, class Text, class Misfit>
    void CheckWrite(bool verify, const Text& text, const Misfit& misfit) const
    {
        BeginWrite();
        if (!GenApi_3_0::IsWritable(Mode())) {
            Refuse<GenICam_3_0::AccessException>(verify, text, "not writable now");
        }
        const std::string why = misfit();
        if (!why.empty()) {
            Refuse<Refusal>(verify, text, why);
        }
    }

    template <class Refusal, class Text>
    [[noreturn]] void Refuse(bool verify, const Text& text, const std::string& why) const
    {
        const std::string attempt = name_ + " = " + text() + ": ";
        if (verify) {
            throw Refusal(attempt + why);
        }
        throw GenICam_3_0::RuntimeException(attempt + "refused, " + why);
    }

    /** A call of the library that reads. */
    template <class Call> auto Ask(const Call& call) const
    {
        return Checked(call, [&] { return name_ + " can't be read"; });
    }

    /** A limit, or `none` where the description gives none. */
    template <class Number, class Call> Number Limit(Number none, const Call& call) const
    {
        RequireSound(facts_.limitFault);
        ErrorSlot error;
        const Number limit = call(error.Out());
        if (!error) {
            return limit;
        }
        if (g_error_matches(error.Get(), ARV_GC_ERROR, ARV_GC_ERROR_PROPERTY_NOT_DEFINED) != 0) {
            return none;
        }
        Raise(*error.Get(), name_ + ": limit can't be read");
    }

    Device& device_;
    ArvGcFeatureNode* node_;

private:
    void RequireSound(const std::string& fault) const;

    std::string name_;
    Facts facts_;
    mutable GenApi_3_0::EAccessMode lastMode_;
};

} // namespace net
