#include "features/camera_features.h"

#include "features/node_text.h"

#include <fmt/format.h>

#include <array>
#include <exception>

namespace kvgrab
{

namespace
{

const char* AccessText(GenApi::EAccessMode mode)
{
    constexpr std::array kTexts = {"NI", "NA", "WO", "RO", "RW"};
    return kTexts.at(mode);
}

/** As ValueText, but a float is shown with the digits that mean something. */
std::string ShownValue(GenApi::INode& node)
{
    auto* const number = node.AsFloat();
    return number != nullptr ? fmt::format("{:.10g}", number->GetValue(false, true))
                             : ValueText(node);
}

/** If `read` fails, the text says why, in brackets. */
template <class Read> void Try(const Read& read, std::string* text)
{
    try {
        read();
    } catch (const std::exception& e) {
        *text = fmt::format("({})", e.what());
    }
}

} // namespace

FeatureRow ReadFeature(GenApi::INode& node)
{
    FeatureRow row;
    row.name = node.GetName();
    row.unit = node.GetUnit();
    row.type = TypeText(node);
    GenApi::EAccessMode mode = GenApi::NI;
    Try(
        [&] {
            mode = node.GetAccessMode();
            row.access = AccessText(mode);
        },
        &row.access);
    if (GenApi::IsReadable(mode) && HasValue(node)) {
        Try([&] { row.value = ShownValue(node); }, &row.value);
        Try([&] { row.range = RangeText(node); }, &row.range);
    }
    return row;
}

std::vector<FeatureRow> ReadFeatures(const GenApi::CNodeMapRef& map)
{
    std::vector<FeatureRow> rows;
    for (std::size_t i = 0; i < map.GetNodeCount(); ++i) {
        if (GenApi::INode* const node = map.GetNodeAt(i)) {
            rows.push_back(ReadFeature(*node));
        }
    }
    return rows;
}

} // namespace kvgrab
