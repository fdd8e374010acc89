/** The element kvframessrc as GStreamer sees it, and the plugin. frame_source.h has what it does.
 */
#include "frame_meta.h"
#include "frame_source.h"

#include <gst/base/gstpushsrc.h>
#include <gst/gst.h>

GST_DEBUG_CATEGORY(kvframessrc_debug);
#define GST_CAT_DEFAULT kvframessrc_debug

struct GstKvFramesSrc {
    GstPushSrc parent;
    kvgst::FrameSource* source;
};
struct GstKvFramesSrcClass {
    GstPushSrcClass parent;
};

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wold-style-cast" // g++ warns of casts inside the macro
G_DEFINE_TYPE(GstKvFramesSrc, gst_kv_frames_src, GST_TYPE_PUSH_SRC)
#pragma GCC diagnostic pop

namespace
{

enum Property : guint {
    kMemory = 1,
    kNewest,
    kWaitForHost,
    kCopy,
    kLatency,
    kScale12,
    kBayerAsGrey,
    kStats,
};

/** `object` is of this class: GStreamer calls the functions below only for such objects. */
kvgst::FrameSource& SourceOf(gpointer object)
{
    return *static_cast<GstKvFramesSrc*>(object)->source;
}

void SetProperty(GObject* object, guint id, const GValue* value, GParamSpec* spec)
{
    kvgst::Settings settings = SourceOf(object).GetSettings();
    switch (id) {
    case kMemory: {
        const gchar* name = g_value_get_string(value);
        settings.memory = name == nullptr ? KVF_DEFAULT_NAME : name;
        break;
    }
    case kNewest:
        settings.newest = g_value_get_boolean(value);
        break;
    case kWaitForHost:
        settings.waitForHost = g_value_get_boolean(value);
        break;
    case kCopy:
        settings.copy = g_value_get_boolean(value);
        break;
    case kLatency:
        settings.latencyMs = g_value_get_uint(value);
        break;
    case kScale12:
        settings.picture.scale12 = g_value_get_boolean(value);
        break;
    case kBayerAsGrey:
        settings.picture.bayerAsGrey = g_value_get_boolean(value);
        break;
    default:
        G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, spec);
    }
    SourceOf(object).Set(settings);
}

void GetProperty(GObject* object, guint id, GValue* value, GParamSpec* spec)
{
    const kvgst::Settings settings = SourceOf(object).GetSettings();
    switch (id) {
    case kMemory:
        g_value_set_string(value, settings.memory.c_str());
        break;
    case kNewest:
        g_value_set_boolean(value, settings.newest);
        break;
    case kWaitForHost:
        g_value_set_boolean(value, settings.waitForHost);
        break;
    case kCopy:
        g_value_set_boolean(value, settings.copy);
        break;
    case kLatency:
        g_value_set_uint(value, settings.latencyMs);
        break;
    case kScale12:
        g_value_set_boolean(value, settings.picture.scale12);
        break;
    case kBayerAsGrey:
        g_value_set_boolean(value, settings.picture.bayerAsGrey);
        break;
    case kStats: {
        const kvgst::Counts counts = SourceOf(object).GetCounts();
        g_value_take_boxed(value, gst_structure_new("kvframessrc-stats", "delivered", G_TYPE_UINT64,
                                                    counts.delivered, "missed", G_TYPE_UINT64,
                                                    counts.missed, "overwritten", G_TYPE_UINT64,
                                                    counts.overwritten, "lent", G_TYPE_UINT64,
                                                    counts.lent, "taken-back", G_TYPE_UINT64,
                                                    counts.takenBack, nullptr));
        break;
    }
    default:
        G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, spec);
    }
}

void Finalize(GObject* object)
{
    delete static_cast<GstKvFramesSrc*>(static_cast<gpointer>(object))->source;
    G_OBJECT_CLASS(gst_kv_frames_src_parent_class)->finalize(object);
}

GstCaps* GetCaps(GstBaseSrc* base, GstCaps* filter)
{
    GstCaps* caps = SourceOf(base).Caps();
    if (filter != nullptr) {
        GstCaps* both = gst_caps_intersect_full(filter, caps, GST_CAPS_INTERSECT_FIRST);
        gst_caps_unref(caps);
        caps = both;
    }
    return caps;
}

gboolean Query(GstBaseSrc* base, GstQuery* query)
{
    if (GST_QUERY_TYPE(query) == GST_QUERY_LATENCY) {
        SourceOf(base).AnswerLatency(query);
        return TRUE;
    }
    return GST_BASE_SRC_CLASS(gst_kv_frames_src_parent_class)->query(base, query);
}

GstStateChangeReturn ChangeState(GstElement* element, GstStateChange change)
{
    if (change == GST_STATE_CHANGE_PLAYING_TO_PAUSED) {
        SourceOf(element).Pause();
    } else if (change == GST_STATE_CHANGE_PAUSED_TO_PLAYING) {
        SourceOf(element).Resume();
    }
    return GST_ELEMENT_CLASS(gst_kv_frames_src_parent_class)->change_state(element, change);
}

GParamSpec* Switch(const char* name, const char* nick, const char* blurb, bool value)
{
    return g_param_spec_boolean(name, nick, blurb, value,
                                static_cast<GParamFlags>(G_PARAM_READWRITE |
                                                         G_PARAM_STATIC_STRINGS |
                                                         GST_PARAM_MUTABLE_READY));
}

