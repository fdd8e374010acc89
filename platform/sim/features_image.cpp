/** Region, format, acquisition, gain, chunks: what a frame consists of. */
#include "feature_builder.h"

#include <algorithm>

namespace sim
{

namespace
{

// Steps and smallest size of the region. Four pixels keep every format at whole bytes per line and
// both colour patterns in phase.
constexpr std::int64_t kStepX = 4;
constexpr std::int64_t kStepY = 2;
constexpr std::int64_t kSmallest = 16;

constexpr double kShortestExposureUs = 10;
constexpr double kLongestExposureUs = 2'000'000;
constexpr double kUsualExposureUs = 10'000;
constexpr double kUsualRate = 30;

} // namespace

/** Width and OffsetX limit each other, Height and OffsetY likewise: a region moves by shrinking
 *  first and growing last. */
void FeatureBuilder::Geometry()
{
    CameraFeatures& camera = features_;
    const auto axis = [this](const char* maxName, const char* sizeName, const char* offsetName,
                             std::int64_t sensor, std::int64_t step, Integer** maxNode,
                             Integer** sizeNode, Integer** offsetNode) {
        Integer*& full = *maxNode;
        Integer*& size = *sizeNode;
        Integer*& offset = *offsetNode;
        full = AddInteger({.name = maxName, .unit = "px", .mode = GenApi_3_0::RO},
                          {.min = sensor, .max = sensor}, sensor);
        const std::int64_t whole = std::max(sensor - sensor % step, std::min(sensor, kSmallest));
        size = AddInteger({.name = sizeName, .unit = "px", .modeNow = WhileStopped()},
                          {.min = std::min(kSmallest, whole),
                           .max = whole,
                           .inc = step,
                           .maxNow = [whole, &offset] { return whole - offset->Value(); }},
                          whole);
        offset = AddInteger(
            {.name = offsetName, .unit = "px", .modeNow = WhileStopped()},
            {.max = whole, .inc = step, .maxNow = [whole, &size] { return whole - size->Value(); }},
            0);
    };
    axis("WidthMax", "Width", "OffsetX", setup_.sensorWidth, kStepX, &camera.widthMax,
         &camera.width, &camera.offsetX);
    axis("HeightMax", "Height", "OffsetY", setup_.sensorHeight, kStepY, &camera.heightMax,
         &camera.height, &camera.offsetY);
    camera.reverseX = AddBoolean({.name = "ReverseX"}, false);
    camera.reverseY = AddBoolean({.name = "ReverseY"}, false);
}

void FeatureBuilder::Format()
{
    EntryList list;
    if (IsColor()) {
        list = {"YUV422Packed",
                {{"Mono8", kMono8}, {"BayerRG8", kBayerRG8}, {"YUV422Packed", kYUV422Packed}}};
    } else {
        list = {"Mono8", {{"Mono8", kMono8}, {"Mono12", kMono12}, {"Mono12Packed", kMono12Packed}}};
    }
    list.refuses = [this_ = &setup_](std::int64_t code) {
        const auto& refused = this_->refusedFormats;
        return std::find(refused.begin(), refused.end(), code) != refused.end();
    };
    features_.pixelFormat =
        AddEnumeration({.name = "PixelFormat", .modeNow = WhileStopped()}, std::move(list));
    AddInteger({.name = "PayloadSize", .unit = "B", .mode = GenApi_3_0::RO}, {}, 0,
               [&camera = features_] { return static_cast<std::int64_t>(camera.PayloadBytes()); });
}

/** The rate that is read is the resulting one: what was asked for, or what exposure, read-out and
 *  link allow when that is less. The rate asked for comes back with a shorter exposure. */
void FeatureBuilder::Acquisition()
{
    CameraFeatures& camera = features_;
    camera.exposureTime =
        AddFloat({.name = "ExposureTime", .unit = "us"},
                 {.min = kShortestExposureUs, .max = kLongestExposureUs}, kUsualExposureUs);
    const auto highest = [&camera] { return HighestRate(camera.Cost()); };
    camera.frameRate =
        AddFloat({.name = "AcquisitionFrameRate", .unit = "Hz"},
                 {.min = kLowestRate, .max = kHighestRate, .maxNow = highest}, kUsualRate,
                 [highest](double asked) { return std::min(asked, highest()); });
}

void FeatureBuilder::Gain()
{
    const Enumeration* selector =
        AddEnumeration({.name = "GainSelector"}, Names({"SensorAll", "DigitalAll"}));
    features_.gain = AddFloat({.name = "Gain", .selectedBy = {selector}}, {.min = 1, .max = 8}, 1);
}

/** The monochrome model spells its counter chunk with a small initial, the colour one with a
 *  capital. */
void FeatureBuilder::ChunkData()
{
    CameraFeatures& camera = features_;
    camera.chunkMode = AddBoolean({.name = "ChunkModeActive"}, false);
    const Enumeration* selector = AddEnumeration(
        {.name = "ChunkSelector"},
        Names({"Gain", "ExposureTime", "Timestamp",
               IsColor() ? "Counter1ValueAtReset" : "counter1ValueAtReset"})); // as in chunks.h
    camera.chunkEnable = AddBoolean(
        {.name = "ChunkEnable",
         .modeNow =
             [&camera] { return camera.chunkMode->Value() ? GenApi_3_0::RW : GenApi_3_0::RO; },
         .selectedBy = {selector}},
        false);
}

} // namespace sim
