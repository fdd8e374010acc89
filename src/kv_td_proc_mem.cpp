/** Frame memory of the host: its set-up, with or without conversion, and the trigger of images. */
#include "kv_host_services.h"
#include "kv_td_excam.h"
#include "kv_td_log.h"
#include "kv_td_proc.h"

namespace KvTd
{

static constexpr char kLogSource[] = "kv_td_proc";

void CCamProc::ProcInitMem(CExCam*, unsigned int frameSize)
{
    if (convFormat == 0) {
        memInstance = -1;
        KvGiMem__Init(frameSize, 0);
        KvGiMem__SetActFsize(fullFrameSize);
        convFormat = KvGiMainCtx__GetCformat();
    } else {
        memInstance = 0;
        KvGiMemInst__Init(0, frameSize, 0);
        KvGiMemInst__SetActFsize(0, fullFrameSize);
    }
    convPixelFormat = 0;
    convActive = 0;
    if (convFormat == 0) {
        return;
    }

    KV_LOG(3, "Conv: asking convertion from %i -> %i", formatCode, convFormat);
    std::uint8_t code = convFormat;
    const char* conversion = nullptr;
    const int rc =
        ProcSetPixelFormat(nullptr, &code, nullptr, nullptr, &convPixelFormat, &conversion);
    if (rc != 0) {
        KV_LOG(2, "The asked pixel conversion way is not supported (rc=%i)", rc);
        return;
    }
    convActive = 1;
    if (memInstance == -1) {
        memInstance = 1;
    }
    KV_LOG(3, "Initialize conversion to: \"%s\"", conversion);
    if (memInstance == 1) {
        convFrameSize = fullFrameSize;
        KvGiMemInst__Init(1, bufferFrameSize, 0);
        KvGiMemInst__SetActFsize(1, convFrameSize);
    }
    KvSc__InstSetParamVal(static_cast<std::uint32_t>(memInstance), kParamCodec, conversion);
}

int CCamProc::ProcLoopMem(unsigned long timeUs, int flag)
{
    if (pendingConvFrame != nullptr) {
        const int r = KvGiMemInst__Trigger(1, 0, timeUs, pendingConvFrame, flag);
        pendingConvFrame = nullptr;
        if (r != 0) {
            pendingFrame = nullptr;
        }
        if (pendingFrame == nullptr) {
            return r;
        }
    }
    if (pendingFrame == nullptr) {
        return 0;
    }
    const int r = KvGiMemInst__Trigger(0, 0, timeUs, pendingFrame, flag);
    pendingFrame = nullptr;
    return r;
}

} // namespace KvTd
