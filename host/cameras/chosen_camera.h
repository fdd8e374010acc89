/** The camera that the driver will choose, opened without it. */
#pragma once

#include "config/config.h"
#include "exit_status.h"

#include "gev_api.h"

#include <memory>
#include <string>

namespace kvgrab
{

/** Lists the cameras and opens the one that the driver will choose; afterwards leaves the platform
 *  layer as the driver expects to find it. */
class ChosenCamera
{
public:
    explicit ChosenCamera(const CameraConfig& wanted);
    ~ChosenCamera();
    ChosenCamera(const ChosenCamera&) = delete;
    ChosenCamera& operator=(const ChosenCamera&) = delete;

    bool IsOpen() const { return handle_ != nullptr; }
    /** Why it isn't open, as a sentence without a full stop. */
    const std::string& WhyNot() const { return whyNot_; }
    /** Why it isn't open, as the status to end with. */
    ExitStatus Status() const { return status_; }
    /** While it is open. */
    const GEV_DEVICE_INFO& Info() const { return info_; }
    /** Null without a node map. */
    const GenApi::CNodeMapRef* NodeMap() const { return GevGetFeatureNodeMap(handle_); }

private:
    GEV_DEVICE_INFO info_{};
    void* handle_ = nullptr;
    std::string whyNot_;
    ExitStatus status_ = ExitStatus::Done;
};

} // namespace kvgrab
