/** What the frames of one stream share. */
#pragma once

#include "net/stream/gvsp_packet.h"
#include "net/stream/reassembly.h"

#include <algorithm>
#include <cstdint>
#include <vector>

namespace net
{

/** A queue of fixed capacity; allocates only in Reserve. */
template <class Item> class FixedQueue
{
public:
    void Reserve(std::size_t capacity)
    {
        items_.assign(capacity, Item{});
        Clear();
    }
    void Clear()
    {
        first_ = 0;
        count_ = 0;
    }
    bool Empty() const { return count_ == 0; }
    std::size_t Size() const { return count_; }
    /** False: the queue is full. */
    bool Push(const Item& item)
    {
        if (count_ == items_.size()) {
            return false;
        }
        items_[(first_ + count_++) % items_.size()] = item;
        return true;
    }
    /** False: the queue is empty. */
    bool Pop(Item* item)
    {
        if (count_ == 0) {
            return false;
        }
        *item = items_[first_];
        first_ = (first_ + 1) % items_.size();
        --count_;
        return true;
    }

private:
    std::vector<Item> items_;
    std::size_t first_ = 0;
    std::size_t count_ = 0;
};

/** How many bytes of a frame each of its payload packets has, but for the last one. The settings
 *  say it, and a camera that sends packets of another size shows it in its first two. */
class PayloadStep
{
public:
    void Restart(std::uint32_t packetSize)
    {
        packetSize_ = std::max(packetSize, kLeastPacket);
        learned_ = 0;
        confirmed_ = false;
    }
    std::uint32_t Bytes(bool extendedIds) const
    {
        const std::size_t header = extendedIds ? kGvspExtendedHeader : kGvspHeader;
        return learned_ != 0 ? learned_
                             : packetSize_ - static_cast<std::uint32_t>(kUdpHeaders + header);
    }
    bool MayLearn() const { return !confirmed_; }
    void Learn(std::uint32_t bytes) { learned_ = bytes; }
    /** A frame of such packets is complete. */
    void Confirm() { confirmed_ = true; }
    /** A frame had more packets of other sizes than of this one. */
    void Doubt() { *this = PayloadStep(packetSize_); }

    PayloadStep() = default;

private:
    static constexpr std::uint32_t kLeastPacket = 128;

    explicit PayloadStep(std::uint32_t packetSize) : packetSize_(packetSize) {}

    std::uint32_t packetSize_ = kLeastPacket; ///< bytes with all headers
    std::uint32_t learned_ = 0;               ///< 0: as the settings say
    bool confirmed_ = false;
};

struct StreamState {
    ReassemblySettings settings;
    ReassemblyCounts counts;
    PayloadStep step;
    FixedQueue<ResendRequest> requests;
};

} // namespace net
