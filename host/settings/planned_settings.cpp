#include "settings/planned_settings.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <utility>

namespace kvgrab
{

namespace
{

// By how much cameras round.
constexpr double kRounded = 0.01;
constexpr double kRateRounded = 0.001;

constexpr char kBrightnessMode[] = "autoBrightnessMode";

struct FormatRow {
    std::uint32_t format; ///< KvTd::HostFormat
    const char* entry;    ///< usual name in cameras
    std::int64_t code;
};

constexpr FormatRow kFormats[] = {
    {KvTd::kFormatMono8, "Mono8", 0x01080001},
    {KvTd::kFormatMono12Packed, "Mono12Packed", 0x010C0006},
    {KvTd::kFormatMono12, "Mono12", 0x01100005},
    {KvTd::kFormatYuv422, "YUV422Packed", 0x0210001F},
    {KvTd::kFormatBayer8, "BayerRG8", 0x01080009},
};

double FactorOf(double db)
{
    return std::pow(10.0, db / 20.0);
}

/** Collects the settings. */
class Plan
{
public:
    PlannedSetting& Number(std::string key, FeatureRef feature, double number, const char* unit)
    {
        PlannedSetting& setting = Add(std::move(key), std::move(feature));
        setting.number = number;
        setting.unit = unit;
        setting.tolerance = kRounded;
        return setting;
    }
    PlannedSetting& Gain(std::string key, FeatureRef feature, double db)
    {
        PlannedSetting& setting = Number(std::move(key), std::move(feature), FactorOf(db), "dB");
        setting.scale = Scale::Decibel;
        return setting;
    }
    PlannedSetting& Entry(std::string key, FeatureRef feature, std::string entry)
    {
        PlannedSetting& setting = Add(std::move(key), std::move(feature));
        setting.entry = std::move(entry);
        return setting;
    }
    std::vector<PlannedSetting> Take() { return std::move(settings_); }

private:
    PlannedSetting& Add(std::string key, FeatureRef feature)
    {
        PlannedSetting& setting = settings_.emplace_back();
        setting.key = std::move(key);
        setting.feature = std::move(feature);
        return setting;
    }

