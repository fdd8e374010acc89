#include "tools/kvcam/program/cameras.h"

#include "sim/network.h"
#include "sim_control.h"
#include "tools/kvcam/faults/fault_text.h"
#include "tools/kvcam/features/features.h"
#include "tools/kvcam/program/device.h"
#include "tools/kvcam/stream/sim_acquisition.h"
#include "tools/kvcam/stream/stream_faults.h"

#include <algorithm>
#include <fmt/format.h>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace kvcam
{

namespace
{

/** What follows the text: the number at its end plus one, as wide as before. */
std::string Successor(std::string text)
{
    for (std::size_t i = text.size(); i > 0; --i) {
        char& digit = text[i - 1];
        if (digit < '0' || digit > '9') {
            break;
        }
        if (digit != '9') {
            ++digit;
            return text;
        }
        digit = '0';
    }
    return text + "1";
}

void AddCameras(const Options& options)
{
    std::vector<std::string> serials = options.serials;
    while (serials.size() < options.addresses.size()) {
        serials.push_back(Successor(serials.back()));
    }
    for (const std::string& serial : serials) {
        sim::CameraSetup setup;
        setup.model = options.color ? sim::Model::Color : sim::Model::Mono;
        setup.manufacturer = options.maker;
        setup.modelName = options.model;
        setup.serial = serial;
        if (!sim::AddCamera(setup)) {
            throw std::runtime_error(fmt::format("two cameras have the serial {}", serial));
        }
    }
}

sim::Network::Cameras ModelsFor(const Options& options)
{
    std::string error;
    if (options.network.empty()) {
        AddCameras(options);
    } else if (!sim::LoadNetwork(options.network, &error)) {
        throw std::runtime_error(error);
    }
    sim::Network::Cameras models = sim::Network::Get().All();
    if (models.size() < options.addresses.size()) {
        throw std::runtime_error(
            fmt::format("{} addresses for {} cameras", options.addresses.size(), models.size()));
    }
    return models;
}

/** The faults of the camera with this serial, those of the commands or all others. */
std::vector<std::string> FaultsOf(const Options& options, const std::string& serial, bool commands)
{
    std::vector<std::string> own;
    for (const std::string& text : options.faults) {
        FaultText fault(text);
        if (fault.Text("camera", serial) == serial &&
            CommandFaults::Knows(fault.Kind()) == commands) {
            own.push_back(text);
        }
    }
    return own;
}

CommandFaults CommandFaultsOf(const Options& options, const std::string& serial,
                              const Features& features)
{
    CommandFaults faults(
        [&features](std::uint32_t address) { return features.FeatureAt(address); });
    for (const std::string& text : FaultsOf(options, serial, true)) {
        FaultText fault(text);
        fault.Text("camera", "");
        faults.Add(fault);
    }
    return faults;
}

StreamSettings StreamSettingsOf(const Options& options, const std::string& serial)
{
    StreamSettings settings;
    settings.resendDepth = options.resendDepth;
    settings.faults = FaultsOf(options, serial, false);
    settings.extendedIds = options.extendedIds;
    settings.extendedChunks = options.extendedChunks;
    settings.segments = options.segments;
    return settings;
}

void CheckFaults(const Options& options, const sim::Network::Cameras& models)
{
    for (const std::string& text : options.faults) {
        FaultText fault(text);
        if (!CommandFaults::Knows(fault.Kind()) && !StreamFaults::IsKind(fault.Kind())) {
            fault.Refuse("there is no fault of this kind");
        }
        const std::string serial = fault.Text("camera", "");
        const bool found = std::any_of(models.begin(), models.end(), [&](const auto& model) {
            return model->Setup().serial == serial;
        });
        if (!serial.empty() && !found) {
            fault.Refuse("there is no camera of this serial");
        }
    }
}

/** The features, with the description that the command line asks for. */
Features& Described(Features& features, const Options& options)
{
    if (!options.description.empty()) {
        std::ifstream file(options.description);
        if (!file) {
            throw std::runtime_error(fmt::format("can't read '{}'", options.description));
        }
        std::ostringstream text;
        text << file.rdbuf();
        features.ReplaceDescription(text.str());
    }
    return features;
}

} // namespace

class OneCamera
{
public:
    OneCamera(std::shared_ptr<sim::CameraModel> model, const Options& options,
              std::uint32_t address, const Interface& interface)
        : model_(std::move(model)),
          acquisition_(*model_, address, StreamSettingsOf(options, model_->Setup().serial)),
          features_(*model_, acquisition_),
          device_({.model = *model_,
                   .acquisition = acquisition_,
                   .description = Described(features_, options).Description(),
                   .values = features_.Values(),
                   .descriptionBytes = features_.DescriptionBytes(),
                   .streamPort = acquisition_.OwnPort()},
                  {.address = address,
                   .interface = interface,
                   .resends = options.resendDepth > 0,
                   .extendedIds = options.extendedIds},
                  CommandFaultsOf(options, model_->Setup().serial, features_))
    {
    }

private:
    const std::shared_ptr<sim::CameraModel> model_;
    SimAcquisition acquisition_;
    Features features_;
    Device device_;
};

Cameras::Cameras(const Options& options)
{
    const sim::Network::Cameras models = ModelsFor(options);
    CheckFaults(options, models);
    for (const auto& model : models) {
        const std::size_t n = cameras_.size();
        const std::uint32_t address = n < options.addresses.size()
                                          ? ParseAddress(options.addresses[n])
                                          : ParseAddress(addresses_.back()) + 1;
        cameras_.push_back(
            std::make_unique<OneCamera>(model, options, address, InterfaceOf(address)));
        addresses_.push_back(AddressText(address));
    }
}

Cameras::~Cameras() = default;

std::string DescriptionOf(const Options& options)
{
    constexpr std::uint32_t kLoopback = 0x7F00'0001;
    sim::CameraModel& model = *ModelsFor(options).front();
    SimAcquisition acquisition(model, kLoopback, {});
    return Features(model, acquisition).DescriptionText();
}

} // namespace kvcam
