/** The control channel of one camera: every access to its registers, and what they tell of its
 *  presence.
 *
 *  The network library's own accesses wait for seconds and can't be called off. So the library's
 *  device is given this channel instead (gvcp_device.h); a camera obeys only the socket that took
 *  control of it, therefore everything goes through this one, the heartbeat included. */
#pragma once

#include "net/control/gvcp.h"

#include <arv.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <mutex>
#include <span>

namespace net
{

/** Threads: any; one access at a time. An access fails at once while the host interrupts the
 * cameras or the camera does not answer, unless it ends a session (session_end.h). */
class ControlChannel
{
public:
    enum class Control {
        Ours,
        Lost,    ///< it was restarted, its heartbeat time-out went by, or somebody else has it
        Unknown, ///< an access is under way, or it has been silent for less than the patience
        Gone
    };

    /** IPv4, host byte order. */
    ControlChannel(std::uint32_t address, int patienceMs);
    ~ControlChannel() { GiveControlBack(); }
    ControlChannel(const ControlChannel&) = delete;
    ControlChannel& operator=(const ControlChannel&) = delete;

    std::uint32_t OwnAddress() const { return client_.OwnAddress(); }
    /** Whether accesses go out: not after one that was not answered, until the camera answers
     *  something. */
    bool IsAnswering() const { return answering_.load(std::memory_order_acquire); }
    /** The camera has sent nothing for longer than any access may take, and none is under way. */
    bool IsSilent();
    /** Some work of the library on the camera's features was left alone: nobody may use them now.
     */
    void Abandon();
    bool IsAbandoned() const { return abandoned_.load(std::memory_order_acquire); }

    // Accesses of the library; `error` as it has errors.
    bool Read(std::uint64_t address, std::span<std::uint8_t> bytes, GError** error);
    bool Write(std::uint64_t address, std::span<const std::uint8_t> bytes, GError** error);
    bool ReadRegister(std::uint64_t address, std::uint32_t* value, GError** error);
    bool WriteRegister(std::uint64_t address, std::uint32_t value, GError** error);

    /** The status of asking, before opening, whether nobody controls the camera. */
    int MayTakeControl();
    bool TakeControl(GError** error);
    /** Nothing is sent any more. */
    void GiveControlBack();
    /** Asks who controls the camera, which is also its heartbeat. After it was Gone, Ours only if
     * it still obeys us. */
    Control Look();

private:
    std::chrono::milliseconds LongestAccess() const;
    AnswerTime Time() const;
    template <class Ask> bool Access(const char* what, std::uint64_t at, GError** error, Ask ask);
    static bool Exists(std::uint64_t address, std::size_t size, GError** error);
    void Took(Answer answer);

    const std::chrono::milliseconds patience_;
    std::mutex mutex_;
    GvcpClient client_;
    GvcpClient::Clock::time_point idleSince_; ///< when the last access ended
    bool controls_ = false;
    bool gone_ = false;   ///< as Look found last
    bool closed_ = false; ///< control was given back or is somebody else's
    std::atomic<bool> answering_{true};
    std::atomic<bool> abandoned_{false};
};

} // namespace net
