/** The backend "net": GigE Vision cameras, through the network library. */
#pragma once

#include "gev_backend.h"
#include "net/control/interfaces.h"

#include <mutex>
#include <string>
#include <vector>

namespace net
{

class NetworkBackend : public gevplat::Backend
{
public:
    NetworkBackend();

    /** Looks on one interface alone, or on all with an empty text; false: there is no such one. */
    bool LookOn(const std::string& interface);

    const char* Name() const override { return "net"; }
    /** Takes about a second: cameras have that long to answer. */
    int List(std::vector<GEV_DEVICE_INFO>* devices) override;
    int Open(const GEV_DEVICE_INFO& device, int accessMode,
             std::unique_ptr<gevplat::Camera>* camera) override;
    void Uninitialize() override {}

private:
    bool IsLookedOn(std::uint32_t address) const;

    mutable std::mutex mutex_; ///< the library keeps one list of devices for the process
    std::string interface_;
    std::vector<Subnet> subnets_;
};

} // namespace net
