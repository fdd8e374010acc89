/** From light to a picture, line by line. A line is made ready as far as it stays the same: down to
 *  its bytes, or with noise down to what the noise acts on. Ready lines serve all lines that show
 *  the same kind of row, and the pictures behind this one as long as nothing changes but what comes
 *  after them, which keeps a whole picture at the price of a few memory copies. */
#include "sim/picture/scene.h"

#include "sim/picture/light_meter.h"
#include "sim/picture/line_painter.h"
#include "sim/picture/noise.h"
#include "sim/picture/pixel_packing.h"
#include "sim/picture/scaled_image.h"
#include "sim/picture/test_pattern.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <vector>

namespace sim
{

namespace
{

/** No line holds this kind. */
constexpr std::uint32_t kNoKind = 0xFFFFFFFF;

/** Ready lines take no more than this; those that find no room are made anew each time. */
constexpr std::size_t kMostBytes = std::size_t{256} << 20;

/** All that ready lines depend on, beside their kind. */
struct LineKey {
    std::uint32_t sensorWidth = 0;
    std::uint32_t sensorHeight = 0;
    std::uint32_t offsetX = 0;
    std::uint32_t width = 0;
    std::uint32_t pixelFormat = 0;
    bool reverseX = false;
    bool noisy = false;
    std::uint64_t painter = 0;
    std::uint64_t source = 0;

    bool operator==(const LineKey&) const = default;
};

/** All that the light in a picture depends on. */
struct MeterKey {
    std::uint32_t sensorWidth = 0;
    std::uint32_t sensorHeight = 0;
    std::uint32_t offsetX = 0;
    std::uint32_t offsetY = 0;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    bool reverseX = false;
    bool reverseY = false;
    std::uint32_t pixelFormat = 0;
    std::uint64_t source = 0;

    bool operator==(const MeterKey&) const = default;
};

/** Where a ready line is kept. */
struct Place {
    std::size_t index;
    std::uint32_t rowKind;
    bool ready; ///< or still to be made
};

/** Values from one row of levels to the next; the first begins at what `new` aligns to. */
std::size_t LevelStride(const PictureJob& job)
{
    constexpr std::size_t kValues = kLineAlign / sizeof(std::int16_t);
    static_assert(kLineAlign <= __STDCPP_DEFAULT_NEW_ALIGNMENT__);
    return (ValuesOfLine(job) + kValues - 1) / kValues * kValues;
}

/** A row of the scene can become two lines of a mosaic. */
std::uint32_t Tilings(const PictureJob& job)
{
    return job.pixelFormat == kBayerRg8 ? 2 : 1;
}

/** The tiles start anew in every picture: its first pixel is red wherever the region lies and
 *  however it is turned, as the format promises. */
Tiles TilesOf(const PictureJob& job, std::uint32_t y)
{
    return y % Tilings(job) == 0 ? Tiles::Red : Tiles::Blue;
}

} // namespace

struct Scene::State {
    std::unique_ptr<LightSource> source;
    LinePainter painter;
    LightMeter meter;
    NoiseField field;

    LightRow light; ///< one row as the sensor lies
    std::uint32_t lightKind = kNoKind;
    std::uint64_t lightVersion = 0;

    MeterKey counted; ///< by the meter
    std::vector<std::uint32_t> linesOfKind;

    LineKey key;
    std::size_t places = 0;           ///< for ready lines in this picture
    std::vector<std::uint32_t> ready; ///< which kind of line each place holds
    std::vector<std::uint8_t> packed; ///< the lines without noise
    std::vector<std::int16_t> levels; ///< the lines with noise: means, then deviations

    std::vector<std::uint16_t> samples; ///< two lines of 12 bits
    std::vector<std::uint8_t> whole;    ///< lines that find too little room at the picture's end

    std::uint32_t OutsideKind() const { return source->Kinds(); }
    std::uint32_t RowKind(const PictureJob& job, std::uint32_t y) const;
    void PrepareLight(const PictureJob& job);
    const LightRow& Light(std::uint32_t kind);

    void Count(const PictureJob& job);

