/** A GigE Vision camera, built on the camera of the network library. */
#pragma once

#include "tools/kvcam/frame_sender.h"
#include "tools/kvcam/picture.h"
#include "tools/kvcam/registers.h"
#include "tools/kvcam/udp_socket.h"

#include <arv.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

namespace kvcam
{

struct Settings {
    std::string address = "127.0.0.1"; ///< IPv4, of one of this machine's interfaces
    std::string maker = "DALSA (kvcam)";
    std::string model = "Loopback";
    std::string serial = "KV000001";
    std::string features; ///< path of the feature file
    Losses losses;
    bool announcesResend = false;              ///< but never sends a packet again
    std::uint32_t payloadType = kImagePayload; ///< of frames without chunk data
    std::uint32_t firstNumber = 1;             ///< of the first frame after a start
    bool wrapsToZero = false;                  ///< frame numbers go from 65535 to 0, else to 1
    bool wideNumbers = false;                  ///< frame numbers have 64 bits
    unsigned skipFrames = 0; ///< frames whose number this divides are not sent; 0: none
    bool chunks = false;     ///< sends chunk data once a client switches it on
};

/** A camera that is on the network for the life of this object.
 *
 *  Threads: the library's thread serves the clients and sends the frames; Tend is called on one
 *  other thread. */
class Camera
{
public:
    /** Raises std::runtime_error, whose text is a sentence, when the camera can't be made. */
    explicit Camera(const Settings& settings);
    ~Camera();
    Camera(const Camera&) = delete;
    Camera& operator=(const Camera&) = delete;

    /** Does the work that is due from time to time. Returns when to call it again at the latest. */
    std::chrono::milliseconds Tend();

private:
    struct Unref {
        void operator()(ArvGvFakeCamera* camera) const { g_object_unref(camera); }
    };

    static void Fill(ArvBuffer* buffer, void* self, guint32 exposureUs, guint32 gain,
                     ArvPixelFormat format);
    void FillFrame(ArvBuffer* buffer);
    void TakeUpStart();
    std::uint32_t NextNumber();
    void SetPace();
    void Warm();
    void Nudge() const;

    const Settings settings_;
    std::unique_ptr<ArvGvFakeCamera, Unref> camera_;
    Registers registers_;
    // Library's thread only.
    Picture picture_;
    FrameSender sender_;
    std::uint32_t payloadType_ = kImagePayload; ///< since the last start, like the next one
    bool sendsItself_ = false;                  ///< frames go through sender_
    std::uint32_t frameNumber_ = 0;
    // The other thread only.
    std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();
    std::chrono::steady_clock::time_point nextWarming_ = begin_;
    UdpSocket nudger_;
};

} // namespace kvcam
