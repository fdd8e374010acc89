#include "benchmarks/stamps/drawing.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace stamps
{

namespace
{

constexpr int kLeft = 80;
constexpr int kWidth = 800; ///< of the plot area
constexpr int kHeight = 130;
constexpr int kAbove = 34;
constexpr int kBelow = 26;
constexpr int kPanel = kAbove + kHeight + kBelow;

struct Range {
    double low = std::numeric_limits<double>::max();
    double high = std::numeric_limits<double>::lowest();
    void Take(double value)
    {
        low = std::min(low, value);
        high = std::max(high, value);
    }
};

std::string Size(double us)
{
    return std::abs(us) >= 10'000 ? fmt::format("{:.1f} ms", us / 1000)
                                  : fmt::format("{:.1f} us", us);
}

/** The smallest and the largest error in each column of the plot. */
std::vector<Range> Columns(const Played& played, double seconds)
{
    std::vector<Range> columns(kWidth);
    for (const StampError& error : played.errors) {
        const auto at =
            static_cast<std::size_t>(std::clamp(error.atS / seconds * kWidth, 0.0, kWidth - 1.0));
        columns[at].Take(error.errorUs);
    }
    return columns;
}

std::string DrawPanel(const Panel& panel, int top)
{
    const double seconds = panel.played->errors.back().atS;
    const std::vector<Range> columns = Columns(*panel.played, seconds);
    Range all;
    all.Take(0);
    for (const Range& column : columns) {
        if (column.low <= column.high) {
            all.Take(column.low);
            all.Take(column.high);
        }
    }
    const double height = std::max(all.high - all.low, 1.0);
    const auto y = [&](double us) { return top + kAbove + (all.high - us) / height * kHeight; };
    std::string path;
    for (int x = 0; x < kWidth; ++x) {
        const Range& column = columns[static_cast<std::size_t>(x)];
        if (column.low <= column.high) {
            path += fmt::format("M{} {:.1f}V{:.1f}", kLeft + x, y(column.high) - 0.5,
                                y(column.low) + 0.5);
        }
    }
    return fmt::format(
        R"(<text x="{left}" y="{titleY}" class="title">{title}</text>
<rect x="{left}" y="{plotTop}" width="{width}" height="{height}" class="frame"/>
<line x1="{left}" x2="{right}" y1="{zeroY:.1f}" y2="{zeroY:.1f}" class="zero"/>
<path class="error" d="{path}"/>
<text x="{labelX}" y="{highY:.1f}" class="value">{high}</text>
<text x="{labelX}" y="{lowY:.1f}" class="value">{low}</text>
<text x="{left}" y="{timeY}" class="time">0 s</text>
<text x="{right}" y="{timeY}" class="value">{seconds:.0f} s</text>
)",
        fmt::arg("left", kLeft), fmt::arg("right", kLeft + kWidth), fmt::arg("titleY", top + 20),
        fmt::arg("title", panel.title), fmt::arg("plotTop", top + kAbove),
        fmt::arg("width", kWidth), fmt::arg("height", kHeight), fmt::arg("zeroY", y(0)),
        fmt::arg("path", path), fmt::arg("labelX", kLeft - 6), fmt::arg("highY", y(all.high) + 4),
        fmt::arg("high", Size(all.high)), fmt::arg("lowY", y(all.low) + 4),
        fmt::arg("low", Size(all.low)), fmt::arg("timeY", top + kAbove + kHeight + 16),
        fmt::arg("seconds", seconds));
}

} // namespace

std::string Draw(const std::vector<Panel>& panels)
{
    std::string drawn;
    int top = 0;
    for (const Panel& panel : panels) {
        drawn += DrawPanel(panel, top);
        top += kPanel;
    }
    return fmt::format(
        R"(<svg xmlns="http://www.w3.org/2000/svg" width="{width}" height="{height}" viewBox="0 0 {width} {height}">
<style>text{{font:13px sans-serif;fill:#222}}.title{{font-weight:bold}}.value{{text-anchor:end}}.frame{{fill:#fff;stroke:#999}}.zero{{stroke:#bbb}}.error{{stroke:#1f5fa8;fill:none}}</style>
<rect width="100%" height="100%" fill="#fff"/>
{panels}</svg>
)",
        fmt::arg("width", kLeft + kWidth + 20), fmt::arg("height", top), fmt::arg("panels", drawn));
}

} // namespace stamps
