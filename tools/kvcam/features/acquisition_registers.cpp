#include "tools/kvcam/features/acquisition_registers.h"

#include "tools/kvcam/big_endian.h"

namespace kvcam
{

std::string_view AcquisitionFeatureAt(std::uint32_t address)
{
    switch (address) {
    case kAcquisitionStart:
        return "AcquisitionStart";
    case kAcquisitionStop:
        return "AcquisitionStop";
    case kAcquisitionMode:
        return "AcquisitionMode";
    case kAcquisitionFrameCount:
        return "AcquisitionFrameCount";
    default:
        return "";
    }
}

Status AcquisitionRegisters::Check(std::uint32_t address, std::size_t bytes) const
{
    if (address % 4 != 0) {
        return Status::BadAlignment;
    }
    if (AcquisitionFeatureAt(address).empty()) {
        return Status::InvalidAddress;
    }
    if (bytes != 4) {
        return Status::InvalidParameter;
    }
    return camera_.IsPresent() ? Status::Done : Status::NoAnswer;
}

/** Null for a command. */
std::uint32_t* AcquisitionRegisters::Setting(std::uint32_t address)
{
    return address == kAcquisitionMode         ? &mode_
           : address == kAcquisitionFrameCount ? &frameCount_
                                               : nullptr;
}

/** A command is done as soon as it was given. */
Status AcquisitionRegisters::Read(std::uint32_t address, std::span<std::uint8_t> bytes)
{
    const Status status = Check(address, bytes.size());
    if (status == Status::Done) {
        const std::uint32_t* const setting = Setting(address);
        PutBigEndian(setting == nullptr ? 0 : *setting, bytes);
    }
    return status;
}

Status AcquisitionRegisters::Write(std::uint32_t address, std::span<const std::uint8_t> bytes)
{
    if (const Status status = Check(address, bytes.size()); status != Status::Done) {
        return status;
    }
    const auto value = static_cast<std::uint32_t>(TakeBigEndian(bytes));
    const std::uint32_t most = address == kAcquisitionMode         ? kMultiFrame
                               : address == kAcquisitionFrameCount ? kMostFrames
                                                                   : 1; // starts a command
    if (value == 0 || value > most) {
        return Status::InvalidParameter;
    }
    if (std::uint32_t* const setting = Setting(address); setting != nullptr) {
        *setting = value;
        return Status::Done;
    }
    return address == kAcquisitionStart ? Start() : acquisition_.Stop();
}

Status AcquisitionRegisters::Start()
{
    return acquisition_.Start(mode_ == kContinuous    ? Acquisition::kForEver
                              : mode_ == kSingleFrame ? 1
                                                      : frameCount_);
}

} // namespace kvcam
