/** The session of an opened camera: stream options, control thread, beginning and end of the grab
 *  loop. */
#include "kv_td_proc.h"

#include "gev_api.h"
#include "kv_host_services.h"
#include "kv_td_cthr.h"
#include "kv_td_excam.h"
#include "kv_td_factory.h"
#include "kv_td_guard.h"
#include "kv_td_prof.h"
#include "kv_td_time.h"
#include "util/units.h"

#include <unistd.h>

std::uint32_t KVSCUVAL::_s_valU32 = 0;

namespace KvTd
{

static constexpr char kLogSource[] = "kv_td_proc";

/** Sets how the stream and the control channel are run; other options stay as they are. */
static void _t_set_data_chunk(CExCam* cam)
{
    constexpr int kPacketSizeMax = 9180;
    constexpr int kPacketSizeSafe = 1500;

    GEV_CAMERA_OPTIONS options{};
    GevGetCameraInterfaceOptions(cam->camHandle, &options);
    const int asked = KvGiMainCtx__GetDatachunk();
    options.streamPacketSize =
        static_cast<std::uint32_t>(asked > kPacketSizeMax ? kPacketSizeSafe : asked);
    options.heartbeatTimeoutMs = 5000;
    options.streamPacketDelay = 10;
    options.streamFramesBuffered = 4;
    options.streamMemoryLimit = 67108864;
    options.streamFrameTimeoutMs = 1001;
    if (GevSetCameraInterfaceOptions(cam->camHandle, &options) != 0) {
        KV_LOG(2, "Can't configure packet options (packet size %u)", options.streamPacketSize);
    }
}

int KvTdProc(CExCam* cam)
{
    CCamCtrlThread ctrlThread;
    KV_LOG(3, "KvTdProc entry: mode=%u", cam->deviceInfo == nullptr ? 0 : cam->deviceInfo->mode);
    _t_set_data_chunk(cam);
    ctrlThread.CtrlThreadStart(cam);
    CCamProc proc;
    const int rc = proc.ProcOnce(cam, &kvBufFactory);
    KV_LOG(3, "scenario is completed (rc = %i)", rc);
    return rc;
}

int CCamProc::ProcOnce(CExCam* cam, CBufferFactory* factory)
{
    const GEV_DEVICE_INFO* const info = cam->deviceInfo;
    KV_LOG(3, "Using device Model:%s Serial:%s", info == nullptr ? "" : info->model,
           info == nullptr ? "" : info->serial);
    usrSignalPending = 0;
    reconfigState = 0;
    dynLut = nullptr;
    dynCdf = nullptr;
    dynCdfCount = 0;
    dynLutCount = 0;
    chunkMask = 0;
    loopRuns = 0;
    int rc = 0;
    do {
        ++loopRuns;
        rc = ProcLoop(cam, factory);
    } while (rc == 0 && (reconfigState == 6 || reconfigState == 7));
    freeDynamLut();
    return rc;
}

int CCamProc::ProcLoop(CExCam* cam, CBufferFactory* factory)
{
    const LogSite site = KV_HERE;
    const std::uint32_t fNum = KvGiMainCtx__GetFnum();
    std::uint32_t bNum = KvGiMainCtx__GetBnum();

    int rc = 0;
    const GuardResult applied =
        GuardGenApi(site, "init config", [&] { rc = ProcSetCamConfig(cam, &bNum); });
    if (applied.caught) {
        KV_LOG(2, "An unhandled exception occured: libError = %i", applied.status);
        return kExitConfiguration;
    }
    if (rc < 0) {
        KV_LOG(1, "Device configuration error, finish loop");
        return kExitConfiguration;
    }

    KvGiMainCtx__SetBnum(bNum);
    ProcInitMem(cam, bufferFrameSize);
    if (KvGiMem__IsFactoryUsed() != 0) {
        unsigned int bufferSize = bufferFrameSize;
        if (factory->GetBuffer(cam->camHandle, &bufferSize, bNum) == nullptr) {
            KV_LOG(2, "SetUserBuffers error (bufferFrameSize %u, bNum %u)", bufferFrameSize, bNum);
            return kExitBuffers;
        }
    }

    KV_LOG(3, "START GRABBING (bufferFrameSize %u, bNum %u, fNum %u, PID %u) ...", bufferFrameSize,
           bNum, fNum, static_cast<unsigned>(getpid()));
    const timeval started = TimeOfDay();
    ProfLoopStart(started);
    LoopRun run(MicrosecondsOf(started), framePeriodUs);
    run.frameLimit = fNum;
    run.stateDivider = GrabStateDivider(fps);
    cam->ExStartCapture(-1);
    KvGi__ResetTermSigProc();

    const GuardResult grabbed = GuardGenApi(site, "grabbing loop", [&] {
        while (runRound(cam, run, rc) == Round::GoOn) {
        }
        rc = endLoop(cam, run, rc);
    });
    if (grabbed.caught) {
        return endLoopByException(cam, run, grabbed.status);
    }
    KV_LOG(3, "grabbing loop is completed with exitCode =%u", static_cast<unsigned>(rc));
    return rc;
}

int CCamProc::endLoop(CExCam* cam, LoopRun& run, int rc)
{
    static constexpr LogSite site{kLogSource, "ProcLoop"};

    ProfLoopEnd();
    KvGi__SetTermSigProc();
    run.transferFreed = true;
    GevFreeTransfer(cam->camHandle);
    if (rc == 0 && run.frameLimit != 0) {
        KvGi__SetNewCfgVendor();
        KvGi__SetNewCfgPlugin();
    }
    KV_LOG_AT(site, 3, "...GRABBING IS DONE (captured %u frames of %u loops)", run.frames,
              run.loops);
    if (rc == 0) {
        ProcSetCamConfigEnd(cam);
    }
    _t_PrintProfiler();
    return rc;
}

/** The chunks stay on: the camera has just failed an access. */
int CCamProc::endLoopByException(CExCam* cam, LoopRun& run, int status)
{
    static constexpr LogSite site{kLogSource, "ProcLoop"};

    KV_LOG_AT(site, 2, "An unhandled exception occured: libError = %i", status);
    KV_LOG_AT(site, 3, "grabbing is stopped");
    ProfLoopEnd();
    KvGi__SetTermSigProc();
    if (!run.transferFreed) {
        GevFreeTransfer(cam->camHandle);
    }
    KV_LOG_AT(site, 3, "...GRABBING IS DONE (captured %u frames of %u loops)", run.frames,
              run.loops);
    _t_PrintProfiler();
    return kExitGrabbing;
}

} // namespace KvTd
