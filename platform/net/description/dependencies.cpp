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
constexpr std::int64_t kMaxLength = 4096;    ///< of a register, in bytes
constexpr std::int64_t kLongestPollMs = 3'600'000;

/** A faulty number counts as 0. */
std::int64_t NumberOf(ArvDomNode* child)
{
    ErrorSlot error;
    const std::int64_t number =
        arv_gc_property_node_get_int64(ARV_GC_PROPERTY_NODE(child), error.Out());
    return error ? 0 : number;
}

/** What comes through the port is no memory of the camera, but data of a frame or an event. */
bool IsOfData(ArvGcNode* port)
{
    bool found = port == nullptr;
    if (port != nullptr) {
        ForEachChild(port, [&](ArvDomNode* child) {
            const std::string_view name = arv_dom_node_get_node_name(child);
            found = found || name == "ChunkID" || name == "EventID";
        });
    }
    return found;
}

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

/** Takes the elements of a description up, all of them before their links. */
class Dependencies::Reader
{
public:
    explicit Reader(Dependencies& all) : all_(all) {}

    void Read(ArvGc* features)
    {
        std::vector<ArvDomNode*> ahead = {ARV_DOM_NODE(features)};
        while (!ahead.empty()) {
            ArvDomNode* const element = ahead.back();
            ahead.pop_back();
            ForEachChild(element, [&](ArvDomNode* child) {
                if (!ARV_IS_GC_NODE(child) || ARV_IS_GC_PROPERTY_NODE(child)) {
                    return;
                }
                const auto index = static_cast<Index>(all_.nodes_.size());
                all_.nodes_.emplace_back().node = ARV_GC_NODE(child);
                all_.byNode_.emplace(ARV_GC_NODE(child), index);
                ahead.push_back(child);
            });
        }
        for (Index i = 0; i < all_.nodes_.size(); ++i) {
            ReadLinks(i);
        }
        for (const Index command : commands_) { // the camera takes the value back when it is done
            for (const Index kept : all_.Written(command)) {
                all_.nodes_[kept].own.noCache = true;
            }
        }
    }

private:
    /** What an element says of the address of its register. */
    struct Address {
        bool isConstant = true;
        std::uint64_t constant = 0;
        std::string text;
        ArvGcNode* port = nullptr;
    };

    void ReadLinks(Index index)
    {
        ArvGcNode* const node = all_.nodes_[index].node;
        const bool isRegister = ARV_IS_GC_REGISTER_NODE(node) != 0;
        all_.nodes_[index].isRegister = isRegister;
        all_.nodes_[index].own.onCamera = isRegister;
        if (ARV_IS_GC_COMMAND(node)) {
            commands_.push_back(index);
        }
        if (ARV_IS_GC_STRUCT_ENTRY_NODE(node)) {
            all_.AddUse(node, Link::Value,
                        ARV_GC_NODE(arv_dom_node_get_parent_node(ARV_DOM_NODE(node))));
        }
        Address address;
        ForEachChild(node, [&](ArvDomNode* child) {
            if (ARV_IS_GC_PROPERTY_NODE(child)) {
                ReadProperty(all_.nodes_[index], ARV_GC_PROPERTY_NODE(child), &address);
            } else if (ARV_IS_GC_ENUM_ENTRY(child)) {
                all_.AddUse(node, Link::Gate, ARV_GC_NODE(child));
            } else if (ARV_IS_GC_SWISS_KNIFE(child)) { // written inside, it computes an address
                address.isConstant = false;
                address.text += fmt::format("{} ", static_cast<const void*>(child));
                all_.AddUse(node, Link::Address, ARV_GC_NODE(child));
            }
        });
        if (all_.nodes_[index].isRegister) {
            Place(all_.nodes_[index], address);
        }
    }

