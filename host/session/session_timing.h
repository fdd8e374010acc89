/** How long the steps of a device session take, from the driver's calls to the host. Grab thread
 *  only; times in nanoseconds of the monotonic clock. */
#pragma once

#include <cstdint>
#include <string>

namespace kvgrab
{

class SessionTiming
{
public:
    void Begins(std::int64_t nowNs);
    /** The driver has published the pixel format, the first value that it publishes of a camera: it
     *  has found and opened the camera and read its settings. */
    void Opened(std::int64_t nowNs);
    /** The driver has started the acquisition. As above, only the first call in a session counts.
     */
    void Configured(std::int64_t nowNs);
    /** A frame came. The first frame of a session gives a line for the log, which also says how
     *  long there were no frames if a session before failed; other frames give an empty text. */
    std::string Frame(std::int64_t nowNs);
    /** The session ended because the camera couldn't be used. */
    void Failed() { failed_ = true; }

private:
    std::int64_t beginNs_ = 0;
    std::int64_t openedNs_ = 0;
    std::int64_t configuredNs_ = 0;
    std::int64_t lastFrameNs_ = 0; ///< in any session; 0: no frame yet
    bool first_ = true;
    bool failed_ = false;
};

} // namespace kvgrab
