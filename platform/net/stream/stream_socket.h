/** The socket of a stream channel. */
#pragma once

#include <netinet/in.h>
#include <sys/socket.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace net
{

/** Which packets are the camera's. All come from its address and from one port. If that port isn't
 *  known beforehand, it is that of the first packet which begins a frame of this size. */
struct StreamSource {
    std::uint16_t port = 0;   ///< 0: the camera doesn't tell
    std::uint32_t width = 0;  ///< pixels
    std::uint32_t height = 0; ///< lines
};

/** One or more packets of the camera, one behind the other, each of `segment` bytes but the last.
 *  The system hands them over together (UDP_GRO), or one by one where it can't. */
struct Datagrams {
    std::span<const std::uint8_t> bytes;
    std::size_t segment = 0;
    std::int64_t arrivedNs = 0; ///< real time, since the epoch; 0: not known
};

/** Bound to this machine's address towards the camera, and connected to the camera's address and
 *  port as soon as these are known, so that the system drops what anybody else sends. While the
 * port isn't known, the same rule is applied here.
 *
 *  Threads: one at a time, but Send and Dropped may be called from any. */
class StreamSocket
{
public:
    StreamSocket() = default;
    ~StreamSocket();
    StreamSocket(const StreamSocket&) = delete;
    StreamSocket& operator=(const StreamSocket&) = delete;

    /** `camera` in host byte order; a receive buffer of `bufferBytes`, or as large as is permitted.
     *  Empty, or what failed. */
    std::string Open(std::uint32_t camera, std::uint64_t bufferBytes);
    std::uint32_t OwnAddress() const { return ownAddress_; } ///< host byte order
    std::uint16_t OwnPort() const { return ownPort_; }
    /** What the receive buffer holds, as the system counts it: with its own overhead. */
    std::uint64_t BufferBytes() const { return bufferBytes_; }
    /** Packets that found no room in the receive buffer, so far. */
    std::uint64_t Dropped() const;

    /** From now on packets of this source are received. What is there already is dropped. */
    void Expect(const StreamSource& source);
    /** What has come; waits for the first packet for up to `waitNs`, at most for 20 ms. Valid until
     *  the next call. */
    std::span<const Datagrams> Receive(std::int64_t waitNs);
    /** Whether there may be more that has come already. */
    bool MayHaveMore() const { return more_; }
    /** Whether that was all there was, and little. */
    bool HadLittle() const { return little_; }
    /** To the camera's control port. */
    void Send(std::span<const std::uint8_t> command) const;

private:
    static constexpr std::size_t kBatch = 32;                     ///< system's messages in one call
    static constexpr std::size_t kLargest = std::size_t{1} << 16; ///< bytes of one message
    /** Slots are apart by more than that, since addresses that differ by a power of two share few
     *  lines of the processor's cache. */
    static constexpr std::size_t kStride = kLargest + 1536;

    struct Control {
        alignas(cmsghdr) std::array<std::uint8_t, 64> bytes;
    };

    bool Bind();
    void Connect();
    bool IsOurs(const msghdr& header, std::span<const std::uint8_t> bytes);
    int Ask(std::int64_t waitNs);

    int socket_ = -1;
    std::uint32_t camera_ = 0; ///< address, host byte order
    std::uint32_t ownAddress_ = 0;
    std::uint16_t ownPort_ = 0;
    std::uint64_t bufferBytes_ = 0;
    StreamSource source_;
    bool more_ = false;
    bool little_ = false;
    std::size_t batch_ = 1; ///< how many messages the next call asks for
    std::unique_ptr<std::uint8_t[]> slots_;
    std::array<mmsghdr, kBatch> messages_{};
    std::array<iovec, kBatch> places_{};
    std::array<sockaddr_in, kBatch> froms_{};
    std::array<Control, kBatch> controls_{};
    std::array<Datagrams, kBatch> received_{};
};

} // namespace net
