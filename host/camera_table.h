/** The table that `kvgrab list` prints. */
#pragma once

#include <string>
#include <vector>

namespace kvgrab
{

struct CameraRow {
    std::string manufacturer;
    std::string model;
    std::string serial;
    std::string version;
    std::string kind; ///< "sim", "net"
};

/** Whether the driver takes the camera at a position of the list: empty for yes, else why not. */
std::string WhyNotTaken(const CameraRow& camera, std::size_t position);

/** Columns in the order position, model, serial, version, kind, driver; a heading, then a row for
 *  each camera. */
std::string CameraTable(const std::vector<CameraRow>& cameras);

} // namespace kvgrab
