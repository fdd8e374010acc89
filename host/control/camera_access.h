/** The features of the camera that a run grabs from, for the control socket.
 *
 *  An access to a single feature is made on the calling thread: it takes the camera's own lock for
 *  one access after the other, as the driver does. Values of selectors are shared with the driver,
 *  which sets some of them again for each frame. So an access that has to move a selector is made
 *  on the grab thread, between two frames, where a saved configuration is applied too; and
 *  selectors that the driver moves are not set by themselves. */
#pragma once

#include "control/control_desk.h"
#include "control/control_service.h"

namespace kvgrab
{

/** The desk outlives the result. */
FeatureMethods FeaturesOfTheRun(ControlDesk& desk);

/** Names of the open camera; empty without one. Grab thread only. */
CameraNames NamesOfOpenCamera();

} // namespace kvgrab
