/** What the cache of values is made of; only its own files use it. */
#pragma once

#include "net/nodes/value_cache.h"

#include <unordered_set>

namespace net
{

struct ValueCache::Kept {
    Position position{};
    KnownValue value;
    std::exception_ptr failure; ///< of a reading in the background
    Clock::time_point at;
};

class ValueCache::Cell
{
public:
    ArvGcNode* feature = nullptr;
    What what = What::Value;
    std::function<KnownValue()> ask;
    std::vector<Gate> gates;

    // Set once, by Begin.
    bool never = true; ///< nothing is ever kept
    Keeping keeping;
    std::vector<Cell*> selectors;
    bool changes = false;                      ///< by itself, always
    Cell* automatic = nullptr;                 ///< changes unless this one is
    std::optional<std::int64_t> off;           ///< so
    std::optional<std::int64_t> changesItself; ///< at this value
    std::vector<Cell*> automates;              ///< those that change unless this one is off
    bool selects = false;                      ///< it is the value of a selector
    bool takesWrites = false; ///< it has what was written, without being read again

    // Under the cache's lock.
    std::vector<Kept> kept;
    Clock::time_point wantedAt;
    bool isWanted = false;

    bool Plain() const
    {
        return !never && !keeping.noCache && keeping.pollMs == 0 && !changes &&
               automatic == nullptr;
    }
};

struct ValueCache::Register {
    Dependencies::Register facts;
    bool selects = false;            ///< keeps the value of a selector
    std::vector<std::uint8_t> bytes; ///< empty: not known

    bool Overlaps(std::uint64_t address, std::size_t size) const
    {
        return address < facts.address + facts.length && facts.address < address + size;
    }
};

struct ValueCache::Affected {
    std::vector<Cell*> cells;
    std::vector<Register*> registers;
    std::unordered_set<ArvGcNode*> written; ///< what the write itself reaches
};

} // namespace net
