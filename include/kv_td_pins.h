/** Numbers and names of the IO box's pins, as the host uses them. */
#pragma once

#include <cstdint>

namespace KvTd
{

enum td_pins : std::uint32_t {
    TD_PIN_NONE = 0,
    TD_PIN_LINE1 = 1,
    TD_PIN_LINE2 = 2,
    TD_PIN_LINE3 = 3,
    TD_PIN_LINE4 = 4,
    TD_PIN_OUT1 = 5,
    TD_PIN_OUT2 = 6,
    TD_PIN_OUT3 = 7,
    TD_PIN_OUT4 = 8,
    TD_PIN_GPIO0 = 9,
    TD_PIN_GPIO1 = 10,
    TD_PIN_GPIO2 = 11,
    TD_PIN_GPIO3 = 12,
};

constexpr std::uint32_t kPinCount = 13;

/** A pin's name and number. */
struct KvCfgIoPinMapRow {
    char name[128];
    std::uint32_t pin;
};

/** One row per pin, in the order of their numbers. */
inline constexpr KvCfgIoPinMapRow KvCfgIoPinMapT[kPinCount] = {
    {"None", TD_PIN_NONE},   {"Line1", TD_PIN_LINE1}, {"Line2", TD_PIN_LINE2},
    {"Line3", TD_PIN_LINE3}, {"Line4", TD_PIN_LINE4}, {"Out1", TD_PIN_OUT1},
    {"Out2", TD_PIN_OUT2},   {"Out3", TD_PIN_OUT3},   {"Out4", TD_PIN_OUT4},
    {"Gpio0", TD_PIN_GPIO0}, {"Gpio1", TD_PIN_GPIO1}, {"Gpio2", TD_PIN_GPIO2},
    {"Gpio3", TD_PIN_GPIO3},
};

} // namespace KvTd
