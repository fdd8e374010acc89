#include "cameras/feature_table.h"

#include "base/printable.h"

#include <algorithm>

namespace kvgrab
{

std::string Shown(std::string_view text)
{
    return text.empty() ? "-" : base::Printable(text);
}

std::string Columns(const std::vector<std::vector<std::string>>& rows)
{
    std::vector<std::size_t> widths;
    for (const auto& row : rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (std::size_t column = 0; column < row.size(); ++column) {
            widths[column] = std::max(widths[column], row[column].size());
        }
    }
    std::string table;
    for (const auto& row : rows) {
        for (std::size_t column = 0; column < row.size(); ++column) {
            const bool last = column + 1 == row.size();
            table += row[column];
            table += last ? "\n" : std::string(widths[column] - row[column].size() + 2, ' ');
        }
    }
    return table;
}

std::string FeatureTable(const std::vector<FeatureRow>& features)
{
    std::vector<std::vector<std::string>> rows = {
        {"feature", "type", "access", "value", "unit", "range or entries"}};
    for (const FeatureRow& feature : features) {
        rows.push_back({Shown(feature.name), Shown(feature.type), Shown(feature.access),
                        Shown(feature.value), Shown(feature.unit), Shown(feature.range)});
    }
    return Columns(rows);
}

} // namespace kvgrab
