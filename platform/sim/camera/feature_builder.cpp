#include "sim/camera/feature_builder.h"

#include "sim/camera/chunks.h"
#include "sim/picture/scene.h"

#include <algorithm>

namespace sim
{

namespace
{

bool Lists(const std::vector<std::string>& list, const std::string& name)
{
    return std::find(list.begin(), list.end(), name) != list.end();
}

} // namespace

void FeatureBuilder::Build()
{
    Device();
    Geometry();
    Format();
    Acquisition();
    Trigger();
    Gain();
    AutoBrightness();
    Tone();
    if (IsColor()) {
        WhiteBalance();
    }
    ChunkData();
    Lines();
    UserSetControl();
}

FeatureBuilder::EntryList FeatureBuilder::Names(std::initializer_list<const char*> names)
{
    EntryList list{*names.begin(), {}};
    for (const char* name : names) {
        list.entries.emplace_back(name, static_cast<std::int64_t>(list.entries.size()));
    }
    return list;
}

template <class Node> Node* FeatureBuilder::Keep(std::unique_ptr<Node> node)
{
    Node* kept = node.get();
    features_.owned_.push_back(std::move(node));
    return kept;
}

FeatureBuilder::Integer* FeatureBuilder::AddInteger(genapi::NodeSpec spec, Integer::Limits limits,
                                                    std::int64_t value,
                                                    std::function<std::int64_t()> computed)
{
    return Keep(std::make_unique<Integer>(features_.hook_, std::move(spec), std::move(limits),
                                          value, std::move(computed)));
}

FeatureBuilder::Float* FeatureBuilder::AddFloat(genapi::NodeSpec spec, Float::Limits limits,
                                                double value, std::function<double(double)> shown)
{
    return Keep(std::make_unique<Float>(features_.hook_, std::move(spec), std::move(limits), value,
                                        std::move(shown)));
}

FeatureBuilder::Boolean* FeatureBuilder::AddBoolean(genapi::NodeSpec spec, bool value)
{
    return Keep(std::make_unique<Boolean>(features_.hook_, std::move(spec), value));
}

FeatureBuilder::String* FeatureBuilder::AddString(genapi::NodeSpec spec, std::int64_t maxLength,
                                                  const std::string& value)
{
    return Keep(std::make_unique<String>(features_.hook_, std::move(spec), maxLength, value));
}

FeatureBuilder::Command* FeatureBuilder::AddCommand(genapi::NodeSpec spec)
{
    return Keep(std::make_unique<Command>(features_.hook_, std::move(spec)));
}

FeatureBuilder::Enumeration* FeatureBuilder::AddEnumeration(genapi::NodeSpec spec, EntryList list)
{
    std::vector<Enumeration::EntrySpec> entries;
    for (const auto& [symbolic, value] : list.entries) {
        const std::string full = spec.name + "." + symbolic;
        entries.push_back({.symbolic = symbolic,
                           .value = value,
                           .implemented = !Lists(setup_.notImplementedEntries, full),
                           .listed = !Lists(setup_.missingEntries, full)});
    }
    return Keep(std::make_unique<Enumeration>(features_.hook_, std::move(spec), entries, list.first,
                                              std::move(list.refuses)));
}

bool FeatureBuilder::ShowsAsItIs(const std::string& name) const
{
    return !Lists(setup_.missing, name) &&
           std::none_of(setup_.mistyped.begin(), setup_.mistyped.end(),
                        [&name](const auto& mistyped) { return mistyped.first == name; });
}

std::function<genapi::EAccessMode()> FeatureBuilder::WhileStopped() const
{
    return [streaming = state_.streaming] { return streaming() ? GenApi_3_0::RO : GenApi_3_0::RW; };
}

std::function<genapi::EAccessMode()>
FeatureBuilder::UnlessLocked(std::function<bool()> regulated) const
{
    if (!setup_.lockRegulated) {
        return nullptr;
    }
    return [streaming = state_.streaming, regulated = std::move(regulated)] {
        return streaming() && regulated() ? GenApi_3_0::RO : GenApi_3_0::RW;
    };
}

CameraFeatures::CameraFeatures(const CameraSetup& setup, genapi::AccessHook& hook,
                               CameraState state)
    : setup_(setup), hook_(hook), state_(std::move(state))
{
    FeatureBuilder(*this).Build();
    for (const auto& [name, text] : setup.values) {
        for (const auto& feature : owned_) {
            if (feature->Name() == name) {
                feature->SetText(text);
            }
        }
    }
    BeginUserSets();
    Publish();
}

/** The settings are whatever a client may write, but for the name that it gave the camera. */
void CameraFeatures::BeginUserSets()
{
    std::vector<genapi::Feature*> settings;
    for (const auto& feature : owned_) {
        if (feature->UsualMode() == GenApi_3_0::RW && feature->Name() != FeatureBuilder::kUserId &&
            feature->Name() != FeatureBuilder::kUserSetSelector) {
            settings.push_back(feature.get());
        }
    }
    userSets_.Begin(std::move(settings), userSetCount_);
}

genapi::Feature* CameraFeatures::Shown(std::string_view name)
{
    const auto found = std::find_if(shown_.begin(), shown_.end(), [&](genapi::Feature* feature) {
        return feature->Name() == name;
    });
    return found == shown_.end() ? nullptr : *found;
}

/** Fills the node map with the features that the set-up leaves. A mistyped feature is replaced by a
 *  node of the wrong type, which has no effect on the camera. */
void CameraFeatures::Publish()
{
    for (const auto& feature : owned_) {
        const std::string& name = feature->Name();
        if (Lists(setup_.missing, name)) {
            continue;
        }
        genapi::Feature* shown = feature.get();
        for (const auto& [mistyped, kind] : setup_.mistyped) {
            if (mistyped == name) {
                shown = StandIn(name, kind);
            }
        }
        for (const RangeSetup& range : setup_.ranges) {
            if (range.feature == name) {
                shown->Report({range.min, range.max, range.inc});
            }
        }
        if (Lists(setup_.readOnly, name)) {
            shown->SetMode(GenApi_3_0::RO);
        }
        if (Lists(setup_.notAvailable, name)) {
            shown->SetMode(GenApi_3_0::NA);
        }
        shown_.push_back(shown);
        map_.Add(shown->Node());
    }
    const auto shows = [this](genapi::Feature& feature) {
        return map_.GetNode(feature.Name().c_str()) == feature.Node();
    };
    for (genapi::Feature* feature : shown_) {
        feature->ShowSelectors(shows);
    }
}

genapi::Feature* CameraFeatures::StandIn(const std::string& name, NodeKind kind)
{
    genapi::NodeSpec spec{.name = name};
    std::unique_ptr<genapi::Feature> standIn;
    switch (kind) {
    case NodeKind::Integer:
        standIn = std::make_unique<genapi::IntegerNode>(
            hook_, spec, genapi::IntegerNode::Limits{.max = 65535}, 0);
        break;
    case NodeKind::Float:
        standIn = std::make_unique<genapi::FloatNode>(hook_, spec,
                                                      genapi::FloatNode::Limits{.max = 65535}, 0.0);
        break;
    case NodeKind::Enumeration:
        standIn = std::make_unique<genapi::EnumerationNode>(
            hook_, spec,
            std::vector<genapi::EnumerationNode::EntrySpec>{{.symbolic = "Off", .value = 0},
                                                            {.symbolic = "On", .value = 1}},
            "Off");
        break;
    case NodeKind::Boolean:
        standIn = std::make_unique<genapi::BooleanNode>(hook_, spec, false);
        break;
    }
    standIns_.push_back(std::move(standIn));
    return standIns_.back().get();
}

CameraFeatures::Region CameraFeatures::FrameRegion() const
{
    const auto within = [](std::int64_t value, std::int64_t least, std::uint32_t sensor) {
        return static_cast<std::uint32_t>(std::clamp<std::int64_t>(value, least, sensor));
    };
    return {.width = within(width->Value(), 1, setup_.sensorWidth),
            .height = within(height->Value(), 1, setup_.sensorHeight),
            .offsetX = within(offsetX->Value(), 0, setup_.sensorWidth),
            .offsetY = within(offsetY->Value(), 0, setup_.sensorHeight)};
}

std::uint64_t CameraFeatures::PixelBytes() const
{
    const Region region = FrameRegion();
    return PictureBytes(region.width, region.height,
                        static_cast<std::uint32_t>(pixelFormat->Value()));
}

std::uint64_t CameraFeatures::PayloadBytes() const
{
    return PixelBytes() + ChunkBytes(ChunksOn());
}

unsigned CameraFeatures::ChunksOn() const
{
    unsigned mask = 0;
    for (std::uint32_t chunk = 0; chunk < kChunkKinds && chunkMode->Value(); ++chunk) {
        mask |= chunkEnable->At(chunk) ? 1U << chunk : 0U;
    }
    return mask;
}

FrameCost CameraFeatures::Cost() const
{
    // The order of the comparisons turns a NaN that a script stored into the shortest exposure.
    const double exposureUs = std::min(1e9, std::max(0.0, exposureTime->Value()));
    return CostOfFrame(exposureUs, FrameRegion().height, PayloadBytes(), setup_.lineUs,
                       setup_.linkMBytesPerSecond);
}

} // namespace sim
