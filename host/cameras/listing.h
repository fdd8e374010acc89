/** The list of the cameras, as the platform layer gives it. */
#pragma once

#include "cameras/camera_table.h"

#include "gev_api.h"

#include <optional>
#include <vector>

namespace kvgrab
{

struct CameraListing {
    int status = kGevOk;
    std::vector<GEV_DEVICE_INFO> cameras;
};

CameraListing ReadCameraList();

/** Without the access to it, which takes a question to the camera. */
CameraRow RowOf(const GEV_DEVICE_INFO& camera);

/** Whether a program controls the camera. Nothing if it gives no answer. */
std::optional<bool> IsHeld(const GEV_DEVICE_INFO& camera);

/** Leaves the platform layer as the driver expects to find it. */
void LeaveCameras();

} // namespace kvgrab
