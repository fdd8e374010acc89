#include "cameras/chosen_camera.h"

#include "cameras/listing.h"

#include <fmt/format.h>

namespace kvgrab
{

namespace
{

constexpr std::uint32_t kControl = 2;

} // namespace

FoundCamera FindCamera(const CameraConfig& wanted)
{
    const std::vector<GEV_DEVICE_INFO> list = ReadCameraList().cameras;
    std::vector<CameraRow> rows;
    for (const GEV_DEVICE_INFO& camera : list) {
        rows.push_back(RowOf(camera));
    }
    const CameraChoice choice = Choose(rows, wanted);
    FoundCamera found;
    found.status = choice.status;
    found.whyNot = choice.whyNone;
    if (choice.status == ExitStatus::Done) {
        found.info = list[choice.position];
        found.held = IsHeld(found.info);
    }
    return found;
}

ChosenCamera::ChosenCamera(const CameraConfig& wanted) : found_(FindCamera(wanted))
{
    if (found_.status != ExitStatus::Done) {
        return;
    }
    const int status = GevOpenCamera(&found_.info, kControl, &handle_);
    if (status != kGevOk) {
        const std::string why = status == kGevAccessDenied ? "it is held by another program"
                                : status == kGevNotFound   ? "it does not answer"
                                                           : fmt::format("status {}", status);
        found_.status = ExitStatus::OpenFailed;
        found_.whyNot = fmt::format("the camera {} can't be opened: {}", found_.info.serial, why);
    }
}

ChosenCamera::~ChosenCamera()
{
    if (handle_ != nullptr) {
        GevCloseCamera(&handle_);
    }
    LeaveCameras();
}

} // namespace kvgrab
