/** The library's entry: one call of KvLibProc is one device session.
 *
 *      list ─► choose ─► open ─► run ─► close ─► shut down ─► reconfigure? ─► return
 *        │        │        │                        ▲
 *        │        │        └── it can't be: -5 ────►┤
 *        │        └── none is ours: 3 ─────────────►┤
 *        └── none of the maker's: 2 ───────────────►┘ */
#include "gev_api.h"
#include "kv_host_services.h"
#include "kv_td_excam.h"
#include "kv_td_log.h"
#include "kv_td_proc.h"
#include "kv_td_time.h"
#include "util/units.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <unistd.h>

namespace KvTd
{

static constexpr char kLogSource[] = "kv_td_main";
static constexpr int kListSize = 8;
static constexpr int kNone = -1;
static constexpr int kControl = 2; ///< access mode in which cameras are opened

/** What the host asks for, as it was when the session began. */
struct Wanted {
    const char* model;  ///< prefix; may be null
    const char* serial; ///< may be null or empty
    std::uint32_t mask; ///< bit i: list position i, whatever camera it has
};

static unsigned long long NowUs()
{
    return MicrosecondsOf(TimeOfDay());
}

static const char* Shown(const char* text)
{
    return text == nullptr ? "(null)" : text;
}

/** Logs the list and returns how many of its cameras are the maker's. */
static int ReportDevices(const LogSite& site, const GEV_DEVICE_INFO* list, int count)
{
    int found = 0;
    for (int i = 0; i < count; ++i) {
        const GEV_DEVICE_INFO& device = list[i];
        const auto position = static_cast<unsigned>(i);
        KV_LOG_AT(site, 4, "%u. Vendor \"%s\", Model \"%s\", Serial \"%s\"", position,
                  device.manufacturer, device.model, device.serial);
        if (strcasestr(device.manufacturer, "Dalsa") == nullptr) {
            continue;
        }
        ++found;
        KV_LOG_AT(site, 3, "== %u. Camera Device Information ==", position);
        KV_LOG_AT(site, 3, "===================================");
        KV_LOG_AT(site, 3, "\tDeviceModel        : %s", device.model);
        KV_LOG_AT(site, 3, "\tDeviceSerial       : %s", device.serial);
        KV_LOG_AT(site, 3, "\tDeviceVersion      : %s", device.version);
    }
    return found;
}

/** Whether the host wants this camera, by model and serial or else by its position in the list. */
static bool IsWanted(const LogSite& site, const GEV_DEVICE_INFO& device, unsigned position,
                     const Wanted& wanted)
{
    if (wanted.model != nullptr) {
        const int result = strncmp(wanted.model, device.model, strlen(wanted.model));
        KV_LOG_AT(site, 3, "Loop %u. Check configured Model \"%s\" with \"%s\" (result %i)",
                  position, wanted.model, device.model, result);
        if (result == 0) {
            if (wanted.serial == nullptr || *wanted.serial == '\0') {
                return true;
            }
            KV_LOG_AT(site, 3, "Check configured Serial \"%s\" with \"%s\"", wanted.serial,
                      device.serial);
            if (strcmp(wanted.serial, device.serial) == 0) {
                return true;
            }
        }
    }
    if ((wanted.mask & 1U << position) == 0) {
        return false;
    }
    KV_LOG_AT(site, 3, "Loop %u. Choose Model \"%s\" Serial \"%s\" using command line option",
              position, device.model, device.serial);
    return true;
}

/** Returns the first wanted position, whatever maker its camera has; kNone when there is none. */
static int Choose(const LogSite& site, const GEV_DEVICE_INFO* list, int count, const Wanted& wanted)
{
    // Deliberate: the vendor is not asked again.
    // Entry.OpensTheFirstWantedCamera
    for (int i = 0; i < count; ++i) {
        if (IsWanted(site, list[i], static_cast<unsigned>(i), wanted)) {
            return i;
        }
    }
    return kNone;
}

/** Opens the camera, runs the session on it and closes it, whatever the result. */
static int RunDevice(const LogSite& site, const GEV_DEVICE_INFO& device, const Wanted& wanted)
{
    void* handle = nullptr;
    const int status = GevOpenCamera(&device, kControl, &handle);
    if (status != 0 || handle == nullptr) {
        KV_LOG_AT(site, 2, "TSus_%llu - can't connect to device (Model:%s ID:%s)...", NowUs(),
                  Shown(wanted.model), Shown(wanted.serial));
        if (handle != nullptr) {
            GevCloseCamera(&handle);
        }
        return kExitOpen;
    }
    const auto cam = std::make_unique<CExCam>(handle);
    cam->deviceInfo = &device;
    const int rc = KvTdProc(cam.get());
    GevCloseCamera(&handle);
    return rc;
}

/** Takes over a reconfiguration that was asked for while no frames flowed. */
static void _t_CheckSignal()
{
    if (KvUtl__CheckSignal() != kSignalReconfigure) {
        return;
    }
    int flag = 0;
    if (KvGi__DoReconfig(&flag) != 0) {
        KV_LOG(3, "incorrect cfg file, continue with the old one...");
        return;
    }
    KV_LOG(3, "continue operation with new configuration...");
}

static int RunSession(const LogSite& site)
{
    static std::uint32_t _s_cntrExitNoAny;
    static std::uint32_t _s_cntrExitNotOur;

    GEV_DEVICE_INFO list[kListSize] = {};
    const Wanted wanted{KvGiMainCtx__GetModelStr(), KvGiMainCtx__GetIdStr(),
                        KvGiMainCtx__GetActiveCamMask()};
    // Deliberate: the line below therefore always prints 0. Entry.OpensTheFirstWantedCamera
    _s_cntrExitNoAny = 0;
    int count = 0;
    GevGetCameraList(list, kListSize, &count);
    KV_LOG_AT(site, 3, "Printing all the devices information found:");
    count = std::min(count, kListSize);
    if (count <= 0 || ReportDevices(site, list, count) == 0) {
        KV_LOG_AT(site, 3, "TSus_%llu: (%u) no any devices found", NowUs(), _s_cntrExitNoAny);
        ++_s_cntrExitNoAny;
        return kExitNoDevice;
    }
    const int chosen = Choose(site, list, count, wanted);
    if (chosen == kNone) {
        KV_LOG_AT(site, 3, "TSus_%llu - (%i) please attach configured device (Model:%s ID:%s)...",
                  NowUs(), static_cast<int>(_s_cntrExitNotOur), Shown(wanted.model),
                  Shown(wanted.serial));
        ++_s_cntrExitNotOur;
        return kExitNotOurs;
    }
    _s_cntrExitNotOur = 0;
    return RunDevice(site, list[chosen], wanted);
}

} // namespace KvTd

extern "C" {

__attribute__((visibility("default"))) int KvLibProc(void)
{
    using namespace KvTd;
    const LogSite site = KV_HERE;
    KV_LOG(4, "init SDK staff");
    const int exitCode = RunSession(site);
    GevApiUninitialize();
    _CloseSocketAPI();
    _t_CheckSignal();
    KV_LOG(3, "Loop completed (exitCode = %i)", exitCode);
    return exitCode;
}

/** Where the file starts when it is run as a program: it is a library, so there is nothing to do.
 */
__attribute__((force_align_arg_pointer, noreturn)) void LibEntry(void)
{
    _exit(0);
}

} // extern "C"