    std::vector<PlannedSetting> settings_;
};

void PlanFormat(const Config& config, Plan& plan)
{
    const auto* const row =
        std::find_if(std::begin(kFormats), std::end(kFormats), [&config](const FormatRow& format) {
            return format.format == config.image.format;
        });
    if (row != std::end(kFormats)) {
        plan.Entry("image.format", {.name = "PixelFormat"}, row->entry).code = row->code;
    }
}

void PlanAxis(const char* sizeKey, const char* sizeName, int size, const char* offsetKey,
              const char* offsetName, int offset, const char* sensorName, Plan& plan)
{
    if (size == KvTd::kIntUnset) {
        return;
    }
    PlannedSetting& length = plan.Number(sizeKey, {.name = sizeName}, size, "px");
    length.tolerance = 0;
    if (offset == KvTd::kIntUnset) {
        return; // the offset in force limits the size, as the camera's own limit says
    }
    length.limitFeature = sensorName;
    length.limitTaken = offset;
    length.limitedBy = fmt::format("{} - {}", sensorName, offsetKey);
    PlannedSetting& place = plan.Number(offsetKey, {.name = offsetName}, offset, "px");
    place.tolerance = 0;
    place.limitFeature = sensorName;
    place.limitTaken = size;
    place.limitedBy = fmt::format("{} - {}", sensorName, sizeKey);
}

void PlanRate(const Config& config, Plan& plan)
{
    const double rate = static_cast<double>(config.timing.fps);
    if (config.timing.fps == KvTd::kFpsUnset) {
        return;
    }
    PlannedSetting& setting =
        plan.Number("timing.fps", {.name = "AcquisitionFrameRate"}, rate, "fps");
    setting.tolerance = kRateRounded;
    setting.limitedBy = "limited by exposure time, read-out and link as they are now; the driver "
                        "sets the rate before the exposure time";
    const double exposureUs = static_cast<double>(config.exposure.timeUs);
    if (config.exposure.mode == KvTd::kSweepManual && exposureUs > 0 &&
        1e6 / exposureUs < rate * (1 - kRateRounded)) {
        setting.obstacle =
            fmt::format("exposure.time_us = {:.6g} allows at most {:.4g} frames per second",
                        exposureUs, 1e6 / exposureUs);
    }
}

FeatureRef Ratio(const char* color)
{
    return {.name = "BalanceRatio", .selector = "BalanceRatioSelector", .selected = color};
}

void PlanWhiteBalance(const Config& config, Plan& plan)
{
    const WhiteBalanceConfig& balance = config.whiteBalance;
    if (config.image.format != KvTd::kFormatYuv422) {
        return;
    }
    const bool automatic = balance.red == KvTd::kIntUnset && balance.blue == KvTd::kIntUnset;
    plan.Entry("white_balance", {.name = "BalanceWhiteAuto"}, automatic ? "Periodic" : "Off");
    if (automatic) {
        return;
    }
    const double redDb = balance.red / 100.0;
    plan.Gain("white_balance.red", Ratio("Red"), redDb);
    if (balance.blue != KvTd::kIntUnset) {
        plan.Gain("white_balance.blue", Ratio("Blue"), redDb).compared =
            FactorOf(balance.blue / 100.0);
    }
}

/** The driver switches the gain first, then the exposure. One switch of the camera may stand for
 *  both, and manual operation turns it off. */
void PlanModes(const Config& config, Plan& plan)
{
    const std::uint32_t gain = config.gain.mode;
    const std::uint32_t exposure = config.exposure.mode;
    const auto mode = [&plan](const char* key, const char* feature,
                              std::uint32_t which) -> PlannedSetting& {
        const bool automatic = which == KvTd::kSweepAuto;
        PlannedSetting& setting =
            plan.Entry(key, {.name = feature}, automatic ? "Continuous" : "Off");
        (automatic ? setting.also
                   : setting.instead) = {{kBrightnessMode, automatic ? "Active" : "Off"}};
        return setting;
    };
    if (config.automatic.profile == 1) {
        PlannedSetting& control =
            plan.Entry("auto.brightness_control", {.name = kBrightnessMode}, "Active");
        const std::uint32_t last = exposure == KvTd::kSweepUnset ? gain : exposure;
        if (last == KvTd::kSweepManual) {
            control.obstacle = "a manual mode of gain or exposure switches it off again";
        }
    }
    if (gain != KvTd::kSweepUnset) {
        PlannedSetting& setting = mode("gain.mode", "GainAuto", gain);
        if (gain == KvTd::kSweepAuto && exposure == KvTd::kSweepManual) {
            setting.obstacle =
                "exposure.mode = \"manual\" switches off the camera's one switch for both";
            setting.obstacleNeeds = kBrightnessMode;
        }
        if (gain == KvTd::kSweepManual && exposure == KvTd::kSweepAuto) {
            setting.instead.clear(); // the switch is on for the exposure
        }
    }
    if (exposure != KvTd::kSweepUnset) {
        mode("exposure.mode", "ExposureAuto", exposure);
    }
}

/** Targets and limits: the driver sets them if one of the two functions is automatic. */
void PlanAutomatic(const Config& config, Plan& plan)
{
    if (config.gain.mode != KvTd::kSweepAuto && config.exposure.mode != KvTd::kSweepAuto) {
        return;
    }
    const auto limit = [&plan](const char* key, const char* feature, float value) {
        const double asked = static_cast<double>(value);
        plan.Number(key, {.name = feature}, std::trunc(asked), "us").compared = asked;
    };
    const auto gainLimit = [&plan](const char* key, const char* feature, float value) {
        const double factor = FactorOf(static_cast<double>(value));
        PlannedSetting& setting = plan.Gain(key, {.name = feature}, static_cast<double>(value));
        setting.number = std::trunc(static_cast<double>(static_cast<float>(factor)));
        setting.compared = factor;
    };
    if (config.automatic.brightness != KvTd::kExposureUnset) {
        const double target = std::round(static_cast<double>(config.automatic.brightness) * 255);
        plan.Number("auto.brightness", {.name = "autoBrightnessTarget"}, target, "").tolerance = 0;
    }
    if (config.gain.autoMinDb != KvTd::kGainUnset) {
        gainLimit("gain.auto_min_db", "gainAutoMinValue", config.gain.autoMinDb);
        gainLimit("gain.auto_max_db", "gainAutoMaxValue", config.gain.autoMaxDb);
    }
    if (config.exposure.autoMinUs != KvTd::kExposureUnset) {
        limit("exposure.auto_min_us", "exposureAutoMinValue", config.exposure.autoMinUs);
        limit("exposure.auto_max_us", "exposureAutoMaxValue", config.exposure.autoMaxUs);
    }
}

void PlanManual(const Config& config, Plan& plan)
{
    if (config.gain.mode == KvTd::kSweepManual && config.gain.db != KvTd::kGainUnset) {
        plan.Gain("gain.db", {.name = "Gain", .selector = "GainSelector", .selected = "SensorAll"},
                  static_cast<double>(config.gain.db))
            .mayBeLocked = true;
    }
    if (config.exposure.mode == KvTd::kSweepManual &&
        config.exposure.timeUs != KvTd::kExposureUnset) {
        plan.Number("exposure.time_us", {.name = "ExposureTime"},
                    static_cast<double>(config.exposure.timeUs), "us")
            .mayBeLocked = true;
    }
}

void PlanTone(const Config& config, Plan& plan)
{
    const bool table = !config.lut.values.empty();
    if (config.lut.mode == KvTd::kSweepManual && table) {
        PlannedSetting& setting = plan.Entry("lut.mode", {.name = "lutMode"}, "Active");
        setting.also = {{"lutType", "UserDefined"}};
        if (config.image.format == KvTd::kFormatMono12 ||
            config.image.format == KvTd::kFormatMono12Packed) {
            setting.obstacle = "there is no table in the 12-bit formats";
        }
    } else if (config.lut.mode == KvTd::kSweepManual) {
        PlannedSetting& setting = plan.Entry("lut.mode", {.name = "lutMode"}, "Off");
        setting.instead = {{"lutType", "GammaCorrection"}};
        setting.kept = "the driver switches off only a table that it loaded in the same session";
    }
    if (config.gamma.value == KvTd::kGammaUnset) {
        return;
    }
    PlannedSetting& gamma = plan.Number("gamma.value", {.name = "gammaCorrection"},
                                        static_cast<double>(config.gamma.value), "");
    constexpr double kNoCurve = 1;
    if (std::abs(*gamma.number - kNoCurve) <= 0.001) {
        gamma.instead = {{"lutMode", "Off"}, {"lutType", "UserDefined"}};
        return;
    }
    gamma.also = {{"lutMode", "Active"}, {"lutType", "GammaCorrection"}};
    if (config.lut.mode == KvTd::kSweepManual && table) {
        gamma.obstacle = "the camera has one tone curve, and the look-up table comes first";
    }
}

/** The control thread sets the lines, at some time. */
void PlanOutputLines(const Config& config, Plan& plan)
{
    for (const IoSetConfig& set : SetsRead(config)) {
        const char* const line = OutputLineOf(set);
        if (line == nullptr) {
            continue;
        }
        const auto at = [line](const char* feature) {
            return FeatureRef{feature, "LineSelector", line, true};
        };
        const bool off = set.source == 0;
        const char* const pin = KvTd::KvCfgIoPinMapT[set.pin].name;
        plan.Entry(fmt::format("iobox.source ({})", pin), at("outputLineSource"),
                   off ? "Off" : "ExposureActive")
            .readBack = false;
        const auto pulse = [&](std::string key, const char* feature, std::uint32_t us) {
            if (!off && us != KvTd::kIoboxParamUnset) {
                plan.Number(std::move(key), at(feature), us, "us").readBack = false;
            }
        };
        pulse(fmt::format("iobox.delay_us ({})", pin), "outputLinePulseDelay", set.parameters[0]);
        pulse(fmt::format("iobox.width_us ({})", pin), "outputLinePulseDuration",
              set.parameters[1]);
    }
}

} // namespace

std::vector<PlannedSetting> PlannedSettings(const Config& config)
{
    Plan plan;
    PlanFormat(config, plan);
    const RegionConfig& region = config.region;
    PlanAxis("region.width", "Width", region.width, "region.offset_x", "OffsetX", region.offsetX,
             "WidthMax", plan);
    PlanAxis("region.height", "Height", region.height, "region.offset_y", "OffsetY", region.offsetY,
             "HeightMax", plan);
    PlanRate(config, plan);
    for (const char* feature : {"ReverseX", "ReverseY"}) {
        const bool turned = config.image.rotate == KvTd::kRotateTurned;
        if (config.image.rotate != KvTd::kRotateUnset) {
            plan.Entry("image.rotate", {.name = feature}, turned ? "true" : "false").kept =
                turned ? ""
                       : "the driver turns back only an image that it turned in the same "
                         "session";
        }
    }
    PlanWhiteBalance(config, plan);
    PlanModes(config, plan);
    PlanAutomatic(config, plan);
    PlanManual(config, plan);
    PlanTone(config, plan);
    PlanOutputLines(config, plan);
    return plan.Take();
}

std::string NumberText(const PlannedSetting& setting, double value, bool withUnit)
{
    const std::string number = setting.scale == Scale::Decibel
                                   ? fmt::format("{:.4g}", 20 * std::log10(value))
                               : std::trunc(value) == value ? fmt::format("{:.0f}", value)
                                                            : fmt::format("{:.6g}", value);
    return withUnit && !setting.unit.empty() ? fmt::format("{} {}", number, setting.unit) : number;
}

std::string RequestedText(const PlannedSetting& setting)
{
    if (!setting.number) {
        return setting.entry;
    }
    const bool hasDecibels = setting.scale == Scale::Plain || *setting.number > 0;
    return NumberText(setting, hasDecibels ? *setting.number : setting.compared.value_or(0), true);
}

} // namespace kvgrab
