/** One camera on the network: a camera model, and what clients reach it by. */
#pragma once

#include "sim/camera/camera_model.h"
#include "tools/kvcam/control/bootstrap.h"
#include "tools/kvcam/control/command_desk.h"
#include "tools/kvcam/control/command_faults.h"
#include "tools/kvcam/control/control_server.h"
#include "tools/kvcam/control/memory.h"
#include "tools/kvcam/stream/acquisition.h"

#include <cstddef>
#include <cstdint>

namespace kvcam
{

/** What the control side serves. All of it outlives the device. */
struct DeviceParts {
    sim::CameraModel& model;
    Acquisition& acquisition;
    Memory& description;
    Memory& values;
    std::size_t descriptionBytes;
    std::uint16_t streamPort; ///< from which the acquisition sends
};

struct DeviceOptions {
    std::uint32_t address = 0; ///< IPv4, host byte order
    Interface interface = {};  ///< the one that has the address
    bool resends = true;
    bool extendedIds = false;
};

/** On the network for the life of this object. */
class Device
{
public:
    /** Raises std::runtime_error, whose text is a sentence, if the address can't be used. */
    Device(const DeviceParts& parts, const DeviceOptions& options, CommandFaults faults);

private:
    ControlSockets sockets_;
    Bootstrap bootstrap_;
    CommandDesk desk_;
    ControlServer server_;
};

} // namespace kvcam
