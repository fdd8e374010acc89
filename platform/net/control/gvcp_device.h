/** The network library's device, with a control channel of ours in place of its own. */
#pragma once

#include "net/control/control_channel.h"
#include "net/library_owners.h"

#include <cstdint>
#include <memory>
#include <string>

namespace net
{

struct Opened {
    int status = 0;        ///< GevStatus
    Ref<ArvDevice> device; ///< null unless the status is kGevOk
    std::string error;     ///< what is wrong; may be empty
    std::string remark;    ///< the same of a description that the library could read in part
};

/** Opens the camera at `address` (host byte order) and takes control of it through `channel`. Its
 *  description is checked before the library sees it. Ends when the host interrupts the cameras, or
 *  the camera falls silent. */
Opened OpenThrough(const std::shared_ptr<ControlChannel>& channel, std::uint32_t address);

/** Gives the control of the camera back and the reference to its device, whose last one may take
 *  the library seconds: not waited for when the camera does not answer. */
void CloseThrough(const std::shared_ptr<ControlChannel>& channel, ArvDevice* device);

} // namespace net
