/** Builds the features for automatic functions, tone, colour, output lines and the device itself.
 */
#include "sim/camera/feature_builder.h"
#include "sim/picture/picture_job.h"

#include <cmath>
#include <numbers>

namespace sim
{

namespace
{

constexpr auto kMostLutEntries = static_cast<std::int64_t>(ToneFeatures::kMostEntries);
constexpr std::int64_t kLongestPulseUs = 2'000'000;
constexpr unsigned kBalancePollingMs = 1000; // the shortest period of the white balance
constexpr unsigned kTemperaturePollingMs = 1000;

/** The housing's temperature swings around the configured one within ten minutes: the difference
 *  in degrees Celsius. */
double TemperatureDrift(std::int64_t ns)
{
    constexpr double kPeriodNs = 600e9;
    return 0.75 * std::sin(2 * std::numbers::pi * static_cast<double>(ns) / kPeriodNs);
}

} // namespace

void FeatureBuilder::AutoBrightness()
{
    BrightnessFeatures& brightness = features_.brightness;
    Enumeration* mode =
        AddEnumeration({.name = "autoBrightnessMode", .changes = {"ExposureTime", "Gain"}},
                       Names({"Off", "Active"}));
    brightness.mode = ShowsAsItIs("autoBrightnessMode") ? mode : nullptr;
    brightness.sequence =
        AddEnumeration({.name = "autoBrightnessSequence"},
                       Names({"Gain_Exposure_Iris", "Exposure_Gain_Iris", "Iris_Exposure_Gain"}));
    brightness.target = AddInteger({.name = "autoBrightnessTarget"}, {.max = 255}, 128);
    brightness.exposureAuto = AddEnumeration({.name = "ExposureAuto", .changes = {"ExposureTime"}},
                                             Names({"Off", "Continuous"}));
    brightness.exposureMin = AddFloat({.name = "exposureAutoMinValue", .unit = "us"},
                                      {.min = 10, .max = 2'000'000}, 100);
    brightness.exposureMax = AddFloat({.name = "exposureAutoMaxValue", .unit = "us"},
                                      {.min = 10, .max = 2'000'000}, 30'000);
    brightness.gainAuto =
        AddEnumeration({.name = "GainAuto", .changes = {"Gain"}}, Names({"Off", "Continuous"}));
    brightness.gainSource = AddEnumeration({.name = "gainAutoSource", .changes = {"Gain"}},
                                           Names({"SensorAll", "DigitalAll"}));
    brightness.gainMin = AddFloat({.name = "gainAutoMinValue"}, {.min = 1, .max = 8}, 1);
    brightness.gainMax = AddFloat({.name = "gainAutoMaxValue"}, {.min = 1, .max = 8}, 8);
}

/** One table per channel: 2^n entries of n bits, where lutSize gives n. At power-up it is the
 *  identity. */
void FeatureBuilder::Tone()
{
    ToneFeatures& tone = features_.tone;
    const auto changed = [&tone] { ++tone.revision; };
    tone.mode = AddEnumeration({.name = "lutMode", .locked = state_.streaming, .written = changed},
                               Names({"Off", "Active"}));
    tone.type = AddEnumeration({.name = "lutType", .written = changed},
                               Names({"UserDefined", "GammaCorrection"}));
    genapi::EnumerationNode* size =
        AddEnumeration({.name = "lutSize", .mode = GenApi_3_0::RO, .written = changed},
                       {"Bpp8", {{"Bpp8", 8}, {"Bpp10", 10}, {"Bpp12", 12}}});
    tone.size = size;
    Enumeration* channel =
        AddEnumeration({.name = "LUTSelector"},
                       IsColor() ? Names({"Red", "Green", "Blue"}) : Names({"Luminance"}));
    const auto last = [size] { return (std::int64_t{1} << size->Value()) - 1; };
    Integer* index =
        AddInteger({.name = "LUTIndex"}, {.max = kMostLutEntries - 1, .maxNow = last}, 0);
    tone.entries =
        AddInteger({.name = "LUTValue", .selectedBy = {channel, index}, .written = changed},
                   {.max = kMostLutEntries - 1, .maxNow = last}, 0);
    tone.channels = channel->Positions();
    for (std::size_t cell = 0; cell < tone.channels * ToneFeatures::kMostEntries; ++cell) {
        tone.entries->StoreAt(cell, static_cast<std::int64_t>(cell % ToneFeatures::kMostEntries));
    }
    tone.gamma =
        AddFloat({.name = "gammaCorrection", .written = changed}, {.min = 0.1, .max = 4}, 1);
}

void FeatureBuilder::WhiteBalance()
{
    WhiteBalanceFeatures& balance = features_.whiteBalance;
    balance.mode =
        AddEnumeration({.name = "BalanceWhiteAuto", .written = [&balance] { ++balance.asked; }},
                       Names({"Off", "Periodic"}));
    balance.period =
        AddEnumeration({.name = "balanceWhitePeriod"},
                       {"Every5s", {{"Every1s", 1}, {"Every5s", 5}, {"Every30s", 30}}});
    balance.reference =
        AddEnumeration({.name = "balanceRatioReference"},
                       {"Green", {{"Red", kRed}, {"Green", kGreen}, {"Blue", kBlue}}});
    Enumeration* selector = // in the order of the channels
        AddEnumeration({.name = "BalanceRatioSelector"}, Names({"Red", "Green", "Blue"}));
    balance.ratio = AddFloat({.name = "BalanceRatio",
                              .selectedBy = {selector},
                              .caching = genapi::Caching::NoCache,
                              .pollingMs = kBalancePollingMs},
                             {.min = 0.25, .max = 4}, 1);
}

/** Lines 1 and 2 are inputs, lines 3 and 4 outputs. */
void FeatureBuilder::Lines()
{
    Enumeration* selector = AddEnumeration(
        {.name = "LineSelector",
         .changes = {"outputLineSource", "outputLinePulseDelay", "outputLinePulseDuration"}},
        Names({"Line1", "Line2", "Line3", "Line4"}));
    const auto onOutputs = [selector] { return selector->Position() >= 2; };
    LineFeatures& lines = features_.lines;
    lines.source = AddEnumeration(
        {.name = "outputLineSource", .available = onOutputs, .selectedBy = {selector}},
        Names({"Off", "ExposureActive"}));
    lines.inverter = AddBoolean({.name = "LineInverter", .selectedBy = {selector}}, false);
    const auto addPulse = [&](const char* name) {
        return AddInteger(
            {.name = name, .unit = "us", .available = onOutputs, .selectedBy = {selector}},
            {.max = kLongestPulseUs}, 0);
    };
    lines.delay = addPulse("outputLinePulseDelay");
    lines.duration = addPulse("outputLinePulseDuration");
}

/** What the camera says about itself, and a text of its user's. */
void FeatureBuilder::Identity()
{
    constexpr std::int64_t kUserIdLength = 16;
    const std::pair<const char*, const std::string*> kTexts[] = {
        {"DeviceVendorName", &setup_.manufacturer},
        {"DeviceModelName", &setup_.modelName},
        {"DeviceVersion", &setup_.version},
        {"DeviceSerialNumber", &setup_.serial}};
    for (const auto& [name, text] : kTexts) {
        AddString({.name = name, .mode = GenApi_3_0::RO},
                  static_cast<std::int64_t>(sizeof(GEV_DEVICE_INFO::manufacturer)) - 1, *text);
    }
    AddString({.name = kUserId}, kUserIdLength, "");
}

void FeatureBuilder::Device()
{
    Identity();
    AddInteger({.name = "GevTimestampTickFrequency", .unit = "Hz", .mode = GenApi_3_0::RO}, {},
               static_cast<std::int64_t>(setup_.tickFrequency));
    Enumeration* selector =
        AddEnumeration({.name = "DeviceTemperatureSelector"}, Names({"Internal", "MaxInternal"}));
    const std::int64_t startNs = state_.nowNs();
    AddFloat({.name = "DeviceTemperature",
              .unit = "C",
              .mode = GenApi_3_0::RO,
              .selectedBy = {selector},
              .caching = genapi::Caching::NoCache,
              .pollingMs = kTemperaturePollingMs},
             {.min = -40, .max = 125}, setup_.temperatureC,
             [now = state_.nowNs, startNs, selector](double base) {
                 const bool warmest = selector->Position() == 1;
                 return base + (warmest ? 0.75 : TemperatureDrift(now() - startNs));
             });
}

} // namespace sim
