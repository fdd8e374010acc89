#include "net/nodes/feature_map.h"

#include "net/description/formula_nodes.h"
#include "net/nodes/nodes.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

namespace net
{

using GenApi_3_0::gcstring;
using GenApi_3_0::INode;

namespace
{

constexpr const char* kTickFrequency = "GevTimestampTickFrequency";

/** In Hz, from the registers that every camera has, for descriptions without this feature. */
class TickFrequencyNode final : public GenApi_3_0::IInteger
{
public:
    explicit TickFrequencyNode(Device& device) : device_(device) {}
    const char* GetName() const override { return kTickFrequency; }
    const char* GetUnit() const override { return "Hz"; }
    GenApi_3_0::EAccessMode GetAccessMode() const override
    {
        if (injection::JournalIsOn()) {
            injection::JournalMode(kTickFrequency, "RO");
        }
        return GenApi_3_0::RO;
    }
    std::int64_t GetValue(bool, bool) override
    {
        const AccessScope scope(device_);
        device_.RequirePresent(kTickFrequency);
        device_.InjectFaults(injection::AccessKind::Read, kTickFrequency);
        const auto value = static_cast<std::int64_t>(
            Checked([&](GError** error) { return device_.TickFrequency(error); },
                    [] { return fmt::format("{} can't be read", kTickFrequency); }));
        if (injection::JournalIsOn()) {
            injection::JournalRead(kTickFrequency, "", genapi::ToText(value));
        }
        return value;
    }
    void SetValue(std::int64_t value, bool verify) override
    {
        genapi::CheckWrite(
            {kTickFrequency, verify, genapi::Unverified::StaysHere}, GenApi_3_0::RO,
            [&] { return genapi::ToText(value); }, [] { return genapi::Violation(); }, [] {});
    }
    std::int64_t GetMin() override { return 0; }
    std::int64_t GetMax() override { return std::numeric_limits<std::int64_t>::max(); }
    std::int64_t GetInc() override { return 1; }

private:
    Device& device_;
};

/** Calls `visit` with the name of each feature that the one called `selector` selects itself. */
template <class Visit>
void ForEachSelected(ArvGc* features, const std::string& selector, const Visit& visit)
{
    ArvGcNode* const node = arv_gc_get_node(features, selector.c_str());
    if (ARV_IS_GC_SELECTOR(node)) {
        for (const GSList* next = arv_gc_selector_get_selected_features(ARV_GC_SELECTOR(node));
             next != nullptr; next = next->next) {
            visit(std::string(arv_gc_feature_node_get_name(ARV_GC_FEATURE_NODE(next->data))));
        }
    }
    // Not every description says what these select.
    if (selector == "GainSelector" || selector == "ExposureTimeSelector") {
        visit(selector.substr(0, selector.size() - std::string_view("Selector").size()));
    }
}

using Selectors = std::unordered_map<std::string, std::vector<INode*>>;

/** Adds the selectors of a feature, each of them behind its own selectors and once. Circles end at
 *  those that were met before. */
void AddSelectors(const Selectors& direct, const std::string& feature, std::vector<INode*>* met,
                  std::vector<INode*>* ordered)
{
    constexpr std::size_t kMost = 16; // cameras have two or three; a faulty description, any number
    const auto found = direct.find(feature);
    if (found == direct.end()) {
        return;
    }
    for (INode* selector : found->second) {
        if (met->size() > kMost) {
            return;
        }
        if (std::find(met->begin(), met->end(), selector) == met->end()) {
            met->push_back(selector);
            AddSelectors(direct, selector->GetName(), met, ordered);
            ordered->push_back(selector);
        }
    }
}

} // namespace

/** Filled once; then only the nodes change. */
class FeatureMap::Impl
{
public:
    explicit Impl(Device& device) : device_(device)
    {
        EvaluateFormulasHere();
        const AccessScope scope(device);
        ArvGc* const features = arv_device_get_genicam(device.Handle());
        if (features != nullptr) {
            Description description;
            MakeNodes(features, ARV_DOM_NODE(features), description);
            OrderByCategory(features);
            LinkSelectors(features);
            auto dependencies = std::make_unique<Dependencies>(features);
            NameSelectors(features, *dependencies);
            device.Values().Begin(features, std::move(dependencies));
        }
        if (Find(kTickFrequency) == nullptr && ARV_IS_GV_DEVICE(device.Handle())) {
            nodes_.push_back(std::make_unique<TickFrequencyNode>(device));
            byName_.emplace(nodes_.back()->GetName(), nodes_.back().get());
            ordered_.push_back(nodes_.back().get());
        }
    }

