/** Follows the frames of a running host from another process: attaches to its shared memory, prints
 *  a line for each new frame, and shows how a consumer notices overwritten frames, a resize and the
 *  end of the host. kv_frame_memory.h describes the protocol. */
#include "kv_frame_memory.h"

#include <cerrno>
#include <chrono>
#include <cinttypes>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <optional>
#include <string>
#include <sys/mman.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace
{

using namespace KvFrames;

constexpr auto kPoll = std::chrono::milliseconds(1);

/** One read-only mapping of the shared-memory object. */
class Mapping
{
public:
    explicit Mapping(const std::string& name) : fd_(shm_open(name.c_str(), O_RDONLY | O_CLOEXEC, 0))
    {
        struct stat status = {};
        if (fd_ < 0 || fstat(fd_, &status) != 0 ||
            static_cast<std::size_t>(status.st_size) < sizeof(FrameMemoryHeader)) {
            return;
        }
        bytes_ = static_cast<std::size_t>(status.st_size);
        void* base = mmap(nullptr, bytes_, PROT_READ, MAP_SHARED, fd_, 0);
        base_ = base == MAP_FAILED ? nullptr : static_cast<const std::byte*>(base);
    }
    ~Mapping()
    {
        if (base_ != nullptr) {
            munmap(const_cast<std::byte*>(base_), bytes_);
        }
        if (fd_ >= 0) {
            close(fd_);
        }
    }
    Mapping(const Mapping&) = delete;
    Mapping& operator=(const Mapping&) = delete;

    /** True when the object is complete and has a layout that this program knows. */
    bool IsUsable() const
    {
        return base_ != nullptr &&
               Header().magic.load(std::memory_order_acquire) == kFrameMemoryMagic &&
               Header().version == kFrameMemoryVersion;
    }
    const FrameMemoryHeader& Header() const
    {
        return *reinterpret_cast<const FrameMemoryHeader*>(base_);
    }
    const FrameBufferInfo& Info(std::uint32_t index) const
    {
        const auto* infos =
            reinterpret_cast<const FrameBufferInfo*>(base_ + sizeof(FrameMemoryHeader));
        return infos[index];
    }
    const std::byte* At(std::uint64_t offset) const { return base_ + offset; }
    std::size_t Bytes() const { return bytes_; }

    /** True while the host lives: its lock disappears with its process, however that ends. */
    bool HasHost() const
    {
        struct flock lock = {};
        lock.l_type = F_RDLCK;
        lock.l_whence = SEEK_SET;
        return Header().running != 0 && fcntl(fd_, F_OFD_GETLK, &lock) == 0 &&
               lock.l_type != F_UNLCK;
    }

private:
    int fd_;
    std::size_t bytes_ = 0;
    const std::byte* base_ = nullptr;
};

/** The layout of one generation. */
struct Layout {
    std::uint64_t generation = 0;
    std::uint64_t pixelOffset = 0;
    std::uint64_t stride = 0;
    std::uint32_t bufferCount = 0;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    char codec[sizeof(FrameMemoryHeader::codec)] = {};
};

bool SameGeneration(const FrameMemoryHeader& header, std::uint64_t generation)
{
    std::atomic_thread_fence(std::memory_order_acquire);
    return header.generation.load(std::memory_order_relaxed) == generation;
}

/** Returns nothing while the layout changes, or when the mapping is too small for it. */
std::optional<Layout> ReadLayout(const Mapping& mapping)
{
    const FrameMemoryHeader& header = mapping.Header();
    Layout layout;
    layout.generation = header.generation.load(std::memory_order_acquire);
    layout.pixelOffset = header.pixelOffset;
    layout.stride = header.stride;
    layout.bufferCount = header.bufferCount;
    layout.width = header.width;
    layout.height = header.height;
    std::memcpy(layout.codec, header.codec, sizeof layout.codec);
    const bool steady = layout.generation % 2 == 0 && SameGeneration(header, layout.generation);
    if (!steady || header.objectBytes > mapping.Bytes()) {
        return std::nullopt;
    }
    return layout;
}

struct Frame {
    std::uint64_t sequence = 0;
    std::uint64_t timeUs = 0;
    std::uint64_t captureTimeNs = 0;
    std::uint64_t cameraFrameNumber = 0;
    std::uint32_t frameCounter = 0;
    std::vector<std::byte> pixels;
};

enum class CopyResult { kWhole, kOverwritten, kResized };

/** Copies the buffer's frame; the result says whether the copy is whole. */
CopyResult CopyFrame(const Mapping& mapping, const Layout& layout, std::uint32_t index,
                     Frame* frame)
{
    const FrameBufferInfo& info = mapping.Info(index);
    const std::uint64_t word = info.word.load(std::memory_order_acquire);
    if (StateOfFrame(word) == kFrameFilling) {
        return CopyResult::kOverwritten;
    }
    const std::uint32_t bytes = info.frameBytes;
    if (bytes > layout.stride) { // the values belong to another layout
        return CopyResult::kResized;
    }
    frame->sequence = FrameSequence(word);
    frame->timeUs = info.timeUs;
    frame->captureTimeNs = info.captureTimeNs;
    frame->cameraFrameNumber = info.cameraFrameNumber;
    frame->frameCounter = info.frameCounter;
    const std::byte* pixels = mapping.At(layout.pixelOffset + index * layout.stride);
    frame->pixels.assign(pixels, pixels + bytes);
    const bool whole = FrameStillWhole(info, word);
    if (!SameGeneration(mapping.Header(), layout.generation)) {
        return CopyResult::kResized;
    }
    return whole ? CopyResult::kWhole : CopyResult::kOverwritten;
}

double MeanByte(const std::vector<std::byte>& pixels)
{
    std::uint64_t sum = 0;
    for (const std::byte value : pixels) {
        sum += std::to_integer<std::uint64_t>(value);
    }
    return pixels.empty() ? 0 : static_cast<double>(sum) / static_cast<double>(pixels.size());
}

struct Counts {
    std::uint64_t shown = 0;
    std::uint64_t passed = 0; ///< not seen, because an earlier frame was being handled
    std::uint64_t overwritten = 0;
};

enum class FollowResult { kEnough, kResized, kHostEnded };

/** Follows the frames of one mapping until it is outdated. `*last` is the newest sequence number
 *  that was handled. */
FollowResult Follow(const Mapping& mapping, const Layout& layout, std::uint64_t frames,
                    std::uint64_t* last, Counts* counts)
{
    const FrameMemoryHeader& header = mapping.Header();
    Frame frame;
    while (counts->shown < frames) {
        if (!SameGeneration(header, layout.generation)) {
            return FollowResult::kResized;
        }
        const std::uint64_t newest = header.newestSequence.load(std::memory_order_acquire);
        const std::uint32_t index = header.newestIndex;
        if (newest == *last || index >= layout.bufferCount) {
            if (!mapping.HasHost()) {
                return FollowResult::kHostEnded;
            }
            std::this_thread::sleep_for(kPoll);
            continue;
        }
        const CopyResult result = CopyFrame(mapping, layout, index, &frame);
        if (result == CopyResult::kResized) {
            return FollowResult::kResized;
        }
        if (result == CopyResult::kOverwritten) {
            ++counts->overwritten;
            *last = newest;
            std::printf("frame %" PRIu64 " was overwritten\n", newest);
            continue;
        }
        // The buffer may hold a newer frame than the sequence number read before, so use its own.
        if (*last != 0 && frame.sequence > *last + 1) {
            counts->passed += frame.sequence - *last - 1;
        }
        *last = frame.sequence;
        ++counts->shown;
        std::printf("frame %" PRIu64 "  counter %u  time %" PRIu64 " us  mean %.2f  camera's frame "
                    "%" PRIu64 "  captured %" PRIu64 " ns\n",
                    frame.sequence, frame.frameCounter, frame.timeUs, MeanByte(frame.pixels),
                    frame.cameraFrameNumber, frame.captureTimeNs);
    }
    return FollowResult::kEnough;
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
    std::string name = kFrameMemoryDefaultName;
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
    Counts counts;
    std::uint64_t last = 0;
    std::uint64_t generation = 0;
    bool attached = false;
    while (true) {
        const Mapping mapping(name);
        if (!mapping.IsUsable() || !mapping.HasHost()) {
            if (attached) {
                break;
            }
            std::fprintf(stderr, "No host offers frames in the shared memory '%s'.\n",
                         name.c_str());
            return 1;
        }
        attached = true;
        const std::optional<Layout> layout = ReadLayout(mapping);
        if (!layout) {
            std::this_thread::sleep_for(kPoll);
            continue;
        }
        if (layout->generation != generation) {
            std::printf("layout %" PRIu64 ": %u buffers, %u x %u pixels %s\n", layout->generation,
                        layout->bufferCount, layout->width, layout->height, layout->codec);
        }
        generation = layout->generation;
        const FollowResult result = Follow(mapping, *layout, frames, &last, &counts);
        if (result == FollowResult::kEnough) {
            break;
        }
        if (result == FollowResult::kHostEnded) {
            std::printf("the host ended\n");
            break;
        }
    }
    std::printf("%" PRIu64 " frames shown, %" PRIu64 " passed by, %" PRIu64 " overwritten\n",
                counts.shown, counts.passed, counts.overwritten);
    return 0;
}
