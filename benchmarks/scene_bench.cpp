/** What a painted frame costs beside a copy of it.
 *
 *  Input: 1920x1080, full sensor, another frame number (so another picture of the pattern) and
 *  noise seed each time, fixed or changing exposure; "Image" paints a picture from a file instead
 *  of the pattern; "Measure" meters instead of painting. */
#include "benchmarks/beside_copy.h"
#include "sim/picture/light_image.h"
#include "sim/picture/pixel_packing.h"
#include "sim/picture/scene.h"

#include <benchmark/benchmark.h>
#include <png.h>
#include <unistd.h>

#include <cstdlib>
#include <vector>

namespace
{

/** A colour picture of 12 million pixels, as from another camera, by way of a file. */
std::shared_ptr<const sim::LightImage> Image()
{
    static const auto kImage = [] {
        constexpr std::uint32_t kWidth = 4000;
        constexpr std::uint32_t kHeight = 3000;
        std::vector<std::uint8_t> pixels;
        for (std::uint32_t i = 0; i < kWidth * kHeight; ++i) {
            pixels.push_back(static_cast<std::uint8_t>(i % kWidth / 16));
            pixels.push_back(static_cast<std::uint8_t>(i / kWidth / 12));
            pixels.push_back(static_cast<std::uint8_t>(i / 7));
        }
        png_image png{};
        png.version = PNG_IMAGE_VERSION;
        png.width = kWidth;
        png.height = kHeight;
        png.format = PNG_FORMAT_RGB;
        png.flags = PNG_IMAGE_FLAG_FAST;
        char path[] = "/tmp/scene_bench_XXXXXX";
        close(mkstemp(path));
        png_image_write_to_file(&png, path, 0, pixels.data(), 0, nullptr);
        auto image = sim::LightImage::Load(path);
        unlink(path);
        return image;
    }();
    return kImage;
}

/** Flags of what a benchmark does. */
enum What : unsigned { kPaint = 0, kExposureChanges = 1, kMeasure = 2, kNoise = 4, kImage = 8 };

void PaintBesideMemcpy(benchmark::State& state, std::uint32_t format, unsigned what)
{
    sim::PictureJob job;
    job.sensorWidth = job.width = 1920;
    job.sensorHeight = job.height = 1080;
    job.pixelFormat = format;
    const std::size_t size = sim::PictureBytes(job.width, job.height, format);
    std::vector<std::uint8_t> image(size);
    sim::Scene scene((what & kImage) != 0 ? Image() : nullptr);
    scene.Paint(job, image.data(), size); // so that all is at its place
    scene.Measure(job);
    job.noise = (what & kNoise) != 0 ? 1 : 0;
    const auto nextFrame = [&] {
        ++job.frameNumber;
        ++job.noiseSeed;
        if ((what & kExposureChanges) != 0) {
            job.exposureUs = 5000 + job.frameNumber % 1000;
        }
    };
    const auto work = [&] {
        if ((what & kMeasure) != 0) {
            benchmark::DoNotOptimize(scene.Measure(job));
        } else {
            scene.Paint(job, image.data(), size);
        }
    };
    bench::MeasureBesideCopy(state, size, nextFrame, work);
}

void Register(const char* name, std::uint32_t format, unsigned what = kPaint)
{
    benchmark::RegisterBenchmark(
        name, [=](benchmark::State& state) { PaintBesideMemcpy(state, format, what); })
        ->UseManualTime()
        ->Unit(benchmark::kMicrosecond);
}

} // namespace

int main(int argc, char** argv)
{
    Register("Paint/Mono8", sim::kMono8);
    Register("Paint/Mono8/exposure_changes", sim::kMono8, kExposureChanges);
    Register("Measure/Mono8", sim::kMono8, kMeasure);
    Register("Measure/YUV422Packed", sim::kYuv422Packed, kMeasure);
    Register("Paint/BayerRG8", sim::kBayerRg8);
    Register("Paint/YUV422Packed", sim::kYuv422Packed);
    Register("Paint/Mono12Packed", sim::kMono12Packed);
    Register("Paint/Mono12", sim::kMono12);
    Register("Noise/Mono8", sim::kMono8, kNoise);
    Register("Noise/Mono8/exposure_changes", sim::kMono8, kNoise | kExposureChanges);
    Register("Noise/BayerRG8", sim::kBayerRg8, kNoise);
    Register("Noise/YUV422Packed", sim::kYuv422Packed, kNoise);
    Register("Noise/YUV422Packed/exposure_changes", sim::kYuv422Packed, kNoise | kExposureChanges);
    Register("Noise/Mono12Packed", sim::kMono12Packed, kNoise);
    Register("Noise/Mono12", sim::kMono12, kNoise);
    Register("Image/Mono8", sim::kMono8, kImage);
    Register("Image/Mono8/exposure_changes", sim::kMono8, kImage | kExposureChanges);
    Register("Image/Mono8/measure_exposure_changes", sim::kMono8,
             kImage | kExposureChanges | kMeasure);
    Register("Image/Mono8/noise", sim::kMono8, kImage | kNoise);
    Register("Image/Mono8/noise_exposure_changes", sim::kMono8, kImage | kNoise | kExposureChanges);
    Register("Image/BayerRG8", sim::kBayerRg8, kImage);
    Register("Image/BayerRG8/noise", sim::kBayerRg8, kImage | kNoise);
    Register("Image/BayerRG8/noise_exposure_changes", sim::kBayerRg8,
             kImage | kNoise | kExposureChanges);
    Register("Image/YUV422Packed", sim::kYuv422Packed, kImage);
    Register("Image/YUV422Packed/exposure_changes", sim::kYuv422Packed, kImage | kExposureChanges);
    Register("Image/YUV422Packed/noise", sim::kYuv422Packed, kImage | kNoise);
    Register("Image/YUV422Packed/noise_exposure_changes", sim::kYuv422Packed,
             kImage | kNoise | kExposureChanges);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
