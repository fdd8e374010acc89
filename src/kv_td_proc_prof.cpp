/** What the grab loop measures: rings of waits and triggers, the rate, how long the loop took. */
#include "kv_td_prof.h"

#include "kv_td_time.h"
#include "util/prof_ring.h"

namespace KvTd
{

static constexpr char kLogSource[] = "kv_td_proc";
static constexpr std::time_t kReportSeconds = 60;

static timeval _S_gtv1;  // start of the trigger being measured
static timeval _S_gtv2;  // its end; also the end of the loop
static timeval _S_gtv3;  // start of the loop
static timeval _S_gtvr1; // just before the wait for a frame
static timeval _S_gtvr2; // just after it

static std::uint32_t _S_arProfResult[kProfRingSize]; // waits, microseconds
static std::uint32_t _S_arProfResultCurrPos;
static std::uint32_t _S_arProfWrite[kProfRingSize]; // triggers, microseconds
static std::uint32_t _S_arProfWriteCurrPos;

/** The microsecond part of a duration; whole seconds are left out. */
static std::uint32_t MicrosecondPart(const timeval& end, const timeval& start)
{
    return static_cast<std::uint32_t>(KvUtl__TimeValDiff(&end, &start)->tv_usec);
}

void ProfLoopStart(const timeval& now)
{
    _S_gtv3 = now;
}

void ProfLoopEnd()
{
    _S_gtv2 = TimeOfDay();
}

void ProfWaitStart()
{
    _S_gtvr1 = TimeOfDay();
}

void ProfWaitEnd(const timeval& now)
{
    _S_gtvr2 = now;
    ProfRingPut(_S_arProfResult, _S_arProfResultCurrPos, MicrosecondPart(_S_gtvr2, _S_gtvr1));
}

void ProfWriteStart()
{
    _S_gtv1 = TimeOfDay();
}

std::uint32_t ProfWriteEnd()
{
    _S_gtv2 = TimeOfDay();
    const std::uint32_t spent = MicrosecondPart(_S_gtv2, _S_gtv1);
    ProfRingPut(_S_arProfWrite, _S_arProfWriteCurrPos, spent);
    return spent;
}

void ProfRound(const LogSite& site)
{
    static std::time_t start_timeretres;
    static std::time_t curnt_timeretres;
    static std::int32_t frame_countretres;

    if (start_timeretres == 0) {
        start_timeretres = TimeSeconds();
    }
    curnt_timeretres = TimeSeconds();
    const std::time_t elapsed = curnt_timeretres - start_timeretres;
    if (elapsed < kReportSeconds) {
        ++frame_countretres; // Deliberate: rounds, not good frames.
                             // Rate.CountsRoundsWithoutAFrameToo
        return;
    }
    KV_LOG_AT(site, 4, "%s FPS: %d", "retres", static_cast<int>(frame_countretres / elapsed));
    start_timeretres = curnt_timeretres;
    frame_countretres = 1;
}

void _t_PrintProfiler()
{
    KV_LOG(3, "Profiling info for RetrieveBuffer() (sleeping is accounted), currPos=%u",
           _S_arProfResultCurrPos);
    for (unsigned i = 0; i < kProfRingSize; ++i) {
        KV_LOG(3, "%u. %06u us", i, _S_arProfResult[i]);
    }
    KV_LOG(3, "Profiling info for file writing (buffered), currPos=%u", _S_arProfWriteCurrPos);
    for (unsigned i = 0; i < kProfRingSize; ++i) {
        KV_LOG(3, "%u. %06u us", i, _S_arProfWrite[i]);
    }
    const timeval took = *KvUtl__TimeValDiff(&_S_gtv2, &_S_gtv3);
    KV_LOG(3, "Actual grabbing loop took: %llus %uus", static_cast<unsigned long long>(took.tv_sec),
           static_cast<unsigned>(took.tv_usec));
}

} // namespace KvTd
