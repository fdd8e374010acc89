/** Takes up what the elements of a description say of each other. */
#include "net/description/dependencies.h"
#include "net/library_owners.h"

#include <algorithm>
#include <fmt/format.h>
#include <string_view>
#include <utility>

namespace net
{

namespace
{

constexpr std::int64_t kMaxLength = 4096; ///< of a register, in bytes
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

} // namespace net
