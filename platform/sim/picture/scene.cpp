#include "sim/picture/scene.h"

#include "sim/picture/light_canvas.h"
#include "sim/picture/pixel_packing.h"
#include "sim/picture/response.h"
#include "sim/picture/scaled_image.h"
#include "sim/picture/test_pattern.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <span>
#include <vector>

namespace sim
{

namespace
{

constexpr CanvasPlane kMonoPlanes[] = {{0, 1, {kGrey, kGrey}}};
/** The mosaic starts with each picture: as the format requires, its first pixel is red wherever the
 *  region lies and however it is mirrored. */
constexpr CanvasPlane kMosaicPlanes[] = {{0, 2, {kRed, kGreen}}, {1, 2, {kGreen, kBlue}}};
constexpr CanvasPlane kColorPlanes[] = {
    {0, 1, {kRed, kRed}}, {0, 1, {kGreen, kGreen}}, {0, 1, {kBlue, kBlue}}};
constexpr CanvasPlane kMeterPlanes[] = {kColorPlanes[0], kColorPlanes[1], kColorPlanes[2],
                                        kMonoPlanes[0]};
constexpr std::size_t kMostPlanes = 3; ///< of a picture

std::span<const CanvasPlane> PlanesOf(std::uint32_t pixelFormat)
{
    if (pixelFormat == kBayerRg8) {
        return kMosaicPlanes;
    }
    return pixelFormat == kYuv422Packed ? std::span<const CanvasPlane>(kColorPlanes) : kMonoPlanes;
}

/** Rows that are drawn at a time: an even number, for the mosaic and for lines packed in pairs. */
std::uint32_t RowsOfPart(const PictureJob& job, std::size_t mostBytes)
{
    const std::size_t rowBytes =
        PlanesOf(job.pixelFormat).size() * sizeof(std::uint16_t) * job.width;
    return static_cast<std::uint32_t>(
        std::clamp<std::size_t>(mostBytes / rowBytes / 2 * 2, 2, 0xFFFFFFFE));
}

/** Measure samples some 256 columns and rows of a large picture. The step is odd, so that it meets
 *  all phases of patterns that repeat every 2, 4, 8 or 16 pixels. */
std::uint32_t MeterStep(std::uint32_t pixels)
{
    return pixels / 256 | 1;
}

/** The weight of a channel in the mean of a picture in this format. */
double WeightOf(unsigned channel, std::uint32_t pixelFormat)
{
    constexpr double kLuma[] = {77.0 / 256, 150.0 / 256, 29.0 / 256, 0};
    constexpr double kMosaic[] = {0.25, 0.5, 0.25, 0};
    if (!IsColor(pixelFormat)) {
        return channel == kGrey ? 1 : 0;
    }
    return pixelFormat == kBayerRg8 ? kMosaic[channel] : kLuma[channel];
}

/** A canvas, and the frame that it shows. */
struct View {
    LightCanvas canvas;
    std::uint32_t frameNumber = 0;
};

} // namespace

struct Scene::State {
    std::size_t mostBytes = 0;
    std::unique_ptr<LightSource> source;
    View picture;
    View meter;
    std::array<Response, kGrey + 1> responses; ///< for the current job, by channel
    std::array<std::vector<std::uint16_t>, kMostPlanes> samples; ///< of one line, by plane
    std::vector<std::uint8_t> line; ///< for a line that doesn't fit at the end of the buffer

