/** The camera that is open in this process, opened by the driver or by a command. */
#pragma once

#include "gev_api.h"

#include <string>

namespace kvgrab
{

/** Its features; null unless exactly one camera is open that describes them. */
const GenApi::CNodeMapRef* OpenNodeMap();

/** Whether it sends no frame before something triggers it. False without a camera, and if it can't
 *  be read. */
bool CameraWaitsForTrigger();

/** Its model, serial number and version. */
std::string OpenCameraName();

/** Its serial number if it is a simulated one; otherwise empty. */
std::string OpenSimulatedSerial();

/** Maker, model, serial number and version of any camera, printable. */
std::string FullName(const GEV_DEVICE_INFO& info);

} // namespace kvgrab
