/** A host whose services answer from plain fields, which tests set beforehand. Each call is
 *  recorded in the journal as kind "host", each log line as "log1" to "log5". */
#pragma once

#include "kv_host_services.h"
#include "kv_td_types.h"

#include <cstdarg>
#include <cstdint>
#include <deque>
#include <functional>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
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

/** What a service answers in place of its own value: numbers the first seven, pointers and texts
 *  the others. */
enum class Extreme {
    Zero,
    MinusOne,
    Lowest,
    Highest,
    NotANumber,
    Infinite,
    MinusInfinite,
    Null,
    EmptyText,
    LongText ///< 64 characters
};

/** The kinds of answers, each with the extremes that it has. */
enum class AnswerKind { Integer, Float, Text, Pointer };

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
        std::uint64_t nth = 1; ///< which call of it, from 1
        Extreme extreme = Extreme::Zero;
    };
    std::vector<Tampering> tamperings;
    /** The calls of each service that answers something, while `counting`. */
    bool counting = false;
    struct Answers {
        AnswerKind kind = AnswerKind::Integer;
        std::uint64_t count = 0;
    };
    std::map<std::string, Answers, std::less<>> answers;

    // ---- what came ----------------------------------------------------------------------------
    bool recording = true;            ///< off: nothing is written down, and nothing allocated
    std::vector<std::string> formats; ///< format strings of the log lines, in order
    std::uint64_t exported = 0;       ///< calls of KvSc__ProcExport
    std::uint64_t haltUpdates = 0;    ///< calls of KvGi__HaltUpdate
    std::uint64_t logLines = 0;
    const void* statistics = nullptr; ///< filled last for the dynamic table

    // Used by the services.
    void Called(const char* service, const char* arguments = nullptr, ...)
        __attribute__((format(printf, 3, 4)));
    /** `value`, or the extreme that stands in for it at this call. */
    template <class T> T Answered(const char* service, T value)
    {
        const std::optional<Extreme> extreme = Tampered(service, KindOf<T>());
        return extreme ? ValueOf<T>(*extreme) : value;
    }
    void AllocateMemory(std::uint32_t size);
    void* BufferAt(std::uint32_t index) const;
    static std::string Text(const char* format, va_list arguments)
        __attribute__((format(printf, 1, 0)));
    /** An unset one beyond those that there are. */
    const IoBoxConfig& SetAt(int set) const;

private:
    template <class T> static constexpr AnswerKind KindOf()
    {
        if constexpr (std::is_floating_point_v<T>) {
            return AnswerKind::Float;
        } else if constexpr (std::is_same_v<T, const char*>) {
            return AnswerKind::Text;
        } else if constexpr (std::is_pointer_v<T>) {
            return AnswerKind::Pointer;
        } else {
            return AnswerKind::Integer;
        }
    }
    template <class T> static T ValueOf(Extreme extreme)
    {
        using Limits = std::numeric_limits<T>;
        if constexpr (std::is_same_v<T, const char*>) {
            return TextOf(extreme);
        } else if constexpr (std::is_pointer_v<T>) {
            return nullptr;
        } else {
            const T values[] = {T{0},
                                static_cast<T>(-1),
                                Limits::lowest(),
                                Limits::max(),
                                Limits::quiet_NaN(),
                                Limits::infinity(),
                                static_cast<T>(-Limits::infinity())}; // in the order of Extreme
            return values[static_cast<std::size_t>(extreme)];
        }
    }
    static const char* TextOf(Extreme extreme);
    std::optional<Extreme> Tampered(const char* service, AnswerKind kind);

    static inline FakeHost* current_ = nullptr;
    std::vector<std::uint64_t> tamperingMatches_;
    std::vector<std::uint8_t> memory_;
    std::uint8_t* first_ = nullptr;
    std::size_t stride_ = 0;
};

/** A dynamic table: 16 a level, as far as values go that 8 bits can hold. */
void RisingTable(std::uint8_t bits, std::uint16_t* lut);

} // namespace rig
