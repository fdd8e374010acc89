/** The board with which consumers let the host know that they wait, or hold a frame. */
#pragma once

#include "kv_frame_memory.h"
#include "mapping.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace kvframes
{

class Board
{
public:
    /** Null: there is none, this user may not write to it, or it isn't one of this version. */
    static std::shared_ptr<const Board> Open(const std::string& memoryName);
    explicit Board(std::shared_ptr<const Mapping> mapping) : mapping_(std::move(mapping)) {}

    /** False after the board was removed, replaced or destroyed: other consumers may write to it,
     *  too, and one that makes it shorter leaves memory that can't be accessed. All below do
     *  nothing then. */
    bool IsWhole() const;
    /** From now on the host wakes those who wait on its `wake` word, once. */
    void AnnounceWaiting() const;

    /** Locks one of the leases for this process. Nothing: all are in use. The lock belongs to the
     *  open file, so it ends with the process, however that ends. */
    std::optional<std::uint32_t> LockLease() const;
    void UnlockLease(std::uint32_t lease) const;
    void SetLease(std::uint32_t lease, std::uint64_t sequence) const;
    void ClearLease(std::uint32_t lease) const;

private:
    KvFrames::ConsumerBoard& Words() const
    {
        return *reinterpret_cast<KvFrames::ConsumerBoard*>(mapping_->Base());
    }
    bool ChangeLock(std::uint32_t lease, short type) const;

    std::shared_ptr<const Mapping> mapping_;
};

} // namespace kvframes
