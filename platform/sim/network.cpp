#include "sim/network.h"

#include <algorithm>
#include <utility>

namespace sim
{

Network& Network::Get()
{
    static auto* network = [] {
        auto* made = new Network; // never destroyed: threads may still run during exit
        injection::RegisterEffects(*made);
        return made;
    }();
    return *network;
}

Network::Cameras Network::All() const
{
    const std::lock_guard lock(mutex_);
    return cameras_;
}

std::shared_ptr<CameraModel> Network::Find(const std::string& serial) const
{
    const std::lock_guard lock(mutex_);
    const auto found = std::find_if(cameras_.begin(), cameras_.end(), [&](const auto& camera) {
        return camera->Setup().serial == serial;
    });
    return found == cameras_.end() ? nullptr : *found;
}

bool Network::Add(const CameraSetup& setup, std::shared_ptr<const LightImage> image,
                  std::shared_ptr<const Recording> recording)
{
    auto camera =
        std::make_shared<CameraModel>(setup, clock_, std::move(image), std::move(recording));
    const std::lock_guard lock(mutex_);
    for (const auto& other : cameras_) {
        if (other->Setup().serial == setup.serial) {
            return false;
        }
    }
    for (const Scheduled& scheduled : scheduled_) {
        Apply(scheduled, camera.get());
    }
    cameras_.push_back(std::move(camera));
    return true;
}

void Network::RemoveAll()
{
    Cameras removed;
    {
        const std::lock_guard lock(mutex_);
        removed.swap(cameras_);
    }
    for (const auto& camera : removed) {
        camera->SetAttached(false);
    }
}

void Network::Apply(const Scheduled& scheduled, CameraModel* camera)
{
    const Fault& fault = scheduled.fault;
    if (!fault.camera.empty() && fault.camera != camera->Setup().serial) {
        return;
    }
    if (fault.effect == Effect::Detach) {
        camera->Detach(scheduled.atNs, fault.value);
    } else if (fault.effect == Effect::JumpTicks) {
        const genapi::AccessScope scope(*camera);
        camera->Ticks().Jump(scheduled.atNs, fault.value);
    }
}

void Network::DetachCamera(const char* serial, std::int64_t forNs)
{
    if (const auto camera = Find(serial)) {
        camera->Detach(clock_.NowNs(), forNs);
    }
}

void Network::Schedule(const Fault& fault)
{
    const Scheduled scheduled{fault, clock_.NowNs() + static_cast<std::int64_t>(fault.nth)};
    Cameras cameras;
    {
        const std::lock_guard lock(mutex_);
        scheduled_.push_back(scheduled);
        cameras = cameras_;
    }
    for (const auto& camera : cameras) {
        Apply(scheduled, camera.get());
    }
}

void Network::ForgetScheduled()
{
    Cameras cameras;
    {
        const std::lock_guard lock(mutex_);
        scheduled_.clear();
        cameras = cameras_;
    }
    for (const auto& camera : cameras) {
        camera->ForgetScripted();
    }
}

} // namespace sim