    void Show(const PictureJob& job, const Axis& columns, const Axis& rows,
              std::span<const CanvasPlane> planes, View* view);
    void ShowPart(const PictureJob& job, std::uint32_t y, std::uint32_t rows);
    void Respond(const PictureJob& job);
    void ExposeRow(const PictureJob& job, std::uint32_t y, std::uint32_t canvasRow,
                   std::size_t column);
    void PackLine(const PictureJob& job, std::size_t count, std::uint8_t* bytes) const;
};

void Scene::State::Show(const PictureJob& job, const Axis& columns, const Axis& rows,
                        std::span<const CanvasPlane> planes, View* view)
{
    const bool blank = view->canvas.Set(columns, rows, planes);
    if (job.sensorWidth == 0 || job.sensorHeight == 0) {
        return;
    }
    source->SetSize(job.sensorWidth, job.sensorHeight);
    if (blank) {
        source->Draw(job.frameNumber, &view->canvas);
    } else if (job.frameNumber != view->frameNumber) {
        source->Move(view->frameNumber, job.frameNumber, &view->canvas);
    }
    view->frameNumber = job.frameNumber;
}

void Scene::State::ShowPart(const PictureJob& job, std::uint32_t y, std::uint32_t rows)
{
    Show(job, {job.sensorWidth, job.offsetX, 1, job.width, job.reverseX},
         {job.sensorHeight, std::uint64_t{job.offsetY} + y, 1, rows, job.reverseY},
         PlanesOf(job.pixelFormat), &picture);
}

void Scene::State::Respond(const PictureJob& job)
{
    for (unsigned channel = 0; channel <= kGrey; ++channel) {
        responses[channel] = ResponseOf(job, channel);
    }
}

/** Computes the samples of the picture's row `y`, stored from `column` on. */
void Scene::State::ExposeRow(const PictureJob& job, std::uint32_t y, std::uint32_t canvasRow,
                             std::size_t column)
{
    const auto planes = PlanesOf(job.pixelFormat);
    for (std::size_t i = 0; i < planes.size(); ++i) {
        const Response& response = responses[planes[i].channels[y % 2]];
        const auto roots = picture.canvas.Row(i, canvasRow);
        if (job.noise > 0) {
            ExposeNoisy(response, roots, Grains(job.noiseSeed, job.frameNumber),
                        std::uint64_t{y} * kMostPlanes + i, samples[i].data() + column);
        } else {
            Expose(response, roots, samples[i].data() + column);
        }
    }
}

void Scene::State::PackLine(const PictureJob& job, std::size_t count, std::uint8_t* bytes) const
{
    const std::uint16_t* first = samples[0].data();
    switch (job.pixelFormat) {
    case kBayerRg8:
        return PackMosaic(first, samples[1].data(), count, bytes);
    case kYuv422Packed:
        return PackUyvy(first, samples[1].data(), samples[2].data(), count, bytes);
    case kMono12:
        return Pack16(first, count, bytes);
    case kMono12Packed:
        return Pack12(first, count, bytes);
    default:
        return PackHigh8(first, count, bytes);
    }
}

Scene::Scene(std::shared_ptr<const LightImage> image, std::size_t mostBytes)
    : state_(std::make_unique<State>())
{
    state_->mostBytes = mostBytes;
    if (image != nullptr) {
        state_->source = std::make_unique<ScaledImage>(std::move(image));
    } else {
        state_->source = std::make_unique<TestPattern>();
    }
}

Scene::~Scene() = default;

void Scene::Paint(const PictureJob& job, std::uint8_t* image, std::size_t size)
{
    // A packed 12-bit line of odd width ends inside a byte, but two such lines end at a whole byte.
    const std::uint32_t rowsOfLine = job.pixelFormat == kMono12Packed && job.width % 2 != 0 ? 2 : 1;
    const std::size_t lineBytes = PictureBytes(job.width, rowsOfLine, job.pixelFormat);
    if (lineBytes == 0) {
        return;
    }
    State& state = *state_;
    state.Respond(job);
    for (auto& samples : state.samples) {
        samples.resize(std::size_t{rowsOfLine} * job.width);
    }
    state.line.resize(lineBytes);
    const std::uint32_t partRows = RowsOfPart(job, state.mostBytes);
    const std::uint32_t period = job.pixelFormat == kBayerRg8 ? 2 : 1;
    const std::uint8_t* end = image + size;
    for (std::uint32_t y = 0; y < job.height && image < end; y += rowsOfLine) {
        const std::uint32_t row = y % partRows;
        if (row == 0) {
            state.ShowPart(job, y, std::min(partRows, job.height - y));
        }
        const std::uint32_t rows = std::min(rowsOfLine, job.height - y);
        const std::size_t bytes = std::min(PictureBytes(job.width, rows, job.pixelFormat),
                                           static_cast<std::size_t>(end - image));
        if (job.noise <= 0 && rowsOfLine == 1 && row >= period && bytes == lineBytes &&
            state.picture.canvas.Alike(row, row - period)) {
            std::memcpy(image, image - period * lineBytes, bytes);
            image += bytes;
            continue;
        }
        for (std::uint32_t i = 0; i < rows; ++i) {
            state.ExposeRow(job, y + i, row + i, std::size_t{i} * job.width);
        }
        std::uint8_t* line = bytes == lineBytes ? image : state.line.data();
        state.PackLine(job, std::size_t{rows} * job.width, line);
        if (line != image) {
            std::memcpy(image, line, bytes);
        }
        image += bytes;
    }
}

PictureLevels Scene::Measure(const PictureJob& job)
{
    PictureLevels levels;
    if (job.width == 0 || job.height == 0) {
        return levels;
    }
    State& state = *state_;
    state.Respond(job);
    const std::uint32_t across = MeterStep(job.width);
    const std::uint32_t down = MeterStep(job.height);
    const std::uint32_t columns = (job.width + across - 1) / across;
    const std::uint32_t rows = (job.height + down - 1) / down;
    state.Show(job, {job.sensorWidth, job.offsetX, across, columns, job.reverseX},
               {job.sensorHeight, job.offsetY, down, rows, job.reverseY}, kMeterPlanes,
               &state.meter);
    std::vector<std::uint16_t>& samples = state.samples[0];
    samples.resize(std::max<std::size_t>(samples.size(), columns));
    const double pixels = static_cast<double>(columns) * rows;
    for (unsigned channel = 0; channel <= kGrey; ++channel) {
        const Response& response = state.responses[channel];
        const double weight = WeightOf(channel, job.pixelFormat);
        std::uint64_t light = 0;
        std::uint64_t bytes = 0;
        for (std::uint32_t y = 0; y < rows; ++y) {
            const auto roots = state.meter.canvas.Row(channel, y);
            for (std::size_t x = 0; x < columns && channel != kGrey; ++x) {
                light += std::uint32_t{roots[x]} * roots[x] >> 16;
            }
            if (weight != 0) {
                Expose(response, roots, samples.data());
                for (std::size_t x = 0; x < columns; ++x) {
                    bytes += samples[x] >> (kSampleBits - 8U);
                }
            }
        }
        levels.mean += weight * static_cast<double>(bytes) / pixels;
        if (channel != kGrey) {
            levels.light[channel] = static_cast<double>(light) / pixels / kLightMax;
        }
    }
    return levels;
}

} // namespace sim
