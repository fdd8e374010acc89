/** Builds the features that shape a frame: region, format, acquisition, gain, chunks. */
#include "sim/camera/feature_builder.h"
#include "sim/picture/pixel_packing.h"

#include <algorithm>

namespace sim
{

namespace
{

// Step and smallest size of the region. With four pixels every format has whole bytes per line, and
// both colour patterns stay in phase.
constexpr std::int64_t kStepX = 4;
constexpr std::int64_t kStepY = 2;
constexpr std::int64_t kSmallest = 16;

constexpr double kShortestExposureUs = 10;
constexpr double kLongestExposureUs = 2'000'000;
constexpr double kUsualExposureUs = 10'000;
constexpr double kUsualRate = 30;

constexpr unsigned kRegulatedPollingMs = 250; // of what the automatic brightness changes

} // namespace

/** Size and offset limit each other: to move a region, a client shrinks it, moves it, and enlarges
 *  it again. */
void FeatureBuilder::AddAxis(const Axis& axis, Integer*& size, Integer*& offset)
{
    AddInteger({.name = axis.fullName, .unit = "px", .mode = GenApi_3_0::RO},
               {.min = axis.sensor, .max = axis.sensor}, axis.sensor);
    const std::int64_t whole =
        std::max(axis.sensor - axis.sensor % axis.step, std::min(axis.sensor, kSmallest));
    const std::int64_t least = setup_.replay.empty() ? std::min(kSmallest, whole) : whole;
    size = AddInteger({.name = axis.sizeName,
                       .unit = "px",
                       .locked = state_.streaming,
                       .changes = {axis.offsetName, "PayloadSize"}},
                      {.min = least,
                       .max = whole,
                       .inc = axis.step,
                       .maxNow = [whole, &offset] { return whole - offset->Value(); }},
                      whole);
    offset = AddInteger({.name = axis.offsetName,
                         .unit = "px",
                         .locked = state_.streaming,
                         .changes = {axis.sizeName}},
                        {.max = whole,
                         .inc = axis.step,
                         .maxNow = [whole, &size] { return whole - size->Value(); }},
                        0);
}

void FeatureBuilder::Geometry()
{
    CameraFeatures& camera = features_;
    const bool recorded = !setup_.replay.empty(); // other cameras have other steps
    AddAxis({"WidthMax", "Width", "OffsetX", setup_.sensorWidth, recorded ? 1 : kStepX},
            camera.width, camera.offsetX);
    AddAxis({"HeightMax", "Height", "OffsetY", setup_.sensorHeight, recorded ? 1 : kStepY},
            camera.height, camera.offsetY);
    camera.reverseX = AddBoolean({.name = "ReverseX"}, false);
    camera.reverseY = AddBoolean({.name = "ReverseY"}, false);
}

void FeatureBuilder::Format()
{
    EntryList list;
    if (IsColor()) {
        list = {"YUV422Packed",
                {{"Mono8", kMono8}, {"BayerRG8", kBayerRg8}, {"YUV422Packed", kYuv422Packed}}};
    } else {
        list = {"Mono8", {{"Mono8", kMono8}, {"Mono12", kMono12}, {"Mono12Packed", kMono12Packed}}};
    }
    if (!setup_.replay.empty()) { // a recording has one format
        const auto isOther = [this](const auto& entry) {
            return static_cast<std::uint32_t>(entry.second) != setup_.replayFormat;
        };
        std::erase_if(list.entries, isOther);
        list.first = list.entries.empty() ? list.first : list.entries.front().first;
    }
    list.refuses = [&refused = setup_.refusedFormats](std::int64_t code) {
        return std::find(refused.begin(), refused.end(), code) != refused.end();
    };
    features_.pixelFormat = AddEnumeration(
        {.name = "PixelFormat", .locked = state_.streaming, .changes = {"PayloadSize"}},
        std::move(list));
    AddInteger({.name = "PayloadSize", .unit = "B", .mode = GenApi_3_0::RO}, {}, 0,
               [&camera = features_] { return static_cast<std::int64_t>(camera.PayloadBytes()); });
}

/** Reading the frame rate gives the resulting rate: the requested one, or less if exposure,
 *  read-out or link allow only less. A shorter exposure restores the requested rate. */
void FeatureBuilder::Acquisition()
{
    CameraFeatures& camera = features_;
    camera.exposureTime = AddFloat(
        {.name = "ExposureTime",
         .unit = "us",
         .locked = WhileRegulated([&camera] { return camera.brightness.ExposureRegulated(); }),
         .caching = genapi::Caching::NoCache,
         .pollingMs = kRegulatedPollingMs},
        {.min = kShortestExposureUs, .max = kLongestExposureUs}, kUsualExposureUs);
    const double limit = setup_.highestFrameRate;
    const auto highest = [&camera, limit] { return HighestRate(camera.Cost(), limit); };
    camera.frameRate = AddFloat({.name = "AcquisitionFrameRate",
                                 .unit = "Hz",
                                 .caching = genapi::Caching::NoCache,
                                 .pollingMs = kRegulatedPollingMs},
                                {.min = kLowestRate, .max = limit, .maxNow = highest}, kUsualRate,
                                [highest](double asked) { return std::min(highest(), asked); });
}

void FeatureBuilder::Gain()
{
    Enumeration* selector = AddEnumeration({.name = "GainSelector", .changes = {"Gain"}},
                                           Names({"SensorAll", "DigitalAll"}));
    const auto regulated = [selector, &brightness = features_.brightness] {
        return brightness.GainRegulated() &&
               brightness.gainSource->Position() == selector->Position();
    };
    features_.gain = AddFloat({.name = "Gain",
                               .locked = WhileRegulated(regulated),
                               .selectedBy = {selector},
                               .caching = genapi::Caching::NoCache,
                               .pollingMs = kRegulatedPollingMs},
                              {.min = 1, .max = 8}, 1);
}

/** The monochrome model spells the name of its counter chunk with a small initial letter, the
 *  colour model with a capital one. */
void FeatureBuilder::ChunkData()
{
    CameraFeatures& camera = features_;
    camera.chunkMode =
        AddBoolean({.name = "ChunkModeActive", .changes = {"ChunkEnable", "PayloadSize"}}, false);
    Enumeration* selector = AddEnumeration(
        {.name = "ChunkSelector"},
        Names({"Gain", "ExposureTime", "Timestamp",
               IsColor() ? "Counter1ValueAtReset" : "counter1ValueAtReset"})); // as in chunks.h
    camera.chunkEnable = AddBoolean({.name = "ChunkEnable",
                                     .locked = [&camera] { return !camera.chunkMode->Value(); },
                                     .selectedBy = {selector},
                                     .changes = {"PayloadSize"}},
                                    false);
}

} // namespace sim
