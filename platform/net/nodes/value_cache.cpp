#include "net/nodes/value_cache.h"

#include "core/interruption.h"
#include "net/errors.h"

#include <algorithm>
#include <string_view>
#include <unordered_set>
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

/** What a camera changes by itself: always, or unless a switch is off. */
struct SelfChanging {
    const char* feature;
    const char* automatic;
};
constexpr SelfChanging kSelfChanging[] = {{"DeviceTemperature", nullptr},
                                          {"Gain", "GainAuto"},
                                          {"ExposureTime", "ExposureAuto"},
                                          {"BalanceRatio", "BalanceWhiteAuto"}};

/** Commands after which any feature may have another value. */
constexpr std::string_view kChangeAll[] = {
    "UserSetLoad",
    "DeviceReset",
    "DeviceFactoryReset",
    "DeviceRegistersStreamingEnd",
    "DeviceFeaturePersistenceEnd",
    "SequencerSetLoad",
};

std::optional<std::int64_t> EntryOf(ArvGcNode* enumeration, std::string_view name)
{
    std::optional<std::int64_t> value;
    ForEachChild(enumeration, [&](ArvDomNode* child) {
        if (ARV_IS_GC_ENUM_ENTRY(child) && HasValue(ARV_GC_ENUM_ENTRY(child)) &&
            arv_gc_feature_node_get_name(ARV_GC_FEATURE_NODE(child)) == name) {
            ErrorSlot error;
            const std::int64_t found =
                arv_gc_enum_entry_get_value(ARV_GC_ENUM_ENTRY(child), error.Out());
            value = error ? value : found;
        }
    });
    return value;
}

GQuark CacheQuark()
{
    static const GQuark quark = g_quark_from_static_string("kv-value-cache");
    return quark;
}

} // namespace

struct ValueCache::Kept {
    Position position{};
    KnownValue value;
    std::exception_ptr failure; ///< of a reading in the background
    Clock::time_point at;
};

class ValueCache::Cell
{
public:
    ArvGcNode* feature = nullptr;
    What what = What::Value;
    std::function<KnownValue()> ask;
    std::vector<Gate> gates;

    // Set once, by Begin.
    bool never = true; ///< nothing is ever kept
    Keeping keeping;
    std::vector<Cell*> selectors;
    bool changes = false;                      ///< by itself, always
    Cell* automatic = nullptr;                 ///< changes unless this one is
    std::optional<std::int64_t> off;           ///< so
    std::optional<std::int64_t> changesItself; ///< at this value
    std::vector<Cell*> automates;              ///< those that change unless this one is off
    bool selects = false;                      ///< it is the value of a selector
    bool takesWrites = false; ///< it has what was written, without being read again

    // Under the cache's lock.
    std::vector<Kept> kept;
    Clock::time_point wantedAt;
    bool isWanted = false;

    bool Plain() const
    {
        return !never && !keeping.noCache && keeping.pollMs == 0 && !changes &&
               automatic == nullptr;
    }
};

struct ValueCache::Register {
    Dependencies::Register facts;
    bool selects = false;            ///< keeps the value of a selector
    std::vector<std::uint8_t> bytes; ///< empty: not known

    bool Overlaps(std::uint64_t address, std::size_t size) const
    {
        return address < facts.address + facts.length && facts.address < address + size;
    }
};

struct ValueCache::Affected {
    std::vector<Cell*> cells;
    std::vector<Register*> registers;
    std::unordered_set<ArvGcNode*> written; ///< what the write itself reaches
};

ValueCache::ValueCache(std::function<Clock::time_point()> now) : now_(std::move(now)) {}
ValueCache::~ValueCache() = default;

ValueCache::Cell& ValueCache::Add(ArvGcNode* feature, What what, std::function<KnownValue()> ask,
                                  const std::vector<Gate>& gates)
{
    const std::lock_guard lock(mutex_);
    auto& cell = *cells_.emplace_back(std::make_unique<Cell>());
    cell.feature = feature;
    cell.what = what;
    cell.ask = std::move(ask);
    cell.gates = gates;
    byFeature_[feature].push_back(&cell);
    return cell;
}

ValueCache::Cell* ValueCache::ValueOf(ArvGcNode* feature) const
{
    const auto found = byFeature_.find(feature);
    if (found == byFeature_.end()) {
        return nullptr;
    }
    for (Cell* cell : found->second) {
        if (cell->what == What::Value) {
            return cell;
        }
    }
    return nullptr;
}

