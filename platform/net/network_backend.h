/** The backend "net": GigE Vision cameras, through the network library. */
#pragma once

#include "gev_backend.h"
#include "net/control/interfaces.h"
#include "net/stream/transfer.h"

#include <mutex>
#include <string>
#include <vector>

namespace net
{

class NetworkBackend : public gevplat::Backend
{
public:
    /** False: there is no such interface, and nothing changes. */
    bool Set(const gevplat::BackendChoice& choice);

    const char* Name() const override { return "net"; }
    /** Takes about a second: cameras have that long to answer. Returns at once when the host
     *  interrupts the cameras. */
    int List(std::vector<GEV_DEVICE_INFO>* devices) override;
    int Open(const GEV_DEVICE_INFO& device, int accessMode,
             std::unique_ptr<gevplat::Camera>* camera) override;
    int IsHeld(const GEV_DEVICE_INFO& device, bool* held) override;
    void Uninitialize() override {}

private:
    int Patience() const;
    Receiver ChosenReceiver() const;

    mutable std::mutex mutex_;
    std::string interface_;
    std::vector<Subnet> subnets_;
    int patienceMs_ = 0;
    Receiver receiver_;
};

} // namespace net
