#include "control/camera_access.h"

#include "features/feature_access.h"
#include "features/feature_file.h"
#include "features/selectors.h"

#include "gev_host.h"

#include <algorithm>
#include <chrono>
#include <fmt/format.h>
#include <thread>

namespace kvgrab
{

namespace
{

/** The selectors that the driver moves while it grabs, and other features that it switches for a
 *  few accesses. */
constexpr std::string_view kSelectors[] = {"GainSelector", "DeviceTemperatureSelector",
                                           "LineSelector", "BalanceRatioSelector",
                                           "LUTSelector",  "LUTIndex",
                                           "ChunkSelector"};
constexpr std::string_view kSwitches[] = {"autoBrightnessMode", "lutType"};
/** The driver's second thread moves it at times of its own. */
constexpr std::string_view kLineSelector = "LineSelector";

constexpr std::chrono::milliseconds kFramePatience(2000);
constexpr std::chrono::milliseconds kCommandPatience(4000);
constexpr std::chrono::milliseconds kBetweenLooks(10);

/** Why a feature is not set while the driver grabs; null if it may be. */
const char* WhyNotSet(const std::string& feature)
{
    const auto isIn = [&feature](const auto& names) {
        return std::find(std::begin(names), std::end(names), feature) != std::end(names);
    };
    if (isIn(kSelectors)) {
        return "the driver moves it while it grabs; name its value in brackets, as in "
               "Gain[DigitalAll]";
    }
    if (isIn(kSwitches)) {
        return "the driver switches it while it grabs; change the configuration instead";
    }
    return BelongsToConnection(feature) ? "it belongs to the connection that the driver uses"
                                        : nullptr;
}

[[noreturn]] void RefuseWithoutCamera()
{
    throw RpcFailure{RpcCode::NoCamera, "no camera is grabbing"};
}

const GenApi::CNodeMapRef* OpenMap()
{
    void* camera = nullptr;
    int count = 0;
    GevGetOpenCameras(&camera, 1, &count);
    return count == 0 ? nullptr : GevGetFeatureNodeMap(camera);
}

/** The value of an outcome that is Done. */
std::string ValueOf(const Outcome& outcome)
{
    if (!outcome.Ok()) {
        throw RpcFailure{outcome.kind == Outcome::Kind::CameraFailed ? RpcCode::CameraFailed
                                                                     : RpcCode::Refused,
                         outcome.text};
    }
    return outcome.text;
}

/** Accesses the features of the run's camera, on this thread. */
template <class Access> Outcome OnThisThread(ControlDesk& desk, const Access& access)
{
    Outcome outcome;
    bool found = false;
    desk.WithCamera([&] {
        if (const GenApi::CNodeMapRef* const map = OpenMap()) {
            found = true;
            outcome = access(*map);
        }
    });
    if (!found) {
        RefuseWithoutCamera();
    }
    return outcome;
}

/** The same on the grab thread, between two frames. */
template <class Access> Outcome BetweenFrames(ControlDesk& desk, const Access& access)
{
    if (!desk.WithCamera([] {})) {
        RefuseWithoutCamera();
    }
    Outcome outcome;
    const bool done = desk.OnGrabThread(
        [&] {
            if (const GenApi::CNodeMapRef* const map = OpenMap()) {
                outcome = access(*map);
            }
        },
        kFramePatience);
    if (!done && !desk.WithCamera([] {})) {
        RefuseWithoutCamera();
    }
    if (!done) {
        throw RpcFailure{RpcCode::Busy,
                         "a feature with a value in brackets is accessed between two frames, and "
                         "none came within 2 s"};
    }
    return outcome;
}

/** Whether LineSelector decides which line an access is about. */
bool DependsOnLine(const GenApi::CNodeMapRef& map, const FeatureName& name)
{
    GenApi::INode* const node = map.GetNode(name.feature.c_str());
    if (node == nullptr) {
        return false;
    }
    const auto selectors = SelectorsOf(*node);
    return std::any_of(selectors.begin(), selectors.end(), [](GenApi::INode* selector) {
        return selector->GetName() == kLineSelector;
    });
}

/** Refuses what could reach another line than is meant, or have the driver reach another. */
void CheckLine(ControlDesk& desk, const FeatureName& name)
{
    const auto config = desk.ConfigWithChanges();
    if (config == nullptr || config->iobox.empty()) {
        return;
    }
    bool depends = false;
    OnThisThread(desk, [&](const GenApi::CNodeMapRef& map) {
        depends = DependsOnLine(map, name);
        return Outcome();
    });
    if (depends) {
        throw RpcFailure{RpcCode::Refused,
                         fmt::format("{} depends on LineSelector, which the driver moves at any "
                                     "time while output lines are configured (iobox)",
                                     name.Text())};
    }
}

template <class Access>
std::string Do(ControlDesk& desk, const FeatureName& name, const Access& access)
{
    CheckLine(desk, name);
    return ValueOf(name.selected.empty() ? OnThisThread(desk, access)
                                         : BetweenFrames(desk, access));
}

std::string Set(ControlDesk& desk, const FeatureSetting& setting)
{
    if (const char* const why = WhyNotSet(setting.name.feature)) {
        throw RpcFailure{RpcCode::Refused,
                         fmt::format("{} can't be set: {}", setting.name.Text(), why)};
    }
    return Do(desk, setting.name, [&](const GenApi::CNodeMapRef& map) {
        return FeatureAccess(map).Set(setting.name, setting.value);
    });
}

void Execute(ControlDesk& desk, const std::string& command)
{
    ValueOf(OnThisThread(
        desk, [&](const GenApi::CNodeMapRef& map) { return FeatureAccess(map).Begin(command); }));
    const auto limit = std::chrono::steady_clock::now() + kCommandPatience;
    while (std::chrono::steady_clock::now() < limit) {
        bool done = false;
        ValueOf(OnThisThread(desk, [&](const GenApi::CNodeMapRef& map) {
            return FeatureAccess(map).IsDone(command, &done);
        }));
        if (done) {
            return;
        }
        std::this_thread::sleep_for(kBetweenLooks);
    }
    throw RpcFailure{
        RpcCode::Busy,
        fmt::format("{} was begun, but the camera has not finished it after 4 s", command)};
}

} // namespace

FeatureMethods FeaturesOfTheRun(ControlDesk& desk)
{
    return {.get =
                [&desk](const FeatureName& name) {
                    return Do(desk, name, [&](const GenApi::CNodeMapRef& map) {
                        return FeatureAccess(map).Get(name);
                    });
                },
            .set = [&desk](const FeatureSetting& setting) { return Set(desk, setting); },
            .execute = [&desk](const std::string& command) { Execute(desk, command); }};
}

CameraNames NamesOfOpenCamera()
{
    void* camera = nullptr;
    int count = 0;
    GevGetOpenCameras(&camera, 1, &count);
    const GEV_DEVICE_INFO* const info = count == 0 ? nullptr : GevGetCameraInfo(camera);
    if (info == nullptr) {
        return {};
    }
    return {info->manufacturer, info->model, info->serial, info->version};
}

} // namespace kvgrab
