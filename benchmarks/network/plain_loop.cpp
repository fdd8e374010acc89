/** The network library alone. */
#include "benchmarks/network/loop.h"

#include <arv.h>

namespace bench
{

namespace
{

constexpr guint64 kPatienceUs = kPatienceMs * 1000;

int Fail(const char* what, const GError* error)
{
    std::fprintf(stderr, "plain loop: %s: %s\n", what, error == nullptr ? "?" : error->message);
    return 1;
}

bool Configure(ArvDevice* device, const LoopPlan& plan, GError** error)
{
    arv_gv_device_set_packet_size_adjustment(ARV_GV_DEVICE(device),
                                             ARV_GV_PACKET_SIZE_ADJUSTMENT_NEVER);
    arv_gv_device_set_packet_size(ARV_GV_DEVICE(device), plan.packetSize, error);
    arv_gv_device_set_stream_options(
        ARV_GV_DEVICE(device), plan.packetSocket ? ARV_GV_STREAM_OPTION_NONE
                                                 : ARV_GV_STREAM_OPTION_PACKET_SOCKET_DISABLED);
    const auto integer = [&](const char* name, gint64 value) {
        if (*error == nullptr) {
            arv_device_set_integer_feature_value(device, name, value, error);
        }
    };
    integer("OffsetX", 0);
    integer("OffsetY", 0);
    integer("Width", plan.width);
    integer("Height", plan.height);
    const auto number = [&](const char* name, double value) {
        if (*error == nullptr) {
            arv_device_set_float_feature_value(device, name, value, error);
        }
    };
    number("ExposureTime", kExposureUs);
    number("AcquisitionFrameRate", plan.fps);
    return *error == nullptr;
}

/** As the driver sets it: longer than the longest exposure, but not longer than the buffers last.
 */
guint FrameRetentionUs(const LoopPlan& plan)
{
    constexpr double kLongestUs = 1'001'000;
    constexpr double kShortestUs = 20'000;
    return static_cast<guint>(
        std::clamp((plan.buffers - 3) / plan.fps * 1e6, kShortestUs, kLongestUs));
}

} // namespace

int RunPlainLoop(const LoopPlan& plan)
{
    GError* error = nullptr;
    arv_disable_interface("USB3Vision");
    ArvDevice* const device = arv_open_device(plan.address.c_str(), &error);
    if (device == nullptr) {
        return Fail("open", error);
    }
    if (!Configure(device, plan, &error)) {
        return Fail("configure", error);
    }
    const auto payload = static_cast<std::size_t>(
        arv_device_get_integer_feature_value(device, "PayloadSize", &error));
    ArvStream* const stream = arv_device_create_stream(device, nullptr, nullptr, &error);
    if (stream == nullptr) {
        return Fail("stream", error);
    }
    g_object_set(stream, "socket-buffer", ARV_GV_STREAM_SOCKET_BUFFER_AUTO, "frame-retention",
                 FrameRetentionUs(plan), nullptr);
    std::vector<std::vector<unsigned char>> memory(static_cast<std::size_t>(plan.buffers));
    for (auto& buffer : memory) {
        buffer.resize(payload);
        arv_stream_push_buffer(stream, arv_buffer_new(payload, buffer.data()));
    }
    arv_device_execute_command(device, "AcquisitionStart", &error);
    Tally tally(plan);
    while (!tally.IsDone()) {
        ArvBuffer* const buffer = arv_stream_timeout_pop_buffer(stream, kPatienceUs);
        if (buffer == nullptr) {
            break;
        }
        tally.Add(arv_buffer_get_frame_id(buffer),
                  arv_buffer_get_status(buffer) == ARV_BUFFER_STATUS_SUCCESS);
        arv_stream_push_buffer(stream, buffer);
    }
    arv_device_execute_command(device, "AcquisitionStop", nullptr);
    guint64 resent = 0;
    guint64 missing = 0;
    arv_gv_stream_get_statistics(ARV_GV_STREAM(stream), &resent, &missing);
    g_object_unref(stream);
    g_object_unref(device);
    tally.Print(resent);
    return 0;
}

} // namespace bench
