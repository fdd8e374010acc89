/** A host whose services answer from plain fields, which tests set beforehand. Each call is
 *  recorded in the journal as kind "host", each log line as "log1" to "log5". */
#pragma once

#include "base/names.h"
#include "kv_host_services.h"
#include "kv_td_types.h"
#include "sim_control.h"

#include <fmt/ranges.h>

#include <cstdint>
#include <deque>
#include <functional>
#include <limits>
#include <map>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

namespace rig
{

/** Getters that answer from a field of FakeHost: the type, the field and its first value, which is
 *  the one for "not configured" where there is one. */
// clang-format off
#define RIG_GETTERS(X)                                                         \
    X(const char*, GetModelStr, model, "")                                     \
    X(const char*, GetIdStr, id, "")                                           \
    X(std::uint32_t, GetActiveCamMask, activeCamMask, 0)                       \
    X(int, GetDatachunk, datachunk, 1500)                                      \
    X(std::uint32_t, GetFormat, format, KvTd::kFormatMono8)                    \
    X(std::uint8_t, GetCformat, cformat, 0)                                    \
    X(int, GetOffsetX, offsetX, KvTd::kIntUnset)                               \
    X(int, GetOffsetY, offsetY, KvTd::kIntUnset)                               \
    X(int, GetWidth, width, KvTd::kIntUnset)                                   \
    X(int, GetHeight, height, KvTd::kIntUnset)                                 \
    X(float, GetFps, fps, KvTd::kFpsUnset)                                     \
    X(float, GetExptMan, exptMan, KvTd::kExposureUnset)                        \
    X(float, GetGainMan, gainMan, KvTd::kGainUnset)                            \
    X(int, GetWbred, wbred, KvTd::kIntUnset)                                   \
    X(int, GetWbblu, wbblu, KvTd::kIntUnset)                                   \
    X(int, GetRotate, rotate, KvTd::kRotateUnset)                              \
    X(float, GetGamma, gamma, KvTd::kGammaUnset)                               \
    X(std::uint16_t, GetLutBitSize, lutBitSize, 0)                             \
    X(float, GetAtbright, atbright, KvTd::kExposureUnset)                      \
    X(float, GetGainlimsLow, gainlimsLow, KvTd::kGainUnset)                    \
    X(float, GetGainlimsHigh, gainlimsHigh, KvTd::kGainUnset)                  \
    X(float, GetEtlimsLow, etlimsLow, KvTd::kExposureUnset)                    \
    X(float, GetEtlimsHigh, etlimsHigh, KvTd::kExposureUnset)                  \
    X(std::uint32_t, GetSweepProf, sweepProf, KvTd::kSweepUnset)               \
    X(std::uint32_t, GetSweepGainMod, sweepGainMod, KvTd::kSweepUnset)         \
    X(std::uint32_t, GetSweepEtimeMod, sweepEtimeMod, KvTd::kSweepUnset)       \
    X(std::uint32_t, GetSweepLutMod, sweepLutMod, KvTd::kSweepUnset)           \
    X(int, GetTsadjns, tsadjns, 0)                                             \
    X(std::uint32_t, GetFnum, fnum, 0)                                         \
    X(std::uint32_t, GetBnum, bnum, 4)
// clang-format on

struct IoBoxConfig {
    int pin = 0;
    int mode = 0;
    int source = 0;
    int inverted = 0;
    std::uint32_t parameters[2] = {KvTd::kIoboxParamUnset, KvTd::kIoboxParamUnset};
};

/** What a service that answers with a T may answer in place of its own value. */
template <class T>
inline constexpr base::Named<T> kExtremes[] = {{"zero", 0},
                                               {"minus_one", static_cast<T>(-1)},
                                               {"lowest", std::numeric_limits<T>::lowest()},
                                               {"highest", std::numeric_limits<T>::max()}};
template <>
inline constexpr base::Named<float> kExtremes<float>[] = {
    {"zero", 0},
    {"lowest", std::numeric_limits<float>::lowest()},
    {"highest", std::numeric_limits<float>::max()},
    {"not_a_number", std::numeric_limits<float>::quiet_NaN()},
    {"infinite", std::numeric_limits<float>::infinity()},
    {"minus_infinite", -std::numeric_limits<float>::infinity()}};
template <class T> inline constexpr base::Named<T*> kExtremes<T*>[] = {{"null", nullptr}};
template <>
inline constexpr base::Named<const char*> kExtremes<const char*>[] = {
    {"null", nullptr},
    {"empty_text", ""},
    {"long_text", "a text of 64 characters, many more than a model or serial number"}};

/** There is one at a time; it serves from construction to destruction. Grab thread only. */
class FakeHost
{
public:
    FakeHost() { current_ = this; }
    ~FakeHost() { current_ = nullptr; }
    FakeHost(const FakeHost&) = delete;
    FakeHost& operator=(const FakeHost&) = delete;
    static FakeHost& Get() { return *current_; }

