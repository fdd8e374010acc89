/** Compares the cost of painting a frame with that of copying it, and checks a limit on the ratio.
 *
 *  Input: 1920x1080, full sensor; each frame has a new number (and so a new picture of the
 *  pattern), noise seed and exposure time. "Image" shows a picture from a file instead of the
 *  pattern, "Measure" measures the brightness instead of painting. */
#include "benchmarks/beside_copy.h"
#include "sim/picture/light_image.h"
#include "sim/picture/pixel_packing.h"
#include "sim/picture/scene.h"

#include <benchmark/benchmark.h>
#include <fmt/format.h>
#include <png.h>
#include <unistd.h>

#include <cmath>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

namespace
{

/** A colour picture of 12 million pixels, as another camera might take it, loaded from a file. */
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

/** Flags for the optional steps of painting. */
enum What : unsigned { kPlain = 0, kNoise = 1, kCurve = 2, kImage = 4 };

/** The highest cost that is accepted, in copies of the frame. */
double LimitOf(unsigned what)
{
    return (what & kNoise) != 0 ? 10 : 6;
}

std::shared_ptr<const sim::ToneCurve> Gamma()
{
    auto tone = std::make_shared<sim::ToneCurve>();
    for (std::size_t i = 0; i < 4096; ++i) {
        for (auto& samples : tone->samples) {
            const double in = static_cast<double>(i) / 4095;
            samples[i] = static_cast<std::uint16_t>(4095 * std::pow(in, 0.45));
        }
    }
    return tone;
}

enum class Work { Paint, Measure };

void BesideMemcpy(benchmark::State& state, Work kind, std::uint32_t format, unsigned what)
{
    sim::PictureJob job;
    job.sensorWidth = job.width = 1920;
    job.sensorHeight = job.height = 1080;
    job.pixelFormat = format;
    job.noise = (what & kNoise) != 0 ? 1 : 0;
    job.tone = (what & kCurve) != 0 ? Gamma() : nullptr;
    const std::size_t size = sim::PictureBytes(job.width, job.height, format);
    std::vector<std::uint8_t> image(size);
    sim::Scene scene((what & kImage) != 0 ? Image() : nullptr);
    const auto nextFrame = [&] {
        ++job.frameNumber;
        ++job.noiseSeed;
        job.exposureUs = 5000 + job.frameNumber % 1000;
    };
    const auto work = [&] {
        if (kind == Work::Measure) {
            benchmark::DoNotOptimize(scene.Measure(job));
        } else {
            scene.Paint(job, image.data(), size);
        }
    };
    work(); // warm-up: allocates memory and draws the whole canvas
    const double copies = bench::MeasureBesideCopy(state, size, nextFrame, work);
    const double limit = LimitOf(what);
    state.SetLabel(
        fmt::format("limit {} copies: {}", limit, copies <= limit ? "kept" : "EXCEEDED"));
}

void Register(Work kind, const char* formatName, std::uint32_t format, unsigned what)
{
    const std::string name =
        fmt::format("{}/{}/{}{}{}", (what & kImage) != 0 ? "Image" : "Pattern",
                    kind == Work::Measure ? "Measure" : "Paint", formatName,
                    (what & kNoise) != 0 ? "/noise" : "", (what & kCurve) != 0 ? "/curve" : "");
    const auto run = [=](benchmark::State& state) { BesideMemcpy(state, kind, format, what); };
    benchmark::RegisterBenchmark(name.c_str(), run)->UseManualTime()->Unit(benchmark::kMicrosecond);
}

} // namespace

int main(int argc, char** argv)
{
    for (const auto& [name, format] : {std::pair{"Mono8", sim::kMono8},
                                       {"BayerRG8", sim::kBayerRg8},
                                       {"YUV422Packed", sim::kYuv422Packed},
                                       {"Mono12Packed", sim::kMono12Packed},
                                       {"Mono12", sim::kMono12}}) {
        for (const unsigned source : {0U, 0U + kImage}) {
            for (const unsigned what : {0U + kPlain, 0U + kNoise, 0U + kCurve, kNoise | kCurve}) {
                Register(Work::Paint, name, format, source | what);
            }
        }
    }
    for (const unsigned what : {0U + kPlain, 0U + kCurve, 0U + kImage}) {
        Register(Work::Measure, "Mono8", sim::kMono8, what);
        Register(Work::Measure, "YUV422Packed", sim::kYuv422Packed, what);
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
