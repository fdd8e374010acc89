// The tables that describe the camera and its picture.

#include "config/config_tables.h"
#include "config/lut_file.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>

namespace kvgrab
{

namespace
{

constexpr base::Named<std::uint32_t> kModes[] = {
    {"manual", KvTd::kSweepManual},
    {"automatic", KvTd::kSweepAuto},
};

/** The driver looks at no more positions of the list. */
constexpr int kPositions = 8;
constexpr int kPacketLimit = 9180;
constexpr int kLargestSide = 65536;

constexpr base::NumberRule kMicroseconds{0.001, 1e9, "a number of microseconds from 0.001 to 1e9"};
constexpr base::NumberRule kDecibels{-90, 100, "a number of dB from -90 to 100"};
constexpr base::NumberRule kRate{0.001, 1e6, "frames per second from 0.001 to 1e6"};

} // namespace

void ReadCamera(TableReader& in, CameraConfig* out)
{
    Put(in.Text("model", "the beginning of a model name"), &out->model);
    Put(in.Text("serial", "a serial number as text"), &out->serial);
    const auto positions =
        in.Integers("positions", 0, kPositions - 1, "an array of list positions from 0 to 7");
    for (const std::int64_t position : positions.value_or(std::vector<std::int64_t>())) {
        out->positionMask |= 1U << static_cast<unsigned>(position);
    }
}

void ReadStream(TableReader& in, StreamConfig* out)
{
    const auto packet = in.Integer("packet_size", 576, 65535, "bytes from 576 to 65535");
    Put(packet, &out->packetSize);
    if (packet && *packet > kPacketLimit) {
        in.Warn("packet_size", "is above 9180: the driver uses 1500 instead");
    }
    const auto buffers = in.Integer("buffers", 1, 256, "2 to 256 buffers");
    if (buffers == 1) {
        in.Refuse("buffers", "is 1; expected 2 to 256 buffers: with a single buffer the driver "
                             "sets up no transfer and no frame would ever arrive");
    }
    Put(buffers, &out->buffers);
    Put(in.Integer("packet_delay_us", 0, 10'000, "microseconds from 0 to 10000"),
        &out->packetDelayUs);
}

void ReadImage(TableReader& in, ImageConfig* out)
{
    Put(in.OneOf<std::uint32_t>("format", kFormatNames), &out->format);
    const auto turned = in.Integer("rotate", 0, 180, "0 or 180 degrees");
    if (turned && *turned != 0 && *turned != 180) {
        in.Refuse("rotate", fmt::format("is {}; expected 0 or 180 degrees: the camera turns by "
                                        "nothing else",
                                        *turned));
    }
    if (turned) {
        out->rotate = *turned == 180 ? KvTd::kRotateTurned : 1;
    }
    if (in.Has("convert")) {
        in.Refuse("convert", "can't be used yet: nothing fills converted frames, so the converted "
                             "stream would stay empty; remove the key");
    }
}

void ReadRegion(TableReader& in, RegionConfig* out)
{
    Put(in.Integer("offset_x", 0, kLargestSide, "pixels from 0 to 65536"), &out->offsetX);
    Put(in.Integer("offset_y", 0, kLargestSide, "pixels from 0 to 65536"), &out->offsetY);
    Put(in.Integer("width", 1, kLargestSide, "pixels from 1 to 65536"), &out->width);
    Put(in.Integer("height", 1, kLargestSide, "pixels from 1 to 65536"), &out->height);
    in.Needs("offset_x", "width", "an offset without its size makes no region");
    in.Needs("offset_y", "height", "an offset without its size makes no region");
    in.Needs("width", "height", "the driver sets a region only with both sizes");
    in.Needs("height", "width", "the driver sets a region only with both sizes");
}

void ReadTiming(TableReader& in, TimingConfig* out)
{
    Put(in.Number("fps", kRate), &out->fps);
    Put(in.Integer("drift_ns_per_s", -1000000000, 1000000000,
                   "nanoseconds per second from -1000000000 to 1000000000, 0 for the host's clock"),
        &out->driftNsPerS);
}

/** The limits of an automatic function: both or none, the lower one first. */
static void ReadLimits(TableReader& in, const char* lowKey, const char* highKey,
                       const base::NumberRule& rule, float* low, float* high)
{
    const auto lowValue = in.Number(lowKey, rule);
    const auto highValue = in.Number(highKey, rule);
    in.Needs(lowKey, highKey, "limits go in pairs");
    in.Needs(highKey, lowKey, "limits go in pairs");
    if (!lowValue || !highValue) {
        return;
    }
    if (*lowValue > *highValue) {
        in.Refuse(lowKey, fmt::format("is above {}; expected the lower limit here", highKey));
    }
    Put(lowValue, low);
    Put(highValue, high);
}

/** Warns of a manual value without its mode. */
static void WarnWithoutMode(TableReader& in, const char* key)
{
    if (in.Has(key) && !in.Has("mode")) {
        in.Warn(key, "has no effect without mode = \"manual\" in the same table");
    }
}

void ReadExposure(TableReader& in, ExposureConfig* out)
{
    Put(in.OneOf<std::uint32_t>("mode", kModes), &out->mode);
    Put(in.Number("time_us", kMicroseconds), &out->timeUs);
    ReadLimits(in, "auto_min_us", "auto_max_us", kMicroseconds, &out->autoMinUs, &out->autoMaxUs);
    WarnWithoutMode(in, "time_us");
}

void ReadGain(TableReader& in, GainConfig* out)
{
    Put(in.OneOf<std::uint32_t>("mode", kModes), &out->mode);
    Put(in.Number("db", kDecibels), &out->db);
    ReadLimits(in, "auto_min_db", "auto_max_db", kDecibels, &out->autoMinDb, &out->autoMaxDb);
    WarnWithoutMode(in, "db");
}

void ReadAuto(TableReader& in, AutoConfig* out)
{
    if (in.Flag("brightness_control").value_or(false)) {
        out->profile = 1;
    }
    Put(in.Number("brightness", {0, 1}), &out->brightness);
}

void ReadWhiteBalance(TableReader& in, WhiteBalanceConfig* out)
{
    const auto hundredths = [&in](const char* key, int* field) {
        const auto value =
            in.Integer(key, -10000, 10000, "hundredths of a dB from -10000 to 10000");
        if (value == KvTd::kIntUnset) {
            in.Refuse(key, "is -1, which the driver takes for \"not configured\"; expected another "
                           "number, such as 0 or -2");
        }
        Put(value, field);
    };
    hundredths("red", &out->red);
    hundredths("blue", &out->blue);
    in.Needs("blue", "red", "the driver writes the red figure to both colours");
}

/** The entries in the file that the key names. */
static std::vector<std::uint16_t> ReadLutFile(TableReader& in, const std::string& named,
                                              const std::string& configName, const FileReader& read,
                                              unsigned bits)
{
    if (named.empty()) {
        in.Refuse("file", "is empty; expected the path of a text or CSV file");
    }
    const std::string path = FromConfigFolder(named, configName);
    std::string text;
    std::string why;
    if (!read(path, &text, &why)) {
        in.Refuse("file", fmt::format("can't be read: {}: {}", path, why));
    }
    auto entries = ParseLutFile(text, path, bits);
    if (const auto* error = std::get_if<ConfigError>(&entries)) {
        throw *error;
    }
    return std::get<std::vector<std::uint16_t>>(std::move(entries));
}

/** The table from `values` or `file`; none when neither is there. */
static std::optional<std::vector<std::uint16_t>> ReadLutEntries(TableReader& in,
                                                                const std::string& configName,
                                                                const FileReader& read,
                                                                std::optional<std::int64_t> bits)
{
    const unsigned width = static_cast<unsigned>(bits.value_or(16));
    const std::int64_t largest = (std::int64_t{1} << width) - 1;
    const auto values =
        in.Integers("values", 0, largest,
                    fmt::format("an array of 256 to 65535 integers from 0 to {}", largest));
    in.Needs("values", "bits", "the table's entries have no width without it");
    in.Needs("file", "bits", "the table's entries have no width without it");
    if (values && in.Has("file")) {
        in.Refuse("file", "is set together with lut.values; expected one of the two");
    }
    if (const auto file = in.Text("file", "the path of a text or CSV file")) {
        return ReadLutFile(in, *file, configName, read, width);
    }
    if (!values) {
        return std::nullopt;
    }
    if (values->size() < kLutSmallest || values->size() > kLutLargest) {
        in.Refuse("values", fmt::format("has {} entries; expected 256 to 65535: the driver takes "
                                        "256 out of them, evenly spaced",
                                        values->size()));
    }
    std::vector<std::uint16_t> entries;
    entries.reserve(values->size());
    std::transform(values->begin(), values->end(), std::back_inserter(entries),
                   [](std::int64_t value) { return static_cast<std::uint16_t>(value); });
    return entries;
}

void ReadLut(TableReader& in, const std::string& configName, const FileReader& read, LutConfig* out)
{
    constexpr base::Named<int> kLutModes[] = {{"table", 1}, {"off", 0}};
    const auto mode = in.OneOf<int>("mode", kLutModes);
    const auto bits = in.Integer("bits", 1, 16, "bits of an entry from 1 to 16");
    auto entries = ReadLutEntries(in, configName, read, bits);
    if (bits && !entries) {
        in.Refuse("bits",
                  "needs lut.values or lut.file: it gives the width of the table's entries");
    }
    if (!mode) {
        if (entries) {
            in.Warn(in.Has("file") ? "file" : "values",
                    "has no effect without lut.mode = \"table\"");
        }
        return;
    }
    if (*mode == 1 && !entries) {
        in.Refuse("mode",
                  "is \"table\" but there is no table; expected lut.bits, and lut.values or "
                  "lut.file");
    }
    // With "off" the driver is told to apply a table but gets none, and drops the camera's.
    out->mode = 1;
    if (*mode == 1) {
        out->bits = static_cast<std::uint16_t>(*bits);
        out->values = *std::move(entries);
    }
}

void ReadGamma(TableReader& in, GammaConfig* out)
{
    Put(in.Number("value", {0.001, 100}), &out->value);
}

} // namespace kvgrab
