#include "benchmarks/network/plain_loop.h"

#include <arv.h>

#include <chrono>
#include <cstdio>
#include <vector>

namespace bench
{

namespace
{

constexpr guint64 kPatienceUs = 1'000'000;
constexpr guint kFrameRetentionUs = 1'001'000; // as the driver sets it

ArvGcFeatureNode* Node(ArvDevice* device, const char* name)
{
    return ARV_GC_FEATURE_NODE(arv_device_get_feature(device, name));
}

/** The five nodes that the driver accesses with each frame. */
struct FrameNodes {
    explicit FrameNodes(ArvDevice* device)
        : temperatureSelector(Node(device, "DeviceTemperatureSelector")),
          temperature(Node(device, "DeviceTemperature")),
          gainSelector(Node(device, "GainSelector")), gain(Node(device, "Gain")),
          exposure(Node(device, "ExposureTime"))
    {
    }
    void Access() const
    {
        arv_gc_enumeration_get_string_value(ARV_GC_ENUMERATION(temperatureSelector), nullptr);
        arv_gc_float_get_value(ARV_GC_FLOAT(temperature), nullptr);
        arv_gc_enumeration_set_string_value(ARV_GC_ENUMERATION(gainSelector), "SensorAll", nullptr);
        arv_gc_float_get_value(ARV_GC_FLOAT(gain), nullptr);
        arv_gc_float_get_value(ARV_GC_FLOAT(exposure), nullptr);
    }

    ArvGcFeatureNode* temperatureSelector;
    ArvGcFeatureNode* temperature;
    ArvGcFeatureNode* gainSelector;
    ArvGcFeatureNode* gain;
    ArvGcFeatureNode* exposure;
};

int Fail(const char* what, const GError* error)
{
    std::fprintf(stderr, "plain loop: %s: %s\n", what, error == nullptr ? "?" : error->message);
    return 1;
}

bool Configure(ArvDevice* device, const PlainLoop& plan, GError** error)
{
    arv_gv_device_set_packet_size_adjustment(ARV_GV_DEVICE(device),
                                             ARV_GV_PACKET_SIZE_ADJUSTMENT_NEVER);
    arv_gv_device_set_packet_size(ARV_GV_DEVICE(device), plan.packetSize, error);
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

} // namespace

int RunPlainLoop(const PlainLoop& plan)
{
    using Clock = std::chrono::steady_clock;
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
                 kFrameRetentionUs, nullptr);
    std::vector<std::vector<unsigned char>> memory(static_cast<std::size_t>(plan.buffers));
    for (auto& buffer : memory) {
        buffer.resize(payload);
        arv_stream_push_buffer(stream, arv_buffer_new(payload, buffer.data()));
    }
    const FrameNodes nodes(device);
    Clock::time_point begin;
    Clock::time_point end;
    arv_device_execute_command(device, "AcquisitionStart", &error);
    std::uint64_t received = 0;
    std::uint64_t failed = 0;
    while (received < plan.frames) {
        ArvBuffer* const buffer = arv_stream_timeout_pop_buffer(stream, kPatienceUs);
        if (buffer == nullptr) {
            return Fail("no frame within a second", nullptr);
        }
        if (arv_buffer_get_status(buffer) == ARV_BUFFER_STATUS_SUCCESS) {
            end = Clock::now();
            begin = received == 0 ? end : begin;
            nodes.Access();
            ++received;
        } else {
            ++failed;
        }
        arv_stream_push_buffer(stream, buffer);
    }
    const auto took = std::chrono::duration_cast<std::chrono::microseconds>(end - begin).count();
    arv_device_execute_command(device, "AcquisitionStop", nullptr);
    g_object_unref(stream);
    g_object_unref(device);
    std::printf("received %llu failed %llu took %lld us\n",
                static_cast<unsigned long long>(received), static_cast<unsigned long long>(failed),
                static_cast<long long>(took));
    return 0;
}

} // namespace bench
