/** The rules of the cache of values: how long each cell's content holds, and what ends it. */
#include "net/library_owners.h"
#include "net/nodes/value_cell.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace net
{

namespace
{

/** What a camera changes by itself: always, or unless a switch is off. */
struct SelfChanging {
    const char* feature;
    const char* automatic;
};
constexpr SelfChanging kSelfChanging[] = {{"DeviceTemperature", nullptr},
                                          {"Gain", "GainAuto"},
                                          {"ExposureTime", "ExposureAuto"},
                                          {"BalanceRatio", "BalanceWhiteAuto"}};

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

} // namespace

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
    for (const auto& cell : cells_) { // whose place is known only if its selectors are kept
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

} // namespace net
