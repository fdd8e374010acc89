/** What the header says about the buffers, read as a whole and checked. The host may change all of
 *  it at any moment, and nothing in it is trusted: what a valid layout describes lies inside the
 *  mapping. */
#pragma once

#include "kv_frame_memory.h"
#include "kvframes.h"

#include <cstddef>
#include <cstdint>

namespace kvframes
{

struct Layout {
    std::uint64_t generation = 0;
    std::uint64_t objectBytes = 0;
    std::uint64_t pixelOffset = 0;
    std::uint64_t stride = 0;
    std::uint32_t bufferCount = 0; ///< 0: no session yet
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::uint32_t frameBytes = 0;
    char codec[20] = {}; ///< terminated
};
static_assert(sizeof(Layout::codec) == sizeof(KvFrames::FrameMemoryHeader::codec) &&
              sizeof(Layout::codec) == sizeof(kvf_frame::codec));

enum class LayoutState {
    kValid,
    kChanging, ///< look again later
    kGrown,    ///< the object is larger than the mapping: map it again
    kBroken,   ///< it describes buffers that can't be
};

/** `mappedBytes` is the size of the mapping that begins with `header`. `*layout` is complete unless
 *  the result is kChanging. */
LayoutState ReadLayout(const KvFrames::FrameMemoryHeader& header, std::size_t mappedBytes,
                       Layout* layout);
/** True while `generation` is the layout in force; all that was loaded before belongs to it then.
 */
bool SameGeneration(const KvFrames::FrameMemoryHeader& header, std::uint64_t generation);

/** The format with this codec; KVF_UNKNOWN if there is none, or if `bytes` are too few for such a
 *  picture. So a program that goes by the format never reads beyond the frame. */
kvf_format FormatOf(const char* codec, std::uint32_t width, std::uint32_t height,
                    std::uint64_t bytes);

} // namespace kvframes
