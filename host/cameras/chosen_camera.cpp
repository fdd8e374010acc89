#include "cameras/chosen_camera.h"

#include "cameras/camera_table.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstring>

namespace kvgrab
{

namespace
{

using CameraList = std::array<GEV_DEVICE_INFO, kDriverList>;

constexpr std::uint32_t kControl = 2;

/** The first camera that the driver takes; null when there is none. `*anyOurs`: whether there is
 *  any camera of the maker's. */
const GEV_DEVICE_INFO* Chosen(const CameraList& list, int count, const CameraConfig& wanted,
                              bool* anyOurs)
{
    const auto* const end = list.data() + std::min(static_cast<std::size_t>(count), list.size());
    const auto ours = [](const GEV_DEVICE_INFO& camera) {
        CameraRow row;
        row.manufacturer = camera.manufacturer;
        return WhyNotTaken(row, 0).empty();
    };
    *anyOurs = std::any_of(list.data(), end, ours);
    if (!*anyOurs) {
        return nullptr;
    }
    const auto* const found = std::find_if(list.data(), end, [&](const GEV_DEVICE_INFO& camera) {
        const bool byName =
            std::strncmp(wanted.model.c_str(), camera.model, wanted.model.size()) == 0 &&
            (wanted.serial.empty() || wanted.serial == camera.serial);
        return byName || (wanted.positionMask & 1U << (&camera - list.data())) != 0;
    });
    return found == end ? nullptr : found;
}

} // namespace

ChosenCamera::ChosenCamera(const CameraConfig& wanted)
{
    CameraList list{};
    int count = 0;
    GevGetCameraList(list.data(), kDriverList, &count);
    bool anyOurs = false;
    const GEV_DEVICE_INFO* const chosen = Chosen(list, count, wanted, &anyOurs);
    if (chosen == nullptr) {
        status_ = anyOurs ? ExitStatus::NoMatchingCamera : ExitStatus::NoCamera;
        whyNot_ = count == 0 ? "there is no camera" : "none of the cameras is the configured one";
        return;
    }
    info_ = *chosen;
    const int status = GevOpenCamera(chosen, kControl, &handle_);
    if (status != kGevOk) {
        status_ = ExitStatus::OpenFailed;
        const std::string why = status == kGevAccessDenied ? "another program holds it"
                                : status == kGevNotFound   ? "it does not answer"
                                                           : fmt::format("status {}", status);
        whyNot_ = fmt::format("the camera {} can't be opened: {}", info_.serial, why);
    }
}

ChosenCamera::~ChosenCamera()
{
    if (handle_ != nullptr) {
        GevCloseCamera(&handle_);
    }
    GevApiUninitialize();
    _CloseSocketAPI();
}

} // namespace kvgrab
