/** The IO box's sets and the flags by which grab thread and control thread hand them over.
 *
 *  The threads meet only in HandOverFlags and in the words that a raised flag hands over: whoever
 *  raises a flag has written the words before, whoever sees it raised may read them. */
#pragma once

#include <atomic>
#include <cstdint>

namespace KvTd
{

/** A flag that one thread raises and the other clears. Raising publishes what was written before.
 */
class HandOverFlag
{
public:
    HandOverFlag(bool raised = false) : raised_(raised) {}
    HandOverFlag(const HandOverFlag& other) : raised_(other) {}
    HandOverFlag& operator=(const HandOverFlag& other) { return *this = static_cast<bool>(other); }
    HandOverFlag& operator=(bool raised)
    {
        raised_.store(raised, std::memory_order_release);
        return *this;
    }
    operator bool() const { return raised_.load(std::memory_order_acquire); }

private:
    std::atomic<bool> raised_;
};

constexpr int kIoBoxSetCount = 4; ///< sets in use; as many records hold their earlier values
constexpr int kIoBoxRecordCount = 8;
constexpr std::uint32_t kNoGpioCmd = 0xFFFFFFFF;

/** One IO-box output or GPIO line. */
struct IoBoxSet {
    std::uint32_t appliedLimitUs = 0;      ///< pulse limit when last applied as a strobe
    std::uint32_t param0 = 0xFFFFFFFF;     ///< delay, us; command length, bits; or time-out, us
    std::uint32_t param1 = 0xFFFFFFFF;     ///< pulse duration, us; or command value
    std::uint32_t pendingCmd = kNoGpioCmd; ///< command waiting to be sent
    std::uint32_t cmdProgress = 0;         ///< kept for a sender to come, as the next two
    std::uint8_t cmdBitCount = 0;
    std::uint8_t cmdBitsLeft = 0;
    std::uint8_t setIndex = 0;
    std::uint8_t mode = 0;
    std::uint8_t source = 0;
    std::uint8_t invert = 0; ///< 2: inverted
    bool cmdInverted = false;
    bool cmdActive = false;
    HandOverFlag ready = true;         ///< idle: the grab thread may write the set
    HandOverFlag applyPending = false; ///< the control thread must apply it
};

} // namespace KvTd
