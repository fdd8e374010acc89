/** CExCam: the driver's only way to one opened camera. */
#pragma once

#include "gen_api.h"
#include "gev_api.h"
#include "kv_td_iobox.h"
#include "kv_td_pins.h"
#include "kv_td_types.h"

#include <atomic>
#include <cstdint>
#include <pthread.h>

namespace KvTd
{

/** One row of the property table: a feature's name and, once read, its range. */
struct PropertyEntry {
    char name[32];
    float floatMin; ///< dB for gain and balance ratios, as floatMax
    float floatMax;
    std::int32_t intMin;
    std::int32_t intMax;
    std::int32_t intInc;
    bool floatRangeCached;
    bool intRangeCached;
};

/** Reads and writes the features of one opened camera, starts and stops its transfer.
 *
 *  Operations return 0 or a small negative code: -1 no node map or no camera (logged at level 2),
 *  -2 the feature is missing or of another interface (not logged). What the camera throws passes
 *  through to the caller, except where an operation says otherwise. Output pointers may be null.
 *  A property type is reduced modulo the table's size; a negative one selects the last row, which
 *  is no feature.
 *
 *  Grab thread only, but for the members under "control thread" and those that say so. Created and
 *  deleted by the library's entry; does not own the camera handle. */
class CExCam
{
public:
    explicit CExCam(void* handle);
    ~CExCam();
    CExCam(const CExCam&) = delete;
    CExCam& operator=(const CExCam&) = delete;

    // ---- capture ------------------------------------------------------------------------------

    /** Starts the transfer of `frameCount` frames, or for ever when that is not positive.
     *  A refused start is printed to standard output and still gives 0. */
    int ExStartCapture(int frameCount);
    int ExStopCapture();

    // ---- features by property type ------------------------------------------------------------

    int ExPropertyGetInt(PropertyType type, int* value);
    int ExPropertySetInt(PropertyType type, int value);
    /** The first successful read is kept for the object's life. */
    int ExPropertyGetIntRange(PropertyType type, int* min, int* max, int* inc);

    /** Gain and balance ratios are in dB here and linear factors in the camera. */
    int ExPropertyGetFloat(PropertyType type, float* value);
    int ExPropertySetFloat(PropertyType type, float value);
    /** The first successful read is kept for the object's life. */
    int ExPropertyGetFloatRange(PropertyType type, float* min, float* max);

    // ---- features by name ---------------------------------------------------------------------

    int ExPropertySetEnumFromStr(const char* featureName, const char* valueName);

    // ---- look-up table and gamma: kv_td_excam_lut.cpp -----------------------------------------
    //
    // Where a state can be given, it is what the caller knows already; null reads it.

    /** Off, a user's table, or gamma correction. `lutBits` is written for LG_USER_LUT alone, where
     *  the camera reports the width of its entries. 0 also when the camera threw: the log says so.
     */
    int ExPropertySetLUTMode(td_lg_states state, unsigned short* lutBits);
    td_lg_states ExPropertyGetLUTMode();
    /** Writes one entry of the channel that is selected. */
    int ExPropertySetLUTValue(int index, int value);
    /** 0 red, 1 green, else blue; nothing is selected when there are fewer than two channels. */
    int ExPropertySetLUTChannel(int channel, int channelCount);
    /** The first successful read is kept for the object's life. 1: the camera has no such control;
     *  else what the camera threw, as its status, or -1 for a property exception. */
    int ExPropertyGetGammaRange(float* min, float* max);
    /** `value` stays as it is while something else than gamma controls the table. */
    int ExPropertyGetGamma(float* value, td_lg_states* state);
    /** -1 no control, -4 gamma can't be enabled, -5 no range, -6 out of bounds. */
    int ExPropertySetGamma(float value, td_lg_states* state);

    // ---- automatic functions: kv_td_excam_auto.cpp --------------------------------------------

    int ExPropertySetEna(PropertyType type, bool enable);
    /** The master switch of automatic brightness. -3: it was switched, but the sequence is missing
     *  or was right already. */
    int ExSetAutoExpoEna(bool enable);
    /** `target` from 0 to 1. -5: out of bounds. */
    int ExSetAutoExpoVal(float target);
    /** Limits in dB. -4, -6: a range can't be read; -5, -7: out of it; -8, -9: can't be set. */
    int ExPropertySetAutoRangeGain(float min, float max);
    /** Limits in microseconds; codes as for the gain. */
    int ExPropertySetAutoRangeExpo(float min, float max);
    int ExPropertySetEnaAutoPush(PropertyType type, bool enable);
    void ExPropertySetAutoOff(PropertyType type) { ExPropertySetEnaAutoPush(type, false); }
    void ExPropertySetAutoCont(PropertyType type) { ExPropertySetEnaAutoPush(type, true); }

    // ---- output lines: kv_td_excam_lines.cpp, control thread ------------------------------------

    /** Sets line 3 or 4 by the index of its set, 2 or 3: a strobe with the exposure, or off. A
     *  delay or width of 0xFFFFFFFF, outside the camera's limits, or a width of 0, is left alone.
     *  -1: another pin. Raises LogicalErrorException when a feature is missing. */
    int ExSetLineModeOutStrobe(td_pins pin, bool onOff, bool polarity, std::uint32_t delayUs,
                               std::uint32_t widthUs);

    // ---- fields -------------------------------------------------------------------------------

    IoBoxSet lineStates[kIoBoxRecordCount]; ///< 0 to 3 in force, 4 to 7 as before their last change
    void* camHandle;                        ///< not owned
    GenApi::CNodeMapRef* nodeMap;           ///< not owned; null makes every accessor return -1
    PropertyEntry propEntries[kPropertyCount];
    /** The list entry that the camera was opened by; stored by the entry after construction. */
    const GEV_DEVICE_INFO* deviceInfo = nullptr;

    // ---- control thread -----------------------------------------------------------------------

    std::uint32_t pulseLimitUs = 0xFFFFFFFF; ///< upper limit of a strobe pulse; nobody lowers it
    pthread_t ctrlThreadId{};
    HandOverFlag ctrlThreadStarted;
    HandOverFlag ctrlThreadRunning;
    HandOverFlag ctrlThreadStopReq;
    std::uint32_t gpioCmdValue =
        kNoGpioCmd; ///< control thread only, as gpioCmdDone to gpioInputSet
    bool gpioCmdDone = false;
    bool gpioActivity = false;
    HandOverFlag ioboxApplyReq; ///< raised by the grab thread when sets wait to be applied
    int gpioInputSet = -1;
    /** A user input for the host: the event is written first, the value raises it. Both are cleared
     *  by the grab thread. Kept for an input watcher to come. */
    std::uint32_t gpioInputEvent = 0;
    std::atomic<std::uint32_t> gpioInputValue = 0;

private:
    struct AutoLimits;
    int setAutoLimits(AutoLimits& limits);
};

/** Feature names by PropertyType; the ranges are empty. Rows 20 and 21 share a feature and differ
 *  by its selector. */
extern const PropertyEntry _S_PropertyEntries[kPropertyCount];

} // namespace KvTd
