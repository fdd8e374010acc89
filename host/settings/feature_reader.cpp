#include "settings/feature_reader.h"

#include <exception>
#include <fmt/format.h>
#include <string>
#include <utility>

namespace kvgrab
{

namespace
{

void ReadValue(GenApi::INode& node, FeatureFacts* facts)
{
    if (auto* const integer = node.AsInteger()) {
        facts->value = static_cast<double>(integer->GetValue(false, true));
    } else if (auto* const number = node.AsFloat()) {
        facts->value = number->GetValue(false, true);
    } else if (auto* const boolean = node.AsBoolean()) {
        facts->text = boolean->GetValue(false, true) ? "true" : "false";
    } else if (auto* const enumeration = node.AsEnumeration()) {
        facts->text = enumeration->ToString(false, true).c_str();
        GenApi::IEnumEntry* const entry = enumeration->GetEntryByName(facts->text.c_str());
        if (entry != nullptr) {
            facts->value = static_cast<double>(entry->GetNumericValue());
        }
    }
}

void ReadRange(GenApi::INode& node, FeatureFacts* facts)
{
    if (auto* const integer = node.AsInteger()) {
        facts->min = static_cast<double>(integer->GetMin());
        facts->max = static_cast<double>(integer->GetMax());
        facts->increment = static_cast<double>(integer->GetInc());
    } else if (auto* const number = node.AsFloat()) {
        facts->min = number->GetMin();
        facts->max = number->GetMax();
    } else if (auto* const enumeration = node.AsEnumeration()) {
        for (std::size_t i = 0; i < enumeration->GetEntryCount(); ++i) {
            GenApi::IEnumEntry* const entry = enumeration->GetEntry(i);
            if (entry != nullptr && GenApi::IsReadable(entry->GetAccessMode())) {
                facts->entries.push_back({entry->GetSymbolic(), entry->GetNumericValue()});
            }
        }
    }
}

} // namespace

FeatureFacts FeatureReader::Read(const FeatureRef& feature, Look look)
{
    auto key = std::tuple(feature.name, feature.selected, look);
    const auto known = known_.find(key);
    return known != known_.end() ? known->second
                                 : known_.emplace(std::move(key), Ask(feature, look)).first->second;
}

FeatureFacts FeatureReader::Ask(const FeatureRef& feature, Look look)
{
    FeatureFacts facts;
    facts.present = true; // until the camera says otherwise
    GenApi::CEnumerationPtr selector;
    std::string before;
    Guarded(&facts, [&] {
        selector = feature.selector.empty() ? nullptr : map_.GetNode(feature.selector.c_str());
        before = selector ? selector->ToString().c_str() : "";
        const bool elsewhere = selector && before != feature.selected;
        if (elsewhere && movesSelectors_ && !feature.selectorIsShared) {
            selector->FromString(feature.selected.c_str());
            return;
        }
        facts.selectorElsewhere = elsewhere ? before : "";
        selector = nullptr;
    });
    if (facts.trouble.empty()) { // otherwise the selector may have any value
        Guarded(&facts, [&] { ReadAt(feature, look, &facts); });
    }
    if (selector) {
        Guarded(&facts, [&] { selector->FromString(before.c_str()); });
    }
    return facts;
}

/** What goes wrong becomes the facts' trouble. */
template <class Access> void FeatureReader::Guarded(FeatureFacts* facts, const Access& access)
{
    if (silent_) {
        facts->trouble = "the camera does not answer";
        return;
    }
    try {
        access();
    } catch (const GenICam::TimeoutException& e) {
        silent_ = true;
        facts->trouble = e.what();
    } catch (const std::exception& e) {
        facts->trouble = e.what();
    }
}

void FeatureReader::ReadAt(const FeatureRef& feature, Look look, FeatureFacts* facts)
{
    GenApi::INode* const node = map_.GetNode(feature.name.c_str());
    const GenApi::EAccessMode mode = node == nullptr ? GenApi::NI : node->GetAccessMode();
    facts->present = GenApi::IsImplemented(mode);
    facts->readable = GenApi::IsReadable(mode);
    facts->writable = GenApi::IsWritable(mode);
    if (!facts->present) {
        return;
    }
    if (facts->readable) {
        ReadValue(*node, facts);
    } else {
        facts->trouble = facts->selectorElsewhere.empty()
                             ? fmt::format("{} can't be read now", feature.name)
                             : fmt::format("{} can't be read while {} is {}", feature.name,
                                           feature.selector, facts->selectorElsewhere);
    }
    if (look == Look::Everything && (facts->readable || node->AsEnumeration() != nullptr)) {
        ReadRange(*node, facts);
    }
}

} // namespace kvgrab