void InstallProperties(GObjectClass* object)
{
    const auto flags = static_cast<GParamFlags>(G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS |
                                                GST_PARAM_MUTABLE_READY);
    const kvgst::Settings defaults;
    g_object_class_install_property(
        object, kMemory,
        g_param_spec_string("memory", "Memory",
                            "Name of the host's shared frame memory (memory.name of kvgrab)",
                            defaults.memory.c_str(), flags));
    g_object_class_install_property(
        object, kNewest,
        Switch("newest", "Newest",
               "Deliver the newest frame each time and skip those before it, for previews. "
               "Otherwise each frame is delivered that can still be read",
               defaults.newest));
    g_object_class_install_property(
        object, kWaitForHost,
        Switch("wait-for-host", "Wait for host",
               "Wait for a host that is not there yet, and for one that ended to return. "
               "Otherwise the first is an error, and the second is the end of the stream",
               defaults.waitForHost));
    g_object_class_install_property(
        object, kCopy,
        Switch(
            "copy", "Copy",
            "Copy each frame, and deliver only what is certainly whole. Otherwise one frame at a "
            "time is lent to the pipeline without a copy, and those that come meanwhile are "
            "copied; the host takes a lent frame back if it would lose another one",
            defaults.copy));
    g_object_class_install_property(
        object, kLatency,
        g_param_spec_uint("latency", "Latency",
                          "How long after its capture time a frame is at the latest delivered, as "
                          "far as synchronised sinks are concerned (ms)",
                          0, 60000, defaults.latencyMs, flags));
    g_object_class_install_property(
        object, kScale12,
        Switch("scale-12-bit", "Scale 12 bit",
               "Scale values of 12 bits to the 16 bits of GRAY16_LE, as value * 16 + value / 256, "
               "whose upper 12 bits are the value. Otherwise they stay from 0 to 4095",
               defaults.picture.scale12));
    g_object_class_install_property(
        object, kBayerAsGrey,
        Switch("bayer-as-gray", "Bayer as gray",
               "Offer Bayer frames as GRAY8, for elements that don't know video/x-bayer, such as "
               "lossless encoders",
               defaults.picture.bayerAsGrey));
    g_object_class_install_property(
        object, kStats,
        g_param_spec_boxed(
            "stats", "Statistics",
            "Frames since the start: delivered, missed, and how many of those missed "
            "were overwritten while they were copied",
            GST_TYPE_STRUCTURE,
            static_cast<GParamFlags>(G_PARAM_READABLE | G_PARAM_STATIC_STRINGS)));
}

} // namespace

static void gst_kv_frames_src_class_init(GstKvFramesSrcClass* type)
{
    GObjectClass* object = G_OBJECT_CLASS(type);
    object->set_property = SetProperty;
    object->get_property = GetProperty;
    object->finalize = Finalize;
    InstallProperties(object);

    GstElementClass* element = GST_ELEMENT_CLASS(type);
    element->change_state = ChangeState;
    gst_element_class_set_static_metadata(
        element, "Camera frames of a kvgrab host", "Source/Video",
        "Delivers the frames that kvgrab, or another host of the camera driver, shares in memory",
        "the authors of libdriver-dalsa");
    GstCaps* caps = kvgst::AllCaps();
    gst_element_class_add_pad_template(
        element, gst_pad_template_new("src", GST_PAD_SRC, GST_PAD_ALWAYS, caps));
    gst_caps_unref(caps);

    GstBaseSrcClass* base = GST_BASE_SRC_CLASS(type);
    base->start = [](GstBaseSrc* src) -> gboolean { return SourceOf(src).Start(); };
    base->stop = [](GstBaseSrc* src) -> gboolean {
        SourceOf(src).Stop();
        return TRUE;
    };
    base->unlock = [](GstBaseSrc* src) -> gboolean {
        SourceOf(src).Unlock();
        return TRUE;
    };
    base->unlock_stop = [](GstBaseSrc* src) -> gboolean {
        SourceOf(src).UnlockStop();
        return TRUE;
    };
    base->get_caps = GetCaps;
    base->query = Query;
    base->negotiate = [](GstBaseSrc* src) -> gboolean { return SourceOf(src).Negotiate(); };
    base->decide_allocation = [](GstBaseSrc* src, GstQuery* query) -> gboolean {
        return SourceOf(src).DecideAllocation(query);
    };
    GST_PUSH_SRC_CLASS(type)->create = [](GstPushSrc* src, GstBuffer** buffer) {
        return SourceOf(src).Create(buffer);
    };
}

static void gst_kv_frames_src_init(GstKvFramesSrc* self)
{
    self->source = new kvgst::FrameSource(&self->parent);
    gst_base_src_set_live(GST_BASE_SRC(self), TRUE);
    gst_base_src_set_format(GST_BASE_SRC(self), GST_FORMAT_TIME);
}

static gboolean InitialisePlugin(GstPlugin* plugin)
{
    GST_DEBUG_CATEGORY_INIT(kvframessrc_debug, "kvframessrc", 0, "frames of a kvgrab host");
    kvgst::RegisterFrameMeta();
    return gst_element_register(plugin, "kvframessrc", GST_RANK_NONE, gst_kv_frames_src_get_type());
}

#define PACKAGE "libdriver-dalsa"
GST_PLUGIN_DEFINE(GST_VERSION_MAJOR, GST_VERSION_MINOR, kvframes,
                  "The frames of a running camera host", InitialisePlugin, KV_VERSION, "unknown",
                  "libdriver-dalsa", "unknown")
