/** The camera's automatic functions, which measure the pictures and adjust the camera's settings.
 *
 *  White balance sets the ratios of all channels but the reference so that the picture's mean light
 *  is grey: with the first frame after it is switched on, then once per period. Automatic
 *  brightness sets exposure time and gain of the next frame.
 *
 *  Threads: under the camera's lock. Nothing is measured while both are off; nothing allocates. */
#pragma once

#include "sim/camera/auto_brightness.h"
#include "sim/camera/camera_features.h"
#include "sim/picture/picture_job.h"
#include "sim/picture/scene.h"

#include <cstdint>

namespace sim
{

class AutomaticFunctions
{
public:
    /** Features and scene belong to the camera. `driftPpm` is the drift of its clock. */
    AutomaticFunctions(CameraFeatures& features, Scene& scene, double driftPpm)
        : features_(features), scene_(scene), driftPpm_(driftPpm)
    {
    }

    /** Runs the white balance before the frame of `job` starts, at `startNs` on the clock. It may
     *  change the ratios, in the features and in the job. */
    void BeforeExposure(std::int64_t startNs, PictureJob* job);
    /** Runs the automatic brightness once the frame of `job` has been exposed. It may change
     *  exposure time and gain. */
    void AfterExposure(const PictureJob& job);

private:
    bool BalanceIsDue(std::int64_t startNs) const;

    CameraFeatures& features_;
    Scene& scene_;
    double driftPpm_;
    AutoBrightness brightness_;
    std::uint64_t balancesAsked_ = 0; // value of `asked` at the last run
    std::int64_t balancedNs_ = 0;
};

} // namespace sim
