/** The camera's features as nodes of the contract (gen_api.h). */
#pragma once

#include "gen_api.h"
#include "net/control/device.h"

#include <memory>
#include <string_view>

namespace net
{

/** Nodes in the order of the camera's own categories; features outside every category are found by
 *  name. Everything the contract promises is checked here, since the library checks little of it.
 *  All nodes are made when the map is, without asking the camera. One whose description is faulty
 *  is there, is not implemented, and raises PropertyException when its value is asked for.
 *
 *  Threads: any; each access that needs the camera holds the device's lock. */
class FeatureMap : public GenApi_3_0::INodeMap
{
public:
    /** The device outlives the map. */
    explicit FeatureMap(Device& device);
    ~FeatureMap() override;

    GenApi_3_0::INode* GetNode(const GenApi_3_0::gcstring& name) override;
    std::size_t GetNodeCount() override;
    GenApi_3_0::INode* GetNodeAt(std::size_t index) override;

    /** A transfer runs: what the camera changes by itself is read in the background meanwhile
     *  (value_cache.h), and geometry and format are read only where the description has
     *  TLParamsLocked. */
    void LockTransferParameters(bool locked);

    /** The value that a float feature had for the frame that was delivered last, from that frame's
     *  own data: what a read gets, without reaching the camera, until the feature is written, a
     *  selector of it gets another value, or the values are forgotten. A read that ignores the
     *  cache reaches the camera. */
    void SetFrameValue(std::string_view feature, double value);
    void ForgetFrameValues();

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace net
