#include "net/network_backend.h"

#include "core/interruption.h"
#include "net/control/control_channel.h"
#include "net/control/discovery.h"
#include "net/control/gvcp_device.h"
#include "net/net_camera.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <fmt/format.h>

namespace net
{

namespace
{

constexpr AnswerTime kQuickAnswer{.usual = std::chrono::milliseconds(600)};
constexpr std::uint32_t kNetworkMode = 1;

void Put(char (&text)[kGevTextSize], const std::string& from)
{
    const std::size_t size = std::min<std::size_t>(from.size(), kGevTextSize - 1);
    std::memcpy(text, from.data(), size);
    text[size] = '\0';
}

} // namespace

bool NetworkBackend::Set(const gevplat::BackendChoice& choice)
{
    const std::lock_guard lock(mutex_);
    std::vector<Subnet> subnets;
    if (!choice.interface.empty()) {
        subnets = SubnetsOf(choice.interface);
        if (subnets.empty()) {
            return false;
        }
    }
    interface_ = choice.interface;
    patienceMs_ = choice.patienceMs;
    receiver_ = {choice.ownReceiver, choice.receivePriority, choice.receiveCpu};
    subnets_ = std::move(subnets);
    return true;
}

int NetworkBackend::List(std::vector<GEV_DEVICE_INFO>* devices)
{
    const std::vector<FoundCamera> found = Discover();
    if (gevplat::Interruption::IsOn()) {
        return kGevTimeout;
    }
    const std::lock_guard lock(mutex_);
    if (!interface_.empty()) {
        subnets_ = SubnetsOf(interface_); // its addresses come and go
    }
    for (const FoundCamera& camera : found) {
        const bool lookedOn =
            std::any_of(subnets_.begin(), subnets_.end(),
                        [&camera](const Subnet& subnet) { return subnet.Holds(camera.address); });
        if (!interface_.empty() && !lookedOn) {
            continue;
        }
        GEV_DEVICE_INFO device{};
        Put(device.manufacturer, camera.manufacturer);
        Put(device.model, camera.model);
        Put(device.serial, camera.serial);
        Put(device.version, camera.version);
        device.mode = kNetworkMode;
        device.ipAddress = camera.address;
        std::strcpy(device.backend, Name());
        Put(device.address, AddressText(camera.address));
        devices->push_back(device);
    }
    return kGevOk;
}

int NetworkBackend::Open(const GEV_DEVICE_INFO& device, int /*accessMode*/,
                         std::unique_ptr<gevplat::Camera>* camera)
{
    const auto address = ParseAddress(device.address);
    if (!address) {
        return kGevNotFound;
    }
    const auto channel = std::make_shared<ControlChannel>(*address, Patience());
    Opened opened;
    opened.status = channel->MayTakeControl();
    if (opened.status == kGevOk) {
        opened = OpenThrough(channel, *address);
    } else if (opened.status == kGevNotFound) {
        opened.error = "it does not answer";
    }
    if (!opened.error.empty()) {
        gevplat::WriteLog(
            2, fmt::format("network camera {} can't be opened: {}", device.serial, opened.error));
    }
    if (!opened.remark.empty()) {
        gevplat::WriteLog(2,
                          fmt::format("network camera {} has a description that can't be read to "
                                      "its end: {}",
                                      device.serial, opened.remark));
    }
    return opened.status == kGevOk ? NetCamera::Make(std::move(opened.device), channel, device,
                                                     ChosenReceiver(), camera)
                                   : opened.status;
}

int NetworkBackend::Patience() const
{
    const std::lock_guard lock(mutex_);
    return patienceMs_;
}

Receiver NetworkBackend::ChosenReceiver() const
{
    const std::lock_guard lock(mutex_);
    return receiver_;
}

int NetworkBackend::IsHeld(const GEV_DEVICE_INFO& device, bool* held)
{
    const auto address = ParseAddress(device.address);
    if (!address) {
        return kGevNotFound;
    }
    std::uint32_t privilege = 0;
    const Answer answer =
        GvcpClient(*address).ReadRegister(kControlPrivilege, &privilege, kQuickAnswer);
    *held = privilege != 0 || answer == Answer::Denied; // held exclusively: nobody else may read
    return answer == Answer::Given || answer == Answer::Denied ? kGevOk : kGevTimeout;
}

} // namespace net

/** The library's entry (gev_backend.h). */
extern "C" GEVPLAT_API gevplat::Backend* GevplatNetworkBackend(const gevplat::BackendChoice& choice,
                                                               std::string* error)
{
    static auto* backend =
        new net::NetworkBackend; // kept for threads that run while the process ends
    if (!backend->Set(choice)) {
        *error = fmt::format("network cameras can't be looked for on '{}': there is no network "
                             "interface of that name or address, or it has no address",
                             choice.interface);
        return nullptr;
    }
    return backend;
}
