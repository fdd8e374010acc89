/** Codes, special values and enumerations that driver and host share. */
#pragma once

#include <cstdint>

namespace KvTd
{

/** Camera features that have a row in the property table; the value is the row. */
enum PropertyType : std::int32_t {
    WIDTH_MAX_PROPERTY_TYPE = 0,
    HEIGHT_MAX_PROPERTY_TYPE = 1,
    WIDTH_PROPERTY_TYPE = 2,
    HEIGHT_PROPERTY_TYPE = 3,
    OFFSET_X_PROPERTY_TYPE = 4,
    OFFSET_Y_PROPERTY_TYPE = 5,
    GAIN_PROPERTY_TYPE = 6, ///< dB
    EXPOSURE_TIME_PROPERTY_TYPE = 7,
    GAMMA_PROPERTY_TYPE = 8,
    FRAME_RATE_PROPERTY_TYPE = 9,
    AUTO_BRIGHTNESS_TARGET_PROPERTY_TYPE = 10,
    EXPOSURE_AUTO_MIN_PROPERTY_TYPE = 11,
    EXPOSURE_AUTO_MAX_PROPERTY_TYPE = 12,
    GAIN_AUTO_MIN_PROPERTY_TYPE = 13, ///< dB
    GAIN_AUTO_MAX_PROPERTY_TYPE = 14, ///< dB
    EXPOSURE_AUTO_PROPERTY_TYPE = 15,
    GAIN_AUTO_PROPERTY_TYPE = 16,
    REVERSE_X_PROPERTY_TYPE = 17,
    REVERSE_Y_PROPERTY_TYPE = 18,
    BALANCE_WHITE_PERIOD_PROPERTY_TYPE = 19,
    BALANCE_RATIO_RED_PROPERTY_TYPE = 20,  ///< dB
    BALANCE_RATIO_BLUE_PROPERTY_TYPE = 21, ///< dB
    UNSPECIFIED_PROPERTY_TYPE = 22,
};
constexpr std::int32_t kPropertyCount = 23;

/** What controls the camera's look-up table. */
enum td_lg_states : std::int32_t {
    LG_NONE = 0,     ///< the camera has no such control
    LG_OFF = 1,      ///< mode "Off"
    LG_USER_LUT = 2, ///< a table from the host
    LG_GAMMA = 3,    ///< the camera's own gamma curve
    LG_OTHER = 4,    ///< any other combination
};

/** What the host's getters return for a value that is not configured. */
constexpr std::int32_t kIntUnset = -1;  ///< region, white-balance ratios
constexpr float kExposureUnset = -1.0F; ///< exposure, its limits, brightness target
constexpr float kGainUnset = -100.0F;   ///< gain and its limits, dB
constexpr float kGammaUnset = -1.0F;    ///< also: no gamma reported
constexpr float kFpsUnset = -1.0F;      ///< refused as out of bounds: the rate stays
constexpr std::int32_t kRotateUnset = 0;
constexpr std::int32_t kRotateTurned = 2; ///< by 180 degrees
constexpr std::uint32_t kSweepUnset = 0;
constexpr std::uint32_t kSweepManual = 1;
constexpr std::uint32_t kSweepAuto = 2;
constexpr std::uint32_t kIoboxParamUnset = 0xFFFFFFFF;

/** Ids for KvSc__SetParamVal, each with the type of the value that the pointer points to. */
enum ScenarioParam : std::uint32_t {
    kParamWidth = 1,           ///< u32
    kParamHeight = 2,          ///< u32
    kParamCodec = 4,           ///< text
    kParamGain = 6,            ///< float, dB
    kParamExposure = 7,        ///< float, microseconds
    kParamTickNs = 8,          ///< u32, nanoseconds per camera tick
    kParamCameraTicks = 9,     ///< u64, camera ticks
    kParamFrameCounter = 10,   ///< u32
    kParamFrameTime = 12,      ///< u64, microseconds
    kParamGpioInputEvent = 13, ///< u32
    kParamGpioInputValue = 14, ///< u32
};

/** Host pixel-format codes. */
enum HostFormat : std::uint8_t {
    kFormatMono8 = 1,
    kFormatMono12Packed = 2,
    kFormatMono12 = 3,
    kFormatYuv422 = 5,
    kFormatBayer8 = 9,
};

/** Signal states that KvUtl__CheckSignal returns. */
enum SignalState : std::int32_t {
    kSignalNone = 0,
    kSignalTerminate = 1,
    kSignalReconfigure = 2,
    kSignalUsr1 = 3,
    kSignalUsr2 = 4,
    kSignalQuit = 5,
};

/** Exit codes of a device session. A reconfiguration with an unrecoverable error gives 1. */
enum ExitCode : std::int32_t {
    kExitDone = 0,
    kExitReconfigFailed = 1,
    kExitNoDevice = 2,       ///< no camera of the right maker on the network
    kExitNotOurs = 3,        ///< no camera matches the configuration
    kExitBuffers = -1,       ///< the frame buffers can't be used
    kExitConfiguration = -2, ///< the camera refused the configuration
    kExitOpen = -5,          ///< the camera can't be opened
    kExitGrabbing = -10,     ///< frames stayed away, or the camera failed while grabbing
};

/** Handed to the host as the temperature, in degrees Celsius, when the camera doesn't report one.
 */
constexpr float kNoTemperature = -321.0F;

} // namespace KvTd
