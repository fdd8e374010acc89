/** The table that `kvgrab list` prints. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace kvgrab
{

struct CameraRow {
    std::string manufacturer;
    std::string model;
    std::string serial;
    std::string version;
    std::string backend; ///< "sim", "net"
    std::string address; ///< on the network; empty: none
};

/** The driver looks at no more cameras of the list. */
constexpr std::size_t kDriverList = 8;

/** Why the driver does not take the camera at a position of the list; empty if it does. */
std::string WhyNotTaken(const CameraRow& camera, std::size_t position);

/** A heading and a row for each camera; the columns are position, model, serial, version, backend,
 *  address, driver. */
std::string CameraTable(const std::vector<CameraRow>& cameras);

/** "192.168.1.20" of an IPv4 address in host byte order; empty of 0. */
std::string AddressText(std::uint32_t address);

} // namespace kvgrab
