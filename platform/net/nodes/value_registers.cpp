/** The registers under the cache of values. */
#include "net/nodes/value_cell.h"

#include <algorithm>
#include <utility>

namespace net
{

namespace
{

GQuark CacheQuark()
{
    static const GQuark quark = g_quark_from_static_string("kv-value-cache");
    return quark;
}

} // namespace

bool ValueCache::FindRegister(std::uint64_t address, std::span<std::uint8_t> bytes)
{
    if (ignoreRegisters_) {
        return false;
    }
    const std::lock_guard lock(mutex_);
    for (const Register& known : registers_) {
        if (known.facts.address == address && known.bytes.size() == bytes.size()) {
            std::copy(known.bytes.begin(), known.bytes.end(), bytes.begin());
            return true;
        }
    }
    return false;
}

void ValueCache::KeepRegister(std::uint64_t address, std::span<const std::uint8_t> bytes)
{
    const std::lock_guard lock(mutex_);
    for (const Register& known : registers_) { // the strictest of those at one place counts
        if (known.Overlaps(address, bytes.size()) && !known.facts.keepable) {
            return;
        }
    }
    for (Register& known : registers_) {
        if (known.facts.address == address && known.facts.length == bytes.size()) {
            known.bytes.assign(bytes.begin(), bytes.end());
        }
    }
}

void ValueCache::WriteRegister(std::uint64_t address, std::size_t size)
{
    const std::lock_guard lock(mutex_);
    for (Register& known : registers_) {
        if (known.Overlaps(address, size)) {
            known.bytes.clear();
            if (writing_ == nullptr || !writing_->written.contains(known.facts.node)) {
                Forget(AffectedBy(known.facts.node));
            }
        }
    }
}

void ValueCache::WroteRegister(std::uint64_t address, std::span<const std::uint8_t> bytes)
{
    if (writing_ == nullptr) {
        return;
    }
    const std::lock_guard lock(mutex_);
    const auto written = std::find_if(registers_.begin(), registers_.end(), [&](const auto& known) {
        return known.selects && known.facts.address == address &&
               known.facts.length == bytes.size() && writing_->written.contains(known.facts.node);
    });
    const bool keepable =
        std::all_of(registers_.begin(), registers_.end(), [&](const Register& known) {
            return known.facts.keepable || !known.Overlaps(address, bytes.size());
        });
    if (written != registers_.end() && keepable) {
        written->bytes.assign(bytes.begin(), bytes.end());
    }
}

void ReadThrough(ArvDevice* device, std::shared_ptr<ValueCache> cache)
{
    using Owner = std::shared_ptr<ValueCache>;
    g_object_set_qdata_full(G_OBJECT(device), CacheQuark(), new Owner(std::move(cache)),
                            [](gpointer owner) { delete static_cast<Owner*>(owner); });
}

ValueCache* CacheOf(ArvDevice* device)
{
    const auto* const owner = static_cast<std::shared_ptr<ValueCache>*>(
        g_object_get_qdata(G_OBJECT(device), CacheQuark()));
    return owner == nullptr ? nullptr : owner->get();
}

} // namespace net
