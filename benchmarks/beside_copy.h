/** Measures work on a picture against a memcpy of the same size, alternating in the same run. */
#pragma once

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <vector>

namespace bench
{

/** The thread's CPU time, which depends little on how busy the machine is. */
inline double ThreadSeconds()
{
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

/** In each turn, runs `prepare`, which isn't measured, and `work`, then copies `bytes` between two
 *  buffers of its own. Counters: `work_us` and `memcpy_us` per turn, and their ratio `copies`,
 *  which is also returned. */
template <class Prepare, class Work>
double MeasureBesideCopy(benchmark::State& state, std::size_t bytes, Prepare prepare, Work work)
{
    const std::vector<std::uint8_t> source(bytes, 1);
    std::vector<std::uint8_t> copy(bytes);
    double working = 0;
    double copying = 0;
    for (auto _ : state) {
        prepare();
        const double start = ThreadSeconds();
        work();
        benchmark::ClobberMemory();
        const double worked = ThreadSeconds();
        std::memcpy(copy.data(), source.data(), bytes);
        benchmark::ClobberMemory();
        copying += ThreadSeconds() - worked;
        working += worked - start;
        state.SetIterationTime(worked - start);
    }
    const auto turns = static_cast<double>(state.iterations());
    state.counters["work_us"] = working / turns * 1e6;
    state.counters["memcpy_us"] = copying / turns * 1e6;
    state.counters["copies"] = working / copying;
    return working / copying;
}

} // namespace bench
