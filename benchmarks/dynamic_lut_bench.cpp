/** Compares the cost of the dynamic table's statistics with that of copying the picture: 1920x1080
 *  random bytes. */
#include "benchmarks/beside_copy.h"
#include "session/dynamic_lut.h"

#include <benchmark/benchmark.h>

#include <random>
#include <vector>

namespace
{

void CountBesideMemcpy(benchmark::State& state, kvgrab::PixelLayout layout, unsigned bits)
{
    constexpr std::uint32_t kWidth = 1920;
    constexpr std::uint32_t kHeight = 1080;
    std::vector<std::uint8_t> image(kvgrab::PictureBytes(layout, kWidth, kHeight));
    std::mt19937 random(1);
    for (std::uint8_t& byte : image) {
        byte = static_cast<std::uint8_t>(random());
    }
    std::vector<std::uint32_t> cdf(std::size_t{1} << bits);
    bench::MeasureBesideCopy(
        state, image.size(), [] {},
        [&] {
            kvgrab::CountLevels({layout, image.data(), kWidth, kHeight, kWidth}, bits, cdf.data());
        });
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
