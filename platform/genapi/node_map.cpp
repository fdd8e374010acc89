#include "genapi/node_map.h"

namespace genapi
{

void NodeMap::Add(GenApi_3_0::INode* node)
{
    if (byName_.emplace(node->GetName(), node).second) {
        nodes_.push_back(node);
    }
}

GenApi_3_0::INode* NodeMap::GetNode(const GenApi_3_0::gcstring& name)
{
    const auto found = byName_.find(name.view());
    return found == byName_.end() ? nullptr : found->second;
}

GenApi_3_0::INode* NodeMap::GetNodeAt(std::size_t index)
{
    return index < nodes_.size() ? nodes_[index] : nullptr;
}

} // namespace genapi
