/** The functions of sim_control.h. */
#include "injection/faults.h"
#include "injection/record.h"
#include "sim/network.h"
#include "sim/picture/light_image.h"
#include "sim/replay/replay_setup.h"
#include "sim_control.h"

#include <utility>

namespace sim
{

void Reset()
{
    ClearFaults();
    Network::Get().RemoveAll();
    Network::Get().Time().Set(nullptr);
    SetJournal(false);
    ClearJournal();
    ResetCounts();
}

void SetClock(std::shared_ptr<Clock> clock)
{
    Network::Get().Time().Set(std::move(clock));
}

bool AddCamera(const CameraSetup& setup)
{
    if (!setup.replay.empty()) {
        const std::shared_ptr<const Recording> recording = Recording::Load(setup.replay);
        return Network::Get().Add(ReplaySetup(setup, *recording), nullptr, recording);
    }
    std::shared_ptr<const LightImage> image;
    if (!setup.scene.empty()) {
        image = LightImage::Load(setup.scene);
    }
    return Network::Get().Add(setup, std::move(image));
}

bool GetReplay(const std::string& serial, ReplayState* state)
{
    const auto camera = Network::Get().Find(serial);
    if (camera == nullptr) {
        return false;
    }
    const genapi::AccessScope scope(*camera);
    const Playback* const replay = camera->Frames().Replay();
    if (replay == nullptr) {
        return false;
    }
    const Recording& recording = replay->Source();
    *state = {.frames = recording.Frames().size(),
              .lost = recording.Lost(),
              .notExported = recording.NotExported(),
              .pixelFormat = recording.PixelFormat(),
              .over = replay->IsOver(),
              .failure = replay->Failure()};
    return true;
}

void AddDefaultCameras()
{
    CameraSetup mono;
    AddCamera(mono);
    CameraSetup color;
    color.model = Model::Color;
    color.serial = "S0000002";
    color.seed = 2;
    AddCamera(color);
}

void SetAttached(const std::string& serial, bool attached)
{
    if (const auto camera = Network::Get().Find(serial)) {
        camera->SetAttached(attached);
    }
}

void AddFault(const Fault& fault)
{
    if (fault.trigger == Trigger::Time) {
        Network::Get().Schedule(fault);
        return;
    }
    injection::FaultTable::Get().Add(fault);
}

void ClearFaults()
{
    injection::FaultTable::Get().Clear();
    Network::Get().ForgetScheduled();
}

std::string FeatureText(const std::string& serial, const std::string& feature)
{
    const auto camera = Network::Get().Find(serial);
    if (camera == nullptr) {
        return {};
    }
    const genapi::AccessScope scope(*camera);
    const genapi::Feature* found = camera->Features().Shown(feature);
    return found == nullptr ? std::string() : found->Text();
}

bool SetFeatureText(const std::string& serial, const std::string& feature, const std::string& value)
{
    const auto camera = Network::Get().Find(serial);
    if (camera == nullptr) {
        return false;
    }
    const genapi::AccessScope scope(*camera);
    camera->Frames().Advance(camera->Time().NowNs());
    genapi::Feature* found = camera->Features().Shown(feature);
    return found != nullptr && found->SetText(value);
}

bool GetLineWaveform(const std::string& serial, int line, LineWaveform* waveform)
{
    const auto camera = Network::Get().Find(serial);
    if (camera == nullptr) {
        return false;
    }
    const genapi::AccessScope scope(*camera);
    camera->Frames().Advance(camera->Time().NowNs());
    return camera->Lines().Describe(line, waveform);
}

Counts GetCounts()
{
    return injection::Record::Get().Numbers();
}

void ResetCounts()
{
    injection::Record::Get().ResetNumbers();
}

void SetJournal(bool on)
{
    injection::Record::Get().Switch(on);
}

void AddJournal(std::string kind, std::string text)
{
    injection::Record::Get().Add(std::move(kind), std::move(text));
}

std::vector<JournalEntry> Journal()
{
    return injection::Record::Get().Entries();
}

void ClearJournal()
{
    injection::Record::Get().ClearJournal();
}

} // namespace sim
