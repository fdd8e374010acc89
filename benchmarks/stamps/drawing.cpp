#include "benchmarks/stamps/drawing.h"

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <limits>

namespace stamps
{

namespace
{

constexpr int kLeft = 80;
constexpr int kWidth = 800; ///< of the area that is drawn into
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

std::string Text(const char* format, ...) __attribute__((format(printf, 1, 2)));
std::string Text(const char* format, ...)
{
    char text[512];
    va_list values;
    va_start(values, format);
    std::vsnprintf(text, sizeof text, format, values);
    va_end(values);
    return text;
}

std::string Size(double us)
{
    return std::abs(us) >= 10'000 ? Text("%.1f ms", us / 1000) : Text("%.1f us", us);
}

/** The smallest and the largest error at each place from left to right. */
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
    std::string svg = Text("<text x=\"%d\" y=\"%d\" class=\"title\">", kLeft, top + 20) +
                      panel.title + "</text>\n";
    svg += Text("<rect x=\"%d\" y=\"%d\" width=\"%d\" height=\"%d\" class=\"frame\"/>\n", kLeft,
                top + kAbove, kWidth, kHeight);
    svg += Text("<line x1=\"%d\" x2=\"%d\" y1=\"%.1f\" y2=\"%.1f\" class=\"zero\"/>\n", kLeft,
                kLeft + kWidth, y(0), y(0));
    svg += "<path class=\"error\" d=\"";
    for (int x = 0; x < kWidth; ++x) {
        const Range& column = columns[static_cast<std::size_t>(x)];
        if (column.low <= column.high) {
            svg += Text("M%d %.1fV%.1f", kLeft + x, y(column.high) - 0.5, y(column.low) + 0.5);
        }
    }
    svg += "\"/>\n";
    for (const double us : {all.high, all.low}) {
        svg += Text("<text x=\"%d\" y=\"%.1f\" class=\"value\">", kLeft - 6, y(us) + 4) + Size(us) +
               "</text>\n";
    }
    svg += Text("<text x=\"%d\" y=\"%d\" class=\"time\">0 s</text>\n", kLeft,
                top + kAbove + kHeight + 16);
    svg += Text("<text x=\"%d\" y=\"%d\" class=\"value\">%.0f s</text>\n", kLeft + kWidth,
                top + kAbove + kHeight + 16, seconds);
    return svg;
}

} // namespace

std::string Draw(const std::vector<Panel>& panels)
{
    const int width = kLeft + kWidth + 20;
    const int height = kPanel * static_cast<int>(panels.size());
    std::string svg = Text("<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"%d\" height=\"%d\" "
                           "viewBox=\"0 0 %d %d\">\n",
                           width, height, width, height);
    svg += "<style>text{font:13px sans-serif;fill:#222}.title{font-weight:bold}"
           ".value{text-anchor:end}.frame{fill:#fff;stroke:#999}.zero{stroke:#bbb}"
           ".error{stroke:#1f5fa8;fill:none}</style>\n<rect width=\"100%\" height=\"100%\" "
           "fill=\"#fff\"/>\n";
    int top = 0;
    for (const Panel& panel : panels) {
        svg += DrawPanel(panel, top);
        top += kPanel;
    }
    return svg + "</svg>\n";
}

} // namespace stamps
