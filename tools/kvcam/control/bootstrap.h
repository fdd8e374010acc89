/** The bootstrap registers of a GigE Vision camera: who it is, what it can do, and its stream
 *  channel.
 *
 *  Who may write them is the command desk's to know, and so is the register kControlRegister, of
 *  which these registers only show the value. */
#pragma once

#include "tools/kvcam/control/gvcp.h"
#include "tools/kvcam/control/memory.h"
#include "tools/kvcam/stream/acquisition.h"

#include <array>
#include <cstdint>
#include <functional>
#include <span>
#include <string>

namespace kvcam
{

enum BootstrapRegister : std::uint32_t {
    kMacRegister = 0x0008, ///< the upper 16 bits; the next register has the others
    kAddressRegister = 0x0024,
    kUserNameRegister = 0x00E8, ///< a text of kUserNameBytes
    kDiscoveryBytes = 0x00F8,   ///< registers from 0 on that a DISCOVERY is answered with
    kCapabilityRegister = 0x0934,
    kHeartbeatRegister = 0x0938, ///< ms
    kTickControlRegister = 0x0944,
    kLatchedTicksRegister = 0x0948, ///< the upper 32 bits; the next register has the others
    kControlRegister = 0x0A00,      ///< the control privilege
    kStreamPortRegister = 0x0D00,
    kPacketSizeRegister = 0x0D04,
    kPacketDelayRegister = 0x0D08,
    kStreamAddressRegister = 0x0D18,
    kStreamSourceRegister = 0x0D1C,
    kStreamConfigurationRegister = 0x0D24,
    kBootstrapBytes = 0x0D28
};
constexpr std::uint32_t kUserNameBytes = 16;

/** What doesn't change while the camera runs. */
struct Identity {
    std::uint32_t address = 0; ///< IPv4, like the mask, host byte order
    std::uint32_t mask = 0;
    std::string maker;
    std::string model;
    std::string version;
    std::string serial;
    std::string descriptionName = "kvcam.xml"; ///< the file name in the URL
    std::size_t descriptionBytes = 0;
    std::uint64_t tickFrequency = 0; ///< Hz
    bool resends = false;            ///< packets are sent again on request
    bool extendedIds = false;        ///< of frames and packets, always
    std::uint16_t streamPort = 0;    ///< from which the stream is sent
};

/** The camera's counter of ticks. */
struct TickCounting {
    std::function<std::uint64_t()> now;
    std::function<void()> reset; ///< to 0
};

class Bootstrap : public Memory
{
public:
    /** A locally administered address, the same for the same serial number. */
    static std::uint64_t MacOf(const std::string& serial);

    Bootstrap(Identity identity, TickCounting ticks, Acquisition& acquisition);

    /** Whole registers; others than those of GigE Vision that this camera has don't exist. */
    Status Read(std::uint32_t address, std::span<std::uint8_t> bytes) override;
    Status Write(std::uint32_t address, std::span<const std::uint8_t> bytes) override;

    std::uint32_t Get(std::uint32_t address) const { return Get32(image_, address); }
    void ShowPrivilege(std::uint32_t value) { Set(kControlRegister, value); }
    const StreamTarget& Target() const { return target_; }
    /** Nothing is sent to the client any more. */
    void CloseStream();
    /** All that clients have written is forgotten. */
    void PowerUp();

private:
    void Set(std::uint32_t address, std::uint32_t value) { Put32(image_, address, value); }
    void SetText(std::uint32_t address, std::size_t bytes, const std::string& text);
    Status WriteRegister(std::uint32_t address, std::uint32_t value);
    Status WritePacketSize(std::uint32_t value);
    void ControlTicks(std::uint32_t value);

    const Identity identity_;
    const TickCounting ticks_;
    Acquisition& acquisition_;
    StreamTarget target_;
    std::array<std::uint8_t, kBootstrapBytes> image_{};
};

} // namespace kvcam
