#include "net/network_backend.h"

#include "base/signals_blocked.h"
#include "net/control/gvcp.h"
#include "net/library_owners.h"
#include "net/net_camera.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <fmt/format.h>

namespace net
{

namespace
{

constexpr int kAnswerMs = 200;
constexpr int kTries = 3;
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
    GvcpClient camera(address);
    Answer answer = Answer::Silent;
    for (int i = 0; i < kTries && answer == Answer::Silent; ++i) {
        answer = camera.ReadMemory(kDeviceVersion, version, kAnswerMs);
    }
    const auto* chars = reinterpret_cast<const char*>(version.data());
    const std::string terminated(chars, strnlen(chars, version.size()));
    Put(text, terminated.c_str());
}

/** Whether the control register says that somebody controls the camera. */
int ReadControl(std::uint32_t address, bool* held)
{
    GvcpClient camera(address);
    for (int i = 0; i < kTries; ++i) {
        std::uint32_t privilege = 0;
        if (camera.ReadRegister(kControlPrivilege, &privilege, kAnswerMs) == Answer::Given) {
            *held = privilege != 0;
            return kGevOk;
        }
    }
    return kGevTimeout;
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
    const std::lock_guard lock(mutex_);
    const base::SignalsBlocked blocked;
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
    return kGevOk;
}

int NetworkBackend::Open(const GEV_DEVICE_INFO& device, int /*accessMode*/,
                         std::unique_ptr<gevplat::Camera>* camera)
{
    const auto address = ParseAddress(device.address);
    if (!address) {
        return kGevNotFound;
    }
    // Asked first: the library takes seconds to find out, and doesn't tell when it loses a race.
    bool held = false;
    if (ReadControl(*address, &held) != kGevOk) {
        return kGevNotFound;
    }
    if (held) {
        return kGevAccessDenied;
    }
    const base::SignalsBlocked blocked;
    ErrorSlot error;
    Ref<ArvDevice> opened;
    {
        const std::lock_guard lock(mutex_);
        opened.reset(arv_open_device(device.address, error.Out()));
    }
    if (opened == nullptr) {
        gevplat::WriteLog(
            2, fmt::format("network camera {} can't be opened: {}", device.serial, error.Text()));
        return kGevNotFound;
    }
    if (!ARV_IS_GV_DEVICE(opened.get())) {
        return kGevNotFound;
    }
    if (arv_gv_device_is_controller(ARV_GV_DEVICE(opened.get())) == FALSE) {
        return kGevAccessDenied;
    }
    return NetCamera::Make(std::move(opened), device, *address, camera);
}

int NetworkBackend::IsHeld(const GEV_DEVICE_INFO& device, bool* held)
{
    const auto address = ParseAddress(device.address);
    return address ? ReadControl(*address, held) : static_cast<int>(kGevNotFound);
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
