/** Which values of a camera's description are made out of which others, and how long the
 *  description lets them be kept.
 *
 *  Examined once, when the camera is opened; nothing is read from the camera. What a faulty
 *  description says here does no harm: no such value is ever read (description.h), and every walk
 *  ends. */
#pragma once

#include "net/description/description.h"

#include <arv.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace net
{

/** How long a value may be kept, by everything that it depends on. */
struct Keeping {
    bool noCache = false;     ///< not at all
    bool writeThrough = true; ///< a write leaves exactly what was written
    std::uint32_t pollMs = 0; ///< for so long; 0: until something is written
    bool onCamera = false;    ///< otherwise the description alone decides about it
    /** It depends on what the other says, too. */
    void Add(const Keeping& other);
};

class Dependencies
{
public:
    explicit Dependencies(ArvGc* features);

    /** It has no element about caching at all. */
    bool SayNothing() const { return !saysSomething_; }

    // To be called before the questions below.
    void AddSelector(ArvGcNode* selector, ArvGcNode* selected);
    /** The camera changes the value by itself. */
    void AddChanging(ArvGcNode* feature);
    /** A write of `other` may change the feature, as if it named that one in a pInvalidator. */
    void AddInvalidator(ArvGcNode* feature, ArvGcNode* other);

    Keeping OfValue(ArvGcNode* feature) const;
    Keeping OfLimits(ArvGcNode* feature) const;
    Keeping OfGates(const std::vector<Gate>& gates, bool onlyReads) const;

    /** The selectors that the feature, its limits and its gates depend on, directly or by way of
     *  other features and selectors. None where selectors select each other or are too many. */
    std::optional<std::vector<ArvGcNode*>> SelectorsOf(ArvGcNode* feature) const;

    /** What a write of the feature reaches: the feature itself and what its value is kept in. */
    std::vector<ArvGcNode*> WrittenBy(ArvGcNode* feature) const;
    /** What may have another value after that, by dependency and by pInvalidator. */
    std::vector<ArvGcNode*> ChangedBy(ArvGcNode* feature) const;

    /** A register whose address is a constant. */
    struct Register {
        ArvGcNode* node;
        std::uint64_t address;
        std::uint32_t length;
        bool writeThrough;
        /** It may be kept until it is written: its content depends on no selector, and the camera
         *  doesn't change it. */
        bool keepable;
    };
    std::vector<Register> ConstantRegisters() const;

private:
    using Index = std::uint32_t;
    enum class Link { Value, Variable, Address, Limit, Gate, Invalidator };
    struct Use {
        Link link;
        Index to;
    };
    struct Node {
        ArvGcNode* node = nullptr;
        std::vector<Use> uses;
        std::vector<Use> users; ///< by which link
        std::vector<Index> selectors;
        Keeping own;
        bool isRegister = false;
        bool changing = false;
        std::optional<std::uint64_t> address; ///< of a register, when it is a constant
        std::uint32_t length = 0;
    };
    class Reader;

    /** The indices of these, of those that the description has. */
    std::vector<Index> Find(const std::vector<ArvGcNode*>& nodes) const;
    void AddUse(ArvGcNode* from, Link link, ArvGcNode* to);
    const Keeping& Value(Index node, unsigned depth) const;
    Keeping Limits(Index node, unsigned depth) const;
    /** The nodes of `start` and all that `next(node, go)` goes to from there. */
    template <class Next>
    std::vector<Index> Reach(std::vector<Index> start, const Next& next) const;
    /** What the node's value is kept in, and the node; `alsoRead`: and what it is computed from. */
    std::vector<Index> Written(Index node, bool alsoRead = false) const;
    std::vector<ArvGcNode*> NodesOf(const std::vector<Index>& indices) const;

    std::vector<Node> nodes_;
    std::unordered_map<ArvGcNode*, Index> byNode_;
    bool saysSomething_ = false;
    mutable std::unordered_map<Index, Keeping> values_; ///< as found so far
    mutable std::size_t steps_ = 0;                     ///< of all walks for selectors
};

} // namespace net
