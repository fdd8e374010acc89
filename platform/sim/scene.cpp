/** From light to bytes, row by row: the test pattern gives a row of light, the region and the
 * orientation choose what of it is read out, the response turns it into samples, the packing into
 * bytes. A row that looks like an earlier one of the same picture is copied from it, which is what
 *  keeps a whole picture at the price of a few memory copies. */
#include "scene.h"

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

} // namespace

struct Scene::State {
    TestPattern pattern;
    Response response;
    LightRow light;                                       ///< one row as the sensor lies
    LightRow samples;                                     ///< one line as it is read out
    std::vector<std::uint16_t> line;                      ///< and as one value per pixel
    std::vector<std::uint8_t> packed;                     ///< finished lines, by slot
    std::array<bool, std::size_t{2} * kKinds> finished{}; ///< slots filled for this picture

    void Prepare(const PictureJob& job, std::size_t lineBytes);
    std::uint32_t RowKind(const PictureJob& job, std::uint32_t y) const;
    void PaintLight(std::uint32_t kind);
    void ReadOut(const PictureJob& job, Channel channel, const std::vector<std::uint16_t>& light,
                 std::uint16_t* samples) const;
    void Grey(const PictureJob& job, std::uint32_t kind, std::uint16_t* samples);
    void Mosaic(const PictureJob& job, std::uint32_t kind, bool oddLine);
    void PackLine(const PictureJob& job, std::uint32_t kind, bool oddLine, std::uint8_t* bytes);
    void PaintLinePairs(const PictureJob& job, std::uint8_t* image, std::size_t size);
};

void Scene::State::Prepare(const PictureJob& job, std::size_t lineBytes)
{
    pattern.SetSize(job.sensorWidth, job.sensorHeight);
    pattern.SetFrame(job.frameNumber);
    response.Set(job.exposureUs, job.gain);
    light.Resize(job.sensorWidth);
    samples.Resize(job.width);
    line.resize(std::size_t{2} * job.width); // room for a pair of lines
    packed.resize(finished.size() * lineBytes);
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

/** Cuts the region's columns out of a row of light and turns them into samples. */
void Scene::State::ReadOut(const PictureJob& job, Channel channel,
                           const std::vector<std::uint16_t>& row, std::uint16_t* out) const
{
    const std::uint32_t first = std::min(job.offsetX, job.sensorWidth);
    const std::uint32_t inside = std::min(job.width, job.sensorWidth - first);
    if (job.reverseX) {
        const std::uint16_t* last = row.data() + (job.sensorWidth - first);
        std::reverse_copy(last - inside, last, out);
    } else {
        std::copy_n(row.data() + first, inside, out);
    }
    std::fill(out + inside, out + job.width, std::uint16_t{0});
    response.Apply(channel, out, job.width, out);
}

void Scene::State::Grey(const PictureJob& job, std::uint32_t kind, std::uint16_t* out)
{
    PaintLight(kind);
    for (std::size_t i = 0; i < light.green.size(); ++i) { // a sensor without filters sees all
        light.green[i] = static_cast<std::uint16_t>(
            (77U * light.red[i] + 150U * light.green[i] + 29U * light.blue[i]) >> 8);
    }
    ReadOut(job, kGreen, light.green, out);
}

/** The tiles start anew in every picture: its first pixel is red wherever the region lies and
 *  however it is turned, as the format promises. */
void Scene::State::Mosaic(const PictureJob& job, std::uint32_t kind, bool oddLine)
{
    PaintLight(kind);
    ReadOut(job, kGreen, light.green, samples.green.data());
    const Channel other = oddLine ? kBlue : kRed;
    ReadOut(job, other, oddLine ? light.blue : light.red, samples.red.data());
    const std::uint16_t* even = oddLine ? samples.green.data() : samples.red.data();
    const std::uint16_t* odd = oddLine ? samples.red.data() : samples.green.data();
    for (std::size_t x = 0; x < job.width; ++x) {
        line[x] = x % 2 == 0 ? even[x] : odd[x];
    }
}

void Scene::State::PackLine(const PictureJob& job, std::uint32_t kind, bool oddLine,
                            std::uint8_t* bytes)
{
    switch (job.pixelFormat) {
    case kYuv422Packed:
        PaintLight(kind);
        ReadOut(job, kRed, light.red, samples.red.data());
        ReadOut(job, kGreen, light.green, samples.green.data());
        ReadOut(job, kBlue, light.blue, samples.blue.data());
        PackUyvy(samples.red.data(), samples.green.data(), samples.blue.data(), job.width, bytes);
        return;
    case kBayerRg8:
        Mosaic(job, kind, oddLine);
        PackHigh8(line.data(), job.width, bytes);
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
        const bool oddLine = mosaic && y % 2 != 0;
        const std::uint32_t kind = state.RowKind(job, y);
        const std::size_t slot = std::size_t{2} * kind + (oddLine ? 1 : 0);
        std::uint8_t* finished = state.packed.data() + slot * lineBytes;
        if (!state.finished[slot]) {
            state.PackLine(job, kind, oddLine, finished);
            state.finished[slot] = true;
        }
        const std::size_t bytes = std::min(lineBytes, size);
        std::memcpy(image, finished, bytes);
        image += bytes;
        size -= bytes;
    }
}

} // namespace sim
