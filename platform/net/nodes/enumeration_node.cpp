#include "net/nodes/nodes.h"

#include "genapi/value_text.h"

#include <algorithm>
#include <atomic>
#include <utility>

namespace net
{

using GenApi_3_0::EAccessMode;
using GenApi_3_0::gcstring;

class EnumerationNode::Entry : public GenApi_3_0::IEnumEntry
{
public:
    Entry(const EnumerationNode& owner, std::string symbolic, std::int64_t value,
          std::vector<Gate> gates, bool sound)
        : owner_(owner), symbolic_(std::move(symbolic)), value_(value), gates_(std::move(gates)),
          open_(sound ? GenApi_3_0::RW : GenApi_3_0::NI), lastMode_(open_)
    {
        if (gates_.empty() || open_ == GenApi_3_0::NI) {
            return;
        }
        mode_ = &owner_.MakeCell(
            ValueCache::What::Mode,
            [this]() -> KnownValue {
                return std::int64_t{ModeBehind(gates_, open_, false,
                                               fmt::format("{}.{}", owner_.Name(), symbolic_))};
            },
            gates_);
    }
    const char* GetSymbolic() const override { return symbolic_.c_str(); }
    std::int64_t GetNumericValue() const override { return value_; }
    EAccessMode GetAccessMode() const override
    {
        const AccessScope scope(owner_.device_, IsModeKnown());
        const EAccessMode mode = Mode();
        if (injection::JournalIsOn()) {
            injection::JournalMode(owner_.Name(), symbolic_, genapi::ModeName(mode));
        }
        return mode;
    }
    bool IsModeKnown() const { return mode_ == nullptr || owner_.device_.Values().Knows(*mode_); }
    EAccessMode Mode() const
    {
        if (mode_ != nullptr && owner_.device_.IsPresent()) {
            lastMode_ = static_cast<EAccessMode>(owner_.Get<std::int64_t>(*mode_));
        }
        return lastMode_;
    }

private:
    const EnumerationNode& owner_;
    std::string symbolic_;
    std::int64_t value_;
    std::vector<Gate> gates_;
    EAccessMode open_;
    mutable std::atomic<EAccessMode> lastMode_;
    ValueCache::Cell* mode_ = nullptr; ///< null where the description alone decides
};

EnumerationNode::EnumerationNode(Device& device, ArvGcFeatureNode* node, Facts facts,
                                 Description& description)
    : Feature(device, node, std::move(facts)),
      value_(MakeCell(ValueCache::What::Value, [this]() -> KnownValue {
          return std::int64_t{Ask(
              [&](GError** error) { return arv_gc_enumeration_get_int_value(Handle(), error); })};
      }))
{
    if (!GetFacts().fault.empty()) {
        return;
    }
    // In the order of the text, which the library's own list is not.
    ForEachChild(node, [&](ArvDomNode* child) {
        if (ARV_IS_GC_PROPERTY_NODE(child) &&
            arv_gc_property_node_get_node_type(ARV_GC_PROPERTY_NODE(child)) ==
                ARV_GC_PROPERTY_NODE_TYPE_P_VALUE) {
            ArvGcNode* const store =
                arv_gc_property_node_get_linked_node(ARV_GC_PROPERTY_NODE(child));
            store_ = ARV_IS_GC_INTEGER(store) ? ARV_GC_INTEGER(store) : nullptr;
        }
        if (!ARV_IS_GC_ENUM_ENTRY(child) || !HasValue(ARV_GC_ENUM_ENTRY(child))) {
            return;
        }
        const char* const symbolic = arv_gc_feature_node_get_name(ARV_GC_FEATURE_NODE(child));
        ErrorSlot error;
        const std::int64_t value =
            arv_gc_enum_entry_get_value(ARV_GC_ENUM_ENTRY(child), error.Out());
        if (symbolic == nullptr || error) {
            return; // can be neither asked for nor written
        }
        std::vector<Gate> gates;
        const bool sound = description.ExamineEntry(ARV_GC_FEATURE_NODE(child), &gates);
        entries_.push_back(
            std::make_unique<Entry>(*this, symbolic, value, std::move(gates), sound));
    });
}

EnumerationNode::~EnumerationNode() = default;

const EnumerationNode::Entry* EnumerationNode::Find(std::string_view symbolic) const
{
    const auto found = std::find_if(entries_.begin(), entries_.end(), [&](const auto& entry) {
        return entry->GetSymbolic() == symbolic;
    });
    return found == entries_.end() ? nullptr : found->get();
}

const EnumerationNode::Entry* EnumerationNode::Find(std::int64_t value) const
{
    const auto found = std::find_if(entries_.begin(), entries_.end(), [&](const auto& entry) {
        return entry->GetNumericValue() == value;
    });
    return found == entries_.end() ? nullptr : found->get();
}

std::int64_t EnumerationNode::Read(bool ignoreCache) const
{
    BeginRead(ignoreCache);
    return Get<std::int64_t>(value_, ignoreCache);
}

gcstring EnumerationNode::ToString(bool, bool ignoreCache)
{
    const AccessScope scope(device_, IsKnown(value_, ignoreCache));
    const std::int64_t value = Read(ignoreCache);
    const Entry* const entry = Find(value);
    if (entry == nullptr) {
        throw GenICam_3_0::RuntimeException(
            fmt::format("{}: the camera gives {}, which is no entry", Name(), value));
    }
    JournalRead("", [&] { return entry->GetSymbolic(); });
    return {entry->GetSymbolic()};
}

std::int64_t EnumerationNode::GetIntValue(bool, bool ignoreCache)
{
    const AccessScope scope(device_, IsKnown(value_, ignoreCache));
    const std::int64_t value = Read(ignoreCache);
    JournalRead("", [&] {
        const Entry* const entry = Find(value);
        return entry == nullptr ? genapi::ToText(value) : std::string(entry->GetSymbolic());
    });
    return value;
}

/** The value goes straight to where it is kept: the library would first ask for the access to each
 *  entry. */
template <class ValueText>
void EnumerationNode::Write(const Entry* entry, const ValueText& valueText, bool verify)
{
    // A driver sets its selectors before each access: that costs no command.
    const auto stays = [&] {
        return entry != nullptr && selected_.Selects() &&
               device_.Values().Has(value_, entry->GetNumericValue());
    };
    const AccessScope scope(device_, stays() && IsModeKnown() && entry->IsModeKnown());
    BeginWrite(verify, valueText, [&] {
        return genapi::EntryError(entry != nullptr,
                                  entry != nullptr ? entry->Mode() : GenApi_3_0::NI);
    });
    if (!stays()) {
        Write(*entry, valueText);
    }
    JournalWrite([&] { return entry->GetSymbolic(); });
}

template <class ValueText>
void EnumerationNode::Write(const Entry& entry, const ValueText& valueText)
{
    const AccessScope scope(device_);
    const std::int64_t value = entry.GetNumericValue();
    selected_.Writing(value);
    ValueCache::Write write(device_.Values(), node_);
    Checked(
        [&](GError** error) {
            if (store_ != nullptr) {
                arv_gc_integer_set_value(store_, value, error);
            } else {
                arv_gc_enumeration_set_int_value(Handle(), value, error);
            }
        },
        [&] { return fmt::format("{} = {} can't be written", Name(), valueText()); }, Value::Entry);
    write.Took(value_, value);
    selected_.Written(value);
}

void EnumerationNode::FromString(const gcstring& symbolic, bool verify)
{
    Write(
        Find(symbolic.view()), [&] { return std::string(symbolic.view()); }, verify);
}

void EnumerationNode::SetIntValue(std::int64_t value, bool verify)
{
    Write(
        Find(value), [&] { return genapi::ToText(value); }, verify);
}

GenApi_3_0::IEnumEntry* EnumerationNode::GetEntryByName(const gcstring& symbolic)
{
    return const_cast<Entry*>(Find(symbolic.view()));
}

GenApi_3_0::IEnumEntry* EnumerationNode::GetEntry(std::size_t index)
{
    return index < entries_.size() ? entries_[index].get() : nullptr;
}

} // namespace net
