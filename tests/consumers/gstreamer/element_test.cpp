// The element in programs: its states, and what its buffers carry. pipelines.sh has the rest.
#include "consumers/gstreamer/capture_clock.h"
#include "consumers/gstreamer/picture.h"
#include "tests/system/program.h"

#include <gmock/gmock.h>
#include <gst/gst.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <unistd.h>

// Pictures are tested without a host: frames of generation 0 are whole.
extern "C" int kvf_is_valid(const kvf_source* /*source*/, const kvf_frame* frame)
{
    return frame->generation == 0 ? 1 : 0;
}

namespace
{

using testing::ElementsAreArray;
using testing::HasSubstr;

struct Unref {
    void operator()(gpointer object) const { gst_object_unref(object); }
};
template <class T> using Owned = std::unique_ptr<T, Unref>;

/** ns since the epoch. */
std::int64_t Now()
{
    return std::chrono::nanoseconds(std::chrono::system_clock::now().time_since_epoch()).count();
}

/** What a buffer carried. Times in ns. */
struct Seen {
    std::int64_t pts = 0;
    std::int64_t capture = 0; ///< from the GstReferenceTimestampMeta
    std::int64_t metaCapture = 0;
    std::uint64_t offset = 0;
    std::uint64_t number = 0;
    std::uint64_t ticks = 0;
    double gain = 0;
    double exposure = 0;
    bool discont = false;
    bool lent = false; ///< not in memory of the element's own
};

Seen SeenIn(GstBuffer* buffer)
{
    Seen seen;
    seen.pts = static_cast<std::int64_t>(GST_BUFFER_PTS(buffer));
    seen.offset = GST_BUFFER_OFFSET(buffer);
    seen.discont = GST_BUFFER_FLAG_IS_SET(buffer, GST_BUFFER_FLAG_DISCONT);
    seen.lent = GST_MEMORY_IS_READONLY(gst_buffer_peek_memory(buffer, 0));
    GstCaps* caps = gst_caps_new_empty_simple("timestamp/x-unix");
    if (auto* time = gst_buffer_get_reference_timestamp_meta(buffer, caps)) {
        seen.capture = static_cast<std::int64_t>(time->timestamp);
    }
    gst_caps_unref(caps);
    if (GstCustomMeta* meta = gst_buffer_get_custom_meta(buffer, "KvFramesMeta")) {
        GstStructure* values = gst_custom_meta_get_structure(meta);
        gst_structure_get(values, "camera-frame-number", G_TYPE_UINT64, &seen.number,
                          "camera-ticks", G_TYPE_UINT64, &seen.ticks, "gain-db", G_TYPE_DOUBLE,
                          &seen.gain, "exposure-us", G_TYPE_DOUBLE, &seen.exposure,
                          "capture-time-ns", G_TYPE_INT64, &seen.metaCapture, nullptr);
    }
    return seen;
}

class Element : public testing::Test
{
protected:
    void SetUp() override
    {
        setenv("GST_PLUGIN_PATH", KV_PLUGINS, 1);
        setenv("GST_REGISTRY", (folder_ / "registry").c_str(), 1);
        gst_init(nullptr, nullptr);
    }

    void StartHost()
    {
        folder_.Write("host.toml", "[region]\nwidth = 160\nheight = 120\n[timing]\nfps = 50.0\n"
                                   "[gain]\nmode = \"manual\"\ndb = 6.0\n"
                                   "[exposure]\nmode = \"manual\"\ntime_us = 5000.0\n");
        host_ = std::make_unique<Program>(
            std::vector<std::string>{KVGRAB, "run", "--config", "host.toml", "--memory", memory_,
                                     "--socket", "none", "--no-status"},
            folder_.Path());
        ASSERT_TRUE(host_->WaitFor("first frame came")) << host_->Output();
    }

    void TearDown() override { EndHost(); }

    void EndHost()
    {
        if (host_) {
            host_->Signal(SIGINT);
            EXPECT_EQ(host_->Wait(), 0) << host_->Output();
            host_.reset();
        }
    }

