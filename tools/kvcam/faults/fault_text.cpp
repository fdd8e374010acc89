#include "tools/kvcam/faults/fault_text.h"

#include <charconv>
#include <fmt/format.h>
#include <limits>
#include <sstream>
#include <stdexcept>
#include <system_error>

namespace kvcam
{

FaultText::FaultText(std::string_view text) : whole_(text)
{
    std::istringstream words(whole_);
    words >> kind_;
    for (std::string word; words >> word;) {
        const std::size_t equals = word.find('=');
        if (equals == std::string::npos || equals == 0 || equals + 1 == word.size()) {
            Refuse(fmt::format("'{}' is not of the form key=value", word));
        }
        if (!settings_.emplace(word.substr(0, equals), word.substr(equals + 1)).second) {
            Refuse(fmt::format("'{}' is given twice", word.substr(0, equals)));
        }
    }
}

std::string FaultText::Text(const std::string& key, std::string_view missing)
{
    const auto taken = settings_.extract(key);
    return taken.empty() ? std::string(missing) : taken.mapped();
}

std::uint64_t FaultText::Number(const std::string& key, std::uint64_t missing)
{
    if (!Has(key)) {
        return missing;
    }
    const std::string text = Text(key, "");
    const bool hexadecimal = text.starts_with("0x");
    const char* const begin = text.data() + (hexadecimal ? 2 : 0);
    const char* const end = text.data() + text.size();
    std::uint64_t number = 0;
    const auto [stopped, error] = std::from_chars(begin, end, number, hexadecimal ? 16 : 10);
    if (error != std::errc() || stopped != end) {
        Refuse(fmt::format("{}={} is not a number", key, text));
    }
    return number;
}

double FaultText::Real(const std::string& key, double missing)
{
    if (!Has(key)) {
        return missing;
    }
    const std::string text = Text(key, "");
    double number = 0;
    const char* const end = text.data() + text.size();
    const auto [stopped, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || stopped != end) {
        Refuse(fmt::format("{}={} is not a number", key, text));
    }
    return number;
}

void FaultText::CheckAllTaken() const
{
    if (!settings_.empty()) {
        Refuse(fmt::format("it has no setting '{}'", settings_.begin()->first));
    }
}

void FaultText::Refuse(std::string_view why) const
{
    throw std::runtime_error(fmt::format("fault '{}': {}", whole_, why));
}

Occurrence::Occurrence(FaultText& text)
    : from_(text.Number("from", 0)), every_(text.Number("every", 1)),
      left_(text.Number("count", std::numeric_limits<std::uint64_t>::max())),
      ratio_(text.Real("ratio", 1)), random_(static_cast<unsigned>(text.Number("seed", 1)))
{
    if (every_ == 0) {
        text.Refuse("every=0 is not a distance");
    }
    if (!(ratio_ >= 0 && ratio_ <= 1)) {
        text.Refuse("a ratio is between 0 and 1");
    }
}

bool Occurrence::Occurs(std::uint64_t number)
{
    if (left_ == 0 || number < from_ || (number - from_) % every_ != 0) {
        return false;
    }
    if (ratio_ < 1 && std::uniform_real_distribution<double>(0, 1)(random_) >= ratio_) {
        return false;
    }
    --left_;
    return true;
}

} // namespace kvcam