    void PrepareLines(const PictureJob& job, std::size_t lineBytes);
    Place Take(const PictureJob& job, std::uint32_t y);
    const std::uint8_t* PackedLine(const PictureJob& job, std::uint32_t y, std::size_t lineBytes);
    NoisyLine LevelLine(const PictureJob& job, std::uint32_t y);
    void PaintNoisyLine(const PictureJob& job, std::uint32_t y, std::uint8_t* bytes);
    void PaintLinePairs(const PictureJob& job, std::uint8_t* image, std::size_t size);
};

/** The kind of the sensor's row that line `y` of the picture shows; a region that hangs over the
 *  edge is black there. */
std::uint32_t Scene::State::RowKind(const PictureJob& job, std::uint32_t y) const
{
    const std::uint64_t row = std::uint64_t{job.offsetY} + y;
    if (row >= job.sensorHeight || job.sensorWidth == 0) {
        return OutsideKind();
    }
    const auto inside = static_cast<std::uint32_t>(row);
    return source->RowKind(job.reverseY ? job.sensorHeight - 1 - inside : inside);
}

void Scene::State::PrepareLight(const PictureJob& job)
{
    source->SetSize(job.sensorWidth, job.sensorHeight);
    source->SetFrame(job.frameNumber);
    if (source->Version() != lightVersion || light.green.size() != job.sensorWidth) {
        lightVersion = source->Version();
        lightKind = kNoKind;
        light.Resize(job.sensorWidth);
    }
}

const LightRow& Scene::State::Light(std::uint32_t kind)
{
    if (kind == lightKind) {
        return light;
    }
    lightKind = kind;
    if (kind != OutsideKind()) {
        source->PaintRow(kind, &light);
        return light;
    }
    for (auto* plane : {&light.red, &light.green, &light.blue}) {
        std::fill(plane->begin(), plane->end(), std::uint16_t{0});
    }
    return light;
}

void Scene::State::PrepareLines(const PictureJob& job, std::size_t lineBytes)
{
    PrepareLight(job);
    painter.Set(job);
    const bool noisy = job.noise > 0;
    if (noisy) {
        field.Set(job.noiseSeed, job.frameNumber);
    }
    samples.resize(std::size_t{2} * job.width);
    whole.resize(2 * lineBytes);
    const std::size_t kinds = std::size_t{OutsideKind() + 1} * Tilings(job);
    const std::size_t bytes = noisy ? 2 * LevelStride(job) * sizeof(std::int16_t) : lineBytes;
    places =
        std::min({kinds, std::size_t{job.height}, std::max<std::size_t>(kMostBytes / bytes, 1)});
    const LineKey wanted{job.sensorWidth, job.sensorHeight,  job.offsetX,
                         job.width,       job.pixelFormat,   job.reverseX,
                         noisy,           painter.Version(), lightVersion};
    if (wanted != key || ready.size() < places) {
        key = wanted;
        ready.assign(std::max(places, ready.size()), kNoKind);
    }
    if (noisy) {
        levels.resize(std::max(levels.size(), places * bytes / sizeof(std::int16_t)));
    } else {
        packed.resize(std::max(packed.size(), places * bytes));
    }
}

/** Each kind has its place if all find one; otherwise the lines of the picture take turns. */
Place Scene::State::Take(const PictureJob& job, std::uint32_t y)
{
    const std::uint32_t rowKind = RowKind(job, y);
    const std::uint32_t tilings = Tilings(job);
    const std::uint32_t kind = rowKind * tilings + y % tilings;
    const bool roomForAll = std::size_t{OutsideKind() + 1} * tilings <= places;
    const std::size_t index = roomForAll ? kind : y % places;
    const bool isReady = ready[index] == kind;
    ready[index] = kind;
    return {index, rowKind, isReady};
}

const std::uint8_t* Scene::State::PackedLine(const PictureJob& job, std::uint32_t y,
                                             std::size_t lineBytes)
{
    const Place place = Take(job, y);
    std::uint8_t* line = packed.data() + place.index * lineBytes;
    if (!place.ready) {
        painter.Pack(job, Light(place.rowKind), TilesOf(job, y), line);
    }
    return line;
}

NoisyLine Scene::State::LevelLine(const PictureJob& job, std::uint32_t y)
{
    const Place place = Take(job, y);
    const std::size_t stride = LevelStride(job);
    std::int16_t* means = levels.data() + place.index * 2 * stride;
    const NoisyLine line{means, means + stride};
    if (!place.ready) {
        painter.Level(job, Light(place.rowKind), TilesOf(job, y), line);
    }
    return line;
}

/** One whole line with noise. */
void Scene::State::PaintNoisyLine(const PictureJob& job, std::uint32_t y, std::uint8_t* bytes)
{
    const NoisyLine line = LevelLine(job, y);
    if (!HasWideSamples(job.pixelFormat)) {
        field.Apply(y, line, ValuesOfLine(job), bytes);
        return;
    }
    field.Apply(y, line, job.width, samples.data());
    PackWide(samples.data(), job.width, job.pixelFormat, bytes);
}

/** Packed 12 bits in lines of odd width: a line ends inside a byte, two lines together do not. */
void Scene::State::PaintLinePairs(const PictureJob& job, std::uint8_t* image, std::size_t size)
{
    for (std::uint32_t y = 0; y < job.height && size != 0;) {
        std::size_t count = 0;
        for (int half = 0; half < 2 && y < job.height; ++half, ++y, count += job.width) {
            if (key.noisy) {
                field.Apply(y, LevelLine(job, y), job.width, samples.data() + count);
            } else {
                painter.Grey(job, Light(RowKind(job, y)), samples.data() + count);
            }
        }
        PackWide(samples.data(), count, job.pixelFormat, whole.data());
        const std::size_t bytes = std::min(count + count / 2 + count % 2, size);
        std::memcpy(image, whole.data(), bytes);
        image += bytes;
        size -= bytes;
    }
}

/** Lets the meter see the region, unless it just has. */
void Scene::State::Count(const PictureJob& job)
{
    const MeterKey wanted{job.sensorWidth, job.sensorHeight, job.offsetX,  job.offsetY,
                          job.width,       job.height,       job.reverseX, job.reverseY,
                          job.pixelFormat, lightVersion};
    if (wanted == counted) {
        return;
    }
    counted = wanted;
    linesOfKind.assign(OutsideKind() + 1, 0);
    for (std::uint32_t y = 0; y < job.height; ++y) {
        ++linesOfKind[RowKind(job, y)];
    }
    const Columns columns(job);
    meter.Clear(job.width, job.pixelFormat);
    for (std::uint32_t kind = 0; kind < linesOfKind.size(); ++kind) {
        if (const std::uint32_t lines = linesOfKind[kind]; lines != 0) {
            meter.Add(Light(kind), columns.begin, columns.end, lines);
        }
    }
    meter.AddBlack(job.width - (columns.end - columns.begin), job.height);
}

Scene::Scene(std::shared_ptr<const LightImage> image) : state_(std::make_unique<State>())
{
    if (image != nullptr) {
        state_->source = std::make_unique<ScaledImage>(std::move(image));
    } else {
        state_->source = std::make_unique<TestPattern>();
    }
}

Scene::~Scene() = default;

void Scene::Paint(const PictureJob& job, std::uint8_t* image, std::size_t size)
{
    const std::size_t lineBytes = PictureBytes(job.width, 1, job.pixelFormat);
    if (lineBytes == 0 || job.height == 0) {
        return;
    }
    State& state = *state_;
    state.PrepareLines(job, lineBytes);
    if (job.pixelFormat == kMono12Packed && job.width % 2 != 0) {
        state.PaintLinePairs(job, image, size);
        return;
    }
    for (std::uint32_t y = 0; y < job.height && size != 0; ++y) {
        const std::size_t bytes = std::min(lineBytes, size);
        if (!state.key.noisy) {
            std::memcpy(image, state.PackedLine(job, y, lineBytes), bytes);
        } else if (bytes == lineBytes) {
            state.PaintNoisyLine(job, y, image);
        } else {
            state.PaintNoisyLine(job, y, state.whole.data());
            std::memcpy(image, state.whole.data(), bytes);
        }
        image += bytes;
        size -= bytes;
    }
}

PictureLevels Scene::Measure(const PictureJob& job)
{
    State& state = *state_;
    state.PrepareLight(job);
    state.painter.Set(job);
    state.Count(job);
    return state.meter.Levels(state.painter.Answer());
}

} // namespace sim
