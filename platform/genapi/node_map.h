/** Finds nodes by name: a hash table, without ownership, whose look-up doesn't allocate. Filled
 *  once, then read from any thread without a lock. */
#pragma once

#include "gen_api.h"

#include <string_view>
#include <unordered_map>
#include <vector>

namespace genapi
{

class NodeMap : public GenApi_3_0::INodeMap
{
public:
    /** The node must outlive the map and keep its name. */
    void Add(GenApi_3_0::INode* node);

    GenApi_3_0::INode* GetNode(const GenApi_3_0::gcstring& name) override;
    std::size_t GetNodeCount() override { return nodes_.size(); }
    GenApi_3_0::INode* GetNodeAt(std::size_t index) override;

private:
    std::vector<GenApi_3_0::INode*> nodes_;
    std::unordered_map<std::string_view, GenApi_3_0::INode*> byName_;
};

} // namespace genapi
