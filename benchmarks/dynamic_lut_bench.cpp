/** What the dynamic look-up table's statistics cost beside a copy of the picture.
 *
 *  Input: a 1920x1080 picture of random bytes. Each count is followed by a memcpy of as many bytes
 *  from another buffer in the same run; times are the thread's own on the processor. `copies` is
 *  the count's time divided by the copies'. */
#include "dynamic_lut.h"

#include <benchmark/benchmark.h>

#include <cstring>
#include <ctime>
#include <random>
#include <vector>

namespace
{

double ThreadSeconds()
{
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

void CountBesideMemcpy(benchmark::State& state, kvgrab::PixelLayout layout, unsigned bits)
{
    constexpr std::uint32_t kWidth = 1920;
    constexpr std::uint32_t kHeight = 1080;
    std::vector<std::uint8_t> image(kvgrab::PictureBytes(layout, kWidth, kHeight));
    std::mt19937 random(1);
    for (std::uint8_t& byte : image) {
        byte = static_cast<std::uint8_t>(random());
    }
    std::vector<std::uint8_t> source(image.size(), 1);
    std::vector<std::uint8_t> copy(image.size());
    std::vector<std::uint32_t> cdf(std::size_t{1} << bits);
    double counting = 0;
    double copying = 0;
    for (auto _ : state) {
        const double start = ThreadSeconds();
        kvgrab::CountLevels({layout, image.data(), kWidth, kHeight, kWidth}, bits, cdf.data());
        benchmark::ClobberMemory();
        const double counted = ThreadSeconds();
        std::memcpy(copy.data(), source.data(), copy.size());
        benchmark::ClobberMemory();
        copying += ThreadSeconds() - counted;
        counting += counted - start;
        state.SetIterationTime(counted - start);
    }
    const auto frames = static_cast<double>(state.iterations());
    state.counters["count_us"] = counting / frames * 1e6;
    state.counters["memcpy_us"] = copying / frames * 1e6;
    state.counters["copies"] = counting / copying;
}

void Register(const char* name, kvgrab::PixelLayout layout, unsigned bits)
{
    benchmark::RegisterBenchmark(
        name, [=](benchmark::State& state) { CountBesideMemcpy(state, layout, bits); })
        ->UseManualTime()
        ->Unit(benchmark::kMicrosecond);
}

} // namespace

int main(int argc, char** argv)
{
    Register("Count/Mono8", kvgrab::PixelLayout::kGrey8, 8);
    Register("Count/YUV422Packed", kvgrab::PixelLayout::kUyvy, 16);
    Register("Count/Mono12Packed", kvgrab::PixelLayout::kGrey12Packed, 12);
    Register("Count/Mono12", kvgrab::PixelLayout::kGrey12, 16);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
