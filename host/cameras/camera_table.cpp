#include "cameras/camera_table.h"

#include "cameras/feature_table.h"

#include <fmt/format.h>

#include <cstring>

namespace kvgrab
{

std::string WhyNotTaken(const CameraRow& camera, std::size_t position)
{
    if (position >= kDriverList) {
        return "beyond the first eight";
    }
    if (strcasestr(camera.manufacturer.c_str(), "Dalsa") == nullptr) {
        return fmt::format("another maker: {}", Shown(camera.manufacturer));
    }
    return "";
}

std::string CameraTable(const std::vector<CameraRow>& cameras)
{
    std::vector<std::vector<std::string>> rows = {
        {"position", "model", "serial", "version", "backend", "address", "driver"}};
    for (std::size_t i = 0; i < cameras.size(); ++i) {
        const CameraRow& camera = cameras[i];
        const std::string why = WhyNotTaken(camera, i);
        rows.push_back({std::to_string(i), Shown(camera.model), Shown(camera.serial),
                        Shown(camera.version), Shown(camera.backend), Shown(camera.address),
                        why.empty() ? "takes it" : fmt::format("no ({})", why)});
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
