/** CExCam: the driver's only way to one opened camera. */
#pragma once

#include "gen_api.h"
#include "gev_api.h"
#include "kv_td_iobox.h"
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

    // ---- look-up table and gamma ----------------------------------------------------------------

    /** Not there yet: reports nothing. */
    int ExPropertyGetGamma(float* value, td_lg_states* state);

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
};

/** Feature names by PropertyType; the ranges are empty. Rows 20 and 21 share a feature and differ
 * by its selector. */
extern const PropertyEntry _S_PropertyEntries[kPropertyCount];

} // namespace KvTd