void ValueCache::Begin(ArvGc* features, std::unique_ptr<Dependencies> dependencies)
{
    const std::lock_guard lock(mutex_);
    dependencies_ = std::move(dependencies);
    for (const SelfChanging& row : kSelfChanging) {
        ArvGcNode* const feature = arv_gc_get_node(features, row.feature);
        ArvGcNode* const automatic =
            row.automatic == nullptr ? nullptr : arv_gc_get_node(features, row.automatic);
        Cell* const cell = ValueOf(feature);
        Cell* const other = ValueOf(automatic);
        if (cell == nullptr || (row.automatic != nullptr && other == nullptr)) {
            continue;
        }
        cell->changes = row.automatic == nullptr;
        cell->automatic = other;
        dependencies_->AddChanging(feature);
        if (other != nullptr) {
            cell->off = EntryOf(automatic, "Off");
            other->automates.push_back(cell);
            other->changesItself = EntryOf(automatic, "Once");
            dependencies_->AddInvalidator(feature, automatic);
            dependencies_->AddChanging(automatic);
        }
    }
    std::unordered_set<ArvGcNode*> selecting;
    for (const auto& cell : cells_) {
        Settle(*cell);
        for (const Cell* selector : cell->selectors) {
            for (ArvGcNode* node : dependencies_->WrittenBy(selector->feature)) {
                selecting.insert(node);
            }
        }
    }
    for (const auto& cell : cells_) { // whose place can be told only if its selectors are kept
        cell->never =
            cell->never || !std::all_of(cell->selectors.begin(), cell->selectors.end(),
                                        [](const Cell* selector) { return selector->Plain(); });
        cell->selects = cell->what == What::Value && selecting.contains(cell->feature);
        // Another number may be rounded by the camera, whatever its description says.
        cell->takesWrites = cell->what == What::Value && cell->keeping.writeThrough &&
                            !cell->keeping.noCache &&
                            (cell->selects || ARV_IS_GC_ENUMERATION(cell->feature));
    }
    for (const Dependencies::Register& facts : dependencies_->ConstantRegisters()) {
        registers_.push_back({.facts = facts,
                              .selects = facts.writeThrough && selecting.contains(facts.node),
                              .bytes = {}});
    }
}

/** What the description says of a cell. */
void ValueCache::Settle(Cell& cell)
{
    switch (cell.what) {
    case What::Value:
        cell.keeping = dependencies_->OfValue(cell.feature);
        break;
    case What::Limit:
        cell.keeping = dependencies_->OfLimits(cell.feature);
        break;
    case What::Mode:
    case What::ReadMode:
        cell.keeping = dependencies_->OfGates(cell.gates, cell.what == What::ReadMode);
        break;
    }
    if (!cell.keeping.onCamera) {
        cell.never = false;
        return;
    }
    const auto selectors = dependencies_->SelectorsOf(cell.feature);
    cell.never = !selectors;
    for (ArvGcNode* node : selectors.value_or(std::vector<ArvGcNode*>())) {
        if (Cell* const selector = ValueOf(node)) {
            cell.selectors.push_back(selector);
        } else {
            cell.never = true;
        }
    }
}

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

const ValueCache::Affected& ValueCache::AffectedBy(ArvGcNode* feature)
{
    std::unique_ptr<Affected>& affected = affected_[feature];
    if (affected != nullptr) {
        return *affected;
    }
    affected = std::make_unique<Affected>();
    if (dependencies_ == nullptr) {
        return *affected;
    }
    const std::vector<ArvGcNode*> written = dependencies_->WrittenBy(feature);
    affected->written.insert(written.begin(), written.end());
    const std::vector<ArvGcNode*> changed = dependencies_->ChangedBy(feature);
    const std::unordered_set<ArvGcNode*> isChanged(changed.begin(), changed.end());
    Cell* const selector = ValueOf(feature);
    // A selector chooses another content and changes none. Where the description says nothing of
    // caching, any other write may change anything.
    const bool selects = std::any_of(cells_.begin(), cells_.end(), [&](const auto& cell) {
        return std::find(cell->selectors.begin(), cell->selectors.end(), selector) !=
               cell->selectors.end();
    });
    const bool changesAll = dependencies_->SayNothing() && !selects;
    for (const auto& cell : cells_) {
        const bool chosen = std::find(cell->selectors.begin(), cell->selectors.end(), selector) !=
                            cell->selectors.end();
        if (isChanged.contains(cell->feature) ? !chosen : changesAll && !cell->selects) {
            affected->cells.push_back(cell.get());
        }
    }
    for (Register& known : registers_) {
        if (isChanged.contains(known.facts.node) || (changesAll && !known.selects)) {
            affected->registers.push_back(&known);
        }
    }
    return *affected;
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
        cache_.Keep(cell, value, nullptr, cache_.epoch_);
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
        } catch (const GenICam_3_0::GenericException&) {
            if (!gevplat::Interruption::IsOn()) { // which is over before anybody asks for the value
                Keep(*due, {}, std::current_exception(), epoch);
            }
        }
    }
    return now_() + kPause;
}

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
