#include "tools/kvcam/control/bootstrap.h"

#include <algorithm>
#include <fmt/format.h>
#include <utility>

namespace kvcam
{

namespace
{

// Registers that are only set once, here.
enum FixedRegister : std::uint32_t {
    kVersion = 0x0000,
    kMode = 0x0004,
    kSupportedIp = 0x0010,
    kCurrentIp = 0x0014,
    kMask = 0x0034,
    kMaker = 0x0048,
    kModel = 0x0068,
    kDeviceVersion = 0x0088,
    kMakerInfo = 0x00A8,
    kSerial = 0x00D8,
    kFirstUrl = 0x0200,
    kSecondUrl = 0x0400,
    kInterfaces = 0x0600,
    kMessageChannels = 0x0900,
    kStreamChannels = 0x0904,
    kTickFrequency = 0x093C,
    kMessagePort = 0x0B00
};
constexpr std::size_t kTextBytes = 32;
constexpr std::size_t kMakerInfoBytes = 48;
constexpr std::size_t kSerialBytes = 16;
constexpr std::size_t kUrlBytes = 512;

/** Registers from first to the one before end. */
struct Range {
    std::uint32_t first;
    std::uint32_t end;
};
constexpr Range kReadable[] = {
    {0, kDiscoveryBytes},
    {kFirstUrl, kSecondUrl + kUrlBytes},
    {kInterfaces, kInterfaces + 4},
    {kMessageChannels, kStreamChannels + 4},
    {kCapabilityRegister, kLatchedTicksRegister + 8},
    {kControlRegister, kControlRegister + 4},
    {kMessagePort, kMessagePort + 4},
    {kStreamPortRegister, kBootstrapBytes},
};

enum Capability : std::uint32_t {
    kSeveralRegisters = 1U << 0,
    kWriteMemory = 1U << 1,
    kPacketResend = 1U << 2,
    kPendingAnswers = 1U << 5,
    kExtendedStatus = 1U << 22,
    kSerialRegister = 1U << 30,
    kNameRegister = 1U << 31
};

constexpr std::uint32_t kGigEVision2 = 2U << 16; // version 2.0: major and minor
constexpr std::uint32_t kBigEndianUtf8 = 1U << 31 | 1U;
constexpr std::uint32_t kPersistentIp = 1;
constexpr std::uint32_t kUsualHeartbeatMs = 3000;
constexpr std::uint32_t kShortestHeartbeatMs = 500;
constexpr std::uint32_t kUsualPacket = 1500;
constexpr std::uint32_t kSmallestPacket = 92;
constexpr std::uint32_t kPacketBits = 0xFFFF;
constexpr std::uint32_t kFireTestPacket = 1U << 31;
constexpr std::uint32_t kDontFragment = 1U << 30;
constexpr std::uint32_t kResetTicks = 1;
constexpr std::uint32_t kLatchTicks = 2;

} // namespace

std::uint64_t Bootstrap::MacOf(const std::string& serial)
{
    std::uint32_t hash = 0x811C9DC5; // FNV-1a
    for (const char c : serial) {
        hash = (hash ^ static_cast<std::uint8_t>(c)) * 0x01000193;
    }
    constexpr std::uint64_t kUpper = 0x024B;
    return kUpper << 32 | hash;
}

Bootstrap::Bootstrap(Identity identity, TickCounting ticks, Acquisition& acquisition)
    : identity_(std::move(identity)), ticks_(std::move(ticks)), acquisition_(acquisition)
{
    PowerUp();
}

void Bootstrap::PowerUp()
{
    image_.fill(0);
    const std::uint64_t mac = MacOf(identity_.serial);
    Set(kVersion, kGigEVision2);
    Set(kMode, kBigEndianUtf8);
    Set(kMacRegister, static_cast<std::uint32_t>(mac >> 32));
    Set(kMacRegister + 4, static_cast<std::uint32_t>(mac));
    Set(kSupportedIp, kPersistentIp);
    Set(kCurrentIp, kPersistentIp);
    Set(kAddressRegister, identity_.address);
    Set(kMask, identity_.mask);
    SetText(kMaker, kTextBytes, identity_.maker);
    SetText(kModel, kTextBytes, identity_.model);
    SetText(kDeviceVersion, kTextBytes, identity_.version);
    SetText(kMakerInfo, kMakerInfoBytes, "a simulated camera on the network");
    SetText(kSerial, kSerialBytes, identity_.serial);
    SetText(kFirstUrl, kUrlBytes,
            fmt::format("Local:{};{:X};{:X}", identity_.descriptionName, kDescriptionBase,
                        identity_.descriptionBytes));
    Set(kInterfaces, 1);
    Set(kStreamChannels, 1);
    Set(kCapabilityRegister, kSeveralRegisters | kWriteMemory | kPendingAnswers | kExtendedStatus |
                                 kSerialRegister | kNameRegister |
                                 (identity_.resends ? kPacketResend : 0U));
    Set(kHeartbeatRegister, kUsualHeartbeatMs);
    Set(kTickFrequency, static_cast<std::uint32_t>(identity_.tickFrequency >> 32));
    Set(kTickFrequency + 4, static_cast<std::uint32_t>(identity_.tickFrequency));
    Set(kPacketSizeRegister, kUsualPacket);
    Set(kStreamSourceRegister, identity_.streamPort);
    target_ = {};
    target_.fromPort = identity_.streamPort;
    target_.packetSize = kUsualPacket;
    target_.extendedIds = identity_.extendedIds;
    acquisition_.SetTarget(target_);
}

/** Cuts the text so that it fits with its terminating zero. */
void Bootstrap::SetText(std::uint32_t address, std::size_t bytes, const std::string& text)
{
    const auto field = std::span(image_).subspan(address, bytes);
    std::fill(field.begin(), field.end(), std::uint8_t{0});
    std::copy_n(text.begin(), std::min(text.size(), bytes - 1), field.begin());
}

Status Bootstrap::Read(std::uint32_t address, std::span<std::uint8_t> bytes)
{
    const bool exists =
        std::any_of(std::begin(kReadable), std::end(kReadable), [&](const Range& range) {
            return range.first <= address && address < range.end &&
                   bytes.size() <= range.end - address;
        });
    if (!exists) {
        return Status::InvalidAddress;
    }
    std::copy_n(image_.begin() + address, bytes.size(), bytes.begin());
    return Status::Done;
}

Status Bootstrap::Write(std::uint32_t address, std::span<const std::uint8_t> bytes)
{
    if (address % 4 != 0 || bytes.size() % 4 != 0) {
        return Status::BadAlignment;
    }
    Status status = Status::Done;
    for (std::uint32_t at = 0; at < bytes.size() && status == Status::Done; at += 4) {
        std::array<std::uint8_t, 4> present{};
        status = Read(address + at, present);
        if (status == Status::Done) {
            status = WriteRegister(address + at, Get32(bytes, at));
        }
    }
    return status;
}

Status Bootstrap::WriteRegister(std::uint32_t address, std::uint32_t value)
{
    if (address >= kUserNameRegister && address < kUserNameRegister + kUserNameBytes) {
        Set(address, value);
        return Status::Done;
    }
    switch (address) {
    case kHeartbeatRegister:
        Set(address, std::max(value, kShortestHeartbeatMs));
        return Status::Done;
    case kTickControlRegister:
        ControlTicks(value);
        return Status::Done;
    case kStreamPortRegister:
        target_.port = static_cast<std::uint16_t>(value);
        Set(address, target_.port);
        break;
    case kPacketSizeRegister:
        return WritePacketSize(value);
    case kPacketDelayRegister:
        target_.delayTicks = value;
        Set(address, value);
        break;
    case kStreamAddressRegister:
        target_.address = value;
        Set(address, value);
        break;
    case kStreamConfigurationRegister: // none of its options exists
        return value == 0 ? Status::Done : Status::InvalidParameter;
    default:
        return Status::WriteProtected;
    }
    acquisition_.SetTarget(target_);
    return Status::Done;
}

Status Bootstrap::WritePacketSize(std::uint32_t value)
{
    const std::uint32_t size = value & kPacketBits;
    if (size < kSmallestPacket) {
        return Status::InvalidParameter;
    }
    target_.packetSize = size;
    target_.dontFragment = (value & kDontFragment) != 0;
    Set(kPacketSizeRegister, value & (kDontFragment | kPacketBits));
    acquisition_.SetTarget(target_);
    if ((value & kFireTestPacket) != 0 && target_.port != 0) {
        acquisition_.SendTestPacket();
    }
    return Status::Done;
}

void Bootstrap::ControlTicks(std::uint32_t value)
{
    if ((value & kLatchTicks) != 0) {
        const std::uint64_t ticks = ticks_.now();
        Set(kLatchedTicksRegister, static_cast<std::uint32_t>(ticks >> 32));
        Set(kLatchedTicksRegister + 4, static_cast<std::uint32_t>(ticks));
    }
    if ((value & kResetTicks) != 0) {
        ticks_.reset();
    }
}

void Bootstrap::CloseStream()
{
    target_.port = 0;
    Set(kStreamPortRegister, 0);
    acquisition_.SetTarget(target_);
}

} // namespace kvcam
