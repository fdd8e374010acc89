#include "genapi/access_rules.h"

#include "genapi/value_text.h"

#include <cmath>
#include <fmt/format.h>

namespace genapi
{

Violation RangeError(std::int64_t value, const IntegerRange& range)
{
    // Unsigned, since the distance of extreme values does not fit a signed number.
    const auto distance = static_cast<std::uint64_t>(value) - static_cast<std::uint64_t>(range.min);
    if (value >= range.min && value <= range.max &&
        (range.inc <= 0 || distance % static_cast<std::uint64_t>(range.inc) == 0)) {
        return {};
    }
    return {Violation::Rule::Range, fmt::format("outside minimum {}, maximum {} or increment {}",
                                                range.min, range.max, range.inc)};
}

Violation RangeError(double value, const FloatRange& range)
{
    if (value >= range.min && value <= range.max) { // false for a NaN, as it must be
        return {};
    }
    return {Violation::Rule::Range,
            fmt::format("outside minimum {}, maximum {}", ToText(range.min), ToText(range.max))};
}

Violation EntryError(bool exists, EAccessMode entryMode)
{
    if (!exists) {
        return {Violation::Rule::Entry, "no such entry"};
    }
    if (entryMode == GenApi_3_0::NI) {
        return {Violation::Rule::Mode, "entry not implemented"};
    }
    if (!GenApi_3_0::IsWritable(entryMode)) {
        return {Violation::Rule::Mode, "entry not available now"};
    }
    return {};
}

Violation TextError(std::string_view text, std::int64_t maxLength)
{
    if (static_cast<std::int64_t>(text.size()) > maxLength) {
        return {Violation::Rule::Range, fmt::format("longer than {} bytes", maxLength)};
    }
    if (text.find('\0') != std::string_view::npos) {
        return {Violation::Rule::Range, "contains a zero byte"};
    }
    return {};
}

double SnappedToLimit(double value, const FloatRange& range)
{
    constexpr double kRounding = 1e-6; // of the limit
    if (value > range.max && value - range.max < kRounding * std::abs(range.max)) {
        return range.max;
    }
    if (value < range.min && range.min - value < kRounding * std::abs(range.min)) {
        return range.min;
    }
    return value;
}

const char* ModeName(EAccessMode mode)
{
    switch (mode) {
    case GenApi_3_0::NI:
        return "NI";
    case GenApi_3_0::NA:
        return "NA";
    case GenApi_3_0::WO:
        return "WO";
    case GenApi_3_0::RO:
        return "RO";
    case GenApi_3_0::RW:
        return "RW";
    }
    return "?";
}

void RequireReadable(std::string_view feature, EAccessMode mode)
{
    if (!GenApi_3_0::IsReadable(mode)) {
        throw GenICam_3_0::AccessException(
            fmt::format("{}: not readable now (access mode {})", feature, ModeName(mode)));
    }
}

void RefuseBeforeCamera(const WriteAttempt& attempt, std::string_view value,
                        const Violation& broken)
{
    if (!attempt.verify) {
        throw GenICam_3_0::RuntimeException(
            fmt::format("{} = {}: refused, {}", attempt.feature, value, broken.why));
    }
    const std::string text = fmt::format("{} = {}: {}", attempt.feature, value, broken.why);
    switch (broken.rule) {
    case Violation::Rule::Range:
        throw GenICam_3_0::OutOfRangeException(text);
    case Violation::Rule::Entry:
        throw GenICam_3_0::InvalidArgumentException(text);
    case Violation::Rule::Mode:
        break;
    }
    throw GenICam_3_0::AccessException(text);
}

void RefuseByCamera(const WriteAttempt& attempt, std::string_view value, const Violation& broken)
{
    throw GenICam_3_0::RuntimeException(
        fmt::format("{} = {}: refused by the camera, {}", attempt.feature, value, broken.why));
}

} // namespace genapi
