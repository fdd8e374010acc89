/** Reaction to the host's signal states between frames.
 *
 *  Two fields control the dynamic LUT as well: `usrSignalPending` is its step, `reconfigState` its
 *  bit-depth excursion. SIGUSR2 in an 8-bit session sets 6 and ends the loop, which is run again
 *  with 12 bits; once the table is made the state is 7, and the next look at a signal goes back
 *  to 8. */
#include "kv_host_services.h"
#include "kv_td_excam.h"
#include "kv_td_log.h"
#include "kv_td_proc.h"
#include "kv_td_time.h"

namespace KvTd
{

static constexpr char kLogSource[] = "kv_td_proc";

static constexpr int kToTwelveBits = 6;
static constexpr int kBackToEightBits = 7;

/** The microsecond part of the time since `start`. */
static unsigned SpentUs(const timeval& start)
{
    const timeval end = TimeOfDay();
    // Deliberate: whole seconds are left out. Signals.EachStateTellsItsStory
    return static_cast<unsigned>(KvUtl__TimeValDiff(&end, &start)->tv_usec);
}

static void SetStop(bool* stop, bool value)
{
    if (stop != nullptr) {
        *stop = value;
    }
}

void CCamProc::ProcLookSignal()
{
    lastSignal = static_cast<std::int32_t>(KvUtl__CheckSignal());
}

int CCamProc::ProcSignalUsr(std::uint32_t grabbed)
{
    if (lastSignal == kSignalUsr1) {
        lastSignal = kSignalNone;
        KV_LOG(3, "Grabbed %u images, processing SIGUSR1...", grabbed);
        usrSignalPending = 1;
    }
    return 0;
}

int CCamProc::ProcSignal(CExCam* cam, std::uint32_t grabbed, bool* stop)
{
    const LogSite site = KV_HERE;
    switch (lastSignal) {
    case kSignalNone: {
        if (usrSignalPending != 0 || reconfigState != 0 || KvGi__CheckDynConfig() == 0) {
            return 0;
        }
        KV_LOG(3, "Grabbed %u images, dynamic reconfiguration...", grabbed);
        const timeval start = TimeOfDay();
        ProcParametrizeCam(cam, true, false);
        KV_LOG(3, "...done, spent %uus", SpentUs(start));
        return 0;
    }
    case kSignalTerminate:
    case kSignalQuit: {
        const int signal = lastSignal;
        lastSignal = kSignalNone;
        KV_LOG(3, "Grabbed %u images, finishing with signal...", grabbed);
        cam->ExStopCapture();
        KvGi__SetNewCfgVendor();
        KvGi__SetNewCfgPlugin();
        KvGi__SetSignalAction(signal);
        SetStop(stop, true);
        return 0;
    }
    case kSignalReconfigure: {
        lastSignal = kSignalNone;
        bool stopping = false;
        const int rc = reconfigure(site, cam, grabbed, stopping);
        SetStop(stop, stopping);
        return rc;
    }
    case kSignalUsr2:
        lastSignal = kSignalNone;
        KV_LOG(3, "Grabbed %u images, processing SIGUSR2...", grabbed);
        SetStop(stop, switchBitDepth(site, cam));
        return 0;
    default:
        SetStop(stop, false);
        return 0;
    }
}

int CCamProc::reconfigure(const LogSite& site, CExCam* cam, std::uint32_t grabbed, bool& stopping)
{
    int flag = 0;
    KV_LOG_AT(site, 3, "Grabbed %u images, reconfiguration...", grabbed);
    const timeval start = TimeOfDay();
    const int r = KvGi__DoReconfig(&flag);
    if (r == 0 && flag == 0) {
        // A new region needs new buffers, so it can't be taken over while frames flow.
        flag = ProcCheckCfgCamAoi() == 0 ? ProcParametrizeCam(cam, true, true) : 1;
    }
    KV_LOG_AT(site, 3, "done, spent %uus", SpentUs(start));
    if (flag == 0) {
        if (r == 0) {
            KV_LOG_AT(site, 3, "continue grabbing with new configuration...");
        }
        stopping = false;
        return 0;
    }
    KV_LOG_AT(site, 3, "can't continue grabbing with new configuration, exiting...");
    cam->ExStopCapture();
    KvGi__SetSignalAction(kSignalReconfigure);
    stopping = true;
    return r < 0 ? 1 : 0;
}

/** SIGUSR2: true when the loop has to end, for the session to go on with another bit depth. */
bool CCamProc::switchBitDepth(const LogSite& site, CExCam* cam)
{
    if (reconfigState == kBackToEightBits) {
        KvGiMainCtx__SetFormat(kFormatMono8);
        cam->ExStopCapture();
        KV_LOG_AT(site, 3, "...Switching back to 8-bit mode...");
        return true;
    }
    if (reconfigState != 0) {
        return false;
    }
    if (dataBits != 8) {
        usrSignalPending = 1;
        return false;
    }
    cam->ExStopCapture();
    KvGiMainCtx__SetFormat(kFormatMono12Packed);
    usrSignalPending = 1;
    reconfigState = kToTwelveBits;
    KV_LOG_AT(site, 3, "...Switching to 12-bit mode for dynamic LUT calculation/applying...");
    return true;
}

} // namespace KvTd
