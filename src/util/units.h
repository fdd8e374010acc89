/** Units and conversions. */
#pragma once

#include <cmath>
#include <cstdint>
#include <limits>
#include <sys/time.h>

namespace KvTd
{

// ---- floating values that may lie out of range -----------------------------------------------

/** Truncated towards zero; INT32_MIN for NaN and everything that does not fit. */
constexpr std::int32_t ToInt32(double value)
{
    return value > -2147483649.0 && value < 2147483648.0 ? static_cast<std::int32_t>(value)
                                                         : std::numeric_limits<std::int32_t>::min();
}

/** Truncated towards zero; 0 for NaN and everything that does not fit. */
constexpr std::uint32_t ToUint32(double value)
{
    return value > -1.0 && value < 4294967296.0 ? static_cast<std::uint32_t>(value) : 0;
}

/** Truncated towards zero; 0 for NaN and everything that does not fit. */
constexpr std::uint64_t ToUint64(double value)
{
    return value > -1.0 && value < 18446744073709551616.0 ? static_cast<std::uint64_t>(value) : 0;
}

// ---- gain ------------------------------------------------------------------------------------

inline float DbOfFactor(float factor)
{
    return 20.0F * std::log10(factor);
}

inline float FactorOfDb(float db)
{
    return std::pow(10.0F, db / 20.0F);
}

// ---- time ------------------------------------------------------------------------------------

inline std::uint64_t MicrosecondsOf(const timeval& time)
{
    return static_cast<std::uint64_t>(time.tv_sec) * 1000000U +
           static_cast<std::uint64_t>(time.tv_usec);
}

/** Camera ticks in microseconds, truncated. */
inline std::uint64_t MicrosecondsOfTicks(std::uint64_t ticks, std::uint32_t tickFrequency)
{
    return ToUint64(1000000.0 / tickFrequency * static_cast<double>(ticks));
}

/** Period of a frame rate in microseconds, rounded to nearest; 0 where it does not fit 32 bits. */
inline std::uint32_t PeriodUsOfRate(float fps)
{
    const float period = 1000000.0F / fps;
    if (!(period >= 0.0F && period < 4294967296.0F)) {
        return 0;
    }
    return static_cast<std::uint32_t>(lroundf(period));
}

/** How often the grab state is reported: every n-th frame. */
inline std::uint32_t GrabStateDivider(float fps)
{
    if (fps <= 1.0F) {
        return 1;
    }
    const std::uint32_t divider = ToUint32(static_cast<double>(fps) * 0.6);
    return divider == 0 ? 1 : divider;
}

// ---- sizes -----------------------------------------------------------------------------------

/** Bytes of a line, rounded up. */
inline std::uint32_t StrideBytes(std::uint8_t pixelBits, std::uint32_t width)
{
    return ToUint32(ceilf(static_cast<float>(pixelBits * 0.125 * width)));
}

/** Bytes of a frame with spare lines behind it as room for chunk data: one, or more below 256
 *  pixels. Wraps at 32 bits. */
constexpr std::uint32_t RoomyFrameBytes(std::uint32_t bytesPerPixel, std::uint32_t width,
                                        std::uint32_t height)
{
    return width == 0 ? 0 : bytesPerPixel * width * (height + (width + 255) / width);
}

} // namespace KvTd
