/** From light to bytes, row by row: the test pattern gives a row of light, the region and the
 * orientation choose what of it is read out, the response turns it into samples, the packing into
 * bytes. A row that looks like an earlier one of the same picture is copied from it, which is what
 *  keeps a whole picture at the price of a few memory copies. */
#include "scene.h"

#include "light_meter.h"
#include "pixel_packing.h"
#include "response.h"
#include "test_pattern.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <vector>

namespace sim
{

namespace
{

/** Rows beyond the sensor: a region that hangs over its edge is black there. */
constexpr std::uint32_t kOutside = TestPattern::kRowKinds;
constexpr std::uint32_t kKinds = kOutside + 1;

/** The columns of a sensor that a picture shows; the rest of its width lies beyond the edge. */
struct Columns {
    std::uint32_t begin;
    std::uint32_t end;

    explicit Columns(const PictureJob& job)
    {
        const std::uint32_t first = std::min(job.offsetX, job.sensorWidth);
        const std::uint32_t count = std::min(job.width, job.sensorWidth - first);
        begin = job.reverseX ? job.sensorWidth - first - count : first;
        end = begin + count;
    }
};

} // namespace

struct Scene::State {
    TestPattern pattern;
    Response response;
    LightRow light;                      ///< one row as the sensor lies
    LightRow samples;                    ///< one line as it is read out
    std::vector<std::uint16_t> line;     ///< and as one value per pixel
    std::vector<std::uint8_t> packed;    ///< finished lines by kind, two each for the mosaic
    std::array<bool, kKinds> finished{}; ///< by kind, of this picture
    LightMeter meter;

