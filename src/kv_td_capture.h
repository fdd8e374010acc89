/** Stopping the transfer around writes that the camera takes only then. */
#pragma once

#include "kv_td_excam.h"

namespace KvTd
{

/** Code that applies a configuration while frames flow stops the transfer at most once: the first
 * to need it stops it and raises the common flag, whose owner starts it again. Without a flag the
 *  bracket starts it itself. Close() instead of a destructor: after an exception the transfer stays
 *  as it is, for the loop's end to deal with. */
class CaptureBracket
{
public:
    CaptureBracket(CExCam* cam, bool whileGrabbing, bool* stopped) : cam_(cam)
    {
        if (!whileGrabbing || (stopped != nullptr && *stopped)) {
            return;
        }
        cam_->ExStopCapture();
        if (stopped != nullptr) {
            *stopped = true;
        } else {
            startsAgain_ = true;
        }
    }
    void Close()
    {
        if (startsAgain_) {
            cam_->ExStartCapture(-1);
        }
    }

private:
    CExCam* cam_;
    bool startsAgain_ = false;
};

} // namespace KvTd
