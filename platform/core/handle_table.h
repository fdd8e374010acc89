/** Open cameras by handle. A handle names a place and its use, so that a stale one is recognised
 *  and never followed.
 *
 *  Threads: any. The lock is held for a few instructions; a camera that is closed while a call on
 *  it is under way goes when that call returns. */
#pragma once

#include "gev_backend.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

namespace gevplat
{

/** A record from outside, whose texts may lack their ends, with them. */
GEV_DEVICE_INFO Terminated(const GEV_DEVICE_INFO& device);

/** A camera and the record that it was opened by. */
struct OpenCamera {
    GEV_DEVICE_INFO device{};
    std::unique_ptr<Camera> camera;
};

class HandleTable
{
public:
    static HandleTable& Get();

    void* Add(std::shared_ptr<OpenCamera> camera);
    /** Null for a handle that is not open. */
    std::shared_ptr<OpenCamera> Find(const void* handle) const;
    std::vector<void*> Handles() const;
    std::shared_ptr<OpenCamera> Remove(const void* handle);
    std::vector<std::shared_ptr<OpenCamera>> RemoveAll();

private:
    struct Place {
        std::uint64_t use = 0;
        std::shared_ptr<OpenCamera> camera;
    };
    std::size_t Index(const void* handle) const;

    mutable std::mutex mutex_;
    std::vector<Place> places_;
};

} // namespace gevplat
