/** Takes any text as the description of a simulated network, and puts its cameras on the network.
 */
#include "sim/description/description.h"
#include "sim/network.h"

#include <cstdlib>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    sim::NetworkDescription description;
    std::string error;
    if (!sim::ParseNetwork(text, "/nowhere/fuzz.toml", &description, &error)) {
        if (error.empty()) {
            std::abort();
        }
        return 0;
    }
    sim::Reset();
    for (std::size_t i = 0; i < description.cameras.size(); ++i) {
        sim::Network::Get().Add(description.cameras[i], description.scenes[i]);
    }
    GEV_DEVICE_INFO list[8];
    int count = 0;
    GevGetCameraList(list, 8, &count);
    for (int i = 0; i < count; ++i) {
        void* handle = nullptr;
        if (GevOpenCamera(&list[i], 2, &handle) == kGevOk) {
            std::uint64_t payload = 0;
            GevGetPayloadParameters(handle, &payload, nullptr);
            GevCloseCamera(&handle);
        }
    }
    sim::Reset();
    return 0;
}