    Owned<GstElement> Launch(const std::string& rest)
    {
        const std::string text = "kvframessrc name=source memory=" + memory_ + " " + rest;
        GError* error = nullptr;
        Owned<GstElement> pipeline(gst_parse_launch(text.c_str(), &error));
        EXPECT_EQ(error, nullptr) << error->message;
        return pipeline;
    }

    /** What arrives at the sink; used by the streaming thread while there is one. */
    std::vector<Seen>& Watch(GstElement* pipeline)
    {
        const Owned<GstElement> sink(gst_bin_get_by_name(GST_BIN(pipeline), "sink"));
        const Owned<GstPad> pad(gst_element_get_static_pad(sink.get(), "sink"));
        gst_pad_add_probe(
            pad.get(), GST_PAD_PROBE_TYPE_BUFFER,
            [](GstPad*, GstPadProbeInfo* info, gpointer self) {
                auto* element = static_cast<Element*>(self);
                element->seen_.push_back(SeenIn(GST_PAD_PROBE_INFO_BUFFER(info)));
                element->count_ = element->seen_.size();
                return GST_PAD_PROBE_OK;
            },
            this, nullptr);
        return seen_;
    }

    /** Waits for the end of the stream; false if there is an error before, or no end. */
    static bool EndsWell(GstElement* pipeline)
    {
        const Owned<GstBus> bus(gst_element_get_bus(pipeline));
        GstMessage* message = gst_bus_timed_pop_filtered(
            bus.get(), std::chrono::nanoseconds(kPatience).count(),
            static_cast<GstMessageType>(GST_MESSAGE_EOS | GST_MESSAGE_ERROR));
        const bool ended = message != nullptr && GST_MESSAGE_TYPE(message) == GST_MESSAGE_EOS;
        gst_clear_message(&message);
        return ended;
    }

