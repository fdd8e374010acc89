/** What is known of a camera's values, so that most accesses need not ask the camera.
 *
 *  Each value, limit and access mode of a feature has a cell. How long its content holds is what
 *  the description says (dependencies.h): until something is written on which it depends, for its
 *  polling time, or not at all. A feature with selectors has one content for each position of
 *  them. Under the cells lie the registers themselves, those at constant addresses that may be
 *  kept: the library reads a selector's register again whenever it computes an address.
 *
 *  While frames flow, what the camera changes by itself is read in the background (RefreshDue), and
 *  an access takes the content of twice that interval at most. Otherwise such a value is read by
 *  each access.
 *
 *  Threads: any. Reads and writes of the camera are made under the device's lock by the caller;
 *  finding a content takes only a lock that is held for a few instructions. */
#pragma once

#include "net/description/dependencies.h"

#include <arv.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <unordered_map>
#include <variant>
#include <vector>

namespace net
{

using KnownValue = std::variant<std::int64_t, double, std::string>;

class ValueCache
{
public:
    using Clock = std::chrono::steady_clock;

    /** `now` returns the time. */
    explicit ValueCache(std::function<Clock::time_point()> now = Clock::now);
    ~ValueCache();
    ValueCache(const ValueCache&) = delete;
    ValueCache& operator=(const ValueCache&) = delete;

    enum class What { Value, Limit, Mode, ReadMode };

    /** One content that can be read; `ask` reads it from the camera. */
    class Cell;
    Cell& Add(ArvGcNode* feature, What what, std::function<KnownValue()> ask,
              const std::vector<Gate>& gates = {});
    /** When all cells are there; until then nothing is kept. */
    void Begin(ArvGc* features, std::unique_ptr<Dependencies> dependencies);

    /** The content, if it holds. Raises what the background's reading of it raised. */
    std::optional<KnownValue> Find(Cell& cell);
    /** Find would give it, or raise. */
    bool Knows(const Cell& cell);
    /** Asks for the content and keeps it. `ignoreCache`: also of all registers on the way. Under
     *  the device's lock. */
    KnownValue Read(Cell& cell, bool ignoreCache);
    /** It can be relied on that the camera has this value now: writing it once more would change
     *  nothing. */
    bool Has(const Cell& cell, std::int64_t value);

    /** A write of a feature, or a command's: what depends on it is forgotten. Under the device's
     *  lock, around the library's call. */
    class Write
    {
    public:
        Write(ValueCache& cache, ArvGcFeatureNode* feature);
        ~Write();
        Write(const Write&) = delete;
        Write& operator=(const Write&) = delete;
        /** The camera took it, and the cell has it now, as far as that is certain. */
        void Took(Cell& cell, std::int64_t value);

    private:
        ValueCache& cache_;
        bool changesAll_;
        std::uint64_t epoch_;
    };
    void ForgetAll();

    // In the background.

    void SetFramesFlow(bool flow);
    /** Reads what is due, one content at most, so that an access that needs the camera waits for
     *  no more; not at all while somebody else uses the device. Returns when to call again. */
    Clock::time_point RefreshDue(std::recursive_mutex& device);

    // For the device: its registers, under the device's lock.

    /** False: it has to be read from the camera. */
    bool FindRegister(std::uint64_t address, std::span<std::uint8_t> bytes);
    void KeepRegister(std::uint64_t address, std::span<const std::uint8_t> bytes);
    /** Before it is written. */
    void WriteRegister(std::uint64_t address, std::size_t size);
    void WroteRegister(std::uint64_t address, std::span<const std::uint8_t> bytes);

private:
    static constexpr std::size_t kMaxSelectors = 16;
    /** Values of a cell's selectors. */
    using Position = std::array<std::int64_t, kMaxSelectors>;
    struct Kept;
    struct Register;
    struct Affected;

    bool MayChange(const Cell& cell) const;
    Clock::duration Interval(const Cell& cell) const;
    bool Locate(const Cell& cell, Position* position) const;
    const Kept* At(const Cell& cell) const;
    const Kept* Valid(const Cell& cell) const;
    void Want(Cell& cell);
    void Keep(Cell& cell, KnownValue value, std::exception_ptr failure, std::uint64_t epoch);
    void Settle(Cell& cell);
    void LetSelectorsBeKnown(Cell& cell);
    const Affected& AffectedBy(ArvGcNode* feature);
    void Forget(const Affected& affected);
    Cell* ValueOf(ArvGcNode* feature) const;

    const std::function<Clock::time_point()> now_;
    std::mutex mutex_; ///< of all content; a leaf
    std::vector<std::unique_ptr<Cell>> cells_;
    std::unordered_map<ArvGcNode*, std::vector<Cell*>> byFeature_;
    std::vector<Register> registers_; ///< by address
    std::unique_ptr<Dependencies> dependencies_;
    std::unordered_map<ArvGcNode*, std::unique_ptr<Affected>> affected_;
    std::vector<Cell*> wanted_; ///< those that were asked for lately, of what is polled
    bool framesFlow_ = false;
    std::uint64_t epoch_ = 0; ///< changes when everything is forgotten

    // Under the device's lock.
    bool ignoreRegisters_ = false;
    const Affected* writing_ = nullptr; ///< by the feature that is written now
};

/** Has the registers of a device read through the cache, from now on and as long as it lives. */
void ReadThrough(ArvDevice* device, std::shared_ptr<ValueCache> cache);
/** Null: that device reads all its registers. */
ValueCache* CacheOf(ArvDevice* device);

/** A read of the library's. `read()` fills the bytes from the camera; whether it did. */
template <class Read>
bool ReadRegisters(ArvDevice* device, std::uint64_t address, std::span<std::uint8_t> bytes,
                   const Read& read)
{
    ValueCache* const cache = CacheOf(device);
    if (cache == nullptr) {
        return read();
    }
    if (cache->FindRegister(address, bytes)) {
        return true;
    }
    const bool done = read();
    if (done) {
        cache->KeepRegister(address, bytes);
    }
    return done;
}

/** A write of the library's, as `write()` makes it. */
template <class Write>
bool WriteRegisters(ArvDevice* device, std::uint64_t address, std::span<const std::uint8_t> bytes,
                    const Write& write)
{
    ValueCache* const cache = CacheOf(device);
    if (cache == nullptr) {
        return write();
    }
    cache->WriteRegister(address, bytes.size());
    const bool done = write();
    if (done) {
        cache->WroteRegister(address, bytes);
    }
    return done;
}

} // namespace net
