/** Follows the frames of a running host from another process: prints a line for each new frame, and
 *  shows how a consumer notices overwritten frames, a resize and the end of the host. kvframes.h
 *  describes the library that it uses. */
#include "kvframes.h"

#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <unistd.h>

namespace
{

constexpr int kWaitMs = 100; ///< between two looks at the host while no frames come

double MeanByte(const kvf_frame& frame)
{
    const auto* const bytes = static_cast<const unsigned char*>(frame.pixels);
    std::uint64_t sum = 0;
    for (std::uint64_t i = 0; i < frame.bytes; ++i) {
        sum += bytes[i];
    }
    return frame.bytes == 0 ? 0 : static_cast<double>(sum) / static_cast<double>(frame.bytes);
}

struct Counts {
    std::uint64_t shown = 0;
    std::uint64_t passed = 0; ///< not seen, because an earlier frame was being handled
    std::uint64_t overwritten = 0;
    std::uint64_t last = 0; ///< sequence number of the newest frame that was handled
};

void ShowOverwritten(std::uint64_t sequence, Counts* counts)
{
    ++counts->overwritten;
    counts->last = sequence;
    std::printf("frame %" PRIu64 " was overwritten\n", sequence);
}

void ShowFrame(const kvf_source* source, const kvf_frame& frame, Counts* counts)
{
    if (counts->last != 0) {
        counts->passed += frame.sequence - counts->last - 1;
    }
    const double mean = MeanByte(frame);
    if (kvf_is_valid(source, &frame) == 0) {
        ShowOverwritten(frame.sequence, counts);
        return;
    }
    ++counts->shown;
    counts->last = frame.sequence;
    std::printf("frame %" PRIu64 "  counter %u  time %" PRIu64 " us  mean %.2f  camera's frame "
                "%" PRIu64 "  captured %" PRId64 " ns\n",
                frame.sequence, frame.frame_counter, frame.time_us, mean, frame.camera_frame_number,
                frame.capture_time_ns);
}

/** Prints the layout if it is another one than that of `*state`, which it brings up to date. */
kvf_result ShowLayout(kvf_source* source, kvf_state* state)
{
    const std::uint64_t generation = state->generation;
    const kvf_result result = kvf_get_state(source, state);
    if (result == KVF_OK && state->generation != generation) {
        std::printf("layout %" PRIu64 ": %u buffers, %u x %u pixels %s\n", state->generation,
                    state->buffers, state->width, state->height, state->codec);
    }
    return result;
}

/** Follows one host. Returns KVF_OK after `frames` frames, otherwise why it can't go on. */
kvf_result Follow(kvf_source* source, kvf_state state, std::uint64_t frames, Counts* counts)
{
    const std::uint64_t host = state.host;
    while (counts->shown < frames) {
        kvf_frame frame;
        kvf_result result = kvf_wait(source, KVF_NEWEST, kWaitMs, &frame);
        if (result == KVF_TIMEOUT && state.newest > counts->last) {
            ShowOverwritten(state.newest, counts); // it was there before the wait
        }
        if (result == KVF_TIMEOUT || (result == KVF_OK && frame.generation != state.generation)) {
            const kvf_result there = ShowLayout(source, &state);
            result = there == KVF_OK ? result : there;
        }
        if (state.host != host) {
            return KVF_NO_HOST; // this is another one already
        }
        if (result == KVF_OK) {
            ShowFrame(source, frame, counts);
        } else if (result != KVF_TIMEOUT) {
            return result;
        }
    }
    return KVF_OK;
}

int Usage()
{
    std::fputs(
        "usage: frame_follower [-n FRAMES] [-m NAME]\n"
        "  -n  end after this many frames; without it, follow until the host ends\n"
        "  -m  name of the shared memory; without it, /kvgrab\n"
        "The mean is that of the frame's bytes. Times are since the epoch; 0: none. Ends with "
        "0,\nwith 1 when there is no host, with 2 when called wrongly.\n",
        stderr);
    return 2;
}

} // namespace

int main(int argc, char** argv)
{
    std::string name = KVF_DEFAULT_NAME;
    std::uint64_t frames = UINT64_MAX;
    for (int option = getopt(argc, argv, "n:m:"); option != -1;
         option = getopt(argc, argv, "n:m:")) {
        char* end = nullptr;
        if (option == 'm') {
            name = optarg;
        } else if (option == 'n') {
            frames = std::strtoull(optarg, &end, 10);
        }
        if (option == '?' || (end != nullptr && (*end != '\0' || end == optarg))) {
            return Usage();
        }
    }
    if (optind != argc) {
        return Usage();
    }

    std::setvbuf(stdout, nullptr, _IOLBF, 0); // write line by line even into a pipe
    kvf_source* source = nullptr;
    kvf_state state = {};
    if (kvf_open(name.c_str(), &source) != KVF_OK || ShowLayout(source, &state) != KVF_OK) {
        std::fprintf(stderr, "%s\n", kvf_error());
        kvf_close(source);
        return 1;
    }
    Counts counts;
    const kvf_result result = Follow(source, state, frames, &counts);
    if (result == KVF_NO_HOST) {
        std::puts("the host ended");
    } else if (result != KVF_OK) {
        std::fprintf(stderr, "%s\n", kvf_error());
    }
    std::printf("%" PRIu64 " frames shown, %" PRIu64 " passed by, %" PRIu64 " overwritten\n",
                counts.shown, counts.passed, counts.overwritten);
    kvf_close(source);
    return result == KVF_OK || result == KVF_NO_HOST ? 0 : 1;
}
