/** Marks the part of a session that has to reach the camera whatever happens: stopping it and
 * giving control back. */
#pragma once

namespace net
{

/** While one of these lives, the accesses of its thread go out although the host has interrupted
 * the cameras or the camera does not answer; the control channel waits less for them. */
class SessionEnd
{
public:
    SessionEnd() { ++depth_; }
    ~SessionEnd() { --depth_; }
    SessionEnd(const SessionEnd&) = delete;
    SessionEnd& operator=(const SessionEnd&) = delete;

    static bool IsUnderWay() { return depth_ != 0; }

private:
    inline static thread_local int depth_ = 0;
};

} // namespace net
