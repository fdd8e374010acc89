#include "cameras/open_camera.h"

#include "base/printable.h"
#include "gev_host.h"

#include <exception>
#include <fmt/format.h>
#include <string_view>

namespace kvgrab
{

namespace
{

/** Null unless exactly one camera is open. */
void* OpenHandle()
{
    void* handles[2] = {};
    int count = 0;
    GevGetOpenCameras(handles, 2, &count);
    return count == 1 ? handles[0] : nullptr;
}

} // namespace

const GenApi::CNodeMapRef* OpenNodeMap()
{
    void* const camera = OpenHandle();
    return camera == nullptr ? nullptr : GevGetFeatureNodeMap(camera);
}

bool CameraWaitsForTrigger()
{
    const GenApi::CNodeMapRef* const map = OpenNodeMap();
    if (map == nullptr) {
        return false;
    }
    try {
        const GenApi::CEnumerationPtr mode = map->GetNode("TriggerMode");
        return mode && GenApi::IsReadable(mode->GetAccessMode()) && mode->ToString() == "On";
    } catch (const std::exception&) {
        return false; // it does not answer, so it doesn't wait either
    }
}

std::string OpenCameraName()
{
    void* const camera = OpenHandle();
    const GEV_DEVICE_INFO* const info = camera == nullptr ? nullptr : GevGetCameraInfo(camera);
    if (info == nullptr) {
        return "a camera";
    }
    return info->version[0] == '\0' // a network camera that did not answer when it was listed
               ? fmt::format("{}, serial {}", info->model, info->serial)
               : fmt::format("{}, serial {}, version {}", info->model, info->serial, info->version);
}

std::string OpenSimulatedSerial()
{
    void* const camera = OpenHandle();
    const GEV_DEVICE_INFO* const info = camera == nullptr ? nullptr : GevGetCameraInfo(camera);
    return info != nullptr && std::string_view(info->backend) == "sim" ? info->serial : "";
}

std::string FullName(const GEV_DEVICE_INFO& info)
{
    return base::Printable(fmt::format("{}, {}, serial {}, version {}", info.manufacturer,
                                       info.model, info.serial, info.version));
}

} // namespace kvgrab
