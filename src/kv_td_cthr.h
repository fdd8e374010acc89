/** CCamCtrlThread: the second thread of a device session. */
#pragma once

#include "kv_td_pins.h"

#include <cstdint>

namespace KvTd
{

class CExCam;

/** Applies IO-box sets and watches the camera's presence alongside the grab loop.
 *
 *  The threads meet in the camera object alone: in its hand-over flags and the words behind them
 *  (kv_td_iobox.h). The camera outlives this object. Members are for the grab thread, but for those
 *  under "control thread". Without real-time scheduling there is no thread, and the session goes on
 *  without what it does. */
class CCamCtrlThread
{
public:
    CCamCtrlThread() = default;
    /** Asks the thread to end, and cancels it when it has not ended after about 400 ms. */
    ~CCamCtrlThread();
    CCamCtrlThread(const CCamCtrlThread&) = delete;
    CCamCtrlThread& operator=(const CCamCtrlThread&) = delete;

    void CtrlThreadStart(CExCam* cam);

    // ---- control thread -----------------------------------------------------------------------

    /** The thread; its argument is the CExCam. Null when it is done. What the camera throws while a
     *  set is applied ends the process. */
    static void* CtrlThreadFunc(void* cam);
    /** Applies the sets that wait; false: a command has to wait for the one before it. */
    static bool DoGpioCfg(CExCam* cam);
    /** Prepares a set, 0 to 3, as a command output. For a fixed user output; nobody calls it.
     *  -1: there is no such set. */
    static int ConfigureLineUserOutput(CExCam* cam, td_pins pin, std::uint8_t invert);

private:
    CExCam* cam_ = nullptr; ///< not owned
    bool created_ = false;  ///< there is a thread to join
};

} // namespace KvTd
