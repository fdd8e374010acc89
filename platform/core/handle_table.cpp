#include "core/handle_table.h"

#include <algorithm>

namespace gevplat
{

namespace
{

// A handle is the place counted from 1 in its low bits and the use of that place above.
constexpr unsigned kPlaceBits = 10;
constexpr std::uintptr_t kPlaceMask = (std::uintptr_t{1} << kPlaceBits) - 1;

void* HandleOf(std::size_t index, std::uint64_t use)
{
    return reinterpret_cast<void*>(use << kPlaceBits | (index + 1));
}

} // namespace

GEV_DEVICE_INFO Terminated(const GEV_DEVICE_INFO& device)
{
    GEV_DEVICE_INFO copy = device;
    for (char* text : {copy.manufacturer, copy.model, copy.serial, copy.version, copy.address}) {
        text[kGevTextSize - 1] = '\0';
    }
    copy.backend[sizeof copy.backend - 1] = '\0';
    return copy;
}

HandleTable& HandleTable::Get()
{
    static auto* table = new HandleTable; // kept for threads that still run while the process ends
    return *table;
}

void* HandleTable::Add(std::shared_ptr<OpenCamera> camera)
{
    const std::lock_guard lock(mutex_);
    auto place = std::find_if(places_.begin(), places_.end(),
                              [](const Place& p) { return p.camera == nullptr; });
    if (place == places_.end()) {
        if (places_.size() == kPlaceMask) {
            return nullptr;
        }
        place = places_.insert(places_.end(), Place{});
    }
    place->camera = std::move(camera);
    ++place->use;
    return HandleOf(static_cast<std::size_t>(place - places_.begin()), place->use);
}

/** The place of an open handle, or the number of places. Under the lock. */
std::size_t HandleTable::Index(const void* handle) const
{
    const auto bits = reinterpret_cast<std::uintptr_t>(handle);
    const std::size_t index = (bits & kPlaceMask) - 1;
    const bool open = index < places_.size() && places_[index].camera != nullptr &&
                      places_[index].use == bits >> kPlaceBits;
    return open ? index : places_.size();
}

std::shared_ptr<OpenCamera> HandleTable::Find(const void* handle) const
{
    const std::lock_guard lock(mutex_);
    const std::size_t index = Index(handle);
    return index == places_.size() ? nullptr : places_[index].camera;
}

std::vector<void*> HandleTable::Handles() const
{
    const std::lock_guard lock(mutex_);
    std::vector<void*> handles;
    for (std::size_t i = 0; i < places_.size(); ++i) {
        if (places_[i].camera != nullptr) {
            handles.push_back(HandleOf(i, places_[i].use));
        }
    }
    return handles;
}

std::shared_ptr<OpenCamera> HandleTable::Remove(const void* handle)
{
    const std::lock_guard lock(mutex_);
    const std::size_t index = Index(handle);
    return index == places_.size() ? nullptr : std::move(places_[index].camera);
}

std::vector<std::shared_ptr<OpenCamera>> HandleTable::RemoveAll()
{
    std::vector<std::shared_ptr<OpenCamera>> removed;
    const std::lock_guard lock(mutex_);
    for (Place& place : places_) {
        if (place.camera != nullptr) {
            removed.push_back(std::move(place.camera));
        }
    }
    return removed;
}

} // namespace gevplat
