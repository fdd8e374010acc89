/** The camera's automatic functions: they look at the pictures and write the camera's settings.
 *
 *  White balance sets the ratios of the channels beside the reference so that the picture's mean
 *  light comes out grey: with the first frame after it was asked for, then once in each period.
 *  Brightness sets exposure time and gain for the frame that follows.
 *
 *  Threads: under the camera's lock. Nothing is measured while they are off; nothing allocates. */
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
    /** Features and scene belong to the camera. `driftPpm`: how fast its clock runs. */
    AutomaticFunctions(CameraFeatures& features, Scene& scene, double driftPpm)
        : features_(features), scene_(scene), driftPpm_(driftPpm)
    {
    }

    /** White balance, before the frame of `job` starts at `startNs` of the clock: it may change the
     *  ratios, in the features and in the job. */
    void BeforeExposure(std::int64_t startNs, PictureJob* job);
    /** Brightness, once the frame of `job` is taken: it may change exposure time and gain. */
    void AfterExposure(const PictureJob& job);

private:
    bool BalanceIsDue(std::int64_t startNs) const;

    CameraFeatures& features_;
    Scene& scene_;
    double driftPpm_;
    AutoBrightness brightness_;
    std::uint64_t balancesAsked_ = 0; // those that were answered
    std::int64_t balancedNs_ = 0;
};

} // namespace sim
