#include "tools/kvcam/registers.h"

#include "base/pixel_format.h"

#include <algorithm>
#include <bit>
#include <vector>

namespace kvcam
{

namespace
{

constexpr std::uint32_t kTickFrequency = 1'000'000'000; // Hz
constexpr std::uint32_t kLut = 0x4000;
constexpr std::uint32_t kLutEntries = 256;

struct Number {
    std::uint32_t address;
    std::uint32_t value;
};
struct Fraction {
    std::uint32_t address;
    double value;
};

// The registers that are not 0 at power-up, in the order of kvcam.xml.
constexpr Number kNumbers[] = {
    {kTickFrequencyLow, kTickFrequency},
    {kSensorWidth, 1920},
    {kSensorHeight, 1080},
    {kWidth, 1920},
    {kHeight, 1080},
    {kPixelFormat, base::kMono8},
    {kAcquisitionMode, kContinuous},
    {0x202C, 128}, // autoBrightnessTarget
    {0x2048, 8},   // lutSize: Bpp8
    {0x2054, 5},   // balanceWhitePeriod: Every5s
    {0x2058, 1},   // balanceRatioReference: Green
};
constexpr Number kZeros[] = {
    {kTickFrequencyHigh, 0}, {kOffsetX, 0}, {kOffsetY, 0}, {kAcquisition, kStopped}};
constexpr Fraction kFractions[] = {
    {kFrameRate, 30},
    {kExposure, 10'000},
    {0x2110, 100},    // exposureAutoMinValue, us
    {0x2118, 30'000}, // exposureAutoMaxValue, us
    {0x2120, 1},      // gainAutoMinValue
    {0x2128, 8},      // gainAutoMaxValue
    {0x2130, 1},      // gammaCorrection
    {kGain, 1},
    {kGain + kDoubleBytes, 1},
    {kBalance, 1},
    {kBalance + kDoubleBytes, 1},
    {kBalance + 2 * kDoubleBytes, 1},
};

} // namespace

std::uint32_t Registers::Get(std::uint32_t address) const
{
    std::uint32_t value = 0;
    arv_fake_camera_read_register(camera_, address, &value);
    return value;
}

void Registers::Put(std::uint32_t address, std::uint32_t value)
{
    arv_fake_camera_write_register(camera_, address, value);
}

double Registers::GetDouble(std::uint32_t address) const
{
    std::uint64_t bits = 0;
    arv_fake_camera_read_memory(camera_, address, sizeof bits, &bits);
    return std::bit_cast<double>(GUINT64_FROM_BE(bits));
}

void Registers::PutDouble(std::uint32_t address, double value)
{
    const std::uint64_t bits = GUINT64_TO_BE(std::bit_cast<std::uint64_t>(value));
    arv_fake_camera_write_memory(camera_, address, sizeof bits, &bits);
}

void Registers::PutText(std::uint32_t address, std::uint32_t bytes, const std::string& text)
{
    std::vector<char> field(bytes, '\0');
    std::copy_n(text.begin(), std::min<std::size_t>(text.size(), bytes - 1), field.begin());
    arv_fake_camera_write_memory(camera_, address, bytes, field.data());
}

void Registers::PowerUp()
{
    for (const Number& number : kZeros) {
        Put(number.address, number.value);
    }
    for (const Number& number : kNumbers) {
        Put(number.address, number.value);
    }
    for (const Fraction& fraction : kFractions) {
        PutDouble(fraction.address, fraction.value);
    }
    for (std::uint32_t i = 0; i < kLutEntries; ++i) {
        Put(kLut + i * kNumberBytes, i);
    }
}

} // namespace kvcam
