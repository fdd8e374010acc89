#include "cameras/chosen_camera.h"

#include "base/printable.h"
#include "cameras/listing.h"
#include "gev_backend_choice.h"

#include <fmt/format.h>
#include <mutex>

namespace kvgrab
{

namespace
{

constexpr std::uint32_t kControl = 2;
constexpr int kWarning = 2; ///< level of the platform's log

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
    std::string warning; // the first one of opening
    std::mutex mutex;
    gevplat::SetLogSink([&](int level, const std::string& text) {
        const std::lock_guard lock(mutex);
        if (level <= kWarning && warning.empty()) {
            warning = base::Printable(text);
        }
    });
    const int status = GevOpenCamera(&found_.info, kControl, &handle_);
    gevplat::SetLogSink(nullptr);
    if (status != kGevOk) {
        const std::string why = status == kGevAccessDenied ? "it is held by another program"
                                : status == kGevNotFound   ? "it does not answer"
                                : warning.empty()          ? fmt::format("status {}", status)
                                                  : fmt::format("status {}, {}", status, warning);
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
