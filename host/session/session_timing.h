/** How long the steps of a device session take, from what the driver tells the host. Grab thread
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
    /** The driver publishes the pixel format, which is the first that it says of a camera: it has
     *  found it, opened it and read its settings. */
    void Opened(std::int64_t nowNs);
    /** It has started the acquisition. The first time in a session counts, as it does above. */
    void Configured(std::int64_t nowNs);
    /** A frame came. With the first one of a session: a line for the log, which also tells how long
     *  there was none when a session before failed; else empty. */
    std::string Frame(std::int64_t nowNs);
    /** The session that ended did so because the camera couldn't be used. */
    void Failed() { failed_ = true; }

private:
    std::int64_t beginNs_ = 0;
    std::int64_t openedNs_ = 0;
    std::int64_t configuredNs_ = 0;
    std::int64_t lastFrameNs_ = 0; ///< of all sessions; 0: none yet
    bool first_ = true;
    bool failed_ = false;
};

} // namespace kvgrab
