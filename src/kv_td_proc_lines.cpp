/** IO-box sets: finds out which of them changed; the control thread applies those. */
#include "kv_host_services.h"
#include "kv_td_excam.h"
#include "kv_td_log.h"
#include "kv_td_pins.h"
#include "kv_td_proc.h"

#include <algorithm>

namespace KvTd
{

static constexpr char kLogSource[] = "kv_td_proc";

static constexpr int kSetsRead = 3;
static constexpr int kSourceStrobe = 2;
static constexpr int kSourceStrobe2 = 3;
static constexpr int kSourceUser = 5;
static constexpr int kModeOutput = 1;

/** -1: the pin has no set. */
static int SetOfPin(std::uint32_t pin)
{
    switch (pin) {
    case TD_PIN_LINE1:
        return 0;
    case TD_PIN_LINE2:
        return 1;
    case TD_PIN_OUT1:
        return 2;
    case TD_PIN_OUT2:
        return 3;
    default:
        return -1;
    }
}

/** Ours: "?" for a number that is no pin. OutLines.WhatCannotBeTakenOverIsPassedOver */
static const char* NameOfPin(std::uint32_t pin)
{
    return pin < kPinCount ? KvCfgIoPinMapT[pin].name : "?";
}

void CCamProc::ProcParametrizeCamOutLines(CExCam* cam)
{
    const int count = KvGiMainCtx__GetIoboxNum();
    const bool busy = cam->ioboxApplyReq;
    KV_LOG(3, "IoBox settings handler entry: numCfg %u (allowed cfg? - \"%s\")",
           static_cast<unsigned>(count), busy ? "NO" : "YES");
    // Deliberate: what comes while the thread is at work is skipped, not kept for later.
    // OutLines.WhatCannotBeTakenOverIsPassedOver
    if (count == 0 || busy) {
        return;
    }
    bool changed = false;
    // Deliberate: three sets, although there are four. OutLines.WhatCannotBeTakenOverIsPassedOver
    for (int i = 0; i < std::min(count, kSetsRead); ++i) {
        changed = takeOverSet(KV_HERE, cam, i) || changed;
    }
    if (changed) {
        cam->ioboxApplyReq = true; // last: it hands the sets over
    }
}

/** Stores the host's set for the control thread, if it changed. */
bool CCamProc::takeOverSet(const LogSite& site, CExCam* cam, int i)
{
    const auto pin = static_cast<std::uint32_t>(KvGiMainCtx__GetIoboxPin(i));
    const int mode = KvGiMainCtx__GetIoboxMod(i);
    const int invert = KvGiMainCtx__GetIoboxInv(i);
    const int source = KvGiMainCtx__GetIoboxSrc(i);
    const int index = SetOfPin(pin);
    if (index < 0) {
        KV_LOG_AT(site, 2, "The Pin '%s' is not supported for this device", NameOfPin(pin));
        return false;
    }
    IoBoxSet& set = cam->lineStates[index];
    if (!set.ready) {
        KV_LOG_AT(site, 2, "The Pin '%s' can't be reconfigured right now, pls come later...",
                  NameOfPin(pin));
        return false;
    }
    std::uint32_t param0 = kIoboxParamUnset;
    std::uint32_t param1 = kIoboxParamUnset;
    const bool strobe = source == kSourceStrobe || source == kSourceStrobe2;
    if (strobe || source == kSourceUser) {
        param0 = KvGiMainCtx__GetIoboxPar(i, 0);
        param1 = KvGiMainCtx__GetIoboxPar(i, 1);
    }
    KV_LOG_AT(site, 3,
              " Cfg IoBox set %u: Pin '%s', Mod %d, Src %d, Inv %d (param[0]=%u, param[1]=%u)",
              static_cast<unsigned>(i), NameOfPin(pin), mode, source, invert, param0, param1);
    const bool otherPulse =
        strobe && (param0 != set.param0 || param1 != set.param1 ||
                   (param1 != kIoboxParamUnset && cam->pulseLimitUs != set.appliedLimitUs));
    const bool sameKind = mode == set.mode && invert == set.invert && source == set.source;
    // Deliberate: a command is queued again each time. OutLines.OnlyChangesCount
    const bool command = source == kSourceUser && mode == kModeOutput;
    if (!otherPulse && sameKind && !command) {
        KV_LOG_AT(site, 3, " Cfg IoBox set %u: no config changes are detected, skipped",
                  static_cast<unsigned>(i));
        return false;
    }
    cam->lineStates[index + kIoBoxSetCount] = set;
    set.param0 = param0;
    set.param1 = param1;
    set.mode = static_cast<std::uint8_t>(mode);
    set.source = static_cast<std::uint8_t>(source);
    set.invert = static_cast<std::uint8_t>(invert);
    set.applyPending = true;
    return true;
}

} // namespace KvTd
