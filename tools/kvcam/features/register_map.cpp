#include "tools/kvcam/features/register_map.h"

#include <algorithm>
#include <utility>

namespace kvcam
{

namespace
{

constexpr std::uint32_t kNumberBytes = 8; // of integers and floats
constexpr std::uint32_t kCodeBytes = 4;   // of all that is one of a few: entries, yes or no

std::uint32_t ValueBytes(genapi::Feature& feature)
{
    GenApi_3_0::INode* const node = feature.Node();
    if (node->AsInteger() != nullptr || node->AsFloat() != nullptr) {
        return kNumberBytes;
    }
    if (GenApi_3_0::IString* const text = node->AsString()) {
        return static_cast<std::uint32_t>(static_cast<genapi::StringNode*>(text)->MaxLength());
    }
    return kCodeBytes;
}

std::uint32_t RoundedUp(std::uint32_t bytes, std::uint32_t step)
{
    return (bytes + step - 1) / step * step;
}

} // namespace

RegisterMap::RegisterMap(sim::CameraFeatures& features, std::uint32_t base) : next_(base)
{
    for (genapi::Feature* feature : features.Shown()) {
        const genapi::NodeSpec& spec = feature->Spec();
        Register value{.feature = feature, .bytes = ValueBytes(*feature)};
        value.cellBytes = RoundedUp(value.bytes, kCodeBytes);
        // The cells of the last selector are adjacent.
        for (auto next = spec.selectedBy.rbegin(); next != spec.selectedBy.rend(); ++next) {
            genapi::Feature& selector = (*next)->AsFeature();
            if ((*next)->Positions() > 1 && features.Shown(selector.Name()) == &selector) {
                value.steps.push_back({*next, value.cells * value.cellBytes});
                value.cells *= static_cast<std::uint32_t>((*next)->Positions());
            }
        }
        Add(std::move(value));
        if (feature->HasMovingMax()) {
            Add({.feature = feature, .kind = Register::Kind::Max, .bytes = kNumberBytes});
        }
        const bool writable = GenApi_3_0::IsWritable(feature->UsualMode());
        if (writable && spec.available) {
            Add({.feature = feature, .kind = Register::Kind::Available, .bytes = kCodeBytes});
        }
        if (writable && spec.locked) {
            Add({.feature = feature, .kind = Register::Kind::Locked, .bytes = kCodeBytes});
        }
    }
}

void RegisterMap::Add(Register added)
{
    if (added.cellBytes == 0) {
        added.cellBytes = added.bytes;
    }
    added.address = next_;
    next_ = RoundedUp(added.End(), kNumberBytes);
    registers_.push_back(std::move(added));
}

const Register* RegisterMap::Find(std::uint32_t address) const
{
    const auto after =
        std::upper_bound(registers_.begin(), registers_.end(), address,
                         [](std::uint32_t at, const Register& r) { return at < r.address; });
    if (after == registers_.begin()) {
        return nullptr;
    }
    const Register& found = *std::prev(after);
    return address < found.End() ? &found : nullptr;
}

} // namespace kvcam
