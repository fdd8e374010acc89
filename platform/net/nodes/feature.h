/** What all nodes of a network camera share: access mode, checks in one order, the lock.
 *
 *  Each access makes sure that the camera is there, that the feature's description is sound, and
 *  that the access keeps the rules (genapi/access_rules.h). Then faults are injected, and only then
 *  the library is called, which checks nothing of this, unless the value is known (value_cache.h).
 *  What the description forbids never goes out, verified or not. */
#pragma once

#include "genapi/access_rules.h"
#include "genapi/value_text.h"
#include "injection/node_faults.h"
#include "net/control/device.h"
#include "net/description/description.h"
#include "net/errors.h"
#include "net/nodes/value_cache.h"

#include "base/cancellation.h"

#include <atomic>
#include <fmt/format.h>
#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace net
{

/** One access: not to be cancelled, and the device locked, unless the access needs no camera since
 *  what it asks for is known. */
class AccessScope
{
public:
    explicit AccessScope(const Device& device, bool known = false)
        : lock_(device.Mutex(), std::defer_lock)
    {
        if (!known) {
            lock_.lock();
        }
    }

private:
    base::CancellationGuard hold_; // before the lock, so that it ends after the unlock
    std::unique_lock<std::recursive_mutex> lock_;
};

/** The access mode behind gates. Reads what they depend on; raises what that raises. Whether
 *  the feature is locked doesn't matter to a reader and isn't asked then. Under the lock. */
GenApi_3_0::EAccessMode ModeBehind(const std::vector<Gate>& gates, GenApi_3_0::EAccessMode open,
                                   bool onlyReads, const std::string& name);

/** As the cache has it, or from the camera. */
KnownValue KnownOrRead(const Device& device, ValueCache::Cell& cell, bool ignoreCache);

class Feature
{
public:
    /** `kept`: while the device lives, its values are. */
    Feature(Device& device, ArvGcFeatureNode* node, Facts facts, bool kept = true);
    virtual ~Feature() = default;
    Feature(const Feature&) = delete;
    Feature& operator=(const Feature&) = delete;

    const std::string& Name() const { return name_; }
    const Facts& GetFacts() const { return facts_; }

    // For the map, which sets them once.
    void SetSelectors(std::vector<GenApi_3_0::INode*> selectors)
    {
        selectors_ = std::move(selectors);
    }

protected:
    /** What GetSelector of every node does. */
    GenApi_3_0::INode* SelectorAt(std::size_t index) const
    {
        return index < selectors_.size() ? selectors_[index] : nullptr;
    }
    /** What GetAccessMode of every node does. */
    GenApi_3_0::EAccessMode AskMode() const;

    // With an AccessScope of the caller's.

    /** Of a camera that is gone: as it was asked last. */
    GenApi_3_0::EAccessMode Mode() const;
    /** Start of every read of a value or limit. */
    void BeginRead(bool ignoreCache = false) const;
    /** Whether a read of the cell needs no camera. */
    bool IsKnown(const ValueCache::Cell& cell, bool ignoreCache = false) const
    {
        return !ignoreCache && device_.Values().Knows(cell) &&
               (readMode_ == nullptr || device_.Values().Knows(*readMode_));
    }
    /** The same for the access mode. */
    bool IsModeKnown() const { return mode_ == nullptr || device_.Values().Knows(*mode_); }
    ValueCache::Cell& MakeCell(ValueCache::What what, std::function<KnownValue()> ask,
                               const std::vector<Gate>& gates = {}) const
    {
        return device_.Values().Add(ARV_GC_NODE(node_), what, std::move(ask), gates);
    }
    /** A content of the feature: as it is known, or from the camera. */
    template <class Number> Number Get(ValueCache::Cell& cell, bool ignoreCache = false) const
    {
        return std::get<Number>(KnownOrRead(device_, cell, ignoreCache));
    }
    /** Start of every write: `valueText` and `violation` as genapi::CheckWrite has them. */
    template <class ValueText, class Check>
    void BeginWrite(bool verify, const ValueText& valueText, const Check& violation) const
    {
        RequireUsable();
        genapi::CheckWrite({name_, verify, genapi::Unverified::StaysHere}, Mode(), valueText,
                           violation, [&] { InjectFaults(injection::AccessKind::Write); });
    }
    void InjectFaults(injection::AccessKind kind) const
    {
        device_.InjectFaults(kind, name_.c_str());
    }
    /** The camera is there, and its description of the feature is sound. */
    void RequireUsable() const;
    /** End of every read: `text` gives the value and is asked only while the journal is on. */
    template <class Text> void JournalRead(const char* range, const Text& text) const
    {
        if (injection::JournalIsOn()) {
            injection::JournalRead(name_, range, text());
        }
    }
    /** The same for a number, which it returns. */
    template <class Number> Number Journalled(const char* range, Number value) const
    {
        JournalRead(range, [&] { return genapi::ToText(value); });
        return value;
    }
    /** End of every write that the camera took. */
    template <class Text> void JournalWrite(const Text& text) const
    {
        if (injection::JournalIsOn()) {
            injection::JournalWrite(name_, text());
        }
    }

    /** A call of the library that reads. */
    template <class Call> auto Ask(const Call& call) const
    {
        return Checked(call, [&] { return fmt::format("{} can't be read", name_); });
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
        Raise(*error.Get(), fmt::format("{}: limit can't be read", name_));
    }

    Device& device_;
    ArvGcFeatureNode* node_;

private:
    void RequireSound(const std::string& fault) const;

    std::string name_;
    Facts facts_;
    std::vector<GenApi_3_0::INode*> selectors_;
    mutable std::atomic<GenApi_3_0::EAccessMode> lastMode_;
    // Null where the description alone decides.
    ValueCache::Cell* mode_ = nullptr;
    ValueCache::Cell* readMode_ = nullptr;
};

} // namespace net
