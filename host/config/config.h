/** The configuration as the program uses it: one record for each table of the configuration file.
 *
 *  A value that is not configured holds the marker that the driver expects (kv_td_types.h), so that
 *  a getter returns the field as it is. Plain values, which compare table by table. */
#pragma once

#include "base/names.h"
#include "base/text_error.h"
#include "features/feature_setting.h"
#include "kv_td_pins.h"
#include "kv_td_types.h"

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace kvgrab
{

/** [camera]: which camera to use. Positions alone choose these positions and nothing else. */
struct CameraConfig {
    std::string model;              ///< prefix of the model; empty: any
    std::string serial;             ///< exact; empty: any
    std::uint32_t positionMask = 0; ///< bit i: use list position i whatever it is
    bool ByNameToo() const { return positionMask == 0 || !model.empty() || !serial.empty(); }
    bool operator==(const CameraConfig&) const = default;
};

/** [stream]: how frames travel. */
struct StreamConfig {
    int packetSize = 1500;     ///< bytes
    std::uint32_t buffers = 8; ///< frames
    int packetDelayUs = -1;    ///< between two packets; -1: as the driver sets it
    bool operator==(const StreamConfig&) const = default;
};

/** [image]: what a frame looks like. */
struct ImageConfig {
    std::uint32_t format = KvTd::kFormatMono8; ///< HostFormat
    int rotate = KvTd::kRotateUnset;
    bool operator==(const ImageConfig&) const = default;
};

/** [region]: pixels. */
struct RegionConfig {
    int offsetX = KvTd::kIntUnset;
    int offsetY = KvTd::kIntUnset;
    int width = KvTd::kIntUnset;
    int height = KvTd::kIntUnset;
    bool operator==(const RegionConfig&) const = default;
};

/** [timing]: pace and time stamps. */
struct TimingConfig {
    float fps = KvTd::kFpsUnset;
    int driftNsPerS = 0; ///< non-zero: stamps from the camera's clock, corrected by this
    bool operator==(const TimingConfig&) const = default;
};

/** [exposure]: microseconds. */
struct ExposureConfig {
    std::uint32_t mode = KvTd::kSweepUnset;
    float timeUs = KvTd::kExposureUnset;
    float autoMinUs = KvTd::kExposureUnset;
    float autoMaxUs = KvTd::kExposureUnset;
    bool operator==(const ExposureConfig&) const = default;
};

/** [gain]: dB. */
struct GainConfig {
    std::uint32_t mode = KvTd::kSweepUnset;
    float db = KvTd::kGainUnset;
    float autoMinDb = KvTd::kGainUnset;
    float autoMaxDb = KvTd::kGainUnset;
    bool operator==(const GainConfig&) const = default;
};

/** [auto]: what the automatic functions aim at. */
struct AutoConfig {
    std::uint32_t profile = KvTd::kSweepUnset; ///< 1: automatic brightness
    float brightness = KvTd::kExposureUnset;   ///< 0 to 1
    bool operator==(const AutoConfig&) const = default;
};

/** [white_balance]: hundredths of a dB. */
struct WhiteBalanceConfig {
    int red = KvTd::kIntUnset;
    int blue = KvTd::kIntUnset;
    bool operator==(const WhiteBalanceConfig&) const = default;
};

/** [lut]: the look-up table. */
struct LutConfig {
    std::uint32_t mode = KvTd::kSweepUnset; ///< 1: load the table, or drop it when there is none
    std::uint16_t bits = 0;                 ///< of each entry
    std::vector<std::uint16_t> values;
    bool operator==(const LutConfig&) const = default;
};

/** [gamma] */
struct GammaConfig {
    float value = KvTd::kGammaUnset;
    bool operator==(const GammaConfig&) const = default;
};

/** One [[iobox]] table, in the driver's numbers. */
struct IoSetConfig {
    int pin = KvTd::TD_PIN_NONE;
    int mode = 0;
    int source = 0;
    int invert = 0; ///< 2: inverted
    std::array<std::uint32_t, 2> parameters{KvTd::kIoboxParamUnset, KvTd::kIoboxParamUnset};
    bool operator==(const IoSetConfig&) const = default;
};

/** [session]: how long to grab, and what to do while there is no camera. */
struct SessionConfig {
    std::uint32_t frames = 0; ///< 0: no limit
    bool retry = true;
    double retryIntervalS = 2.0;     ///< the first; later ones are longer
    std::optional<double> noFramesS; ///< 0: frames may stay away for ever
    bool operator==(const SessionConfig&) const = default;
};

/** [export]: what becomes of the pictures. */
struct ExportConfig {
    std::string format = "none";      ///< "png", "raw", "none" or "-" (standard output)
    std::string streamFormat = "raw"; ///< on standard output: "raw", "pnm" or "y4m"
    std::string directory = "frames";
    std::uint32_t queue = 8; ///< frames that may wait for a writer
    std::uint32_t writers = 2;
    int pngCompression = 1;
    bool everyFrame = false; ///< wait for the queue instead of skipping
    bool overwrite = false;
    bool stopOnError = false;
    double drainS = 2.0; ///< for how long pictures are still written after a signal asked to end
    bool operator==(const ExportConfig&) const = default;
};

/** [memory]: the shared frame memory. */
struct MemoryConfig {
    std::string name = "/kvgrab";
    bool operator==(const MemoryConfig&) const = default;
};

/** [simulation]: which cameras are simulated. */
struct SimulationConfig {
    std::string network; ///< description file; empty: the two built-in cameras
    bool operator==(const SimulationConfig&) const = default;
};

/** [cameras]: which backends are used. */
struct CamerasConfig {
    bool simulated = true;
    bool network = false;
    std::string interface; ///< name or address of the network interface; empty: all
    bool operator==(const CamerasConfig&) const = default;
};

/** [network]: how network cameras are treated. */
struct NetworkConfig {
    int patienceMs = 1500;   ///< for so long a camera may be silent before it counts as absent
    bool ownReceiver = true; ///< frames are received by the platform; false: by the network library
    int receivePriority = 0; ///< of the platform's receiving thread; 0: none
    int receiveCpu = -1;     ///< that this thread is bound to; -1: none
    bool operator==(const NetworkConfig&) const = default;
};

/** [log] */
struct LogConfig {
    std::string file; ///< empty: standard error
    int level = 3;    ///< lines of this level and below are written
    bool operator==(const LogConfig&) const = default;
};

/** [control]: the control socket. */
struct ControlConfig {
    std::string socket = "auto"; ///< its path; "auto": chosen for the user, "none": no socket
    bool operator==(const ControlConfig&) const = default;
};

struct Config {
    CameraConfig camera;
    CamerasConfig cameras;
    StreamConfig stream;
    ImageConfig image;
    RegionConfig region;
    TimingConfig timing;
    ExposureConfig exposure;
    GainConfig gain;
    AutoConfig automatic;
    WhiteBalanceConfig whiteBalance;
    LutConfig lut;
    GammaConfig gamma;
    std::vector<IoSetConfig> iobox;
    SessionConfig session;
    ExportConfig exporting;
    MemoryConfig memory;
    SimulationConfig simulation;
    NetworkConfig network;
    LogConfig log;
    ControlConfig control;
    std::vector<FeatureSetting> features; ///< [features], in the order of the file
    bool operator==(const Config&) const = default;
};

/** The sets that the driver reads: the first three. */
std::span<const IoSetConfig> SetsRead(const Config& config);

/** The camera's line that a set drives by a source of the camera, "Line3" or "Line4"; null when it
 *  drives none. */
const char* OutputLineOf(const IoSetConfig& set);

/** Whether a set that the driver reads drives a line. */
bool DrivesOutputLines(const Config& config);

/** Why a text is no configuration, and where. */
using ConfigError = base::TextError;

/** A configuration that can be used, and warnings of keys that will have no effect. */
struct ParsedConfig {
    Config config;
    std::vector<std::string> warnings; ///< each with name, line and column
};

/** Reads a whole file. False: it can't be read, and `*error` says why. */
using FileReader =
    std::function<bool(const std::string& path, std::string* text, std::string* error)>;

/** Turns a TOML text into a configuration. Depends on its arguments alone: `name` is the text's
 *  path, for messages and for the files that it names, which come through `read`. The error is the
 *  first thing that can't be used; it may be in such a file. */
std::variant<ParsedConfig, ConfigError> ParseConfig(std::string_view text, std::string_view name,
                                                    const FileReader& read);

/** Resolves a path in the configuration `configName`: it is relative to that file's folder. */
std::string FromConfigFolder(const std::string& path, std::string_view configName);

/** Adds the leading slash of a shared memory's name. False: it can't be such a name. */
bool NormalizeMemoryName(std::string* name);

/** The names that choose a pixel format, and their codes. */
inline constexpr base::Named<std::uint32_t> kFormatNames[] = {
    {"mono8", KvTd::kFormatMono8},   {"mono12p", KvTd::kFormatMono12Packed},
    {"mono12", KvTd::kFormatMono12}, {"yuv422", KvTd::kFormatYuv422},
    {"bayer8", KvTd::kFormatBayer8},
};

/** Which backends are used, by the names that choose them. */
struct Backends {
    bool simulated;
    bool network;
};
inline constexpr base::Named<Backends> kBackendNames[] = {
    {"sim", {true, false}}, {"net", {false, true}}, {"all", {true, true}}};

/** Who receives the frames of network cameras: whether the platform does. */
inline constexpr base::Named<bool> kReceiverNames[] = {{"own", true}, {"library", false}};

/** The names of the log levels. */
inline constexpr base::Named<int> kLevelNames[] = {
    {"error", 1}, {"warning", 2}, {"info", 3}, {"detail", 4}, {"trace", 5},
};

} // namespace kvgrab
