#include "output_lines.h"

#include "camera_table.h"
#include "gen_api.h"
#include "gev_api.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>

namespace kvgrab
{

namespace
{

constexpr int kCamerasLookedAt = 8; ///< by the driver
constexpr std::uint32_t kControl = 2;

/** Leaves the platform layer as the driver expects to find it. */
struct Platform {
    Platform() = default;
    ~Platform()
    {
        GevApiUninitialize();
        _CloseSocketAPI();
    }
    Platform(const Platform&) = delete;
    Platform& operator=(const Platform&) = delete;
};

struct CameraCloser {
    void operator()(void* handle) const { GevCloseCamera(&handle); }
};
using OpenCamera = std::unique_ptr<void, CameraCloser>;

/** The first camera that the driver takes; null when there is none. */
const GEV_DEVICE_INFO* Chosen(const std::array<GEV_DEVICE_INFO, kCamerasLookedAt>& list, int count,
                              const CameraConfig& wanted)
{
    const auto* const end = list.data() + std::min(count, kCamerasLookedAt);
    const auto ours = [](const GEV_DEVICE_INFO& camera) {
        return WhyNotTaken(
                   {camera.manufacturer, camera.model, camera.serial, camera.version, camera.kind},
                   0)
            .empty();
    };
    if (std::none_of(list.data(), end, ours)) {
        return nullptr;
    }
    const auto* const found = std::find_if(list.data(), end, [&](const GEV_DEVICE_INFO& camera) {
        const bool byName =
            std::strncmp(wanted.model.c_str(), camera.model, wanted.model.size()) == 0 &&
            (wanted.serial.empty() || wanted.serial == camera.serial);
        return byName || (wanted.positionMask & 1U << (&camera - list.data())) != 0;
    });
    return found == end ? nullptr : found;
}

/** What keeps a feature from being used as the driver will use it; empty for nothing. */
template <class Pointer> std::string Trouble(const Pointer& node, const std::string& name)
{
    if (!node) {
        return "has no " + name;
    }
    return GenApi::IsWritable(node->GetAccessMode()) ? "" : "does not let " + name + " be set";
}

std::string EntryTrouble(const GenApi::CEnumerationPtr& node, const std::string& name,
                         const char* entry)
{
    const GenApi::IEnumEntry* const found = node->GetEntryByName(entry);
    const bool there = found != nullptr && GenApi::IsReadable(found->GetAccessMode());
    return there ? "" : "has no entry " + std::string(entry) + " of " + name;
}

std::string LineTrouble(const GenApi::CNodeMapRef& map, const char* line)
{
    const GenApi::CEnumerationPtr selector = map.GetNode("LineSelector");
    const GenApi::CEnumerationPtr source = map.GetNode("outputLineSource");
    const GenApi::CBooleanPtr inverter = map.GetNode("LineInverter");
    std::string trouble = Trouble(selector, "LineSelector");
    if (trouble.empty()) {
        trouble = EntryTrouble(selector, "LineSelector", line);
    }
    if (!trouble.empty()) {
        return trouble;
    }
    const GenApi::gcstring before = selector->ToString();
    selector->FromString(line);
    trouble = Trouble(source, "outputLineSource");
    for (const char* entry : {"Off", "ExposureActive"}) {
        trouble = trouble.empty() ? EntryTrouble(source, "outputLineSource", entry) : trouble;
    }
    trouble = trouble.empty() ? Trouble(inverter, "LineInverter") : trouble;
    for (const char* name : {"outputLinePulseDelay", "outputLinePulseDuration"}) {
        // One that can't be written is left as it is; it only has to be there and to tell its
        // range.
        const GenApi::CIntegerPtr pulse = map.GetNode(name);
        if (trouble.empty() && (!pulse || !GenApi::IsReadable(pulse->GetAccessMode()))) {
            trouble = "has no " + std::string(name) + " that can be read";
        }
    }
    selector->FromString(before);
    return trouble;
}

} // namespace

std::string WhyLinesCannotBeDriven(const Config& config)
{
    if (!DrivesOutputLines(config)) {
        return "";
    }
    const Platform platform;
    std::array<GEV_DEVICE_INFO, kCamerasLookedAt> list{};
    int count = 0;
    GevGetCameraList(list.data(), kCamerasLookedAt, &count);
    const GEV_DEVICE_INFO* const chosen = Chosen(list, count, config.camera);
    void* handle = nullptr;
    if (chosen == nullptr || GevOpenCamera(chosen, kControl, &handle) != kGevOk) {
        return "";
    }
    const OpenCamera camera(handle);
    const std::string who = std::string("the camera ") + chosen->serial + " ";
    try {
        const auto* const map = GevGetFeatureNodeMap(handle);
        for (const IoSetConfig& set : SetsRead(config)) {
            const char* const line = map == nullptr ? nullptr : OutputLineOf(set);
            const std::string trouble = line == nullptr ? "" : LineTrouble(*map, line);
            if (!trouble.empty()) {
                return who + trouble + ", which the [[iobox]] set for " +
                       KvTd::KvCfgIoPinMapT[set.pin].name +
                       " needs: take the set out, or use another camera";
            }
        }
    } catch (const std::exception& e) {
        return who + "refuses a look at its output lines: " + e.what();
    }
    return "";
}

} // namespace kvgrab