    void ReadProperty(Node& node, ArvGcPropertyNode* property, Address* address)
    {
        ArvDomNode* const child = ARV_DOM_NODE(property);
        const auto uses = [&](Link link) {
            all_.AddUse(node.node, link, arv_gc_property_node_get_linked_node(property));
        };
        const auto computes = [&] {
            address->isConstant = false;
            address->text += fmt::format("{} ", LinkText(child));
            uses(Link::Address);
        };
        switch (arv_gc_property_node_get_node_type(property)) {
        case ARV_GC_PROPERTY_NODE_TYPE_P_VALUE:
        case ARV_GC_PROPERTY_NODE_TYPE_P_VALUE_INDEXED:
        case ARV_GC_PROPERTY_NODE_TYPE_P_VALUE_DEFAULT:
            uses(Link::Value);
            break;
        case ARV_GC_PROPERTY_NODE_TYPE_P_VARIABLE:
        case ARV_GC_PROPERTY_NODE_TYPE_P_LENGTH:
        case ARV_GC_PROPERTY_NODE_TYPE_P_COMMAND_VALUE:
            uses(Link::Variable);
            break;
        case ARV_GC_PROPERTY_NODE_TYPE_P_INDEX:
            if (node.isRegister) {
                computes();
            } else {
                uses(Link::Variable);
            }
            break;
        case ARV_GC_PROPERTY_NODE_TYPE_P_ADDRESS:
            computes();
            break;
        case ARV_GC_PROPERTY_NODE_TYPE_P_MINIMUM:
        case ARV_GC_PROPERTY_NODE_TYPE_P_MAXIMUM:
        case ARV_GC_PROPERTY_NODE_TYPE_P_INCREMENT:
            uses(Link::Limit);
            break;
        case ARV_GC_PROPERTY_NODE_TYPE_P_IS_IMPLEMENTED:
        case ARV_GC_PROPERTY_NODE_TYPE_P_IS_AVAILABLE:
        case ARV_GC_PROPERTY_NODE_TYPE_P_IS_LOCKED:
            uses(Link::Gate);
            break;
        case ARV_GC_PROPERTY_NODE_TYPE_P_INVALIDATOR:
            all_.saysSomething_ = true;
            uses(Link::Invalidator);
            break;
        case ARV_GC_PROPERTY_NODE_TYPE_ADDRESS:
            address->constant += static_cast<std::uint64_t>(NumberOf(child));
            break;
        case ARV_GC_PROPERTY_NODE_TYPE_LENGTH: {
            const std::int64_t length = NumberOf(child);
            node.length = length < 1 || length > kMaxLength ? 0 : static_cast<Index>(length);
            break;
        }
        case ARV_GC_PROPERTY_NODE_TYPE_P_PORT:
            address->port = arv_gc_property_node_get_linked_node(property);
            break;
        case ARV_GC_PROPERTY_NODE_TYPE_CACHABLE:
            all_.saysSomething_ = true;
            node.own.noCache = node.own.noCache || LinkText(child) == "NoCache";
            node.own.writeThrough = LinkText(child) == "WriteThrough";
            break;
        case ARV_GC_PROPERTY_NODE_TYPE_POLLING_TIME: {
            all_.saysSomething_ = true;
            const std::int64_t ms = NumberOf(child);
            node.own.noCache = node.own.noCache || ms <= 0;
            node.own.pollMs = static_cast<Index>(std::clamp<std::int64_t>(ms, 0, kLongestPollMs));
            break;
        }
        default:
            break;
        }
    }

    /** Registers at the same computed address, such as the bits of one word, change together. Of
     *  those at constant addresses every write shows which ones it reaches. */
    void Place(Node& node, const Address& address)
    {
        if (IsOfData(address.port)) {
            node.own.noCache = true;
            return;
        }
        if (address.isConstant) {
            node.address = address.constant;
            return;
        }
        const auto [place, isNew] =
            byAddress_.emplace(fmt::format("{} {}", address.text, address.constant), node.node);
        if (!isNew) {
            all_.AddUse(node.node, Link::Invalidator, place->second);
            all_.AddUse(place->second, Link::Invalidator, node.node);
        }
    }

    Dependencies& all_;
    std::vector<Index> commands_;
    std::unordered_map<std::string, ArvGcNode*> byAddress_; ///< the first one there
};

Dependencies::Dependencies(ArvGc* features)
{
    Reader(*this).Read(features);
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
