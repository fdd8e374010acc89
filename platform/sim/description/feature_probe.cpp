#include "sim/description/feature_probe.h"

namespace sim
{

namespace
{

CameraSetup Plain(Model model, std::uint32_t sensorWidth, std::uint32_t sensorHeight)
{
    CameraSetup setup;
    setup.model = model;
    setup.sensorWidth = sensorWidth;
    setup.sensorHeight = sensorHeight;
    return setup;
}

} // namespace

FeatureProbe::FeatureProbe(Model model, std::uint32_t sensorWidth, std::uint32_t sensorHeight)
    : camera_(Plain(model, sensorWidth, sensorHeight), clock_)
{
}

bool FeatureProbe::HasFeature(std::string_view name)
{
    return camera_.Features().Shown(name) != nullptr;
}

genapi::EnumerationNode* FeatureProbe::Enumeration(std::string_view name)
{
    return dynamic_cast<genapi::EnumerationNode*>(camera_.Features().Shown(name));
}

bool FeatureProbe::HasEntry(std::string_view entry)
{
    const std::size_t dot = entry.find('.');
    if (dot == std::string_view::npos) {
        return false;
    }
    genapi::EnumerationNode* node = Enumeration(entry.substr(0, dot));
    const std::string_view symbolic = entry.substr(dot + 1);
    // Numbers are accepted too; only a name reads back as it was written.
    return node != nullptr && node->SetText(symbolic) && node->Text() == symbolic;
}

bool FeatureProbe::Takes(std::string_view feature, std::string_view value)
{
    genapi::Feature* found = camera_.Features().Shown(feature);
    if (found == nullptr || !found->SetText(value)) {
        return false;
    }
    const std::string text = found->Text();
    return text != "nan" && text != "-nan" && text != "inf" && text != "-inf";
}

std::optional<std::uint32_t> FeatureProbe::Format(std::string_view nameOrCode)
{
    genapi::EnumerationNode* node = Enumeration("PixelFormat");
    if (node == nullptr || !node->SetText(nameOrCode)) {
        return std::nullopt;
    }
    return static_cast<std::uint32_t>(node->Value());
}

} // namespace sim
