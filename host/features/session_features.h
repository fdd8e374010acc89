/** The table [features] in a run: applied to the camera that the driver has opened, before the
 *  driver configures it. */
#pragma once

#include "features/feature_setting.h"
#include "report/log.h"

#include <string>
#include <vector>

namespace kvgrab
{

/** Grab thread only. */
class SessionFeatures
{
public:
    explicit SessionFeatures(Log& log) : log_(log) {}

    /** Sets the features of the open camera in their order and logs what could not be set. Never
     *  throws. */
    void Apply(const std::vector<FeatureSetting>& settings);

    /** A line for the summary about the last time; empty if nothing was to be set. */
    std::string Summary() const;

private:
    Log& log_;
    std::size_t set_ = 0;
    std::size_t notSet_ = 0;
};

} // namespace kvgrab
