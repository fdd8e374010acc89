/** The cameras as the platform layer shows them; the only part of the program that calls it. */
#pragma once

#include "cameras/camera_table.h"
#include "config/config.h"
#include "memory/frame_memory.h"
#include "memory/frame_values.h"
#include "report/log.h"
#include "report/progress.h"

#include <string>
#include <vector>

namespace kvgrab
{

/** Chooses the backends and sets up the simulated cameras: those of the description file, or the
 *  two built-in ones if `path` is empty. False: `*error` says what is wrong where in the file, or
 *  why network cameras can't be used. */
bool SetUpCameras(const CamerasConfig& cameras, const NetworkConfig& network,
                  const std::string& path, std::string* error);

/** Passes the messages of the platform layer to a log, as long as the object lives. */
class PlatformLog
{
public:
    explicit PlatformLog(Log& log);
    ~PlatformLog();
    PlatformLog(const PlatformLog&) = delete;
    PlatformLog& operator=(const PlatformLog&) = delete;
};

/** Makes every wait and access of the cameras fail at once, until it is called with false. Any
 *  thread. */
void InterruptCameras(bool interrupted);

/** Lists all cameras. False: the platform layer refused, and `*error` says how. */
bool ListCameras(std::vector<CameraRow>* cameras, std::string* error);

/** Draws the newest pulse of each output line that a simulated camera drives. */
std::string DrawOutputLines();

/** Counts of the newest transfer. */
TransferCounts NewestTransfer();

/** Has transfers ask the frame memory before they fill one of its buffers, as long as the object
 *  lives. */
class GuardedBuffers
{
public:
    explicit GuardedBuffers(FrameMemory& memory);
    ~GuardedBuffers();
    GuardedBuffers(const GuardedBuffers&) = delete;
    GuardedBuffers& operator=(const GuardedBuffers&) = delete;
};

/** What the platform knows of the frame that it delivered last. */
FrameFacts NewestFrame();

} // namespace kvgrab
