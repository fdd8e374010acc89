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

/** The clock that the simulated network lives by, in nanoseconds of any epoch. */
class GEVPLAT_API Clock
{
public:
    virtual ~Clock();
    virtual std::int64_t NowNs() = 0;
    /** Returns at `whenNs` or later; at once when that is past. */
    virtual void SleepUntilNs(std::int64_t whenNs) = 0;
};

/** Moves only when it is told to or when somebody sleeps on it. Safe from several threads. */
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

/** What the camera looks at. Plain leaves the frame buffer untouched (for long virtual runs). */
enum class Picture { Pattern, Plain };

/** A node kind, for features that a camera mistypes. */
enum class NodeKind { Integer, Float, Enumeration, Boolean };

/** Limits that a feature reports, and holds writes to, in place of its own: any, also nonsense. */
struct RangeSetup {
    std::string feature = {};
    double min = 0; ///< of integers the whole number nearest to it
    double max = 0;
    std::int64_t inc = 1;
    bool operator==(const RangeSetup&) const = default;
};

/** One simulated camera as it stands on the network. */
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
    std::string scene = {}; ///< PNG file that it looks at; empty: a test pattern
    double noise = 1;       ///< 1: as a good sensor has it, 0: none, at most 100
    std::uint64_t seed = 1; ///< of all randomness of this camera
    std::uint64_t tickFrequency =
        1'000'000'000;           ///< Hz, as reported; 0 is reported but ticks run at 1 GHz
    std::int64_t tickOffset = 0; ///< ticks at clock time 0
    unsigned tickBits = 64;      ///< the tick counter wraps at 2^tickBits
    double driftPpm = 0;         ///< how much faster than the clock the camera runs
    double jitterUs = 0; ///< standard deviation of a frame's arrival, never before it is read out
    bool lockRegulated = false; ///< ExposureTime and Gain are RO while frames flow and they are
                                ///  regulated automatically
    double linkMBytesPerSecond = 115;
    double temperatureC = 41.5;
    std::vector<std::string> missing = {};                       ///< features it lacks
    std::vector<std::pair<std::string, NodeKind>> mistyped = {}; ///< features of another kind
    std::vector<RangeSetup> ranges = {};
    std::vector<std::string> readOnly = {};                       ///< features with access mode RO
    std::vector<std::string> notAvailable = {};                   ///< features with access mode NA
    std::vector<std::string> notImplementedEntries = {};          ///< "ChunkSelector.Gain"
    std::vector<std::string> missingEntries = {};                 ///< "lutSize.Bpp12"
    std::vector<std::uint32_t> refusedFormats = {};               ///< pixel-format codes
    std::vector<std::pair<std::string, std::string>> values = {}; ///< feature, value at power-up
    bool operator==(const CameraSetup&) const = default;
};

// Faults, counts and journal are those of every backend (fault_injection.h).
using injection::Counts;
using injection::Effect;
using injection::ExceptionKind;
using injection::Fault;
using injection::JournalEntry;
using injection::Trigger;

/** Removes all cameras, faults and journal entries and goes back to the real clock. */
GEVPLAT_API void Reset();

/** The clock for all cameras, now; null: the real (monotonic) one. Set it before cameras are added.
 */
GEVPLAT_API void SetClock(std::shared_ptr<Clock> clock);

/** False: another camera with this serial stands there already. Raises std::runtime_error, which
 *  tells why, when the scene can't be read. */
GEVPLAT_API bool AddCamera(const CameraSetup& setup);

/** One monochrome and one colour camera, as users without a description file get them. */
GEVPLAT_API void AddDefaultCameras();

/** Replaces the whole network by a TOML description (docs/simulated_camera.md).
 *  On failure the network is as before and `*error` tells file, line, column and what was expected.
 */
GEVPLAT_API bool LoadNetwork(const std::string& path, std::string* error);

GEVPLAT_API void SetAttached(const std::string& serial, bool attached);

/** Arms a fault, whatever the camera's backend. A point in time, and a camera that leaves, concern
 *  simulated cameras alone. */
GEVPLAT_API void AddFault(const Fault& fault);
GEVPLAT_API void ClearFaults();

/** A feature's value as text, beside journal and faults, also while the camera is in use.
 *  Empty when there is no such feature. A selected feature: under the selector's current entry. */
GEVPLAT_API std::string FeatureText(const std::string& serial, const std::string& feature);
/** Sets a value without the checks of an access; false when there is no such feature or entry. */
GEVPLAT_API bool SetFeatureText(const std::string& serial, const std::string& feature,
                                const std::string& value);

/** A pulse of an output line. Times on the network's clock, nanoseconds. */
struct StrobePulse {
    std::uint64_t frame = 0; ///< number of the frame whose exposure it goes with
    std::int64_t exposureStartNs = 0;
    std::int64_t exposureEndNs = 0;
    std::int64_t startNs = 0;
    std::int64_t endNs = 0;
};

/** How an output line is set, and what it did. */
struct LineWaveform {
    std::string source;              ///< "Off", "ExposureActive"
    bool inverted = false;           ///< high at rest, low in a pulse
    std::int64_t delayUs = 0;        ///< from the begin of the exposure
    std::int64_t durationUs = 0;     ///< 0: as long as the exposure
    std::vector<StrobePulse> pulses; ///< the newest, at most 64, oldest first
};

/** False: no such camera, or no output line of it (3 and 4 are). */
GEVPLAT_API bool GetLineWaveform(const std::string& serial, int line, LineWaveform* waveform);

/** Counted since Reset or ResetCounts. */
GEVPLAT_API Counts GetCounts();
GEVPLAT_API void ResetCounts();

/** The journal is off at first. While it is off nothing is recorded and nothing is allocated. */
GEVPLAT_API void SetJournal(bool on);
/** Takes its place in the one order; ignored while the journal is off. */
GEVPLAT_API void AddJournal(std::string kind, std::string text);
GEVPLAT_API std::vector<JournalEntry> Journal();
GEVPLAT_API void ClearJournal();

} // namespace sim
