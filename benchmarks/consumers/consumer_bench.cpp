/** Measures the time from the host's trigger of a frame until a consumer, a process of its own, has
 *  the frame from libkvframes: one that waits next to one that looks every millisecond. They take
 *  turns, with the same host. A host's trigger is timed, too: it wakes a consumer that waits. */
#include "kvframes.h"
#include "memory/frame_memory.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace
{

using Clock = std::chrono::steady_clock; // the same in all processes

constexpr int kTurns = 10;
constexpr std::size_t kFramesPerTurn = 200;
constexpr std::uint32_t kFrameBytes = 640 * 480;
constexpr std::uint32_t kBuffers = 8;
constexpr auto kPoll = std::chrono::milliseconds(1);

std::uint64_t NowNs()
{
    return static_cast<std::uint64_t>(Clock::now().time_since_epoch() /
                                      std::chrono::nanoseconds(1));
}

[[noreturn]] void Fail(const char* what)
{
    std::fprintf(stderr, "%s\n", what);
    std::exit(1);
}

struct Side {
    const char* name;
    bool waits;
    std::vector<double> us;        ///< from the trigger to the consumer
    std::vector<double> triggerUs; ///< the host's trigger itself
    double cpuUs = 0;              ///< of the consumer, all frames together
};

/** What a consumer reports of a turn. */
struct Turn {
    double us[kFramesPerTurn];
    double cpuUs;
};

double CpuUs()
{
    rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) * 1e6 +
           static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec);
}

kvf_result NextFrame(kvf_source* source, bool waits, kvf_frame* frame)
{
    if (waits) {
        return kvf_wait(source, KVF_NEXT, 10'000, frame);
    }
    kvf_result result = kvf_wait(source, KVF_NEXT, 0, frame);
    while (result == KVF_TIMEOUT) {
        std::this_thread::sleep_for(kPoll);
        result = kvf_wait(source, KVF_NEXT, 0, frame);
    }
    return result;
}

/** A consumer process, for one turn. */
[[noreturn]] void Consume(const std::string& name, bool waits, int report)
{
    kvf_source* source = nullptr;
    kvf_frame frame;
    if (kvf_open(name.c_str(), &source) != KVF_OK ||
        kvf_wait(source, KVF_NEXT, 10'000, &frame) != KVF_OK) { // an old one, perhaps
        Fail(kvf_error());
    }
    static Turn turn;
    const double cpuBefore = CpuUs();
    for (double& us : turn.us) {
        if (NextFrame(source, waits, &frame) != KVF_OK) {
            Fail(kvf_error());
        }
        us = static_cast<double>(NowNs() - frame.camera_ticks) / 1000;
    }
    turn.cpuUs = CpuUs() - cpuBefore;
    std::_Exit(write(report, &turn, sizeof turn) == sizeof turn ? 0 : 1);
}

/** Publishes a frame, which carries the time, and returns how long that took. */
double PublishUs(kvgrab::FrameMemory* memory)
{
    memory->CountRound();
    const std::uint64_t sequence = memory->TriggeredFrames() + 1;
    void* const image = memory->BufPtr(static_cast<std::uint32_t>(sequence % kBuffers));
    kvgrab::FrameValues values;
    values.cameraTicks = NowNs();
    memory->Trigger(0, sequence, image, 0, values);
    const std::uint64_t end = NowNs();
    memory->Release();
    return static_cast<double>(end - values.cameraTicks) / 1000;
}

void RunTurn(const std::string& name, kvgrab::FrameMemory* memory, std::minstd_rand* random,
             Side* side)
{
    int pipe[2];
    if (::pipe(pipe) != 0) {
        Fail("no pipe");
    }
    const pid_t consumer = fork();
    if (consumer == 0) {
        Consume(name, side->waits, pipe[1]);
    }
    close(pipe[1]);
    int status = 0;
    std::uniform_int_distribution<int> pause(4000, 6000); // in no step with the polling
    while (waitpid(consumer, &status, WNOHANG) == 0) {
        side->triggerUs.push_back(PublishUs(memory));
        std::this_thread::sleep_for(std::chrono::microseconds(pause(*random)));
    }
    static Turn turn;
    if (status != 0 || read(pipe[0], &turn, sizeof turn) != sizeof turn) {
        Fail("the consumer failed");
    }
    close(pipe[0]);
    side->us.insert(side->us.end(), std::begin(turn.us), std::end(turn.us));
    side->cpuUs += turn.cpuUs;
}

double At(std::vector<double> values, double part)
{
    std::sort(values.begin(), values.end());
    return values[static_cast<std::size_t>(part * static_cast<double>(values.size() - 1))];
}

} // namespace

int main()
{
    const std::string name = "/kvgrab-bench-" + std::to_string(getpid());
    kvgrab::FrameMemory memory;
    if (!memory.Open(name) || !memory.Init(kFrameBytes, kBuffers)) {
        Fail(memory.Error().c_str());
    }
    memory.Describe(640, 480, 1, "MONO8T");
    Side sides[] = {{"waiting", true, {}, {}, 0}, {"polling every 1 ms", false, {}, {}, 0}};
    std::minstd_rand random(1);
    for (int turn = 0; turn < kTurns; ++turn) {
        for (Side& side : sides) {
            RunTurn(name, &memory, &random, &side);
        }
    }
    std::printf("%d turns of %zu frames each, 5 ms apart; us\n", kTurns, kFramesPerTurn);
    std::printf("%-20s | %-35s | %-19s | %s\n", "", "from the trigger to the consumer",
                "the trigger itself", "consumer's CPU");
    std::printf("%-20s | %11s %11s %11s | %9s %9s | %14s\n", "the consumer is", "median", "99 %",
                "worst", "median", "99 %", "a frame");
    for (const Side& side : sides) {
        std::printf("%-20s | %11.1f %11.1f %11.1f | %9.2f %9.2f | %14.1f\n", side.name,
                    At(side.us, 0.5), At(side.us, 0.99), At(side.us, 1), At(side.triggerUs, 0.5),
                    At(side.triggerUs, 0.99), side.cpuUs / static_cast<double>(side.us.size()));
    }
    return 0;
}
