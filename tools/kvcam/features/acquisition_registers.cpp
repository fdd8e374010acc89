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

/** A command is done as soon as it was given. */
Status AcquisitionRegisters::Read(std::uint32_t address, std::span<std::uint8_t> bytes)
{
    const Status status = Check(address, bytes.size());
    if (status == Status::Done) {
        PutBigEndian(address == kAcquisitionMode ? kContinuous : 0, bytes);
    }
    return status;
}

Status AcquisitionRegisters::Write(std::uint32_t address, std::span<const std::uint8_t> bytes)
{
    if (const Status status = Check(address, bytes.size()); status != Status::Done) {
        return status;
    }
    if (TakeBigEndian(bytes) != 1) { // what starts a command is the code of the only mode, too
        return Status::InvalidParameter;
    }
    if (address == kAcquisitionMode) {
        return Status::Done;
    }
    return address == kAcquisitionStart ? acquisition_.Start() : acquisition_.Stop();
}

} // namespace kvcam
