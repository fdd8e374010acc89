/** IO-box sets for tests of the control thread. */
#pragma once

#include "kv_td_excam.h"
#include "kv_td_iobox.h"
#include "tests/driver/words.h"
#include "tests/support/rig.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace rig
{

using KvTd::CExCam;
using KvTd::IoBoxSet;

constexpr std::uint32_t kUnset = 0xFFFFFFFF;

/** Puts a set in this place, which waits to be applied. */
inline void PutSet(CExCam& cam, int index, int mode, int source, int invert, std::uint32_t param0,
                   std::uint32_t param1)
{
    IoBoxSet set;
    set.setIndex = static_cast<std::uint8_t>(index % KvTd::kIoBoxSetCount);
    set.mode = static_cast<std::uint8_t>(mode);
    set.source = static_cast<std::uint8_t>(source);
    set.invert = static_cast<std::uint8_t>(invert);
    set.param0 = param0;
    set.param1 = param1;
    set.applyPending = true;
    cam.lineStates[index] = set;
}

/** The sets that are not as at first, from 4 on what they held before their last change; and what
 *  the control thread is at. */
inline Texts SetsOf(const CExCam& cam)
{
    Texts lines;
    const auto number = [](std::uint32_t value) { return static_cast<std::int32_t>(value); };
    const auto text = [&](const IoBoxSet& set) {
        return Words("mode", +set.mode, "source", +set.source, "invert", +set.invert, "params",
                     number(set.param0), number(set.param1), "limit", number(set.appliedLimitUs),
                     set.ready ? "ready" : "busy", set.applyPending ? "pending" : "applied",
                     "command", number(set.pendingCmd), +set.cmdBitCount, +set.cmdBitsLeft,
                     set.cmdProgress, set.cmdInverted, set.cmdActive);
    };
    for (int i = 0; i < KvTd::kIoBoxRecordCount; ++i) {
        const IoBoxSet& set = cam.lineStates[i];
        EXPECT_EQ(set.setIndex, i % KvTd::kIoBoxSetCount);
        if (text(set) != text(IoBoxSet{})) {
            lines.push_back(Words("    set", i, text(set)));
        }
    }
    lines.push_back(Words("    request", cam.ioboxApplyReq, "activity", cam.gpioActivity, "command",
                          number(cam.gpioCmdValue), cam.gpioCmdDone, "input", cam.gpioInputSet));
    return lines;
}

} // namespace rig