    INode* Find(std::string_view name) const
    {
        const auto found = byName_.find(name);
        return found == byName_.end() ? nullptr : found->second;
    }
    const std::vector<INode*>& Ordered() const { return ordered_; }

    /** Null when there is no float feature of that name. */
    FloatNode* FindFloat(std::string_view name) const
    {
        INode* const node = Find(name);
        return node != nullptr && node->AsFloat() != nullptr
                   ? static_cast<FloatNode*>(node->AsFloat())
                   : nullptr;
    }

    void Lock(bool locked)
    {
        device_.Values().SetFramesFlow(locked);
        INode* const node = Find("TLParamsLocked");
        if (node != nullptr && node->AsInteger() != nullptr) {
            const AccessScope scope(device_);
            static_cast<IntegerNode*>(node->AsInteger())->Force(locked ? 1 : 0);
        }
    }

    void SetFrameValue(std::string_view name, double value)
    {
        if (FloatNode* const feature = FindFloat(name)) {
            feature->SetFrameValue(value);
        }
    }

    void ForgetFrameValues()
    {
        for (FloatNode* feature : floats_) {
            feature->ForgetFrameValue();
        }
    }

private:
    void MakeNodes(ArvGc* features, ArvDomNode* parent, Description& description);
    std::unique_ptr<INode> MakeNode(ArvGcFeatureNode* node, Description& description);
    void OrderByCategory(ArvGc* features);
    void LinkSelectors(ArvGc* features);
    void NameSelectors(ArvGc* features, Dependencies& dependencies);
    void Link(ArvGc* features, const std::string& selector, Selected* selected);

