#include "cameras/camera_table.h"

#include "cameras/feature_table.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>

namespace kvgrab
{

namespace
{

bool IsOfTheMaker(const CameraRow& camera)
{
    return strcasestr(camera.manufacturer.c_str(), "Dalsa") != nullptr;
}

bool Fits(const CameraRow& camera, std::size_t position, const CameraConfig& wanted)
{
    const bool byName = wanted.ByNameToo() && camera.model.starts_with(wanted.model) &&
                        (wanted.serial.empty() || wanted.serial == camera.serial);
    return byName || (wanted.positionMask & 1U << position) != 0;
}

/** What the column "access" says of a camera. */
const char* AccessText(const CameraRow& camera)
{
    if (!camera.held) {
        return "no answer";
    }
    return *camera.held ? "held" : "free";
}

/** What the column "driver" says of a camera. */
std::string DriverText(const CameraRow& camera, std::size_t position, const CameraConfig& wanted,
                       const CameraChoice& choice)
{
    const bool chosen = choice.status == ExitStatus::Done;
    if (chosen && position == choice.position) {
        return "takes it";
    }
    if (position >= kDriverList) {
        return "no (beyond the first eight)";
    }
    if (!IsOfTheMaker(camera)) {
        return fmt::format("no (another maker: {})", Shown(camera.manufacturer));
    }
    if (!Fits(camera, position, wanted)) {
        return "no (not the configured one)";
    }
    return fmt::format("no (position {} comes first)", choice.position);
}

} // namespace

CameraChoice Choose(const std::vector<CameraRow>& cameras, const CameraConfig& wanted)
{
    const std::size_t count = std::min(cameras.size(), kDriverList);
    const auto end = cameras.begin() + static_cast<std::ptrdiff_t>(count);
    if (std::none_of(cameras.begin(), end, IsOfTheMaker)) {
        return {ExitStatus::NoCamera,
                count == 0 ? "there is no camera" : "there is no camera of the maker's", 0};
    }
    // The driver takes the first one that fits, of any maker.
    for (std::size_t i = 0; i < count; ++i) {
        if (Fits(cameras[i], i, wanted)) {
            return {ExitStatus::Done, "", i};
        }
    }
    return {ExitStatus::NoMatchingCamera,
            "none of the cameras is the one that the configuration names", 0};
}

std::string CameraTable(const std::vector<CameraRow>& cameras, const CameraConfig& wanted)
{
    const CameraChoice choice = Choose(cameras, wanted);
    std::vector<std::vector<std::string>> rows = {
        {"position", "model", "serial", "version", "backend", "address", "access", "driver"}};
    for (std::size_t i = 0; i < cameras.size(); ++i) {
        const CameraRow& camera = cameras[i];
        rows.push_back({std::to_string(i), Shown(camera.model), Shown(camera.serial),
                        Shown(camera.version), Shown(camera.backend), Shown(camera.address),
                        AccessText(camera), DriverText(camera, i, wanted, choice)});
    }
    return Columns(rows);
}

std::string AddressText(std::uint32_t address)
{
    if (address == 0) {
        return "";
    }
    return fmt::format("{}.{}.{}.{}", address >> 24, address >> 16 & 0xFF, address >> 8 & 0xFF,
                       address & 0xFF);
}

} // namespace kvgrab
