#include "net/network_backend.h"

#include "core/interruption.h"
#include "net/control/background.h"
#include "net/control/control_channel.h"
#include "net/control/gvcp_device.h"
#include "net/library_owners.h"
#include "net/net_camera.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstring>
#include <fmt/format.h>
#include <optional>

namespace net
{

namespace
{

constexpr AnswerTime kQuickAnswer{.usual = std::chrono::milliseconds(600)};
constexpr std::uint32_t kNetworkMode = 1;

void Put(char (&text)[kGevTextSize], const char* from)
{
    const std::size_t size = from == nullptr ? 0 : strnlen(from, kGevTextSize - 1);
    std::memcpy(text, from == nullptr ? "" : from, size);
    text[size] = '\0';
}

/** The listing has no version; the camera's bootstrap registers do. */
void ReadVersion(std::uint32_t address, char (&text)[kGevTextSize])
{
    constexpr std::size_t kVersionSize = 32;
    std::array<std::uint8_t, kVersionSize> version{};
    GvcpClient(address).ReadMemory(kDeviceVersion, version, kQuickAnswer);
    const auto* chars = reinterpret_cast<const char*>(version.data());
    const std::string terminated(chars, strnlen(chars, version.size()));
    Put(text, terminated.c_str());
}

} // namespace

NetworkBackend::NetworkBackend()
{
    arv_disable_interface("USB3Vision");
}

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

bool NetworkBackend::IsLookedOn(std::uint32_t address) const
{
    return interface_.empty() ||
           std::any_of(subnets_.begin(), subnets_.end(),
                       [address](const Subnet& subnet) { return subnet.Holds(address); });
}

int NetworkBackend::List(std::vector<GEV_DEVICE_INFO>* devices)
{
    using Devices = std::vector<GEV_DEVICE_INFO>;
    const auto search = Background<Devices>::Begin([this] {
        Devices found;
        Find(&found);
        return found;
    });
    const std::optional<Devices> found = search->Wait(&gevplat::Interruption::IsOn);
    if (!found) {
        return kGevTimeout;
    }
    devices->insert(devices->end(), found->begin(), found->end());
    return kGevOk;
}

void NetworkBackend::Find(std::vector<GEV_DEVICE_INFO>* devices)
{
    const std::lock_guard lock(mutex_);
    if (!interface_.empty()) {
        subnets_ = SubnetsOf(interface_); // its addresses come and go
    }
    arv_update_device_list();
    const unsigned count = arv_get_n_devices();
    for (unsigned i = 0; i < count; ++i) {
        const char* address = arv_get_device_address(i);
        const auto parsed = ParseAddress(address == nullptr ? "" : address);
        if (!parsed || !IsLookedOn(*parsed)) {
            continue;
        }
        GEV_DEVICE_INFO device{};
        Put(device.manufacturer, arv_get_device_vendor(i));
        Put(device.model, arv_get_device_model(i));
        Put(device.serial, arv_get_device_serial_nbr(i));
        ReadVersion(*parsed, device.version);
        device.mode = kNetworkMode;
        device.ipAddress = *parsed;
        std::strcpy(device.backend, Name());
        Put(device.address, address);
        devices->push_back(device);
    }
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