    void PrepareLight(const PictureJob& job);
    void Prepare(const PictureJob& job, std::size_t lineBytes);
    std::uint32_t RowKind(const PictureJob& job, std::uint32_t y) const;
    void PaintLight(std::uint32_t kind);
    static void Cut(const PictureJob& job, const std::vector<std::uint16_t>& row,
                    std::uint16_t* out);
    void Grey(const PictureJob& job, std::uint32_t kind, std::uint16_t* samples);
    void CutColors(const PictureJob& job, std::uint32_t kind);
    void PackMosaic(const PictureJob& job, std::uint32_t kind, std::uint8_t* bytes);
    void PackYuv(const PictureJob& job, std::uint32_t kind, std::uint8_t* bytes);
    void PackLine(const PictureJob& job, std::uint32_t kind, std::uint8_t* bytes);
    void PaintLinePairs(const PictureJob& job, std::uint8_t* image, std::size_t size);
};

void Scene::State::PrepareLight(const PictureJob& job)
{
    pattern.SetSize(job.sensorWidth, job.sensorHeight);
    pattern.SetFrame(job.frameNumber);
    response.Set(job);
    light.Resize(job.sensorWidth);
}

void Scene::State::Prepare(const PictureJob& job, std::size_t lineBytes)
{
    PrepareLight(job);
    samples.Resize(job.width);
    line.resize(std::size_t{2} * job.width); // room for a pair of lines
    packed.resize(2 * finished.size() * lineBytes);
    finished.fill(false);
}

/** The row of the sensor that line `y` of the picture shows. */
std::uint32_t Scene::State::RowKind(const PictureJob& job, std::uint32_t y) const
{
    const std::uint64_t row = std::uint64_t{job.offsetY} + y;
    if (row >= job.sensorHeight || job.sensorWidth == 0) {
        return kOutside;
    }
    const auto inside = static_cast<std::uint32_t>(row);
    return pattern.RowKind(job.reverseY ? job.sensorHeight - 1 - inside : inside);
}

void Scene::State::PaintLight(std::uint32_t kind)
{
    if (kind != kOutside) {
        pattern.PaintRow(kind, &light);
        return;
    }
    for (auto* plane : {&light.red, &light.green, &light.blue}) {
        std::fill(plane->begin(), plane->end(), std::uint16_t{0});
    }
}

/** Cuts the region's columns out of a row of light. */
void Scene::State::Cut(const PictureJob& job, const std::vector<std::uint16_t>& row,
                       std::uint16_t* out)
{
    const Columns columns(job);
    const std::uint16_t* begin = row.data() + columns.begin;
    const std::uint16_t* end = row.data() + columns.end;
    if (job.reverseX) {
        std::reverse_copy(begin, end, out);
    } else {
        std::copy(begin, end, out);
    }
    std::fill(out + (end - begin), out + job.width, std::uint16_t{0});
}

void Scene::State::Grey(const PictureJob& job, std::uint32_t kind, std::uint16_t* out)
{
    PaintLight(kind);
    for (std::size_t i = 0; i < light.green.size(); ++i) { // a sensor without filters sees all
        light.green[i] = GreyLight(light.red[i], light.green[i], light.blue[i]);
    }
    Cut(job, light.green, out);
    response.Apply(kGreen, out, job.width, out);
}

void Scene::State::CutColors(const PictureJob& job, std::uint32_t kind)
{
    PaintLight(kind);
    Cut(job, light.red, samples.red.data());
    Cut(job, light.green, samples.green.data());
    Cut(job, light.blue, samples.blue.data());
}

/** Packs an even line and the odd one behind it. The tiles start anew in every picture: its first
 *  pixel is red wherever the region lies and however it is turned, as the format promises. */
void Scene::State::PackMosaic(const PictureJob& job, std::uint32_t kind, std::uint8_t* bytes)
{
    CutColors(job, kind);
    const std::uint16_t* red = samples.red.data();
    const std::uint16_t* green = samples.green.data();
    const std::uint16_t* blue = samples.blue.data();
    std::uint16_t* even = line.data();
    std::uint16_t* odd = even + job.width;
    for (std::size_t x = 0; x < job.width; x += 2) {
        even[x] = response.Sample(kRed, red[x]);
        odd[x] = response.Sample(kGreen, green[x]);
    }
    for (std::size_t x = 1; x < job.width; x += 2) {
        even[x] = response.Sample(kGreen, green[x]);
        odd[x] = response.Sample(kBlue, blue[x]);
    }
    PackHigh8(line.data(), std::size_t{2} * job.width, bytes);
}

void Scene::State::PackYuv(const PictureJob& job, std::uint32_t kind, std::uint8_t* bytes)
{
    CutColors(job, kind);
    std::uint16_t* red = samples.red.data();
    std::uint16_t* green = samples.green.data();
    std::uint16_t* blue = samples.blue.data();
    response.Apply(kRed, red, job.width, red);
    response.Apply(kGreen, green, job.width, green);
    response.Apply(kBlue, blue, job.width, blue);
    PackUyvy(red, green, blue, job.width, bytes);
}

/** One line; of a mosaic both lines that the row can become, one behind the other. */
void Scene::State::PackLine(const PictureJob& job, std::uint32_t kind, std::uint8_t* bytes)
{
    switch (job.pixelFormat) {
    case kYuv422Packed:
        PackYuv(job, kind, bytes);
        return;
    case kBayerRg8:
        PackMosaic(job, kind, bytes);
        return;
    case kMono12:
        Grey(job, kind, line.data());
        Pack16(line.data(), job.width, bytes);
        return;
    case kMono12Packed:
        Grey(job, kind, line.data());
        Pack12(line.data(), job.width, bytes);
        return;
    default:
        Grey(job, kind, line.data());
        PackHigh8(line.data(), job.width, bytes);
    }
}

/** Packed 12 bits in lines of odd width: a line ends inside a byte, two lines together do not. */
void Scene::State::PaintLinePairs(const PictureJob& job, std::uint8_t* image, std::size_t size)
{
    for (std::uint32_t y = 0; y < job.height && size != 0;) {
        std::size_t count = 0;
        for (int half = 0; half < 2 && y < job.height; ++half, ++y, count += job.width) {
            Grey(job, RowKind(job, y), line.data() + count);
        }
        Pack12(line.data(), count, packed.data());
        const std::size_t bytes = std::min(count + count / 2 + count % 2, size);
        std::memcpy(image, packed.data(), bytes);
        image += bytes;
        size -= bytes;
    }
}

Scene::Scene() : state_(std::make_unique<State>()) {}
Scene::~Scene() = default;

void Scene::Paint(const PictureJob& job, std::uint8_t* image, std::size_t size)
{
    const std::size_t lineBytes = PictureBytes(job.width, 1, job.pixelFormat);
    if (lineBytes == 0) {
        return;
    }
    State& state = *state_;
    state.Prepare(job, lineBytes);
    if (job.pixelFormat == kMono12Packed && job.width % 2 != 0) {
        state.PaintLinePairs(job, image, size);
        return;
    }
    const bool mosaic = job.pixelFormat == kBayerRg8;
    for (std::uint32_t y = 0; y < job.height && size != 0; ++y) {
        const std::uint32_t kind = state.RowKind(job, y);
        std::uint8_t* finished = state.packed.data() + std::size_t{2} * kind * lineBytes;
        if (!state.finished[kind]) {
            state.PackLine(job, kind, finished);
            state.finished[kind] = true;
        }
        if (mosaic && y % 2 != 0) {
            finished += lineBytes;
        }
        const std::size_t bytes = std::min(lineBytes, size);
        std::memcpy(image, finished, bytes);
        image += bytes;
        size -= bytes;
    }
}

PictureLevels Scene::Measure(const PictureJob& job)
{
    State& state = *state_;
    state.PrepareLight(job);
    std::array<std::uint32_t, kKinds> lines{};
    for (std::uint32_t y = 0; y < job.height; ++y) {
        ++lines[state.RowKind(job, y)];
    }
    const Columns columns(job);
    state.meter.Clear(job.width, job.pixelFormat);
    for (std::uint32_t kind = 0; kind < kKinds; ++kind) {
        if (lines[kind] != 0) {
            state.PaintLight(kind);
            state.meter.Add(state.light, columns.begin, columns.end, lines[kind]);
        }
    }
    state.meter.AddBlack(job.width - (columns.end - columns.begin), job.height);
    return state.meter.Levels(state.response);
}

} // namespace sim
