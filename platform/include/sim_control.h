/** Builds the simulated network, scripts its faults and reads its journal.
 *
 *  For tests, benchmarks and a host's simulator set-up; a driver never includes it. The network
 *  lives as long as the process (or until Reset) and survives GevApiUninitialize: cameras keep
 *  their settings from session to session as real ones do.
 *
 *  Threads: every call may come from any thread. */
#pragma once

#include "fault_injection.h"
#include "gev_api.h"

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace sim
{

/** The simulated network's clock, in nanoseconds since any epoch. */
class GEVPLAT_API Clock
{
public:
    virtual ~Clock();
    virtual std::int64_t NowNs() = 0;
    /** Returns at `whenNs` or later; at once if that time has passed. */
    virtual void SleepUntilNs(std::int64_t whenNs) = 0;
};

/** A clock that moves only when it is set or when somebody sleeps on it. Safe from several threads.
 */
class GEVPLAT_API ManualClock : public Clock
{
public:
    explicit ManualClock(std::int64_t startNs);
    ~ManualClock() override;
    std::int64_t NowNs() override;
    void SleepUntilNs(std::int64_t whenNs) override;
    void AdvanceNs(std::int64_t ns);

private:
    struct State;
    std::unique_ptr<State> state_;
};

enum class Model { Mono, Color };

/** What is written into the frame buffers. Plain leaves them untouched (for long virtual runs). */
enum class Picture { Pattern, Plain };

/** The type of a node, for features that a camera mistypes. */
enum class NodeKind { Integer, Float, Enumeration, Boolean };

/** Limits that a feature reports and enforces in place of its own. Any values, even nonsense. */
struct RangeSetup {
    std::string feature = {};
    double min = 0; ///< integer features: rounded to the nearest whole number
    double max = 0;
    std::int64_t inc = 1;
    bool operator==(const RangeSetup&) const = default;
};

/** The set-up of one simulated camera. */
struct CameraSetup {
    Model model = Model::Mono;
    std::string manufacturer = "DALSA (simulated)";
    std::string modelName = {}; ///< empty: the model's own name
    std::string serial = "S0000001";
    std::string version = "1.00";
    bool attached = true;
    std::uint32_t sensorWidth = 1920;
    std::uint32_t sensorHeight = 1080;
    Picture picture = Picture::Pattern;
    std::string scene = {}; ///< PNG file of the scene in front of it; empty: a test pattern
    double noise = 1;       ///< 1: as of a good sensor, 0: none, at most 100
    std::uint64_t seed = 1; ///< of all random numbers of this camera
    std::uint64_t tickFrequency =
        1'000'000'000;           ///< Hz, as reported; 0 is reported but ticks run at 1 GHz
    std::int64_t tickOffset = 0; ///< ticks at clock time 0
    unsigned tickBits = 64;      ///< the tick counter wraps at 2^tickBits
    double driftPpm = 0;         ///< how much faster the camera's clock runs than the network's
    double jitterUs = 0; ///< standard deviation of a frame's arrival, never before it is read out
    bool lockRegulated = false; ///< ExposureTime and Gain are RO while frames flow and an automatic
                                ///  function sets them
    int triggerLine = 1;        ///< input line, 1 or 2, that gets the pulses below
    double triggerHz = 0;       ///< pulses in a second, from power-up on; 0: none
    double triggerPulseUs = 100;            ///< length of a pulse, at most half the train's period
    std::vector<double> triggerTimesS = {}; ///< single pulses, in seconds after power-up
    double linkMBytesPerSecond = 115;
    double lineReadoutUs = 5;       ///< that the sensor takes to read out one line
    double highestFrameRate = 1000; ///< Hz, however short exposure, read-out and transfer are
    double temperatureC = 41.5;
    std::vector<std::string> missing = {};                       ///< features it lacks
    std::vector<std::pair<std::string, NodeKind>> mistyped = {}; ///< features with a wrong type
    std::vector<RangeSetup> ranges = {};
    std::vector<std::string> readOnly = {};                       ///< features with access mode RO
    std::vector<std::string> notAvailable = {};                   ///< features with access mode NA
    std::vector<std::string> notImplementedEntries = {};          ///< "ChunkSelector.Gain"
    std::vector<std::string> missingEntries = {};                 ///< "lutSize.Bpp12"
    std::vector<std::uint32_t> refusedFormats = {};               ///< pixel-format codes
    std::vector<std::pair<std::string, std::string>> values = {}; ///< feature, value at power-up
    std::string replay = {}; ///< folder of an export that is played back; empty: none
    bool replayFast = false; ///< as fast as the frames find buffers, not as recorded
    bool replayLoop = false; ///< the first frame follows the last one
    std::uint32_t replayFormat =
        0; ///< its pixel-format code; set by the code that loads the recording
    bool operator==(const CameraSetup&) const = default;
};

// Faults, counts and the journal serve every backend (fault_injection.h).
using injection::Counts;
using injection::Effect;
using injection::ExceptionKind;
using injection::Fault;
using injection::JournalEntry;
using injection::Trigger;

/** Removes all cameras, faults and journal entries and goes back to the real clock. */
GEVPLAT_API void Reset();

/** Sets the clock of all cameras; null: the real (monotonic) one. Call it before adding cameras. */
GEVPLAT_API void SetClock(std::shared_ptr<Clock> clock);

/** False when the network has a camera with this serial already. Raises std::runtime_error, whose
 *  text says why, when the scene or the recording can't be read. Model, size, pixel format, frame
 *  rate and tick frequency of a camera that plays a recording back are those of the recording. */
GEVPLAT_API bool AddCamera(const CameraSetup& setup);

/** Adds one monochrome and one colour camera, the default for users without a description file. */
GEVPLAT_API void AddDefaultCameras();

/** Replaces the whole network by a TOML description (docs/simulated_camera.md).
 *  On failure the network stays as it was, and `*error` names file, line, column and what was
 *  expected. */
GEVPLAT_API bool LoadNetwork(const std::string& path, std::string* error);

GEVPLAT_API void SetAttached(const std::string& serial, bool attached);

/** Arms a fault, whatever the camera's backend. Trigger::Time and Effect::Detach work with
 *  simulated cameras only. */
GEVPLAT_API void AddFault(const Fault& fault);
GEVPLAT_API void ClearFaults();

/** A recording and how far it has been played back. */
struct ReplayState {
    std::uint64_t frames = 0;      ///< pictures in the folder
    std::uint64_t lost = 0;        ///< frames that never arrived when it was recorded
    std::uint64_t notExported = 0; ///< that arrived but are not in the folder
    std::uint32_t pixelFormat = 0; ///< GigE Vision code
    bool over = false;             ///< nothing more will be sent: the last frame was delivered
    std::string failure = {};      ///< why it ended early; a sentence
};

/** False when there is no such camera, or it plays no recording back. */
GEVPLAT_API bool GetReplay(const std::string& serial, ReplayState* state);

/** A feature's value as text, read without journal entry or faults, even while the camera is in
 *  use. Empty when there is no such feature. Of a selected feature, the value for the selector's
 *  current entry. */
GEVPLAT_API std::string FeatureText(const std::string& serial, const std::string& feature);
/** Sets a value without the checks of an access; false when there is no such feature or entry. */
GEVPLAT_API bool SetFeatureText(const std::string& serial, const std::string& feature,
                                const std::string& value);

/** A pulse of an output line. Times are nanoseconds on the network's clock. */
struct StrobePulse {
    std::uint64_t frame = 0; ///< number of the frame whose exposure it accompanies
    std::int64_t exposureStartNs = 0;
    std::int64_t exposureEndNs = 0;
    std::int64_t startNs = 0;
    std::int64_t endNs = 0;
};

/** How an output line is set, and what it did. */
struct LineWaveform {
    std::string source;              ///< "Off", "ExposureActive"
    bool inverted = false;           ///< high at rest, low in a pulse
    std::int64_t delayUs = 0;        ///< after the start of the exposure
    std::int64_t durationUs = 0;     ///< 0: as long as the exposure
    std::vector<StrobePulse> pulses; ///< the newest 64 at most, the oldest first
};

/** False when there is no such camera, or the line is not an output (3 and 4 are). */
GEVPLAT_API bool GetLineWaveform(const std::string& serial, int line, LineWaveform* waveform);

/** Counted since Reset or ResetCounts. */
GEVPLAT_API Counts GetCounts();
GEVPLAT_API void ResetCounts();

/** Switches the journal on or off. At first it is off; then nothing is recorded or allocated. */
GEVPLAT_API void SetJournal(bool on);
/** Appends an entry of a program's own; ignored while the journal is off. */
GEVPLAT_API void AddJournal(std::string kind, std::string text);
GEVPLAT_API std::vector<JournalEntry> Journal();
GEVPLAT_API void ClearJournal();

} // namespace sim
