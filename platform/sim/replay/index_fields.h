/** Takes a row of an export's index apart. */
#pragma once

#include <charconv>
#include <cmath>
#include <cstdint>
#include <fmt/format.h>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace sim
{

/** Gives the fields one after the other. A field that can't be used raises `std::runtime_error`,
 *  whose text names its column. */
class IndexFields
{
public:
    explicit IndexFields(std::string_view row) : rest_(row) {}

    std::string Text(std::string_view column) { return std::string(Next(column)); }

    template <class Value>
    Value Integer(std::string_view column, Value least,
                  Value most = std::numeric_limits<Value>::max())
    {
        const std::string_view text = Next(column);
        Value value = 0;
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
        if (error != std::errc() || end != text.data() + text.size() || value < least ||
            value > most) {
            throw std::runtime_error(fmt::format("{} is '{}'; expected an integer from {} to {}",
                                                 column, Shown(text), least, most));
        }
        return value;
    }

    double Number(std::string_view column, double least, double most)
    {
        const std::string_view text = Next(column);
        double value = 0;
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
        if (error != std::errc() || end != text.data() + text.size() ||
            !(value >= least && value <= most)) {
            throw std::runtime_error(fmt::format("{} is '{}'; expected a number from {} to {}",
                                                 column, Shown(text), least, most));
        }
        return value;
    }

    void End() const
    {
        if (rest_) {
            throw std::runtime_error("there are more fields than columns");
        }
    }

private:
    /** A hostile field may be as long as the file. */
    static std::string_view Shown(std::string_view text)
    {
        constexpr std::size_t kMost = 40;
        return text.substr(0, kMost);
    }

    std::string_view Next(std::string_view column)
    {
        if (!rest_) {
            throw std::runtime_error(fmt::format("the field {} is missing", column));
        }
        const std::size_t comma = rest_->find(',');
        const std::string_view field = rest_->substr(0, comma);
        rest_ = comma == std::string_view::npos ? std::nullopt
                                                : std::optional(rest_->substr(comma + 1));
        return field;
    }

    std::optional<std::string_view> rest_; ///< nothing: the row is used up
};

} // namespace sim
