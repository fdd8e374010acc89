#include "sim/picture/test_pattern.h"

#include <algorithm>

namespace sim
{

namespace
{

/** The different rows; those with the glyphs' rows are the last. */
enum Kind : std::uint8_t {
    kOuterEdge,
    kInnerEdge,
    kStrip,
    kBars,
    kHues,
    kNumber,
    kRamp,
    kSteps,
    kChequer,
    kChequerInverse,
    kFineDark,
    kFineBright,
    kStripGlyphs,
    kNumberGlyphs = kStripGlyphs + kGlyphRows,
    kKinds = kNumberGlyphs + kGlyphRows
};
static_assert(kKinds == TestPattern::kRowKinds);

struct Band {
    Kind kind;
    std::uint32_t share; ///< of the height, in kShares
};
constexpr Band kBands[] = {
    {kStrip, 7}, {kBars, 20}, {kHues, 8},     {kNumber, 30},  {kRamp, 10},
    {kSteps, 8}, {kStrip, 7}, {kChequer, 15}, {kFineDark, 8}, {kStrip, 7},
};
constexpr std::uint32_t kShares = 120;

struct Light {
    std::uint16_t red;
    std::uint16_t green;
    std::uint16_t blue;
};
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

/** Sets pixels of one row; what lies outside is left out. */
class Brush
{
public:
    Brush(LightRow* row, std::uint32_t width) : row_(row), width_(width) {}
    void Set(std::uint32_t x, Light light)
    {
        row_->red[x] = light.red;
        row_->green[x] = light.green;
        row_->blue[x] = light.blue;
    }
    void Fill(std::int64_t from, std::int64_t to, Light light)
    {
        from = std::clamp<std::int64_t>(from, 0, width_);
        to = std::clamp<std::int64_t>(to, from, width_);
        std::fill(row_->red.begin() + from, row_->red.begin() + to, light.red);
        std::fill(row_->green.begin() + from, row_->green.begin() + to, light.green);
        std::fill(row_->blue.begin() + from, row_->blue.begin() + to, light.blue);
    }
    std::uint16_t At(std::uint32_t x) const { return row_->green[x]; }
    void Clear(Light light) { Fill(0, width_, light); }
    /** Row `glyphRow` of a glyph whose left edge is `x`. */
    void Glyph(std::int64_t x, std::uint8_t glyph, std::uint32_t glyphRow, std::uint32_t scale)
    {
        const std::uint8_t cells = GlyphRow(glyph, glyphRow);
        for (std::uint32_t cell = 0; cell < kGlyphWidth; ++cell) {
            if ((cells >> (kGlyphWidth - 1 - cell) & 1) != 0) {
                const std::int64_t left = x + std::int64_t{cell} * scale;
                Fill(left, left + scale, kInk);
            }
        }
    }

private:
    LightRow* row_;
    std::uint32_t width_;
};

void PaintBars(Brush& brush, std::uint32_t width)
{
    constexpr auto kOn = static_cast<std::uint16_t>(Percent(75));
    for (std::uint32_t bar = 0; bar < 8; ++bar) { // white to black by falling brightness
        const std::uint32_t lit = 7 - bar;
        const Light light{static_cast<std::uint16_t>((lit & 2) != 0 ? kOn : 0),
                          static_cast<std::uint16_t>((lit & 4) != 0 ? kOn : 0),
                          static_cast<std::uint16_t>((lit & 1) != 0 ? kOn : 0)};
        brush.Fill(std::int64_t{width} * bar / 8, std::int64_t{width} * (bar + 1) / 8, light);
    }
}

/** Once around the circle of full colours. */
void PaintHues(Brush& brush, std::uint32_t width)
{
    constexpr std::uint32_t kTop = Percent(90);
    const auto part = [](std::uint32_t angle) { // 0 to 6 * kTop; lit around 3 * kTop
        const auto away = static_cast<std::int32_t>(angle) - static_cast<std::int32_t>(3 * kTop);
        const std::int32_t level = static_cast<std::int32_t>(2 * kTop) - (away < 0 ? -away : away);
        return static_cast<std::uint16_t>(
            std::clamp<std::int32_t>(level, 0, static_cast<std::int32_t>(kTop)));
    };
    for (std::uint32_t x = 0; x < width; ++x) {
        const auto angle = static_cast<std::uint32_t>(std::uint64_t{6 * kTop} * x / width);
        brush.Set(x, {part((angle + 3 * kTop) % (6 * kTop)), part((angle + kTop) % (6 * kTop)),
                      part((angle + 5 * kTop) % (6 * kTop))});
    }
}

/** From black to white in so many levels. */
void PaintRamp(Brush& brush, std::uint32_t width, std::uint32_t levels)
{
    for (std::uint32_t x = 0; x < width; ++x) {
        const auto level = static_cast<std::uint32_t>(std::uint64_t{x} * levels / width);
        brush.Set(x, Grey(level * kLightMax / (levels - 1)));
    }
}

/** The bar that wanders over the ramps shows half the range more or less than what is below it. */
void PaintBar(Brush& brush, std::uint32_t width, std::uint32_t frameNumber)
{
    const std::uint32_t stride = std::max(width / 240, 1U);
    const std::uint64_t bar = std::uint64_t{frameNumber} * stride % width;
    for (std::uint32_t i = 0; i < std::max(width / 40, 1U); ++i) {
        const auto x = static_cast<std::uint32_t>((bar + i) % width);
        brush.Set(x, Grey((brush.At(x) + kLightMax / 2) % (kLightMax + 1U)));
    }
}

void PaintChequer(Brush& brush, std::uint32_t width, std::uint32_t size, bool inverse,
                  std::uint32_t frameNumber)
{
    const std::uint32_t stride = std::max(size / 8, 1U);
    const auto shift = static_cast<std::int64_t>(std::uint64_t{frameNumber} * stride % (2 * size));
    brush.Clear(Grey(Percent(15)));
    for (std::int64_t x = shift - 2 * std::int64_t{size} + (inverse ? size : 0); x < width;
         x += 2 * std::int64_t{size}) {
        brush.Fill(x, x + size, Grey(Percent(80)));
    }
}

/** Line pairs: upright ones of 1 to 8 pixels a line on the left, level ones on the right. */
void PaintFine(Brush& brush, std::uint32_t width, bool bright)
{
    const std::uint32_t half = width / 2;
    for (std::uint32_t x = 0; x < half; ++x) {
        const auto quarter = static_cast<std::uint32_t>(std::uint64_t{x} * 4 / half);
        brush.Set(x, (x >> quarter & 1) != 0 ? kBlack : kWhite);
    }
    brush.Fill(half, width, bright ? kWhite : kBlack);
}

/** Grey that fades towards both edges. */
void PaintFade(Brush& brush, std::uint32_t width)
{
    for (std::uint32_t x = 0; x < width; ++x) {
        const std::uint64_t fromEdge = std::min(x, width - 1 - x);
        const std::uint64_t level = Percent(8) + Percent(90) * fromEdge / width;
        brush.Set(x, Grey(static_cast<std::uint32_t>(level)));
    }
}

} // namespace

void TestPattern::SetSize(std::uint32_t width, std::uint32_t height)
{
    if (width == width_ && height == height_) {
        return;
    }
    ++version_;
    width_ = width;
    height_ = height;
    edge_ = std::max(height / 270, 1U);
    PrepareRows();
    kinds_.resize(height);
    std::uint32_t shares = 0;
    for (const Band& band : kBands) {
        const auto top = static_cast<std::uint32_t>(std::uint64_t{height} * shares / kShares);
        shares += band.share;
        const auto bottom = static_cast<std::uint32_t>(std::uint64_t{height} * shares / kShares);
        const std::uint32_t rows = bottom - top;
        switch (band.kind) {
        case kStrip:
            stripScale_ = std::max(rows * 7 / 8 / kGlyphRows, 1U);
            MapText(top, bottom, stripScale_, kStrip, kStripGlyphs);
            break;
        case kNumber: {
            // As large as ten digits with the arrow allow, so that the size never changes.
            constexpr std::uint32_t kCells = (10 + 2) * kGlyphPitch;
            largeScale_ = std::max(std::min(rows * 3 / 4 / kGlyphRows, width / kCells), 1U);
            MapText(top, bottom, largeScale_, kNumber, kNumberGlyphs);
            break;
        }
        case kChequer:
            chequerSize_ = std::max(rows / 3, 1U);
            for (std::uint32_t y = top; y < bottom; ++y) {
                const bool inverse = (y - top) / chequerSize_ % 2 != 0;
                kinds_[y] = inverse ? kChequerInverse : kChequer;
            }
            break;
        case kFineDark:
            for (std::uint32_t y = top; y < bottom; ++y) {
                kinds_[y] = (y - top) / 2 % 2 != 0 ? kFineBright : kFineDark;
            }
            break;
        default:
            std::fill(kinds_.begin() + top, kinds_.begin() + bottom, band.kind);
        }
    }
    for (std::uint32_t y = 0; y < std::min(2 * edge_, height); ++y) {
        const Kind kind = y < edge_ ? kOuterEdge : kInnerEdge;
        kinds_[y] = kind;
        kinds_[height - 1 - y] = kind;
    }
}

/** Works out once what takes a division for each pixel. */
void TestPattern::PrepareRows()
{
    for (LightRow* row : {&hues_, &fade_, &ramp_, &steps_}) {
        row->Resize(width_);
    }
    Brush hues(&hues_, width_);
    PaintHues(hues, width_);
    Brush fade(&fade_, width_);
    PaintFade(fade, width_);
    Brush ramp(&ramp_, width_);
    PaintRamp(ramp, width_, kLightMax + 1U);
    Brush steps(&steps_, width_);
    PaintRamp(steps, width_, 11);
}

void TestPattern::MapText(std::uint32_t top, std::uint32_t bottom, std::uint32_t scale,
                          std::uint32_t plainKind, std::uint32_t firstGlyphKind)
{
    const std::uint32_t rows = bottom - top;
    const std::uint32_t textRows = kGlyphRows * scale;
    const std::uint32_t margin = rows > textRows ? (rows - textRows) / 2 : 0;
    for (std::uint32_t y = 0; y < rows; ++y) {
        const bool inText = y >= margin && y < margin + textRows;
        kinds_[top + y] =
            static_cast<std::uint8_t>(inText ? firstGlyphKind + (y - margin) / scale : plainKind);
    }
}

void TestPattern::SetFrame(std::uint32_t frameNumber)
{
    if (frameNumber != frameNumber_) {
        ++version_;
        frameNumber_ = frameNumber;
    }
}

void TestPattern::PaintStripText(std::uint32_t glyphRow, LightRow* row) const
{
    Brush brush(row, width_);
    brush.Clear(kPanel);
    const NumberText number(frameNumber_);
    const std::int64_t pitch = std::int64_t{kGlyphPitch} * stripScale_;
    const std::int64_t textWidth = number.length * pitch;
    const std::int64_t count = std::clamp<std::int64_t>(width_ / (textWidth + pitch), 1, 6);
    const std::int64_t field = width_ / count;
    for (std::int64_t n = 0; n < count; ++n) {
        const std::int64_t x = n * field + (field - textWidth) / 2 + stripScale_;
        for (std::uint32_t i = 0; i < number.length; ++i) {
            brush.Glyph(x + pitch * i, number.glyphs[i], glyphRow, stripScale_);
        }
    }
}

/** A row of the large number's band; outside the glyphs' rows only its ground. */
void TestPattern::PaintNumber(std::optional<std::uint32_t> glyphRow, LightRow* row) const
{
    *row = fade_;
    Brush brush(row, width_);
    const NumberText number(frameNumber_);
    const std::int64_t pitch = std::int64_t{kGlyphPitch} * largeScale_;
    const std::int64_t textWidth = (number.length + 2) * pitch; // an arrow and a blank in front
    const std::int64_t fieldWidth = textWidth + 2 * pitch;
    const std::int64_t field = (width_ - fieldWidth) / 2;
    brush.Fill(field, field + fieldWidth, kPanel);
    if (!glyphRow) {
        return;
    }
    const std::int64_t x = (width_ - textWidth) / 2 + largeScale_;
    brush.Glyph(x, kArrowGlyph, *glyphRow, largeScale_);
    for (std::uint32_t i = 0; i < number.length; ++i) {
        brush.Glyph(x + pitch * (i + 2), number.glyphs[i], *glyphRow, largeScale_);
    }
}

void TestPattern::PaintRow(std::uint32_t kind, LightRow* row) const
{
    Brush brush(row, width_);
    switch (kind) {
    case kOuterEdge:
        brush.Clear(kWhite);
        return;
    case kInnerEdge:
        brush.Clear(kBlack);
        break;
    case kBars:
        PaintBars(brush, width_);
        break;
    case kHues:
        *row = hues_;
        break;
    case kRamp:
        *row = ramp_;
        PaintBar(brush, width_, frameNumber_);
        break;
    case kSteps:
        *row = steps_;
        PaintBar(brush, width_, frameNumber_);
        break;
    case kChequer:
    case kChequerInverse:
        PaintChequer(brush, width_, chequerSize_, kind == kChequerInverse, frameNumber_);
        break;
    case kFineDark:
    case kFineBright:
        PaintFine(brush, width_, kind == kFineBright);
        break;
    case kStrip:
        brush.Clear(kPanel);
        break;
    case kNumber:
        PaintNumber(std::nullopt, row);
        break;
    default:
        if (kind < kNumberGlyphs) {
            PaintStripText(kind - kStripGlyphs, row);
        } else {
            PaintNumber(kind - kNumberGlyphs, row);
        }
    }
    const std::int64_t right = width_;
    brush.Fill(edge_, 2 * edge_, kBlack);
    brush.Fill(right - 2 * edge_, right - edge_, kBlack);
    brush.Fill(0, edge_, kWhite);
    brush.Fill(right - edge_, right, kWhite);
}

} // namespace sim
