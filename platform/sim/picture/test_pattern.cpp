#include "sim/picture/test_pattern.h"

#include <algorithm>

namespace sim
{

namespace
{

enum class Kind { Strip, Bars, Hues, Number, Ramp, Steps, Chequer, Fine };

struct Band {
    Kind kind;
    std::uint32_t share; ///< of the height, in 1/kShares
};
constexpr Band kBands[] = {
    {Kind::Strip, 7}, {Kind::Bars, 20}, {Kind::Hues, 8},     {Kind::Number, 30}, {Kind::Ramp, 10},
    {Kind::Steps, 8}, {Kind::Strip, 7}, {Kind::Chequer, 15}, {Kind::Fine, 8},    {Kind::Strip, 7},
};
constexpr std::uint32_t kShares = 120;

constexpr Light Grey(std::uint32_t level)
{
    const auto l = static_cast<std::uint16_t>(level);
    return {l, l, l};
}
constexpr std::uint32_t Percent(std::uint32_t part)
{
    return kLightMax * part / 100;
}

constexpr Light kBlack = Grey(0);
constexpr Light kWhite = Grey(Percent(95));
constexpr Light kPanel = Grey(Percent(6));
constexpr Light kInk = Grey(Percent(92));

/** Number of grey levels in a ramp. */
constexpr std::uint32_t LevelsOf(Kind kind)
{
    return kind == Kind::Steps ? 11 : kLightMax + 1U;
}

/** Calls `act` with each band's kind and rows. */
template <typename Act> void ForBands(std::uint32_t width, std::uint32_t height, Act act)
{
    std::uint32_t shares = 0;
    std::int64_t top = 0;
    for (const Band& band : kBands) {
        shares += band.share;
        const std::int64_t bottom = std::int64_t{height} * shares / kShares;
        act(band.kind, Rect{0, top, width, bottom});
        top = bottom;
    }
}

/** Colour bars from white to black, by falling brightness. */
Light BarAt(std::uint32_t x, std::uint32_t width)
{
    const auto lit = static_cast<std::uint32_t>(7 - std::uint64_t{x} * 8 / width);
    constexpr auto kOn = static_cast<std::uint16_t>(Percent(75));
    const auto level = [lit](std::uint32_t bit) {
        return (lit & bit) != 0 ? kOn : std::uint16_t{0};
    };
    return {level(2), level(4), level(1)};
}

/** All saturated hues from left to right. */
Light HueAt(std::uint32_t x, std::uint32_t width)
{
    constexpr std::int64_t kTop = Percent(90);
    const std::int64_t angle = 6 * kTop * x / width;
    const auto part = [&](std::int64_t turned) { // brightest in the middle of the circle
        const std::int64_t away = std::abs((angle + turned) % (6 * kTop) - 3 * kTop);
        return static_cast<std::uint16_t>(std::clamp<std::int64_t>(2 * kTop - away, 0, kTop));
    };
    return {part(3 * kTop), part(kTop), part(5 * kTop)};
}

/** Grey that fades towards both edges. */
Light FadeAt(std::uint32_t x, std::uint32_t width)
{
    const std::uint64_t fromEdge = std::min(x, width - 1 - x);
    return Grey(static_cast<std::uint32_t>(Percent(8) + Percent(90) * fromEdge / width));
}

/** Vertical line pairs in the left half, with lines 1 to 8 pixels wide. */
Light FineAt(std::uint32_t x, std::uint32_t width)
{
    const std::uint32_t half = width / 2;
    return x < half && (x >> std::uint64_t{x} * 4 / half & 1) == 0 ? kWhite : kBlack;
}

/** A line of text: its place, and how many pixels wide a cell of its glyphs is. */
struct TextLine {
    std::int64_t top;
    std::int64_t scale;
    Rect band;
};

/** Text in the vertical middle of its band. */
TextLine LineIn(const Rect& band, std::int64_t scale)
{
    const std::int64_t margin = (band.bottom - band.top - kGlyphRows * scale) / 2;
    return {band.top + std::max<std::int64_t>(margin, 0), scale, band};
}
TextLine StripLine(const Rect& band)
{
    return LineIn(band, std::max<std::int64_t>((band.bottom - band.top) * 7 / 8 / kGlyphRows, 1));
}
/** As large as possible with the arrow and ten digits, so that the size never changes. */
TextLine NumberLine(const Rect& band)
{
    constexpr std::int64_t kCells = (10 + 2) * kGlyphPitch;
    const std::int64_t height = (band.bottom - band.top) * 3 / 4 / kGlyphRows;
    return LineIn(band, std::max<std::int64_t>(std::min(height, band.right / kCells), 1));
}

/** Replaces a glyph by another one, drawing only the cells that differ. */
void DrawGlyph(const TextLine& line, const Rect& clip, std::int64_t left, std::uint8_t from,
               std::uint8_t to, LightCanvas* canvas)
{
    for (std::uint32_t row = 0; row < kGlyphRows && from != to; ++row) {
        const std::uint8_t cells = GlyphRow(to, row);
        const unsigned changed = cells ^ GlyphRow(from, row);
        for (std::uint32_t cell = 0; cell < kGlyphWidth; ++cell) {
            const unsigned bit = 1U << (kGlyphWidth - 1 - cell);
            if ((changed & bit) != 0) {
                const std::int64_t x = left + cell * line.scale;
                const std::int64_t y = line.top + row * line.scale;
                canvas->Fill(Common({x, y, x + line.scale, y + line.scale}, clip),
                             (cells & bit) != 0 ? kInk : kPanel);
            }
        }
    }
}

void DrawNumber(const TextLine& line, const Rect& clip, std::int64_t left, const NumberText& from,
                const NumberText& to, LightCanvas* canvas)
{
    for (std::uint32_t i = 0; i < to.length; ++i) {
        DrawGlyph(line, clip, left + i * kGlyphPitch * line.scale, from.glyphs[i], to.glyphs[i],
                  canvas);
    }
}

} // namespace

void TestPattern::SetSize(std::uint32_t width, std::uint32_t height)
{
    width_ = width;
    height_ = height;
    edge_ = std::max(height / 270, 1U);
    row_.resize(width);
}

Rect TestPattern::Inset(std::int64_t by) const
{
    return {by, by, std::int64_t{width_} - by, std::int64_t{height_} - by};
}

void TestPattern::DrawColumns(const Rect& band, Light (*lightAt)(std::uint32_t, std::uint32_t),
                              LightCanvas* canvas)
{
    for (std::uint32_t x = 0; x < width_; ++x) {
        row_[x] = lightAt(x, width_);
    }
    canvas->FillRows(band, row_);
}

/** The place in this frame of the bar that moves over the ramps. */
Rect TestPattern::Bar(const Rect& band, std::uint32_t frameNumber) const
{
    const std::uint32_t stride = std::max(width_ / 240, 1U);
    const std::int64_t left = std::int64_t{frameNumber} * stride % width_;
    return {left, band.top, std::min<std::int64_t>(left + std::max(width_ / 40, 1U), width_),
            band.bottom};
}

/** Draws some columns of a ramp from black to white; the bar shifts them by half the range. */
void TestPattern::DrawRamp(const Rect& part, std::uint32_t levels, bool inBar, LightCanvas* canvas)
{
    for (std::int64_t x = part.left; x < part.right; ++x) {
        const std::uint64_t level = static_cast<std::uint64_t>(x) * levels / width_;
        const std::uint64_t light = level * kLightMax / (levels - 1);
        row_[static_cast<std::size_t>(x)] = Grey(
            static_cast<std::uint32_t>(light + (inBar ? kLightMax / 2 : 0)) % (kLightMax + 1U));
    }
    canvas->FillRows(Common(part, Inset(2 * edge_)), row_);
}

void TestPattern::DrawChequer(const Rect& band, std::uint32_t frameNumber, LightCanvas* canvas)
{
    const auto size =
        static_cast<std::uint32_t>(std::max<std::int64_t>(band.bottom - band.top, 3)) / 3;
    const std::uint32_t stride = std::max(size / 8, 1U);
    const auto shift = static_cast<std::uint32_t>(std::uint64_t{frameNumber} * stride % (2 * size));
    std::uint32_t place = 2 * size - shift; // within one bright and one dark square
    for (std::int64_t top = band.top; top < band.bottom; top += size, place += size) {
        for (std::uint32_t x = 0, at = place % (2 * size); x < width_; ++x) {
            row_[x] = Grey(at < size ? Percent(80) : Percent(15));
            at = at + 1 == 2 * size ? 0 : at + 1;
        }
        const Rect squares{0, top, width_, std::min(top + size, band.bottom)};
        canvas->FillRows(Common(squares, Inset(2 * edge_)), row_);
    }
}

/** The frame number, repeated. */
void TestPattern::DrawStrip(const Rect& band, const NumberText& from, const NumberText& to,
                            LightCanvas* canvas) const
{
    const TextLine line = StripLine(band);
    const std::int64_t pitch = kGlyphPitch * line.scale;
    const std::int64_t textWidth = to.length * pitch;
    const std::int64_t count = std::clamp<std::int64_t>(width_ / (textWidth + pitch), 1, 6);
    const std::int64_t field = width_ / count;
    for (std::int64_t n = 0; n < count; ++n) {
        const std::int64_t left = n * field + (field - textWidth) / 2 + line.scale;
        DrawNumber(line, Common(band, Inset(2 * edge_)), left, from, to, canvas);
    }
}

/** The background of the large number: a panel with the arrow. */
void TestPattern::DrawPanel(const Rect& band, const NumberText& text, LightCanvas* canvas) const
{
    const TextLine line = NumberLine(band);
    const std::int64_t pitch = kGlyphPitch * line.scale;
    const std::int64_t width = (text.length + 4) * pitch;
    const std::int64_t left = (width_ - width) / 2;
    canvas->Fill({left, band.top, left + width, band.bottom}, kPanel);
    DrawGlyph(line, Common(band, Inset(2 * edge_)), left + pitch + line.scale, kBlankGlyph,
              kArrowGlyph, canvas);
}

void TestPattern::DrawMoving(const NumberText& from, std::uint32_t fromFrame,
                             std::uint32_t frameNumber, LightCanvas* canvas)
{
    const NumberText to(frameNumber);
    ForBands(width_, height_, [&](Kind kind, const Rect& band) {
        switch (kind) {
        case Kind::Strip:
            return DrawStrip(band, from, to, canvas);
        case Kind::Number: {
            const TextLine line = NumberLine(band);
            const std::int64_t pitch = kGlyphPitch * line.scale;
            const std::int64_t left =
                (width_ - (to.length + 2) * pitch) / 2; // with the arrow before it
            return DrawNumber(line, Common(band, Inset(2 * edge_)), left + 2 * pitch + line.scale,
                              from, to, canvas);
        }
        case Kind::Ramp:
        case Kind::Steps:
            DrawRamp(Bar(band, fromFrame), LevelsOf(kind), false, canvas);
            return DrawRamp(Bar(band, frameNumber), LevelsOf(kind), true, canvas);
        case Kind::Chequer:
            return DrawChequer(band, frameNumber, canvas);
        default:
            return; // doesn't move
        }
    });
}

void TestPattern::Draw(std::uint32_t frameNumber, LightCanvas* canvas)
{
    NumberText blank(frameNumber);
    canvas->Fill(Inset(0), kWhite);
    canvas->Fill(Inset(edge_), kBlack);
    ForBands(width_, height_, [&](Kind kind, const Rect& whole) {
        const Rect band = Common(whole, Inset(2 * edge_));
        switch (kind) {
        case Kind::Strip:
            return canvas->Fill(band, kPanel);
        case Kind::Bars:
            return DrawColumns(band, BarAt, canvas);
        case Kind::Hues:
            return DrawColumns(band, HueAt, canvas);
        case Kind::Number:
            DrawColumns(band, FadeAt, canvas);
            return DrawPanel(whole, blank, canvas);
        case Kind::Fine:
            DrawColumns(band, FineAt, canvas);
            for (std::int64_t y = whole.top + 2; y < whole.bottom; y += 4) {
                const Rect bright{width_ / 2, y, width_, std::min(y + 2, whole.bottom)};
                canvas->Fill(Common(bright, band), kWhite);
            }
            return;
        case Kind::Ramp:
        case Kind::Steps:
            return DrawRamp(whole, LevelsOf(kind), false, canvas);
        case Kind::Chequer:
            return; // drawn by DrawMoving
        }
    });
    blank.glyphs.fill(kBlankGlyph);
    DrawMoving(blank, frameNumber, frameNumber, canvas);
}

void TestPattern::Move(std::uint32_t fromFrame, std::uint32_t toFrame, LightCanvas* canvas)
{
    const NumberText from(fromFrame);
    if (from.length != NumberText(toFrame).length) { // the digits' places change
        Draw(toFrame, canvas);
        return;
    }
    DrawMoving(from, fromFrame, toFrame, canvas);
}

} // namespace sim