    // ---- configuration ------------------------------------------------------------------------
#define RIG_FIELD(Type, getter, field, value) Type field = value;
    RIG_GETTERS(RIG_FIELD)
#undef RIG_FIELD
    std::vector<std::uint16_t> lut; ///< the configured table
    std::vector<IoBoxConfig> ioboxes;

    void AskForManual(float gainDb, float exposureUs);
    /** A camera that regulates exposure and gain itself, within limits, and balanced colours. */
    void AskForAutomatics();

    // ---- frame memory -------------------------------------------------------------------------
    int factoryUsed = 1;
    std::uint32_t bufferCount = 16; ///< how many buffers the memory has once it is initialised
    std::function<void*(std::uint32_t)> bufferAt; ///< instead of the memory
    /** "buf2", "null", or the address; empty while nothing is recorded. */
    std::string NameOf(const void* address) const;

    // ---- scripted answers ---------------------------------------------------------------------
    std::deque<std::uint32_t> signals; ///< one per KvUtl__CheckSignal; 0 when none is left
    std::deque<int> triggerResults;    ///< one per KvGiMemInst__Trigger; 0 when none is left
    int reconfigResult = 0;
    int reconfigFlag = 0;
    int dynConfig = 0;
    /** Fills a dynamic table of 2^bits entries. The statistics before it are 2^bits times 0. */
    std::function<void(std::uint8_t bits, std::uint16_t* lut)> dynamicLut;
    /** Runs at each call, by the service's name, before it answers: to set the clock, to add a
     *  fault, to change the configuration. Not for log lines. */
    std::function<void(std::string_view)> onCall;

    /** Runs at each trigger of an image, by its time stamp. */
    std::function<void(std::uint64_t)> onTrigger;

    /** Runs at each log line, by its format, on the thread that writes it. */
    std::function<void(std::string_view)> onLog;

    // ---- answers gone wrong -------------------------------------------------------------------
    struct Tampering {
        std::string service;
        std::uint64_t callsToGo; ///< 1: strikes at the next call of the service
        std::string extreme;     ///< one of those that the service's type has
    };
    std::vector<Tampering> tamperings;
    /** The calls of each service that answers something, while `counting`. */
    bool counting = false;
    struct Answers {
        std::uint64_t count = 0;
        std::vector<std::string_view> extremes; ///< which the service may answer
    };
    std::map<std::string, Answers> answers;

    // ---- what came ----------------------------------------------------------------------------
    bool recording = true;            ///< off: nothing is written down, and nothing allocated
    std::vector<std::string> formats; ///< format strings of the log lines, in order
    std::uint64_t exported = 0;       ///< calls of KvSc__ProcExport
    std::uint64_t haltUpdates = 0;    ///< calls of KvGi__HaltUpdate
    std::uint64_t logLines = 0;
    const void* statistics = nullptr; ///< filled last for the dynamic table

    // Used by the services.
    template <class... Arguments> void Called(const char* service, const Arguments&... arguments)
    {
        if (onCall) {
            onCall(service);
        }
        if (recording) {
            const std::string text = fmt::format("{}", fmt::join(std::tie(arguments...), ", "));
            sim::AddJournal("host", fmt::format("{}({})", service, text));
        }
    }
    /** `value`, or the extreme that stands in for it at this call. */
    template <class T> T Answered(const char* service, T value)
    {
        if (counting) {
            Answers& row = answers[service];
            row.extremes = base::NameList<T>(kExtremes<T>);
            ++row.count;
        }
        return base::ValueIn<T>(kExtremes<T>, ExtremeNow(service)).value_or(value);
    }
    void AllocateMemory(std::uint32_t size);
    void* BufferAt(std::uint32_t index);
    /** An unset one beyond those that there are. */
    const IoBoxConfig& SetAt(int set) const;

private:
    /** The name of the extreme that the service answers at this call, mostly none. */
    std::string_view ExtremeNow(const char* service);

    static inline FakeHost* current_ = nullptr;
    struct alignas(4096) Page {
        std::uint8_t bytes[4096];
    };
    std::vector<Page> memory_;
    std::size_t pagesPerBuffer_ = 0;
};

/** A dynamic table: 16 a level, as far as values go that 8 bits can hold. */
void RisingTable(std::uint8_t bits, std::uint16_t* lut);

} // namespace rig