    std::vector<Seen> seen_;
    std::atomic<std::size_t> count_{0}; ///< of `seen_`
    TempFolder folder_;
    const std::string memory_ = "/kvgrab-element-" + std::to_string(getpid());
    std::unique_ptr<Program> host_;
};

TEST_F(Element, GoesThroughAllStatesAndLeavesNothing)
{
    for (const bool withHost : {false, true}) {
        if (withHost) {
            StartHost();
        }
        Owned<GstElement> element(gst_element_factory_make("kvframessrc", nullptr));
        ASSERT_NE(element, nullptr);
        gst_object_ref_sink(element.get()); // so that this test owns it
        g_object_set(element.get(), "memory", memory_.c_str(), nullptr);
        bool gone = false;
        g_object_weak_ref(
            G_OBJECT(element.get()),
            [](gpointer flag, GObject*) { *static_cast<bool*>(flag) = true; }, &gone);
        // As GStreamer's own test of all elements does.
        for (const GstState state :
             {GST_STATE_READY, GST_STATE_NULL, GST_STATE_READY, GST_STATE_PAUSED, GST_STATE_READY,
              GST_STATE_PAUSED, GST_STATE_PLAYING, GST_STATE_PAUSED, GST_STATE_PLAYING,
              GST_STATE_READY, GST_STATE_PLAYING, GST_STATE_NULL, GST_STATE_PAUSED,
              GST_STATE_NULL}) {
            const GstState before = GST_STATE(element.get());
            const GstStateChangeReturn change = gst_element_set_state(element.get(), state);
            EXPECT_EQ(change, state == GST_STATE_PAUSED ? GST_STATE_CHANGE_NO_PREROLL
                                                        : GST_STATE_CHANGE_SUCCESS)
                << "from " << before << " to " << state;
        }
        element.reset();
        EXPECT_TRUE(gone);
    }
}

TEST_F(Element, EndsItsWaitAtOnce)
{
    const Owned<GstElement> pipeline = Launch("! fakesink");
    constexpr std::chrono::seconds kMuchLess{5}; // than the 20 waits of half a second would take
    const auto begin = std::chrono::steady_clock::now();
    for (int round = 0; round < 20; ++round) {
        gst_element_set_state(pipeline.get(), GST_STATE_PLAYING);
        gst_element_set_state(pipeline.get(), GST_STATE_NULL);
    }
    EXPECT_LT(std::chrono::steady_clock::now() - begin, kMuchLess);
}

TEST_F(Element, BuffersCarryTimesAndValuesOfTheirFrames)
{
    StartHost();
    const Owned<GstElement> pipeline =
        Launch("num-buffers=20 ! videoconvert ! video/x-raw,format=I420 ! fakesink name=sink");
    const std::vector<Seen>& seen = Watch(pipeline.get());
    gst_element_set_state(pipeline.get(), GST_STATE_PLAYING);
    ASSERT_TRUE(EndsWell(pipeline.get()));

    const Owned<GstClock> clock(gst_element_get_clock(pipeline.get()));
    const std::int64_t sinceEpoch = Now();
    const auto running = static_cast<std::int64_t>(gst_clock_get_time(clock.get()) -
                                                   gst_element_get_base_time(pipeline.get()));
    Owned<GstElement> source(gst_bin_get_by_name(GST_BIN(pipeline.get()), "source"));
    GstQuery* latency = gst_query_new_latency();
    gboolean live = FALSE;
    GstClockTime least = 0;
    GstClockTime most = 0;
    EXPECT_TRUE(gst_element_query(source.get(), latency));
    gst_query_parse_latency(latency, &live, &least, &most);
    gst_query_unref(latency);
    gst_element_set_state(pipeline.get(), GST_STATE_NULL);

    EXPECT_TRUE(live);
    EXPECT_EQ(least, 20 * GST_MSECOND);
    EXPECT_GT(most, least); // by the buffers that can be read
    EXPECT_LT(most, 60 * GST_SECOND);
    ASSERT_EQ(seen.size(), 20U);
    int exact = 0; ///< distances between time stamps
    for (std::size_t i = 1; i < seen.size(); ++i) {
        const Seen& before = seen[i - 1];
        const Seen& now = seen[i];
        SCOPED_TRACE(i);
        EXPECT_EQ(now.capture, now.metaCapture);
        EXPECT_EQ(now.number - before.number, now.offset - before.offset);
        EXPECT_GT(now.ticks, before.ticks);
        EXPECT_NEAR(now.gain, 6.0, 0.1);
        EXPECT_NEAR(now.exposure, 5000.0, 50.0);
        // The age of the frame is the same on both clocks, but for their reading.
        EXPECT_NEAR(static_cast<double>(running - now.pts),
                    static_cast<double>(sinceEpoch - now.capture), 5e6);
        const std::int64_t wrong = (now.pts - before.pts) - (now.capture - before.capture);
        exact += std::abs(wrong) <= 1000 ? 1 : 0;
    }
    // The first frame may have been captured before the start, and readings of the clocks that
    // don't agree move the time stamps; arrivals would hardly ever be exact.
    EXPECT_GE(exact, 10);
}

TEST_F(Element, GoesOnWithTheNewestFrameAfterAPause)
{
    StartHost();
    const Owned<GstElement> pipeline = Launch("! fakesink sync=false name=sink");
    const std::vector<Seen>& seen = Watch(pipeline.get());
    gst_element_set_state(pipeline.get(), GST_STATE_PLAYING);
    ASSERT_TRUE(Eventually([&] { return count_ >= 5; }));
    gst_element_set_state(pipeline.get(), GST_STATE_PAUSED);
    const std::size_t before = count_;
    const Owned<GstElement> other = Launch("num-buffers=20 ! fakesink sync=false");
    gst_element_set_state(other.get(), GST_STATE_PLAYING);
    ASSERT_TRUE(EndsWell(other.get())); // so at least 19 frames went by
    gst_element_set_state(other.get(), GST_STATE_NULL);
    EXPECT_LE(count_, before + 1); // the one that the sink held back
    gst_element_set_state(pipeline.get(), GST_STATE_PLAYING);
    ASSERT_TRUE(Eventually([&] { return count_ >= before + 5; }));
    gst_element_set_state(pipeline.get(), GST_STATE_NULL);
    std::size_t jumps = 0;
    for (std::size_t i = 1; i < seen.size(); ++i) {
        SCOPED_TRACE(i);
        const bool jumped = seen[i].number - seen[i - 1].number > 15;
        jumps += jumped ? 1 : 0;
        EXPECT_TRUE(seen[i].discont || !jumped);
        EXPECT_TRUE(seen[i].offset - seen[i - 1].offset == 1 || !jumped);
        EXPECT_GT(seen[i].pts, seen[i - 1].pts);
    }
    EXPECT_EQ(jumps, 1U);
}

TEST_F(Element, LendsAFrameForAsLongAsABufferHasIt)
{
    StartHost();
    const Owned<GstElement> pipeline =
        Launch("copy=false num-buffers=11 ! fakesink sync=false enable-last-sample=true name=sink");
    const std::vector<Seen>& seen = Watch(pipeline.get());
    gst_element_set_state(pipeline.get(), GST_STATE_PLAYING);
    ASSERT_TRUE(EndsWell(pipeline.get()));
    const Owned<GstElement> source(gst_bin_get_by_name(GST_BIN(pipeline.get()), "source"));
    // The sink keeps its last buffer, so every second frame has to be copied.
    const auto lentOnes = static_cast<guint64>(std::ranges::count(seen, true, &Seen::lent));
    EXPECT_GE(lentOnes, 3U);
    EXPECT_LT(lentOnes, seen.size());
    GstStructure* stats = nullptr;
    guint64 lent = 0;
    g_object_get(source.get(), "stats", &stats, nullptr);
    gst_structure_get_uint64(stats, "lent", &lent);
    gst_structure_free(stats);
    EXPECT_EQ(lent, lentOnes);

    // The host leaves it alone, and it outlives element and host.
    const Owned<GstElement> sink(gst_bin_get_by_name(GST_BIN(pipeline.get()), "sink"));
    GstSample* sample = nullptr;
    g_object_get(sink.get(), "last-sample", &sample, nullptr);
    const auto pixels = [sample] {
        GstMapInfo map;
        EXPECT_TRUE(gst_buffer_map(gst_sample_get_buffer(sample), &map, GST_MAP_READ));
        const std::vector<guint8> bytes(map.data, map.data + map.size);
        gst_buffer_unmap(gst_sample_get_buffer(sample), &map);
        return bytes;
    };
    const std::vector<guint8> before = pixels();
    EXPECT_EQ(before.size(), 160U * 120U);
    const Owned<GstElement> other = Launch("num-buffers=20 ! fakesink sync=false");
    gst_element_set_state(other.get(), GST_STATE_PLAYING);
    EXPECT_TRUE(EndsWell(other.get()));
    gst_element_set_state(other.get(), GST_STATE_NULL);
    gst_element_set_state(pipeline.get(), GST_STATE_NULL);
    EndHost();
    EXPECT_TRUE(pixels() == before);
    gst_sample_unref(sample);
}

TEST_F(Element, TimesRiseAndMakeSense)
{
    const Owned<GstElement> element(gst_element_factory_make("fakesrc", nullptr));
    gst_object_ref_sink(element.get());
    kvgst::CaptureClock times;
    EXPECT_EQ(times.RunningTime(element.get(), Now()), GST_CLOCK_TIME_NONE) << "there is no clock";
    const Owned<GstClock> clock(gst_system_clock_obtain());
    gst_element_set_clock(element.get(), clock.get());
    constexpr std::int64_t kSecond = GST_SECOND;
    const auto base = static_cast<std::int64_t>(gst_clock_get_time(clock.get())) - 10 * kSecond;
    gst_element_set_base_time(element.get(), static_cast<GstClockTime>(base));
    struct Row {
        std::int64_t age;      ///< of the capture time
        std::int64_t expected; ///< running time, about; the pipeline began 10 s ago
    };
    constexpr std::int64_t kNone = G_MAXINT64;
    const Row rows[] = {{20 * kSecond, 0}, // before the start
                        {11 * kSecond, 0},
                        {9 * kSecond, kSecond},
                        {9 * kSecond + kSecond / 2, kSecond}, // before the frame before
                        {5 * kSecond, 5 * kSecond},
                        {3600 * kSecond, 10 * kSecond}, // senseless, so now counts
                        {-3600 * kSecond, 10 * kSecond},
                        {kNone, 10 * kSecond}};
    std::int64_t last = -1;
    for (const Row& row : rows) {
        SCOPED_TRACE(row.age);
        const auto time = static_cast<std::int64_t>(
            times.RunningTime(element.get(), row.age == kNone ? 0 : Now() - row.age));
        EXPECT_GT(time, last);
        EXPECT_LT(std::abs(time - row.expected), row.expected == 0 ? 1000 : kSecond / 4);
        last = time;
    }
    gst_element_set_clock(element.get(), nullptr);
}

TEST_F(Element, PicturesAreLaidOutAsGStreamerExpects)
{
    struct Row {
        kvf_format format;
        bool scale12;
        bool bayerAsGrey;
        std::vector<std::uint8_t> frame; ///< three pixels wide, two high
        const char* caps;
        std::vector<std::uint8_t> picture; ///< lines of a multiple of four bytes
    };
    // 12-bit pixels: 0x123 0x456 0x789 / 0xABC 0xDEF 0xFFF
    const std::vector<std::uint8_t> packed{0x12, 0x63, 0x45, 0x78, 0xC9, 0xAB, 0xDE, 0xFF, 0xFF};
    const std::vector<std::uint8_t> wide{0x23, 1, 0x56, 4, 0x89, 7, 0xBC, 10, 0xEF, 13, 0xFF, 15};
    const std::vector<std::uint8_t> plain{0x23, 1,  0x56, 4,  0x89, 7,  0, 0,
                                          0xBC, 10, 0xEF, 13, 0xFF, 15, 0, 0};
    const std::vector<std::uint8_t> scaled{0x31, 0x12, 0x64, 0x45, 0x97, 0x78, 0, 0,
                                           0xCA, 0xAB, 0xFD, 0xDE, 0xFF, 0xFF, 0, 0};
    const std::vector<std::uint8_t> bytes{1, 2, 3, 4, 5, 6};
    const std::vector<std::uint8_t> padded{1, 2, 3, 0, 4, 5, 6, 0};
    const Row rows[] = {
        {KVF_MONO8, true, false, bytes, "video/x-raw, format=(string)GRAY8", padded},
        {KVF_MONO12_PACKED, true, false, packed, "format=(string)GRAY16_LE", scaled},
        {KVF_MONO12_PACKED, false, false, packed, "format=(string)GRAY16_LE", plain},
        {KVF_MONO12, true, false, wide, "format=(string)GRAY16_LE", scaled},
        {KVF_MONO12, false, false, wide, "format=(string)GRAY16_LE", plain},
        {KVF_UYVY, true, false, wide, "format=(string)UYVY", plain},
        {KVF_BAYER_RG8, true, false, bytes, "video/x-bayer, format=(string)rggb", padded},
        {KVF_BAYER_RG8, true, true, bytes, "video/x-raw, format=(string)GRAY8", padded},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::Message() << row.format << (row.scale12 ? " scaled" : ""));
        kvf_frame frame{};
        frame.pixels = row.frame.data();
        frame.bytes = row.frame.size();
        frame.width = 3;
        frame.height = 2;
        frame.format = row.format;
        const auto picture = kvgst::Picture::Of(frame, {row.scale12, row.bayerAsGrey});
        ASSERT_TRUE(picture);
        GstCaps* caps = picture->Caps();
        gchar* text = gst_caps_to_string(caps);
        EXPECT_THAT(text, HasSubstr(row.caps));
        EXPECT_THAT(text, HasSubstr("width=(int)3, height=(int)2"));
        g_free(text);
        gst_caps_unref(caps);
        std::vector<std::uint8_t> copy(picture->Bytes(), 0xEE);
        EXPECT_TRUE(picture->Copy(nullptr, frame, copy.data()));
        EXPECT_THAT(copy, ElementsAreArray(row.picture));

        frame.generation = 1;
        EXPECT_FALSE(picture->Copy(nullptr, frame, copy.data())) << "it was overwritten";
        --frame.bytes;
        EXPECT_FALSE(kvgst::Picture::Of(frame, {})) << "it is too short";
    }
}

} // namespace
