/** Automatic functions, tone, colour, output lines and the device itself: settings that a frame
 *  does not consist of. */
#include "feature_builder.h"

#include <cmath>
#include <numbers>

namespace sim
{

namespace
{

constexpr std::int64_t kMostLutEntries = 4096;
constexpr std::int64_t kLongestPulseUs = 2'000'000;

/** The housing breathes: degrees Celsius around the configured temperature, over ten minutes. */
double TemperatureDrift(std::int64_t ns)
{
    constexpr double kPeriodNs = 600e9;
    return 0.75 * std::sin(2 * std::numbers::pi * static_cast<double>(ns) / kPeriodNs);
}

} // namespace

void FeatureBuilder::AutoBrightness()
{
    AddEnumeration({.name = "autoBrightnessMode"}, Names({"Off", "Active"}));
    AddEnumeration({.name = "autoBrightnessSequence"},
                   Names({"Gain_Exposure_Iris", "Exposure_Gain_Iris", "Iris_Exposure_Gain"}));
    AddInteger({.name = "autoBrightnessTarget"}, {.max = 255}, 128);
    AddEnumeration({.name = "ExposureAuto"}, Names({"Off", "Continuous"}));
    AddFloat({.name = "exposureAutoMinValue", .unit = "us"}, {.min = 10, .max = 2'000'000}, 100);
    AddFloat({.name = "exposureAutoMaxValue", .unit = "us"}, {.min = 10, .max = 2'000'000}, 30'000);
    AddEnumeration({.name = "GainAuto"}, Names({"Off", "Continuous"}));
    AddEnumeration({.name = "gainAutoSource"}, Names({"SensorAll", "DigitalAll"}));
    AddFloat({.name = "gainAutoMinValue"}, {.min = 1, .max = 8}, 1);
    AddFloat({.name = "gainAutoMaxValue"}, {.min = 1, .max = 8}, 8);
}

/** One table of 2^n entries of n bits per channel, as lutSize says. */
void FeatureBuilder::Tone()
{
    AddEnumeration({.name = "lutMode", .modeNow = WhileStopped()}, Names({"Off", "Active"}));
    AddEnumeration({.name = "lutType"}, Names({"UserDefined", "GammaCorrection"}));
    const Enumeration* size = AddEnumeration({.name = "lutSize", .mode = GenApi_3_0::RO},
                                             {"Bpp8", {{"Bpp8", 8}, {"Bpp10", 10}, {"Bpp12", 12}}});
    const Enumeration* channel =
        AddEnumeration({.name = "LUTSelector"},
                       IsColor() ? Names({"Red", "Green", "Blue"}) : Names({"Luminance"}));
    const auto last = [size] { return (std::int64_t{1} << size->Value()) - 1; };
    const Integer* index =
        AddInteger({.name = "LUTIndex"}, {.max = kMostLutEntries - 1, .maxNow = last}, 0);
    AddInteger({.name = "LUTValue", .selectedBy = {channel, index}},
               {.max = kMostLutEntries - 1, .maxNow = last}, 0);
    AddFloat({.name = "gammaCorrection"}, {.min = 0.1, .max = 4}, 1);
}

void FeatureBuilder::WhiteBalance()
{
    AddEnumeration({.name = "BalanceWhiteAuto"}, Names({"Off", "Periodic"}));
    AddEnumeration({.name = "balanceWhitePeriod"},
                   {"Every5s", {{"Every1s", 1}, {"Every5s", 5}, {"Every30s", 30}}});
    AddEnumeration({.name = "balanceRatioReference"},
                   {"Green", {{"Red", 0}, {"Green", 1}, {"Blue", 2}}});
    const Enumeration* selector =
        AddEnumeration({.name = "BalanceRatioSelector"}, Names({"Red", "Green", "Blue"}));
    AddFloat({.name = "BalanceRatio", .selectedBy = {selector}}, {.min = 0.25, .max = 4}, 1);
}

/** Lines 1 and 2 are inputs, lines 3 and 4 outputs. */
void FeatureBuilder::Lines()
{
    const Enumeration* selector =
        AddEnumeration({.name = "LineSelector"}, Names({"Line1", "Line2", "Line3", "Line4"}));
    const auto onOutputs = [selector] {
        return selector->Position() >= 2 ? GenApi_3_0::RW : GenApi_3_0::NA;
    };
    AddEnumeration({.name = "outputLineSource", .modeNow = onOutputs, .selectedBy = {selector}},
                   Names({"Off", "ExposureActive"}));
    AddBoolean({.name = "LineInverter", .selectedBy = {selector}}, false);
    for (const char* name : {"outputLinePulseDelay", "outputLinePulseDuration"}) {
        AddInteger({.name = name, .unit = "us", .modeNow = onOutputs, .selectedBy = {selector}},
                   {.max = kLongestPulseUs}, 0);
    }
}

void FeatureBuilder::Device()
{
    AddInteger({.name = "GevTimestampTickFrequency", .unit = "Hz", .mode = GenApi_3_0::RO}, {},
               static_cast<std::int64_t>(setup_.tickFrequency));
    const Enumeration* selector =
        AddEnumeration({.name = "DeviceTemperatureSelector"}, Names({"Internal", "MaxInternal"}));
    const std::int64_t startNs = state_.nowNs();
    AddFloat({.name = "DeviceTemperature",
              .unit = "C",
              .mode = GenApi_3_0::RO,
              .selectedBy = {selector}},
             {.min = -40, .max = 125}, setup_.temperatureC,
             [now = state_.nowNs, startNs, selector](double base) {
                 const bool warmest = selector->Position() == 1;
                 return base + (warmest ? 0.75 : TemperatureDrift(now() - startNs));
             });
}

} // namespace sim
