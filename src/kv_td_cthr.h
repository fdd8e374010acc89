/** CCamCtrlThread: the second thread of a device session. */
#pragma once

namespace KvTd
{

class CExCam;

/** Will apply IO-box sets and watch the camera's presence beside the grab loop. Not there yet: it
 *  starts no thread. Grab thread only. */
class CCamCtrlThread
{
public:
    CCamCtrlThread() = default;
    ~CCamCtrlThread() = default;
    CCamCtrlThread(const CCamCtrlThread&) = delete;
    CCamCtrlThread& operator=(const CCamCtrlThread&) = delete;

    void CtrlThreadStart(CExCam*) {}
};

} // namespace KvTd
