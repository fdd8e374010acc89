/** Reads and writes a camera's registers over a socket of our own: nothing of the network library's
 *  state is touched, and the time it takes is ours to choose.
 *
 *  Addresses and layouts are those of the GigE Vision control protocol (GVCP). */
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <span>

namespace net
{

/** Bootstrap registers, by address. */
enum BootstrapRegister : std::uint32_t {
    kDeviceVersion = 0x0088,     ///< text of 32 bytes
    kDescriptionUrl = 0x0200,    ///< text of 512 bytes
    kCapability = 0x0934,        ///< of the control protocol: bit 2 sends packets again
    kHeartbeatTimeout = 0x0938,  ///< milliseconds
    kTickFrequencyHigh = 0x093C, ///< Hz, the upper 32 bits
    kTickFrequencyLow = 0x0940,
    kControlPrivilege = 0x0A00, ///< 0: nobody has control
    // Of stream channel 0:
    kStreamPort = 0x0D00,        ///< to which the camera sends; 0: the channel is closed
    kStreamPacketDelay = 0x0D08, ///< ticks of the time stamp counter
    kStreamDestination = 0x0D18, ///< address to which the camera sends
    kStreamSource = 0x0D1C       ///< port from which it sends; 0: it doesn't tell
};

enum class Answer {
    Given,
    Denied,     ///< the camera answers, but not with what was asked for: GvcpClient::Error
    Refused,    ///< the camera's host says that nobody listens there
    Silent,     ///< nothing came in time
    Interrupted ///< the host interrupted the cameras
};

/** For how long an answer is waited for. */
struct AnswerTime {
    std::chrono::milliseconds usual;
    /** The same while the host interrupts the cameras; 0: not at all, and nothing is sent. */
    std::chrono::milliseconds interrupted{0};
    /** Not null: nobody waits any longer once it is true. */
    const std::atomic<bool>* leave = nullptr;
    /** All that a camera gets by asking for more time, however often: as much as one request may
     *  say. */
    std::chrono::milliseconds mostPending{65'535};
};

/** One camera's control port. One thread at a time. */
class GvcpClient
{
public:
    using Clock = std::chrono::steady_clock;
    static constexpr std::size_t kLargestBlock = 512; ///< bytes of memory in one datagram

    /** IPv4, host byte order. */
    explicit GvcpClient(std::uint32_t address);
    ~GvcpClient();
    GvcpClient(const GvcpClient&) = delete;
    GvcpClient& operator=(const GvcpClient&) = delete;

    Answer ReadRegister(std::uint32_t address, std::uint32_t* value, AnswerTime time);
    Answer WriteRegister(std::uint32_t address, std::uint32_t value, AnswerTime time);
    /** Fills `bytes`, whose size is a multiple of 4, up to kLargestBlock. */
    Answer ReadMemory(std::uint32_t address, std::span<std::uint8_t> bytes, AnswerTime time);
    Answer WriteMemory(std::uint32_t address, std::span<const std::uint8_t> bytes, AnswerTime time);

    /** The status code that came with Answer::Denied last; 0: it was no answer to the question. */
    std::uint32_t Error() const { return error_; }
    /** When the camera last sent anything, be it late, an error, or a request for more time. */
    Clock::time_point HeardAt() const { return heardAt_; }
    /** This machine's address towards the camera, in host byte order; 0: there is none. */
    std::uint32_t OwnAddress() const;

private:
    struct Exchange;
    Answer Ask(std::uint16_t command, std::span<const std::uint8_t> question,
               std::span<std::uint8_t> answer, AnswerTime time);
    Answer Receive(Exchange& exchange);
    bool TakeUp(Exchange& exchange, std::span<const std::uint8_t> packet, Answer* result);

    int socket_ = -1;
    std::uint16_t requestId_ = 0;
    std::uint32_t error_ = 0;
    Clock::time_point heardAt_ = Clock::now();
};

} // namespace net