    static constexpr std::size_t kMostLinks = 100'000; ///< real descriptions stay far below
    std::size_t links_ = 0;                            ///< from selectors to what they select
    Device& device_;
    std::vector<std::unique_ptr<INode>> nodes_;
    std::unordered_map<std::string_view, INode*> byName_;
    std::vector<INode*> ordered_;
    std::vector<FloatNode*> floats_;
};

void FeatureMap::Impl::MakeNodes(ArvGc* features, ArvDomNode* parent, Description& description)
{
    ForEachChild(parent, [&](ArvDomNode* child) {
        const std::string_view tag = arv_dom_node_get_node_name(child);
        if (tag == "RegisterDescription" || tag == "Group" || tag == "StructReg") {
            MakeNodes(features, child, description);
            return;
        }
        const char* const name = ARV_IS_GC_FEATURE_NODE(child)
                                     ? arv_dom_element_get_attribute(ARV_DOM_ELEMENT(child), "Name")
                                     : nullptr;
        // Of two features of one name the library knows one.
        ArvGcNode* const node = name == nullptr ? nullptr : arv_gc_get_node(features, name);
        if (!ARV_IS_GC_FEATURE_NODE(node) || byName_.contains(name)) {
            return;
        }
        if (auto made = MakeNode(ARV_GC_FEATURE_NODE(node), description)) {
            byName_.emplace(made->GetName(), made.get());
            nodes_.push_back(std::move(made));
        }
    });
}

/** Null for what has no value interface of the contract. */
std::unique_ptr<INode> FeatureMap::Impl::MakeNode(ArvGcFeatureNode* node, Description& description)
{
    // An enumeration has the library's integer and string interfaces as well.
    if (ARV_IS_GC_ENUMERATION(node)) {
        return std::make_unique<EnumerationNode>(device_, node, description.Examine(node),
                                                 description);
    }
    if (ARV_IS_GC_BOOLEAN(node)) {
        return std::make_unique<BooleanNode>(device_, node, description.Examine(node));
    }
    if (ARV_IS_GC_FLOAT(node)) {
        auto made = std::make_unique<FloatNode>(device_, node, description.Examine(node));
        floats_.push_back(made.get());
        return made;
    }
    if (ARV_IS_GC_INTEGER(node)) {
        return std::make_unique<IntegerNode>(device_, node, description.Examine(node));
    }
    if (ARV_IS_GC_STRING(node)) {
        return std::make_unique<StringNode>(device_, node, description.Examine(node));
    }
    if (ARV_IS_GC_COMMAND(node)) {
        return std::make_unique<CommandNode>(device_, node, description.Examine(node));
    }
    return nullptr;
}

/** Features as one meets them going down the categories; each once. */
void FeatureMap::Impl::OrderByCategory(ArvGc* features)
{
    std::unordered_set<std::string> met;
    std::vector<std::string> ahead = {"Root"}; // the next one last
    while (!ahead.empty()) {
        const std::string name = std::move(ahead.back());
        ahead.pop_back();
        if (!met.insert(name).second) {
            continue;
        }
        if (INode* const node = Find(name)) {
            ordered_.push_back(node);
            continue;
        }
        ArvGcNode* const category = arv_gc_get_node(features, name.c_str());
        if (!ARV_IS_GC_CATEGORY(category)) {
            continue;
        }
        std::vector<std::string> inside;
        ForEachChild(category, [&](ArvDomNode* child) {
            if (ARV_IS_GC_PROPERTY_NODE(child) &&
                arv_gc_property_node_get_node_type(ARV_GC_PROPERTY_NODE(child)) ==
                    ARV_GC_PROPERTY_NODE_TYPE_P_FEATURE) {
                inside.push_back(LinkText(child));
            }
        });
        std::move(inside.rbegin(), inside.rend(), std::back_inserter(ahead));
    }
}

void FeatureMap::Impl::LinkSelectors(ArvGc* features)
{
    for (const auto& node : nodes_) {
        if (INode* const given = node.get(); given->AsInteger() != nullptr) {
            Link(features, given->GetName(),
                 &static_cast<IntegerNode*>(given->AsInteger())->Selects());
        } else if (given->AsEnumeration() != nullptr) {
            Link(features, given->GetName(),
                 &static_cast<EnumerationNode*>(given->AsEnumeration())->Selects());
        }
    }
}

/** Gives each feature its selectors, each of them behind its own selectors. */
void FeatureMap::Impl::NameSelectors(ArvGc* features, Dependencies& dependencies)
{
    Selectors direct;
    for (const auto& node : nodes_) {
        if (node->AsInteger() != nullptr || node->AsEnumeration() != nullptr) {
            ForEachSelected(features, node->GetName(), [&](const std::string& selected) {
                std::vector<INode*>& selectors = direct[selected];
                if (selectors.empty() || selectors.back() != node.get()) { // named twice
                    selectors.push_back(node.get());
                    dependencies.AddSelector(arv_gc_get_node(features, node->GetName()),
                                             arv_gc_get_node(features, selected.c_str()));
                }
            });
        }
    }
    for (const auto& [name, selectors] : direct) {
        auto* const feature = dynamic_cast<Feature*>(Find(name));
        if (feature == nullptr) {
            continue;
        }
        std::vector<INode*> met = {Find(name)};
        std::vector<INode*> ordered;
        AddSelectors(direct, name, &met, &ordered);
        feature->SetSelectors(std::move(ordered));
    }
}

/** What a selector selects, directly or by way of other selectors; of a description with more links
 *  than any sound one, only the first. */
void FeatureMap::Impl::Link(ArvGc* features, const std::string& selector, Selected* selected)
{
    std::unordered_set<std::string> met;
    std::vector<std::string> ahead = {selector};
    while (!ahead.empty()) {
        const std::string name = std::move(ahead.back());
        ahead.pop_back();
        if (!met.insert(name).second || ++links_ > kMostLinks) {
            continue;
        }
        if (FloatNode* const feature = FindFloat(name)) {
            selected->Add(feature);
        }
        ForEachSelected(features, name, [&](const std::string& other) {
            if (Find(other) != nullptr) {
                selected->SetSelects();
            }
            ahead.push_back(other);
        });
    }
}

FeatureMap::FeatureMap(Device& device) : impl_(std::make_unique<Impl>(device)) {}
FeatureMap::~FeatureMap() = default;

INode* FeatureMap::GetNode(const gcstring& name)
{
    return impl_->Find(name.view());
}

std::size_t FeatureMap::GetNodeCount()
{
    return impl_->Ordered().size();
}

INode* FeatureMap::GetNodeAt(std::size_t index)
{
    return index < impl_->Ordered().size() ? impl_->Ordered()[index] : nullptr;
}

void FeatureMap::LockTransferParameters(bool locked)
{
    impl_->Lock(locked);
}

void FeatureMap::SetFrameValue(std::string_view feature, double value)
{
    impl_->SetFrameValue(feature, value);
}

void FeatureMap::ForgetFrameValues()
{
    impl_->ForgetFrameValues();
}

} // namespace net
