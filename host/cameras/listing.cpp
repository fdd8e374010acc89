#include "cameras/listing.h"

#include "gev_host.h"

#include <algorithm>

namespace kvgrab
{

CameraListing ReadCameraList()
{
    // More than the driver looks at, so that a user sees which ones it passes over.
    constexpr int kMost = 64;
    CameraListing listing;
    listing.cameras.resize(kMost);
    int count = 0;
    listing.status = GevGetCameraList(listing.cameras.data(), kMost, &count);
    listing.cameras.resize(static_cast<std::size_t>(std::clamp(count, 0, kMost)));
    return listing;
}

CameraRow RowOf(const GEV_DEVICE_INFO& camera)
{
    return {.manufacturer = camera.manufacturer,
            .model = camera.model,
            .serial = camera.serial,
            .version = camera.version,
            .backend = camera.backend,
            .address = AddressText(camera.ipAddress)};
}

std::optional<bool> IsHeld(const GEV_DEVICE_INFO& camera)
{
    int held = 0;
    return GevIsCameraHeld(&camera, &held) == kGevOk ? std::optional(held != 0) : std::nullopt;
}

void LeaveCameras()
{
    GevApiUninitialize();
    _CloseSocketAPI();
}

} // namespace kvgrab
