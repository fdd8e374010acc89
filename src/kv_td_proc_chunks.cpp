/** Chunk data: switching it on and off, and the values that are published for each frame. */
#include "gev_api.h"
#include "kv_host_services.h"
#include "kv_td_excam.h"
#include "kv_td_log.h"
#include "kv_td_nodes.h"
#include "kv_td_proc.h"
#include "util/units.h"

namespace KvTd
{

static constexpr char kLogSource[] = "kv_td_proc";

/** Bits of chunkMask. */
enum ChunkBit : std::uint32_t {
    kChunkGain = 1,
    kChunkExposure = 2,
    kChunkTimestamp = 4,
    kChunkCounter = 8,
};

namespace
{

/** The three features that chunk data is set up by; missing ones raise LogicalErrorException. */
struct ChunkNodes {
    explicit ChunkNodes(const GenApi::CNodeMapRef* map)
        : modeActive(RequireNode<GenApi::CBooleanPtr>(map, "ChunkModeActive")),
          enable(RequireNode<GenApi::CBooleanPtr>(map, "ChunkEnable")),
          selector(RequireNode<GenApi::CEnumerationPtr>(map, "ChunkSelector"))
    {
    }

    /** Selects a chunk and switches it; false when the camera has no such chunk or refuses. */
    bool Switch(const char* entry, bool on) const
    {
        if (!IsEntryImplemented(selector, entry)) {
            return false;
        }
        selector->FromString(entry, true);
        if (enable->GetAccessMode() != GenApi::RW) {
            return false;
        }
        enable->SetValue(on, true);
        return true;
    }

    GenApi::CBooleanPtr modeActive;
    GenApi::CBooleanPtr enable;
    GenApi::CEnumerationPtr selector;
};

} // namespace

void CCamProc::ProcSetCamConfigChunks(CExCam* cam)
{
    const ChunkNodes chunks(cam->nodeMap);
    chunks.modeActive->SetValue(true, true);
    chunkMask = 0;
    if (chunks.Switch("Gain", true)) {
        KV_LOG(3, "  Enabled gain chunks sending");
        chunkMask |= kChunkGain;
    }
    if (chunks.Switch("ExposureTime", true)) {
        KV_LOG(3, "  Enabled exposure time chunks sending");
        chunkMask |= kChunkExposure;
    }
    if (chunks.Switch("Timestamp", true)) {
        KV_LOG(3, "  Enabled timestamp chunks sending");
        chunkMask |= kChunkTimestamp;
    }
    // Deliberate: the restore spells it differently. Chunks.AreSwitchedOnAndOff
    if (chunks.Switch("counter1ValueAtReset", true)) {
        KV_LOG(3, "  Enabled counter value chunks sending");
        chunkMask |= kChunkCounter;
    }
    KV_LOG(3, "Chunks enabling is finished (0x%08X)", chunkMask);
}

void CCamProc::ProcSetCamConfigEnd(CExCam* cam)
{
    KV_LOG(3, "Restore some changed camera values (%u)", chunkMask);
    if (chunkMask != 0) {
        // Deliberate: a missing node raises, and chunkMask stays.
        // LoopEnd.EachTellsItsStory
        const ChunkNodes chunks(cam->nodeMap);
        if ((chunkMask & kChunkGain) != 0 && chunks.Switch("Gain", false)) {
            KV_LOG(3, "  Disabled gain chunks sending");
        }
        if ((chunkMask & kChunkExposure) != 0 && chunks.Switch("ExposureTime", false)) {
            KV_LOG(3, "  Disabled exposure time chunks sending");
        }
        if ((chunkMask & kChunkTimestamp) != 0 && chunks.Switch("Timestamp", false)) {
            KV_LOG(3, "  Disabled timestamp chunks sending");
        }
        if ((chunkMask & kChunkCounter) != 0 && chunks.Switch("Counter1ValueAtReset", false)) {
            KV_LOG(3, "  Disabled counter value chunks sending");
        }
        chunks.modeActive->SetValue(false, true);
        chunkMask = 0;
    }
    KV_LOG(3, "Camera config restore is done");
}

std::uint64_t CCamProc::ProcFrameChunks(CExCam* cam, const _tag_GEVBUF_ENTRY* frame)
{
    static std::uint32_t _s_chunkCntr; // keeps counting over sessions

    cam->ExPropertyGetFloat(GAIN_PROPERTY_TYPE, &gainCur);
    KvSc__SetParamVal(kParamGain, &gainCur);

    cam->ExPropertyGetFloat(EXPOSURE_TIME_PROPERTY_TYPE, &exposureCur);
    exposureCurInt = ToInt32(static_cast<double>(exposureCur));
    exposureUs = exposureCurInt;
    KvSc__SetParamVal(kParamExposure, &exposureCur);

    const std::uint64_t ticks = frame->timestamp;
    const std::uint64_t camTsUs = MicrosecondsOfTicks(ticks, tickFrequency);
    KvSc__SetParamVal(kParamCameraTicks, &ticks);

    KVSCUVAL::_s_valU32 = _s_chunkCntr;
    KvSc__SetParamVal(kParamFrameCounter, &KVSCUVAL::_s_valU32);
    ++_s_chunkCntr;
    return camTsUs;
}

} // namespace KvTd
