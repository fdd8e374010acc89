/** The camera's memory: the registers behind the features of kvcam.xml, and their values at
 *  power-up. Numbers are big endian, as in GigE Vision. */
#pragma once

#include <arv.h>

#include <cstdint>
#include <string>

namespace kvcam
{

/** Bootstrap registers of GigE Vision, and the registers that the library's camera uses to stream.
 */
enum StreamRegister : std::uint32_t {
    kMacHigh = 0x0008,
    kMacLow = 0x000C,
    kManufacturer = 0x0048, ///< text, as the next ones; sizes are below
    kModel = 0x0068,
    kVersion = 0x0088,
    kSerial = 0x00D8,
    kCapability = 0x0934,       ///< see kResends
    kStreamPort = 0x0D00,       ///< of the client, in the low 16 bits
    kStreamPacketSize = 0x0D04, ///< bytes with all headers, in the low 16 bits
    kStreamAddress = 0x0D18,    ///< of the client
    kTickFrequencyHigh = 0x093C,
    kTickFrequencyLow = 0x0940,
    kWidth = 0x0100,
    kHeight = 0x0104,
    kSensorHeight = 0x0118,
    kSensorWidth = 0x011C,
    kAcquisition = 0x0124, ///< see Acquisition
    kPixelFormat = 0x0128,
    kAcquisitionMode = 0x012C,
    kOffsetX = 0x0130,
    kOffsetY = 0x0134,
    kFramePeriod = 0x0138 ///< us
};
constexpr std::uint32_t kTextBytes = 32;
constexpr std::uint32_t kSerialBytes = 16;

/** Registers of kvcam's own that the program reads. F: 8 bytes, a double. */
enum FeatureRegister : std::uint32_t {
    kReverseX = 0x2010,
    kReverseY = 0x2014,
    kChunkModeActive = 0x2060,
    kChunksSent = 0x2094,  ///< 1: the camera can send chunks once they are switched on
    kFrameRate = 0x2100,   ///< F, the requested rate
    kExposure = 0x2108,    ///< F, us
    kTemperature = 0x2800, ///< F for each selector, degrees Celsius
    kGain = 0x2810,        ///< F for each selector, factors
    kChunkEnable = 0x2880, ///< for each chunk
    kBalance = 0x2830      ///< F for red, green and blue, factors
};
constexpr std::uint32_t kDoubleBytes = 8;
constexpr std::uint32_t kNumberBytes = 4;

constexpr std::uint32_t kResends = 4; ///< the camera sends packets again

/** Values of kAcquisition. For the library, all but 0 mean a running acquisition. */
enum Acquisition : std::uint32_t {
    kStopped = 0,
    kStarting = 1, ///< after a client's AcquisitionStart; no frame has been sent yet
    kRunning = 2
};

enum AcquisitionMode : std::uint32_t { kContinuous = 1, kSingleFrame = 2 };

/** A frame's number on the network: 16 bits, with or without 0. */
constexpr std::uint32_t FrameIdOf(std::uint32_t number, bool wrapsToZero)
{
    constexpr std::uint32_t kIds = 0xFFFF;
    return wrapsToZero ? number & kIds : (number - 1) % kIds + 1;
}

/** Typed access to the registers. The library's camera serves the same memory to its clients on its
 *  own thread; each register is read or written as a whole. */
class Registers
{
public:
    explicit Registers(ArvFakeCamera* camera) : camera_(camera) {}

    std::uint32_t Get(std::uint32_t address) const;
    void Put(std::uint32_t address, std::uint32_t value);
    double GetDouble(std::uint32_t address) const;
    void PutDouble(std::uint32_t address, double value);
    /** Cuts the text so that it fits with its terminating zero; the rest of the field is zero. */
    void PutText(std::uint32_t address, std::uint32_t bytes, const std::string& text);

    /** Sets every feature to its value at power-up. */
    void PowerUp();

private:
    ArvFakeCamera* camera_;
};

} // namespace kvcam
