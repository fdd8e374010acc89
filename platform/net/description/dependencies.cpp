#include "net/description/dependencies.h"

#include "net/library_owners.h"

#include <algorithm>
#include <fmt/format.h>
#include <string_view>
#include <unordered_set>
#include <utility>

namespace net
{

namespace
{

constexpr unsigned kMaxDepth = 200; ///< beyond that of any sound feature
constexpr std::size_t kMaxSelectors = 16;
constexpr std::size_t kMaxSteps = 5'000'000; ///< real descriptions stay far below

} // namespace

void Keeping::Add(const Keeping& other)
{
    noCache = noCache || other.noCache;
    writeThrough = writeThrough && other.writeThrough;
    onCamera = onCamera || other.onCamera;
    if (other.pollMs != 0) {
        pollMs = pollMs == 0 ? other.pollMs : std::min(pollMs, other.pollMs);
    }
}

std::vector<Dependencies::Index> Dependencies::Find(const std::vector<ArvGcNode*>& nodes) const
{
    std::vector<Index> found;
    for (ArvGcNode* node : nodes) {
        if (const auto place = byNode_.find(node); place != byNode_.end()) {
            found.push_back(place->second);
        }
    }
    return found;
}

void Dependencies::AddUse(ArvGcNode* from, Link link, ArvGcNode* to)
{
    const std::vector<Index> ends = Find({from, to});
    if (ends.size() == 2) {
        nodes_[ends[0]].uses.push_back({link, ends[1]});
        nodes_[ends[1]].users.push_back({link, ends[0]});
    }
}

void Dependencies::AddSelector(ArvGcNode* selector, ArvGcNode* selected)
{
    const std::vector<Index> both = Find({selector, selected});
    if (both.size() == 2) {
        nodes_[both[1]].selectors.push_back(both[0]);
    }
}

void Dependencies::AddChanging(ArvGcNode* feature)
{
    for (const Index index : Find({feature})) {
        nodes_[index].changing = true;
    }
}

void Dependencies::AddInvalidator(ArvGcNode* feature, ArvGcNode* other)
{
    AddUse(feature, Link::Invalidator, other);
}

template <class Next>
std::vector<Dependencies::Index> Dependencies::Reach(std::vector<Index> start,
                                                     const Next& next) const
{
    std::unordered_set<Index> met(start.begin(), start.end());
    std::vector<Index> reached = std::move(start);
    for (std::size_t i = 0; i < reached.size(); ++i) {
        next(nodes_[reached[i]], [&](Index to) {
            if (met.insert(to).second) {
                reached.push_back(to);
            }
        });
    }
    return reached;
}

std::vector<Dependencies::Index> Dependencies::Written(Index node, bool alsoRead) const
{
    return Reach({node}, [alsoRead](const Node& from, const auto& go) {
        for (const Use& use : from.uses) {
            if (use.link == Link::Value || (alsoRead && use.link == Link::Variable)) {
                go(use.to);
            }
        }
    });
}

const Keeping& Dependencies::Value(Index node, unsigned depth) const
{
    static constexpr Keeping kNever{.noCache = true};
    if (depth > kMaxDepth) {
        return kNever;
    }
    // Until it is known, which only a circle asks for: not at all.
    const auto [place, isNew] = values_.emplace(node, kNever);
    if (!isNew) {
        return place->second;
    }
    Keeping keeping = nodes_[node].own;
    for (const Use& use : nodes_[node].uses) {
        if (use.link == Link::Value || use.link == Link::Variable || use.link == Link::Address) {
            keeping.Add(Value(use.to, depth + 1));
        }
    }
    return values_[node] = keeping;
}

Keeping Dependencies::Limits(Index node, unsigned depth) const
{
    if (depth > kMaxDepth) {
        return {.noCache = true};
    }
    Keeping keeping;
    for (const Use& use : nodes_[node].uses) {
        if (use.link == Link::Limit || use.link == Link::Variable) {
            keeping.Add(Value(use.to, 0));
        } else if (use.link == Link::Value && !nodes_[use.to].isRegister) { // has some of them
            keeping.Add(Limits(use.to, depth + 1));
        }
    }
    return keeping;
}

Keeping Dependencies::OfValue(ArvGcNode* feature) const
{
    const std::vector<Index> found = Find({feature});
    return found.empty() ? Keeping{.noCache = true} : Value(found.front(), 0);
}

Keeping Dependencies::OfLimits(ArvGcNode* feature) const
{
    const std::vector<Index> found = Find({feature});
    return found.empty() ? Keeping{.noCache = true} : Limits(found.front(), 0);
}

Keeping Dependencies::OfGates(const std::vector<Gate>& gates, bool onlyReads) const
{
    Keeping keeping;
    for (const Gate& gate : gates) {
        if (onlyReads && gate.kind == Gate::Kind::Locked) {
            continue;
        }
        for (const Index node : Find({ARV_GC_NODE(gate.node)})) {
            for (const Use& use : nodes_[node].uses) {
                if (use.link == Link::Gate) {
                    keeping.Add(Value(use.to, 0));
                }
            }
        }
    }
    return keeping;
}

std::optional<std::vector<ArvGcNode*>> Dependencies::SelectorsOf(ArvGcNode* feature) const
{
    std::unordered_set<Index> selectors;
    const std::vector<Index> start = Find({feature});
    Reach(start, [&](const Node& from, const auto& go) {
        if (++steps_ > kMaxSteps || selectors.size() > kMaxSelectors) {
            return;
        }
        for (const Use& use : from.uses) {
            if (use.link != Link::Invalidator) {
                go(use.to);
            }
        }
        for (const Index selector : from.selectors) {
            selectors.insert(selector);
            go(selector);
        }
    });
    if (start.empty() || steps_ > kMaxSteps || selectors.size() > kMaxSelectors ||
        selectors.contains(start.front())) {
        return std::nullopt;
    }
    return NodesOf({selectors.begin(), selectors.end()});
}

std::vector<ArvGcNode*> Dependencies::WrittenBy(ArvGcNode* feature) const
{
    const std::vector<Index> found = Find({feature});
    return found.empty() ? std::vector<ArvGcNode*>() : NodesOf(Written(found.front()));
}

std::vector<ArvGcNode*> Dependencies::ChangedBy(ArvGcNode* feature) const
{
    return NodesOf(Reach(Find(WrittenBy(feature)), [this](const Node& from, const auto& go) {
        for (const Use& user : from.users) {
            go(user.to);
            if (user.link == Link::Invalidator) { // what it is read from has changed
                const std::vector<Index> behind = Written(user.to, true);
                std::for_each(behind.begin(), behind.end(), go);
            }
        }
    }));
}

std::vector<ArvGcNode*> Dependencies::NodesOf(const std::vector<Index>& indices) const
{
    std::vector<ArvGcNode*> nodes;
    nodes.reserve(indices.size());
    for (const Index index : indices) {
        nodes.push_back(nodes_[index].node);
    }
    return nodes;
}

std::vector<Dependencies::Register> Dependencies::ConstantRegisters() const
{
    std::vector<Index> moving; // what a selector or the camera gives another content
    for (Index i = 0; i < nodes_.size(); ++i) {
        if (nodes_[i].changing || !nodes_[i].selectors.empty()) {
            moving.push_back(i);
        }
    }
    moving = Reach(std::move(moving), [](const Node& from, const auto& go) {
        for (const Use& use : from.uses) {
            if (use.link != Link::Address && use.link != Link::Invalidator) {
                go(use.to);
            }
        }
    });
    const std::unordered_set<Index> isMoving(moving.begin(), moving.end());
    std::vector<Register> registers;
    for (Index i = 0; i < nodes_.size(); ++i) {
        const Node& node = nodes_[i];
        if (node.address && node.length != 0) {
            const Keeping& keeping = Value(i, 0);
            const bool keepable = !keeping.noCache && keeping.pollMs == 0 && !isMoving.contains(i);
            registers.push_back({.node = node.node,
                                 .address = *node.address,
                                 .length = node.length,
                                 .writeThrough = keeping.writeThrough,
                                 .keepable = keepable});
        }
    }
    return registers;
}

} // namespace net
