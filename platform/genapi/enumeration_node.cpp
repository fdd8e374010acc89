#include "genapi/nodes.h"
#include "genapi/value_text.h"

#include <algorithm>
#include <fmt/format.h>
#include <utility>

namespace genapi
{

class EnumerationNode::Entry : public GenApi_3_0::IEnumEntry
{
public:
    Entry(EnumerationNode& owner, EntrySpec spec) : owner_(owner), spec_(std::move(spec)) {}
    const char* GetSymbolic() const override { return spec_.symbolic.c_str(); }
    std::int64_t GetNumericValue() const override { return spec_.value; }
    EAccessMode GetAccessMode() const override
    {
        const AccessScope scope(owner_.hook_);
        if (injection::JournalIsOn()) {
            injection::JournalMode(owner_.Name(), spec_.symbolic, ModeName(Mode()));
        }
        return Mode();
    }
    EAccessMode Mode() const { return spec_.implemented ? GenApi_3_0::RW : GenApi_3_0::NI; }
    const EntrySpec& Spec() const { return spec_; }

private:
    EnumerationNode& owner_;
    EntrySpec spec_;
};

EnumerationNode::EnumerationNode(AccessHook& hook, NodeSpec spec,
                                 const std::vector<EntrySpec>& entries, std::string_view value,
                                 std::function<bool(std::int64_t)> refuses)
    : Feature(hook, std::move(spec)), refuses_(std::move(refuses))
{
    for (const EntrySpec& entry : entries) {
        entries_.push_back(std::make_unique<Entry>(*this, entry));
        if (entry.listed) {
            listed_.push_back(entries_.back().get());
        }
    }
    std::size_t index = Find(value);
    if (index == entries_.size()) { // the default is not listed: start with the first listed entry
        index = listed_.empty() ? 0 : Find(listed_.front()->Spec().value);
    }
    cells_.assign(CellCount(), index);
}

EnumerationNode::~EnumerationNode() = default;

std::size_t EnumerationNode::Find(std::string_view symbolic) const
{
    std::size_t index = 0;
    while (index < entries_.size() &&
           !(entries_[index]->Spec().listed && entries_[index]->Spec().symbolic == symbolic)) {
        ++index;
    }
    return index;
}

std::size_t EnumerationNode::Find(std::int64_t value) const
{
    std::size_t index = 0;
    while (index < entries_.size() &&
           !(entries_[index]->Spec().listed && entries_[index]->Spec().value == value)) {
        ++index;
    }
    return index;
}

std::string_view EnumerationNode::SymbolicAt(std::size_t cell) const
{
    const std::size_t entry = cells_[cell];
    return entry < entries_.size() ? std::string_view(entries_[entry]->Spec().symbolic)
                                   : std::string_view();
}

std::string_view EnumerationNode::Symbolic() const
{
    return SymbolicAt(CellIndex());
}

std::int64_t EnumerationNode::Value() const
{
    const std::size_t entry = cells_[CellIndex()];
    return entry < entries_.size() ? entries_[entry]->Spec().value : 0;
}

void EnumerationNode::ReadEntry()
{
    BeginRead();
    if (injection::JournalIsOn()) {
        injection::JournalRead(spec_.name, "", Text());
    }
}

std::size_t EnumerationNode::Positions() const
{
    return std::max<std::size_t>(entries_.size(), 1);
}

gcstring EnumerationNode::ToString(bool, bool)
{
    const AccessScope scope(hook_);
    ReadEntry();
    return {Symbolic()};
}

std::int64_t EnumerationNode::GetIntValue(bool, bool)
{
    const AccessScope scope(hook_);
    ReadEntry();
    return Value();
}

/** An index past the last entry represents an entry that does not exist. Under the lock. */
template <class ValueText>
void EnumerationNode::Write(std::size_t entry, const ValueText& valueText, bool verify)
{
    const bool exists = entry < entries_.size();
    BeginWrite(verify, valueText, [&] {
        return EntryError(exists, exists ? entries_[entry]->Mode() : GenApi_3_0::NI);
    });
    const EntrySpec& chosen = entries_[entry]->Spec();
    if (refuses_ && refuses_(chosen.value)) {
        throw GenICam_3_0::InvalidArgumentException(
            fmt::format("{} = {}: refused by the camera", Name(), valueText()));
    }
    if (injection::JournalIsOn()) {
        injection::JournalWrite(spec_.name, chosen.symbolic);
    }
    cells_[CellIndex()] = entry;
    Written();
}

void EnumerationNode::FromString(const gcstring& symbolic, bool verify)
{
    const AccessScope scope(hook_);
    const std::size_t entry = Find(symbolic.view());
    Write(
        entry, [&] { return std::string(symbolic.view()); }, verify);
}

void EnumerationNode::SetIntValue(std::int64_t value, bool verify)
{
    const AccessScope scope(hook_);
    Write(
        Find(value), [&] { return ToText(value); }, verify);
}

GenApi_3_0::IEnumEntry* EnumerationNode::GetEntryByName(const gcstring& symbolic)
{
    const std::size_t index = Find(symbolic.view());
    return index < entries_.size() ? entries_[index].get() : nullptr;
}

GenApi_3_0::IEnumEntry* EnumerationNode::GetEntry(std::size_t index)
{
    return index < listed_.size() ? listed_[index] : nullptr;
}

bool EnumerationNode::SetText(std::string_view text)
{
    std::size_t entry = Find(text);
    if (const auto number = ParseInteger(text); number && entry == entries_.size()) {
        entry = Find(*number);
    }
    if (entry == entries_.size()) {
        return false;
    }
    cells_[CellIndex()] = entry;
    Written();
    return true;
}

} // namespace genapi
