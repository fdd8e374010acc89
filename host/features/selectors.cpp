#include "features/selectors.h"

#include "features/node_text.h"

#include <exception>

namespace kvgrab
{

std::vector<GenApi::INode*> SelectorsOf(GenApi::INode& node)
{
    std::vector<GenApi::INode*> selectors;
    while (GenApi::INode* const selector = node.GetSelector(selectors.size())) {
        selectors.push_back(selector);
    }
    return selectors;
}

std::vector<std::string> PositionsOf(GenApi::INode& selector, std::size_t most, bool* tooMany)
{
    std::vector<std::string> positions;
    *tooMany = false;
    if (auto* const enumeration = selector.AsEnumeration()) {
        for (std::size_t i = 0; i < enumeration->GetEntryCount(); ++i) {
            GenApi::IEnumEntry* const entry = enumeration->GetEntry(i);
            if (entry != nullptr && GenApi::IsWritable(entry->GetAccessMode())) {
                positions.emplace_back(entry->GetSymbolic());
            }
        }
        *tooMany = positions.size() > most;
    } else if (auto* const integer = selector.AsInteger()) {
        const std::int64_t min = integer->GetMin();
        const std::int64_t max = integer->GetMax();
        const std::int64_t inc = integer->GetInc();
        const std::uint64_t step = inc > 0 ? static_cast<std::uint64_t>(inc) : 1;
        // Unsigned, since the distance of extreme limits doesn't fit a signed number.
        const std::uint64_t last =
            max < min ? 0
                      : (static_cast<std::uint64_t>(max) - static_cast<std::uint64_t>(min)) / step;
        *tooMany = last >= most;
        for (std::uint64_t i = 0; max >= min && !*tooMany && i <= last; ++i) {
            positions.push_back(std::to_string(min + static_cast<std::int64_t>(i * step)));
        }
    }
    if (*tooMany) {
        positions.clear();
    }
    return positions;
}

KeptValues::~KeptValues()
{
    try {
        Restore();
    } catch (const std::exception&) {
        // The camera failed, which the access that follows reports.
    }
}

void KeptValues::Keep(GenApi::INode& node)
{
    kept_.emplace_back(&node, ValueText(node));
}

void KeptValues::Restore()
{
    while (!kept_.empty()) {
        const auto [node, value] = kept_.back();
        kept_.pop_back();
        if (ValueText(*node) != value) {
            WriteText(*node, value);
        }
    }
}

} // namespace kvgrab
