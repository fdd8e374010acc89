#include "core/interruption.h"
#include "net/errors.h"
#include "net/nodes/value_cell.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace net
{

namespace
{

using std::chrono::milliseconds;

constexpr milliseconds kUsualInterval(250); ///< of what has no polling time
constexpr milliseconds kShortestInterval(20);
constexpr milliseconds kPause(5);     ///< between two readings in the background
constexpr milliseconds kWanted(3000); ///< for which a value is read after it was asked for
constexpr std::size_t kMaxPositions = 64;

/** Commands after which any feature may have another value. */
constexpr std::string_view kChangeAll[] = {
    "UserSetLoad",
    "DeviceReset",
    "DeviceFactoryReset",
    "DeviceRegistersStreamingEnd",
    "DeviceFeaturePersistenceEnd",
    "SequencerSetLoad",
};

} // namespace

ValueCache::ValueCache(std::function<Clock::time_point()> now) : now_(std::move(now)) {}
ValueCache::~ValueCache() = default;

/** The camera may change it by itself, as things are now. */
bool ValueCache::MayChange(const Cell& cell) const
{
    if (cell.keeping.noCache || cell.changes) {
        return true;
    }
    const auto is = [this](const Cell& other, std::int64_t value) {
        const Kept* const kept = At(other);
        return kept != nullptr && kept->failure == nullptr && kept->value == KnownValue(value);
    };
    if (cell.automatic != nullptr) {
        return !cell.off || !is(*cell.automatic, *cell.off);
    }
    return cell.changesItself && is(cell, *cell.changesItself);
}

/** After which a content is to be read again; 0: it holds until something is written. */
ValueCache::Clock::duration ValueCache::Interval(const Cell& cell) const
{
    if (cell.keeping.pollMs != 0) {
        return std::max(milliseconds(cell.keeping.pollMs), kShortestInterval);
    }
    return MayChange(cell) ? kUsualInterval : milliseconds(0);
}

/** False: not all selectors are known. */
bool ValueCache::Locate(const Cell& cell, Position* position) const
{
    for (std::size_t i = 0; i < cell.selectors.size(); ++i) {
        const Kept* const kept = At(*cell.selectors[i]);
        const auto* const value =
            kept == nullptr ? nullptr : std::get_if<std::int64_t>(&kept->value);
        if (value == nullptr) {
            return false;
        }
        (*position)[i] = *value;
    }
    return true;
}

/** At the present position, be it as old as it may. */
const ValueCache::Kept* ValueCache::At(const Cell& cell) const
{
    Position position{};
    if (cell.kept.empty() || !Locate(cell, &position)) {
        return nullptr;
    }
    for (const Kept& kept : cell.kept) {
        if (kept.position == position) {
            return &kept;
        }
    }
    return nullptr;
}

const ValueCache::Kept* ValueCache::Valid(const Cell& cell) const
{
    const Kept* const kept = At(cell);
    if (kept == nullptr) {
        return nullptr;
    }
    const Clock::duration interval = Interval(cell);
    if (interval == Clock::duration(0)) {
        return kept;
    }
    if (!framesFlow_ && MayChange(cell)) {
        return nullptr;
    }
    const Clock::duration longest = framesFlow_ ? 2 * interval : interval;
    return now_() - kept->at <= longest ? kept : nullptr;
}

void ValueCache::Want(Cell& cell)
{
    if (!framesFlow_ || cell.never || Interval(cell) == Clock::duration(0)) {
        return;
    }
    cell.wantedAt = now_();
    if (!cell.isWanted) {
        cell.isWanted = true;
        wanted_.push_back(&cell);
    }
}

std::optional<KnownValue> ValueCache::Find(Cell& cell)
{
    std::exception_ptr failure;
    {
        const std::lock_guard lock(mutex_);
        Want(cell);
        const Kept* const kept = Valid(cell);
        if (kept == nullptr) {
            return std::nullopt;
        }
        if (kept->failure == nullptr) {
            return kept->value;
        }
        failure = kept->failure;
    }
    std::rethrow_exception(failure);
}

bool ValueCache::Knows(const Cell& cell)
{
    const std::lock_guard lock(mutex_);
    return Valid(cell) != nullptr;
}

bool ValueCache::Has(const Cell& cell, std::int64_t value)
{
    const std::lock_guard lock(mutex_);
    const Kept* const kept = Valid(cell);
    return kept != nullptr && Interval(cell) == Clock::duration(0) &&
           kept->value == KnownValue(value);
}

/** So that what is read can be kept at its place. */
void ValueCache::LetSelectorsBeKnown(Cell& cell)
{
    const auto know = [this](Cell& other) {
        if (!Knows(other)) {
            try {
                Read(other, false);
            } catch (const GenICam_3_0::GenericException&) { // then nothing is kept
            }
        }
    };
    for (Cell* selector : cell.selectors) {
        know(*selector);
    }
    if (cell.automatic != nullptr) {
        know(*cell.automatic);
    }
}

KnownValue ValueCache::Read(Cell& cell, bool ignoreCache)
{
    std::uint64_t epoch = 0;
    bool keeps = false;
    {
        const std::lock_guard lock(mutex_);
        epoch = epoch_;
        keeps = !cell.never && (framesFlow_ || !(cell.keeping.noCache || cell.changes));
    }
    if (keeps) {
        LetSelectorsBeKnown(cell);
    }
    struct Ignoring {
        ValueCache& cache;
        bool before;
        ~Ignoring() { cache.ignoreRegisters_ = before; }
    } const ignoring{*this, std::exchange(ignoreRegisters_, ignoreRegisters_ || ignoreCache)};
    KnownValue value = cell.ask();
    if (keeps) {
        Keep(cell, value, nullptr, epoch);
    }
    return value;
}

void ValueCache::Keep(Cell& cell, KnownValue value, std::exception_ptr failure, std::uint64_t epoch)
{
    const std::lock_guard lock(mutex_);
    Position position{};
    if (cell.never || epoch != epoch_ || !Locate(cell, &position)) {
        return;
    }
    std::erase_if(cell.kept, [&](const Kept& kept) {
        if (kept.position != position) {
            return false;
        }
        if (kept.value != value) { // what it leaves alone from now on may be another than before
            for (Cell* changed : cell.automates) {
                changed->kept.clear();
            }
        }
        return true;
    });
    if (cell.kept.size() >= kMaxPositions) {
        cell.kept.clear();
    }
    cell.kept.push_back({position, std::move(value), std::move(failure), now_()});
}

void ValueCache::Forget(const Affected& affected)
{
    for (Cell* cell : affected.cells) {
        cell->kept.clear();
    }
    for (Register* known : affected.registers) {
        known->bytes.clear();
    }
}

void ValueCache::ForgetAll()
{
    const std::lock_guard lock(mutex_);
    ++epoch_;
    for (const auto& cell : cells_) {
        cell->kept.clear();
    }
    for (Register& known : registers_) {
        known.bytes.clear();
    }
}

ValueCache::Write::Write(ValueCache& cache, ArvGcFeatureNode* feature)
    : cache_(cache),
      changesAll_(std::find(std::begin(kChangeAll), std::end(kChangeAll),
                            arv_gc_feature_node_get_name(feature)) != std::end(kChangeAll))
{
    const std::lock_guard lock(cache_.mutex_);
    epoch_ = cache_.epoch_;
    cache_.writing_ = &cache_.AffectedBy(ARV_GC_NODE(feature));
    cache_.Forget(*cache_.writing_);
}

ValueCache::Write::~Write()
{
    cache_.writing_ = nullptr;
    if (changesAll_) {
        cache_.ForgetAll();
    }
}

void ValueCache::Write::Took(Cell& cell, std::int64_t value)
{
    if (cell.takesWrites) {
        cache_.Keep(cell, value, nullptr, epoch_);
    }
}

void ValueCache::SetFramesFlow(bool flow)
{
    const std::lock_guard lock(mutex_);
    framesFlow_ = flow;
    for (Cell* cell : wanted_) {
        cell->isWanted = false;
    }
    wanted_.clear();
}

ValueCache::Clock::time_point ValueCache::RefreshDue(std::recursive_mutex& device)
{
    Clock::time_point next = Clock::time_point::max();
    Cell* due = nullptr;
    std::uint64_t epoch = 0;
    const Clock::time_point now = now_();
    {
        const std::lock_guard lock(mutex_);
        epoch = epoch_;
        std::erase_if(wanted_, [now](Cell* cell) {
            cell->isWanted = now - cell->wantedAt <
                             std::max<Clock::duration>(kWanted, milliseconds(cell->keeping.pollMs));
            return !cell->isWanted;
        });
        for (Cell* cell : wanted_) {
            const Clock::duration interval = Interval(*cell);
            const Kept* const kept = At(*cell);
            if (interval == Clock::duration(0) || kept == nullptr) {
                continue; // the next access reads it
            }
            if (const auto at = kept->at + interval; at < next) {
                next = at;
                due = cell;
            }
        }
    }
    if (next > now) {
        return next;
    }
    const std::unique_lock lock(device, std::try_to_lock);
    if (lock.owns_lock()) {
        try {
            Read(*due, false);
        } catch (const std::exception&) {
            if (!gevplat::Interruption::IsOn()) { // which is over before anybody asks for the value
                Keep(*due, {}, std::current_exception(), epoch);
            }
        }
    }
    return now_() + kPause;
}

} // namespace net
