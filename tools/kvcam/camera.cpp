#include "tools/kvcam/camera.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <functional>
#include <numbers>
#include <stdexcept>
#include <sys/socket.h>

namespace kvcam
{

namespace
{

using Clock = std::chrono::steady_clock;

constexpr const char* kDeviceVersion = "1.00";
constexpr std::uint16_t kControlPort = 3956; // of GigE Vision
constexpr double kUsPerS = 1e6;

/** The library's camera lets other programs share its port; each of them would then get only some
 *  of the clients' requests. */
void RequireFree(const std::string& address)
{
    UdpSocket().Bind(EndpointOf(address, kControlPort));
}

ArvGvFakeCamera* NewCamera(const Settings& settings)
{
    if (!std::filesystem::is_regular_file(settings.features)) {
        throw std::runtime_error("no feature file '" + settings.features + "'");
    }
    RequireFree(settings.address);
    ArvGvFakeCamera* const camera = arv_gv_fake_camera_new_full(
        settings.address.c_str(), settings.serial.c_str(), settings.features.c_str());
    if (camera == nullptr) {
        throw std::runtime_error("the network library makes no camera");
    }
    return camera;
}

} // namespace

Camera::Camera(const Settings& settings)
    : settings_(settings), camera_(NewCamera(settings)),
      registers_(arv_gv_fake_camera_get_fake_camera(camera_.get())),
      sender_(settings.address, settings.losses, settings.wideNumbers)
{
    if (arv_gv_fake_camera_is_running(camera_.get()) == FALSE) {
        throw std::runtime_error("no camera can be at " + settings.address +
                                 ": no network interface of this machine has that address");
    }
    registers_.PutText(kManufacturer, kTextBytes, settings.maker);
    registers_.PutText(kModel, kTextBytes, settings.model);
    registers_.PutText(kVersion, kTextBytes, kDeviceVersion);
    registers_.PutText(kSerial, kSerialBytes, settings.serial);
    // Locally administered addresses, different for each serial.
    registers_.Put(kMacHigh, 0x024B);
    registers_.Put(kMacLow, static_cast<std::uint32_t>(std::hash<std::string>()(settings.serial)));
    registers_.PowerUp();
    registers_.Put(kChunksSent, settings.chunks ? 1 : 0);
    if (settings.announcesResend) {
        registers_.Put(kCapability, registers_.Get(kCapability) | kResends);
    }
    SetPace();
    Warm();
    arv_fake_camera_set_fill_pattern(arv_gv_fake_camera_get_fake_camera(camera_.get()), &Fill,
                                     this);
    nudger_.Connect(EndpointOf(settings.address, kControlPort));
}

Camera::~Camera()
{
    camera_.reset(); // ends the thread that calls Fill
}

std::chrono::milliseconds Camera::Tend()
{
    constexpr std::chrono::milliseconds kWhileStreaming(1);
    constexpr std::chrono::milliseconds kIdle(10);
    SetPace();
    if (Clock::now() >= nextWarming_) {
        Warm();
    }
    if (registers_.Get(kAcquisition) == kStopped) {
        return kIdle;
    }
    Nudge();
    return kWhileStreaming;
}

/** The library's camera waits 100 ms too long if it checks the clock just after a frame was due.
 *  Any datagram ends its wait; an empty one has no other effect. */
void Camera::Nudge() const
{
    // A failure (full queue, camera shutting down) doesn't matter: the next one is sent in 1 ms.
    [[maybe_unused]] const ssize_t sent = send(nudger_.Handle(), nullptr, 0, 0);
}

/** The library needs a frame period, but clients set a rate, which the exposure time limits. */
void Camera::SetPace()
{
    const double exposureUs = registers_.GetDouble(kExposure);
    const double rate = registers_.GetDouble(kFrameRate);
    constexpr double kLongestUs = 1e9;
    const double periodUs = rate > 0 ? kUsPerS / rate : kLongestUs;
    const auto us = static_cast<std::uint32_t>(
        std::clamp(std::round(std::max(periodUs, exposureUs)), 1.0, kLongestUs));
    if (registers_.Get(kFramePeriod) != us) {
        registers_.Put(kFramePeriod, us);
    }
}

/** Makes the temperature swing around its mean, within ten minutes. */
void Camera::Warm()
{
    constexpr double kMean = 41.5; // degrees Celsius
    constexpr double kSwing = 0.75;
    constexpr double kPeriodS = 600;
    constexpr std::chrono::milliseconds kPause(200);
    const auto now = Clock::now();
    const double s = std::chrono::duration<double>(now - begin_).count();
    registers_.PutDouble(kTemperature,
                         kMean + kSwing * std::sin(2 * std::numbers::pi * s / kPeriodS));
    registers_.PutDouble(kTemperature + kDoubleBytes, kMean + kSwing);
    nextWarming_ = now + kPause;
}

void Camera::Fill(ArvBuffer* buffer, void* self, guint32, guint32, ArvPixelFormat)
{
    static_cast<Camera*>(self)->FillFrame(buffer);
}

/** The thread that calls this also serves the clients, so no start or stop can come between reading
 *  and writing the register. */
void Camera::TakeUpStart()
{
    if (registers_.Get(kAcquisition) != kStarting) {
        return;
    }
    frameNumber_ = settings_.firstNumber - 1;
    payloadType_ = settings_.chunks && registers_.Get(kChunkModeActive) != 0
                       ? kChunkPayload
                       : settings_.payloadType;
    sendsItself_ = payloadType_ != kImagePayload || settings_.losses.packet.has_value() ||
                   settings_.wideNumbers;
    // Of frames that FrameSender sends the library's camera drops all packets.
    g_object_set(camera_.get(), "gvsp-lost-ratio", sendsItself_ ? 1.0 : settings_.losses.ratio,
                 nullptr);
    registers_.Put(kAcquisition, kRunning);
}

/** Frame numbers count from 1 after each start. */
std::uint32_t Camera::NextNumber()
{
    ++frameNumber_;
    if (settings_.skipFrames != 0 && frameNumber_ % settings_.skipFrames == 0) {
        ++frameNumber_;
    }
    return frameNumber_;
}

void Camera::FillFrame(ArvBuffer* buffer)
{
    TakeUpStart();
    const auto time =
        std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now().time_since_epoch());
    const std::uint32_t number = NextNumber();
    const FrameNotes notes{number, FrameIdOf(number, settings_.wrapsToZero),
                           static_cast<std::uint64_t>(time.count())};
    arv_buffer_set_frame_id(buffer, notes.id);
    arv_buffer_set_timestamp(buffer, notes.ticks);
    std::size_t received = 0; // 0 in a buffer that is going to be sent
    const void* const bytes = arv_buffer_get_data(buffer, &received);
    const std::span image(
        static_cast<std::uint8_t*>(const_cast<void*>(bytes)),
        arv_fake_camera_get_payload(arv_gv_fake_camera_get_fake_camera(camera_.get())));
    picture_.Paint(registers_, notes.number, image);
    if (sendsItself_) {
        sender_.Send(registers_, notes, payloadType_, image);
    }
    if (registers_.Get(kAcquisitionMode) == kSingleFrame) {
        registers_.Put(kAcquisition, kStopped);
    }
    SetPace();
}

} // namespace kvcam
