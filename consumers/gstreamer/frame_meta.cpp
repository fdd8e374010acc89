#include "frame_meta.h"

namespace kvgst
{

void RegisterFrameMeta()
{
    // No tags: the values stay right whatever is done with the pixels, so every element keeps them.
    static const gchar* noTags[] = {nullptr};
    gst_meta_register_custom(kFrameMetaName, noTags, nullptr, nullptr, nullptr);
}

void AddFrameMeta(GstBuffer* buffer, const kvf_frame& frame)
{
    if (frame.capture_time_ns > 0) {
        static GstStaticCaps unixTime = GST_STATIC_CAPS("timestamp/x-unix");
        GstCaps* caps = gst_static_caps_get(&unixTime);
        gst_buffer_add_reference_timestamp_meta(
            buffer, caps, static_cast<GstClockTime>(frame.capture_time_ns), GST_CLOCK_TIME_NONE);
        gst_caps_unref(caps);
    }
    GstCustomMeta* meta = gst_buffer_add_custom_meta(buffer, kFrameMetaName);
    if (meta == nullptr) {
        return;
    }
    gst_structure_set(gst_custom_meta_get_structure(meta), "sequence", G_TYPE_UINT64,
                      frame.sequence, "camera-frame-number", G_TYPE_UINT64,
                      frame.camera_frame_number, "camera-ticks", G_TYPE_UINT64, frame.camera_ticks,
                      "frame-counter", G_TYPE_UINT, frame.frame_counter, "time-us", G_TYPE_UINT64,
                      frame.time_us, "capture-time-ns", G_TYPE_INT64, frame.capture_time_ns,
                      "gain-db", G_TYPE_DOUBLE, static_cast<double>(frame.gain_db), "exposure-us",
                      G_TYPE_DOUBLE, static_cast<double>(frame.exposure_us), "codec", G_TYPE_STRING,
                      frame.codec, nullptr);
}

} // namespace kvgst
