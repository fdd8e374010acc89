#include "frame_source.h"

#include "frame_meta.h"

#include <algorithm>

GST_DEBUG_CATEGORY_EXTERN(kvframessrc_debug);
#define GST_CAT_DEFAULT kvframessrc_debug

namespace kvgst
{
namespace
{

constexpr int kWaitMs = 500; ///< at a time; how long it takes until an absent host is reported

/** The rate of these caps as close to "variable" as the peer permits. */
GstCaps* WithFixedRate(GstCaps* caps)
{
    caps = gst_caps_truncate(gst_caps_make_writable(caps));
    GstStructure* form = gst_caps_get_structure(caps, 0);
    int numerator = 0;
    int denominator = 1;
    gst_structure_fixate_field_nearest_fraction(form, "framerate", 0, 1);
    gst_structure_get_fraction(form, "framerate", &numerator, &denominator);
    return gst_caps_fixate(caps);
}

GstClockTime DurationIn(GstCaps* caps)
{
    int numerator = 0;
    int denominator = 1;
    if (!gst_structure_get_fraction(gst_caps_get_structure(caps, 0), "framerate", &numerator,
                                    &denominator) ||
        numerator <= 0 || denominator <= 0) {
        return GST_CLOCK_TIME_NONE;
    }
    return gst_util_uint64_scale_int(GST_SECOND, denominator, numerator);
}

} // namespace

FrameSource::FrameSource(GstPushSrc* element) : element_(element) {}

Settings FrameSource::GetSettings() const
{
    const std::lock_guard lock(mutex_);
    return settings_;
}

void FrameSource::Set(const Settings& settings)
{
    const std::lock_guard lock(mutex_);
    settings_ = settings;
}

Counts FrameSource::GetCounts() const
{
    const std::lock_guard lock(mutex_);
    Counts counts = counts_;
    counts.takenBack = source_ ? source_->TakenBack() : counts.takenBack;
    return counts;
}

GstCaps* FrameSource::Caps() const
{
    const std::lock_guard lock(mutex_);
    return picture_ ? picture_->Caps() : AllCaps();
}

void FrameSource::AnswerLatency(GstQuery* query) const
{
    const std::lock_guard lock(mutex_);
    const GstClockTime least = settings_.latencyMs * GST_MSECOND;
    GstClockTime most = GST_CLOCK_TIME_NONE;
    if (GST_CLOCK_TIME_IS_VALID(period_) && buffers_ > 0) {
        // So many frames can be read at a time; the others are being filled, or soon will be.
        const guint32 filling = 1 + std::max(buffers_ / 4, 1U);
        most = least + period_ * (buffers_ > filling ? buffers_ - filling : 1);
    }
    gst_query_set_latency(query, TRUE, least, most);
}

void FrameSource::Unlock()
{
    flushing_ = true;
    const std::lock_guard lock(mutex_);
    if (source_ != nullptr) {
        kvf_interrupt(source_->Get());
    }
}

void FrameSource::UnlockStop()
{
    resumed_ = true;
    flushing_ = false;
}

void FrameSource::Pause()
{
    paused_ = true;
}

void FrameSource::Resume()
{
    resumed_ = true;
    paused_ = false;
}

bool FrameSource::Start()
{
    const Settings settings = GetSettings();
    std::shared_ptr<LendingSource> source = LendingSource::Open(settings.memory.c_str());
    if (!source) {
        GST_ELEMENT_ERROR(element_, RESOURCE, OPEN_READ, ("%s", kvf_error()), (nullptr));
        return false;
    }
    kvf_state state{};
    if (!settings.waitForHost && kvf_get_state(source->Get(), &state) != KVF_OK) {
        GST_ELEMENT_ERROR(element_, RESOURCE, NOT_FOUND, ("%s", kvf_error()), (nullptr));
        return false;
    }
    {
        const std::lock_guard lock(mutex_);
        source_ = std::move(source);
        counts_ = {};
        picture_.reset();
        period_ = GST_CLOCK_TIME_NONE;
        buffers_ = 0;
    }
    clock_.Reset();
    duration_ = GST_CLOCK_TIME_NONE;
    lastTime_ = GST_CLOCK_TIME_NONE;
    offset_ = 0;
    skipped_ = 0;
    host_ = 0;
    absent_ = false;
    resumed_ = true;
    return true;
}

void FrameSource::Stop()
{
    const std::lock_guard lock(mutex_);
    counts_.takenBack = source_->TakenBack();
    source_.reset();
    picture_.reset();
}

bool FrameSource::Negotiate()
{
    GstBaseSrc* base = GST_BASE_SRC(element_);
    {
        const std::lock_guard lock(mutex_);
        if (!picture_) {
            return true; // The first frame says what there is.
        }
    }
    GstCaps* offered = Caps();
    GstCaps* common = gst_pad_peer_query_caps(GST_BASE_SRC_PAD(base), offered);
    const bool possible = !gst_caps_is_empty(common);
    if (possible) {
        common = WithFixedRate(common);
        duration_ = DurationIn(common);
    } else {
        gchar* text = gst_caps_to_string(offered);
        GST_ELEMENT_ERROR(element_, STREAM, WRONG_TYPE,
                          ("The element behind does not take what the camera delivers: %s.", text),
                          ("It may need videoconvert, or bayer2rgb for video/x-bayer, before it."));
        g_free(text);
    }
    const bool done = possible && gst_base_src_set_caps(base, common);
    gst_caps_unref(common);
    gst_caps_unref(offered);
    return done;
}

/** Always a pool of plain memory: downstream's pools may want lines of another length. */
bool FrameSource::DecideAllocation(GstQuery* query)
{
    GstCaps* caps = nullptr;
    gst_query_parse_allocation(query, &caps, nullptr);
    guint bytes = 0;
    {
        const std::lock_guard lock(mutex_);
        bytes = picture_ ? static_cast<guint>(picture_->Bytes()) : 0;
    }
    if (caps == nullptr || bytes == 0) {
        return true;
    }
    guint least = 2;
    const bool proposed = gst_query_get_n_allocation_pools(query) > 0;
    if (proposed) {
        guint wanted = 0;
        gst_query_parse_nth_allocation_pool(query, 0, nullptr, nullptr, &wanted, nullptr);
        least = std::max(least, wanted);
    }
    GstBufferPool* pool = gst_buffer_pool_new();
    GstStructure* config = gst_buffer_pool_get_config(pool);
    gst_buffer_pool_config_set_params(config, caps, bytes, least, 0);
    const bool done = gst_buffer_pool_set_config(pool, config);
    if (done && proposed) {
        gst_query_set_nth_allocation_pool(query, 0, pool, bytes, least, 0);
    } else if (done) {
        gst_query_add_allocation_pool(query, pool, bytes, least, 0);
    }
    gst_object_unref(pool);
    return done;
}

GstFlowReturn FrameSource::Create(GstBuffer** buffer)
{
    *buffer = nullptr;
    GstFlowReturn flow = GST_FLOW_OK;
    while (flow == GST_FLOW_OK && *buffer == nullptr) {
        kvf_frame frame{};
        flow = Next(&frame);
        if (flow == GST_FLOW_OK) {
            flow = Fill(frame, buffer);
        }
        if (*buffer != nullptr) {
            Finish(frame, *buffer);
        }
    }
    return flow;
}

GstFlowReturn FrameSource::Next(kvf_frame* frame)
{
    const Settings settings = GetSettings();
    while (!flushing_) {
        const kvf_which which = settings.newest || resumed_ ? KVF_NEWEST : KVF_NEXT;
        switch (kvf_wait(source_->Get(), which, kWaitMs, frame)) {
        case KVF_OK:
            absent_ = false;
            if (!paused_) {
                return GST_FLOW_OK;
            }
            break;
        case KVF_TIMEOUT:
        case KVF_INTERRUPTED:
            break;
        case KVF_NO_HOST:
            if (!settings.waitForHost) {
                return GST_FLOW_EOS;
            }
            ReportAbsence(settings.memory);
            break;
        default:
            GST_ELEMENT_ERROR(element_, RESOURCE, READ, ("%s", kvf_error()), (nullptr));
            return GST_FLOW_ERROR;
        }
    }
    return GST_FLOW_FLUSHING;
}

void FrameSource::ReportAbsence(const std::string& name)
{
    if (!absent_) {
        absent_ = true;
        // gst-launch-1.0 shows only the second text.
        GST_ELEMENT_INFO(element_, RESOURCE, NOT_FOUND,
                         ("No host offers frames as %s; waiting for one.", name.c_str()),
                         ("No host offers frames as %s; waiting for one.", name.c_str()));
    }
}

GstFlowReturn FrameSource::Fill(const kvf_frame& frame, GstBuffer** buffer)
{
    if (frame.format == KVF_UNKNOWN) {
        GST_ELEMENT_ERROR(element_, STREAM, FORMAT,
                          ("Frames of the codec \"%s\" can't be offered.", frame.codec), (nullptr));
        return GST_FLOW_ERROR;
    }
    const Settings settings = GetSettings();
    const std::optional<Picture> picture = Picture::Of(frame, settings.picture);
    if (!picture) {
        GST_WARNING_OBJECT(element_,
                           "frame %" G_GUINT64_FORMAT " is shorter than its size requires",
                           frame.sequence);
        skipped_ += 1 + frame.missed;
        return GST_FLOW_OK;
    }
    if (const GstFlowReturn flow = Adopt(*picture); flow != GST_FLOW_OK) {
        return flow;
    }
    if (!settings.copy) {
        *buffer = Lend(frame, *picture);
    }
    return *buffer != nullptr ? GST_FLOW_OK : Copy(frame, *picture, buffer);
}

/** Null if the frame has to be copied. */
GstBuffer* FrameSource::Lend(const kvf_frame& frame, const Picture& picture)
{
    GstMemory* memory = picture.IsAsReceived() ? source_->Lend(frame) : nullptr;
    if (memory == nullptr) {
        GST_DEBUG_OBJECT(element_, "frame %" G_GUINT64_FORMAT " can't be lent", frame.sequence);
        return nullptr;
    }
    gst_memory_resize(memory, 0, picture.Bytes());
    GstBuffer* buffer = gst_buffer_new();
    gst_buffer_append_memory(buffer, memory);
    const std::lock_guard lock(mutex_);
    ++counts_.lent;
    return buffer;
}

GstFlowReturn FrameSource::Copy(const kvf_frame& frame, const Picture& picture, GstBuffer** buffer)
{
    GstBufferPool* pool = gst_base_src_get_buffer_pool(GST_BASE_SRC(element_));
    GstFlowReturn flow = GST_FLOW_NOT_NEGOTIATED;
    if (pool != nullptr) {
        flow = gst_buffer_pool_acquire_buffer(pool, buffer, nullptr);
        gst_object_unref(pool);
    }
    if (flow != GST_FLOW_OK) {
        return flow;
    }
    GstMapInfo map;
    bool whole = false;
    if (gst_buffer_map(*buffer, &map, GST_MAP_WRITE)) {
        whole = map.size >= picture.Bytes() && picture.Copy(source_->Get(), frame, map.data);
        gst_buffer_unmap(*buffer, &map);
    }
    if (!whole) {
        gst_clear_buffer(buffer);
        skipped_ += 1 + frame.missed;
        const std::lock_guard lock(mutex_);
        ++counts_.overwritten;
    }
    return GST_FLOW_OK;
}

GstFlowReturn FrameSource::Adopt(const Picture& picture)
{
    {
        const std::lock_guard lock(mutex_);
        if (picture_ == picture) {
            return GST_FLOW_OK;
        }
        picture_ = picture;
        period_ = GST_CLOCK_TIME_NONE;
    }
    if (gst_base_src_negotiate(GST_BASE_SRC(element_))) {
        return GST_FLOW_OK;
    }
    const std::lock_guard lock(mutex_);
    picture_.reset();
    return flushing_ ? GST_FLOW_FLUSHING : GST_FLOW_NOT_NEGOTIATED;
}

void FrameSource::Finish(const kvf_frame& frame, GstBuffer* buffer)
{
    const GstClockTime time = clock_.RunningTime(GST_ELEMENT(element_), frame.capture_time_ns);
    const bool first = resumed_.exchange(false);
    const bool otherHost = frame.host != host_;
    // What went by during a pause was not missed.
    const guint64 missed = first ? 0 : frame.missed + skipped_;
    host_ = frame.host;
    skipped_ = 0;
    if (first || otherHost || missed > 0) {
        GST_BUFFER_FLAG_SET(buffer, GST_BUFFER_FLAG_DISCONT);
    }
    GstClockTime distance = GST_CLOCK_TIME_NONE;
    if (!first && GST_CLOCK_TIME_IS_VALID(time) && GST_CLOCK_TIME_IS_VALID(lastTime_)) {
        distance = (time - lastTime_) / (missed + 1);
        if (offset_ > 1 &&
            !otherHost) { // The first frame's time may have been put off until the start.
            LearnPeriod(distance);
        }
    }
    {
        const std::lock_guard lock(mutex_);
        ++counts_.delivered;
        counts_.missed += missed;
    }
    if (missed > 0 && GST_CLOCK_TIME_IS_VALID(distance)) {
        ReportMissed(lastTime_ + distance, time);
    }
    offset_ += missed;
    GST_BUFFER_OFFSET(buffer) = offset_;
    GST_BUFFER_OFFSET_END(buffer) = ++offset_;
    GST_BUFFER_PTS(buffer) = time;
    GST_BUFFER_DURATION(buffer) = GST_CLOCK_TIME_IS_VALID(duration_) ? duration_ : distance;
    lastTime_ = time;
    AddFrameMeta(buffer, frame);
}

void FrameSource::ReportMissed(GstClockTime begin, GstClockTime end)
{
    gst_pad_push_event(GST_BASE_SRC_PAD(element_), gst_event_new_gap(begin, end - begin));
    const Counts counts = GetCounts();
    GstMessage* message =
        gst_message_new_qos(GST_OBJECT(element_), TRUE, begin, begin, begin, end - begin);
    gst_message_set_qos_stats(message, GST_FORMAT_BUFFERS, counts.delivered, counts.missed);
    gst_element_post_message(GST_ELEMENT(element_), message);
}

/** The first period is when the greatest latency becomes known. */
void FrameSource::LearnPeriod(GstClockTime period)
{
    const auto known = [this] {
        const std::lock_guard lock(mutex_);
        return GST_CLOCK_TIME_IS_VALID(period_);
    };
    if (known()) {
        return;
    }
    kvf_state state{};
    if (kvf_get_state(source_->Get(), &state) != KVF_OK) {
        return;
    }
    {
        const std::lock_guard lock(mutex_);
        period_ = period;
        buffers_ = state.buffers;
    }
    gst_element_post_message(GST_ELEMENT(element_), gst_message_new_latency(GST_OBJECT(element_)));
}

} // namespace kvgst
