/** The cameras in the order of the list, the one of them that the driver chooses, and the table
 *  that `kvgrab list` prints. */
#pragma once

#include "config/config.h"
#include "exit_status.h"

#include <cstddef>
#include <cstdint>
#include <optional>
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
    /** By another program; nothing: it gives no answer. */
    std::optional<bool> held = false;
};

/** The driver looks at no more cameras of the list. */
constexpr std::size_t kDriverList = 8;

/** The driver's choice among the cameras of a list. */
struct CameraChoice {
    ExitStatus status = ExitStatus::Done; ///< otherwise that of a run without retry
    std::string whyNone;                  ///< a sentence without a full stop
    std::size_t position = 0;             ///< with Done
};

/** Chooses as the driver does. A camera that is held is chosen all the same; it can't be opened. */
CameraChoice Choose(const std::vector<CameraRow>& cameras, const CameraConfig& wanted);

/** A heading and a row for each camera; the columns are position, model, serial, version, backend,
 *  address, access, driver. */
std::string CameraTable(const std::vector<CameraRow>& cameras, const CameraConfig& wanted);

/** "192.168.1.20" of an IPv4 address in host byte order; empty of 0. */
std::string AddressText(std::uint32_t address);

} // namespace kvgrab
