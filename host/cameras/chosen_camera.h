/** The camera that the driver will choose, opened without it. */
#pragma once

#include "config/config.h"
#include "exit_status.h"

#include "gev_api.h"

#include <memory>
#include <optional>
#include <string>

namespace kvgrab
{

/** The camera that the driver will choose, as it is listed. */
struct FoundCamera {
    ExitStatus status = ExitStatus::Done; ///< otherwise that of a run without retry
    std::string whyNot;                   ///< a sentence without a full stop
    GEV_DEVICE_INFO info{};               ///< with Done
    std::optional<bool> held = false;     ///< by another program; nothing: it gives no answer
};

/** Lists the cameras. LeaveCameras (listing.h) has to follow. */
FoundCamera FindCamera(const CameraConfig& wanted);

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
    /** With which status a command ends that needs it open; Done while it is. */
    ExitStatus Status() const { return found_.status; }
    /** Why it isn't open, as a sentence without a full stop. */
    const std::string& WhyNot() const { return found_.whyNot; }
    /** While it is open. */
    const GEV_DEVICE_INFO& Info() const { return found_.info; }
    /** Null without a node map. */
    const GenApi::CNodeMapRef* NodeMap() const { return GevGetFeatureNodeMap(handle_); }

private:
    FoundCamera found_;
    void* handle_ = nullptr;
};

} // namespace kvgrab
