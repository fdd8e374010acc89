/** White balance. */
#include "kv_host_services.h"
#include "kv_td_excam.h"
#include "kv_td_log.h"
#include "kv_td_proc.h"
#include "util/units.h"

namespace KvTd
{

static constexpr char kLogSource[] = "kv_td_proc";

void CCamProc::ProcParametrizeCamWB(CExCam* cam)
{
    const int red = KvGiMainCtx__GetWbred();
    const int blue = KvGiMainCtx__GetWbblu();
    KV_LOG(3, "WhiteBalance settings handler entry vals: Red %i, Blue %i", red, blue);
    if (red == kIntUnset && blue == kIntUnset) {
        if (wbRed == kIntUnset && wbBlue == kIntUnset) {
            KV_LOG(3, "  WhiteBalance config is skipped");
            return;
        }
        KV_LOG(3, "Applying Auto white balancing");
        cam->ExPropertySetEnumFromStr("BalanceWhiteAuto", "Periodic");
        wbRed = kIntUnset;
        wbBlue = kIntUnset;
        return;
    }
    cam->ExPropertySetEnumFromStr("BalanceWhiteAuto", "Off");
    cam->ExPropertySetEnumFromStr("balanceRatioReference", "Green");
    float min = 0;
    float max = 0;
    // Deliberate: red's range, in dB, serves both colours, and what is written is taken as dB.
    // WhiteBalance.RedsRangeInDbServesBoth
    cam->ExPropertyGetFloatRange(BALANCE_RATIO_RED_PROPERTY_TYPE, &min, &max);
    const int low = ToInt32(static_cast<double>(min * 100.0F));
    const int high = ToInt32(static_cast<double>(max * 100.0F));
    KV_LOG(3, "  cur WhiteBalance vals are: Red %i Blue %i (min %i max %i)", wbRed, wbBlue, low,
           high);
    const auto ratio = static_cast<float>(red / 100.0);
    if (red != kIntUnset) {
        if (red < low || red > high) {
            KV_LOG(2, "  asked WhiteBalance Red val %i is out of bounds [%i, %i], skipped", red,
                   low, high);
            return;
        }
        if (cam->ExPropertySetFloat(BALANCE_RATIO_RED_PROPERTY_TYPE, ratio) == 0) {
            wbRed = red;
        }
    }
    if (blue != kIntUnset) {
        if (blue < low || blue > high) {
            KV_LOG(2, "  asked WhiteBalance Blue val %i is out of bounds [%i, %i], skipped", blue,
                   low, high);
            return;
        }
        // Deliberate: blue gets red's value. WhiteBalance.BlueGetsRedsValue
        if (cam->ExPropertySetFloat(BALANCE_RATIO_BLUE_PROPERTY_TYPE, ratio) == 0) {
            wbBlue = blue;
        }
    }
    KV_LOG(3, "  new WhiteBalance vals are: Red %i, Blue %i", wbRed, wbBlue);
}

} // namespace KvTd
