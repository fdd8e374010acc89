#include "camera_table.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace kvgrab
{

namespace
{

constexpr std::size_t kColumns = 6;
constexpr std::size_t kDriverList = 8; // the driver asks for no more
using Row = std::array<std::string, kColumns>;

/** Texts of cameras as they may be shown: nothing that moves a cursor. */
std::string Shown(std::string text)
{
    std::replace_if(
        text.begin(), text.end(), [](unsigned char c) { return c < ' ' || c == 0x7F; }, '?');
    return text.empty() ? "-" : text;
}

} // namespace

std::string WhyNotTaken(const CameraRow& camera, std::size_t position)
{
    if (position >= kDriverList) {
        return "beyond the first eight";
    }
    if (strcasestr(camera.manufacturer.c_str(), "Dalsa") == nullptr) {
        return "another maker: " + Shown(camera.manufacturer);
    }
    return "";
}

std::string CameraTable(const std::vector<CameraRow>& cameras)
{
    std::vector<Row> rows = {{"position", "model", "serial", "version", "kind", "driver"}};
    for (std::size_t i = 0; i < cameras.size(); ++i) {
        const CameraRow& camera = cameras[i];
        const std::string why = WhyNotTaken(camera, i);
        rows.push_back({std::to_string(i), Shown(camera.model), Shown(camera.serial),
                        Shown(camera.version), Shown(camera.kind),
                        why.empty() ? "takes it" : "no (" + why + ")"});
    }
    std::array<std::size_t, kColumns> widths{};
    for (const Row& row : rows) {
        for (std::size_t column = 0; column < kColumns; ++column) {
            widths[column] = std::max(widths[column], row[column].size());
        }
    }
    std::string table;
    for (const Row& row : rows) {
        for (std::size_t column = 0; column < kColumns; ++column) {
            const bool last = column + 1 == kColumns;
            table += row[column];
            table += last ? "\n" : std::string(widths[column] - row[column].size() + 2, ' ');
        }
    }
    return table;
}

} // namespace kvgrab
