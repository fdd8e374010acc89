/** What the element kvframessrc does: waits for frames of a host, and makes buffers of them.
 *
 *  Frames are copied into buffers of the element's own pool while the host goes on, and a buffer is
 *  delivered only if the copy is certainly one whole frame. If that is wanted, one frame at a time
 *  is lent without a copy. A frame that was overwritten during the
 *  copy is counted among the missed ones, as is one that was never seen, and is reported with the
 *  frame that follows: by a GAP event, a QoS message, the flag DISCONT, and an offset that counts
 *  missed frames too. */
#pragma once

#include "capture_clock.h"
#include "kvframes.h"
#include "loan.h"
#include "picture.h"

#include <gst/base/gstpushsrc.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace kvgst
{

/** The element's properties. */
struct Settings {
    std::string memory = KVF_DEFAULT_NAME;
    bool newest = false;
    bool waitForHost = true;
    bool copy = true;
    guint latencyMs = 20;
    PictureOptions picture;
};

/** Since the element was started. */
struct Counts {
    guint64 delivered = 0;
    guint64 lent = 0;        ///< of these, without a copy
    guint64 takenBack = 0;   ///< of these, while they were lent
    guint64 missed = 0;      ///< overwritten ones included
    guint64 overwritten = 0; ///< during the copy
};

class FrameSource
{
public:
    explicit FrameSource(GstPushSrc* element);

    // Any thread.
    Settings GetSettings() const;
    void Set(const Settings& settings);
    Counts GetCounts() const;
    /** Of the pad, as far as it is known. The caller owns the result. */
    GstCaps* Caps() const;
    void AnswerLatency(GstQuery* query) const;
    /** Ends a wait at once, and waits no more until UnlockStop(). */
    void Unlock();
    void UnlockStop();

    // The thread that changes the element's state.
    bool Start();
    void Stop();
    /** Between these two, frames are discarded: a pause does not end the wait that is under way. */
    void Pause();
    void Resume();

    // Streaming thread only.
    bool Negotiate();
    bool DecideAllocation(GstQuery* query);
    GstFlowReturn Create(GstBuffer** buffer);

private:
    /** Waits for a frame. */
    GstFlowReturn Next(kvf_frame* frame);
    /** Makes a buffer of the frame; leaves `buffer` null if the frame was overwritten meanwhile. */
    GstFlowReturn Fill(const kvf_frame& frame, GstBuffer** buffer);
    GstBuffer* Lend(const kvf_frame& frame, const Picture& picture);
    GstFlowReturn Copy(const kvf_frame& frame, const Picture& picture, GstBuffer** buffer);
    /** Fills in the buffer's time and position, and reports what was missed before it. */
    void Finish(const kvf_frame& frame, GstBuffer* buffer);
    /** Where frames are missing, from and to in running time. */
    void ReportMissed(GstClockTime begin, GstClockTime end);
    void LearnPeriod(GstClockTime period);
    GstFlowReturn Adopt(const Picture& picture);
    void ReportAbsence(const std::string& name);

    GstPushSrc* element_;

    mutable std::mutex mutex_; ///< guards the next five, and `source_` itself
    Settings settings_;
    Counts counts_;
    std::optional<Picture> picture_;
    GstClockTime period_ = GST_CLOCK_TIME_NONE; ///< between two frames, once it is known
    guint32 buffers_ = 0;                       ///< of the host
    std::shared_ptr<LendingSource> source_;

    std::atomic<bool> flushing_{false};
    std::atomic<bool> paused_{false};
    std::atomic<bool> resumed_{true}; ///< the next frame is the first since a start or a pause

    // Streaming thread only.
    CaptureClock clock_;
    GstClockTime duration_ = GST_CLOCK_TIME_NONE; ///< of a frame, from the caps
    GstClockTime lastTime_ = GST_CLOCK_TIME_NONE;
    guint64 offset_ = 0;  ///< frames before the next one, missed ones included
    guint64 skipped_ = 0; ///< since the last buffer
    guint64 host_ = 0;
    bool absent_ = false; ///< reported already
};

} // namespace kvgst
