/** IO-box sets for tests of the control thread. */
#pragma once

#include "kv_td_iobox.h"

#include <cstdint>

constexpr std::uint32_t kUnset = 0xFFFFFFFF;

/** A set that waits to be applied. */
inline KvTd::IoBoxSet Waiting(int mode, int source, int invert, std::uint32_t param0,
                              std::uint32_t param1)
{
    KvTd::IoBoxSet set;
    set.mode = static_cast<std::uint8_t>(mode);
    set.source = static_cast<std::uint8_t>(source);
    set.invert = static_cast<std::uint8_t>(invert);
    set.param0 = param0;
    set.param1 = param1;
    set.applyPending = true;
    return set;
}
