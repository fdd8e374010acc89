#include "layout.h"

#include <cstring>

namespace kvframes
{
namespace
{

using namespace KvFrames;

constexpr auto kRelaxed = std::memory_order_relaxed;
constexpr int kAttempts = 8;

/** The memory of all buffers and of their records lies inside the object. Written without products
 *  and sums that might overflow. */
bool Fits(const Layout& layout)
{
    if (layout.bufferCount == 0) {
        return true;
    }
    const std::uint64_t infosEnd =
        sizeof(FrameMemoryHeader) + std::uint64_t{layout.bufferCount} * sizeof(FrameBufferInfo);
    return infosEnd <= layout.pixelOffset && layout.pixelOffset <= layout.objectBytes &&
           layout.stride != 0 &&
           layout.stride <= (layout.objectBytes - layout.pixelOffset) / layout.bufferCount &&
           layout.frameBytes <= layout.stride;
}

/** Bytes of a picture are width * height * numerator / denominator. */
struct FormatRow {
    const char* codec;
    kvf_format format;
    std::uint32_t numerator;
    std::uint32_t denominator;
};
constexpr FormatRow kFormats[] = {
    {"MONO8T", KVF_MONO8, 1, 1},        {"MONO12PT", KVF_MONO12_PACKED, 3, 2},
    {"MONO12T", KVF_MONO12, 2, 1},      {"UYVY", KVF_UYVY, 2, 1},
    {"BayerRG8T", KVF_BAYER_RG8, 1, 1},
};

} // namespace

bool SameGeneration(const FrameMemoryHeader& header, std::uint64_t generation)
{
    std::atomic_thread_fence(std::memory_order_acquire);
    return header.generation.load(kRelaxed) == generation;
}

LayoutState ReadLayout(const FrameMemoryHeader& header, std::size_t mappedBytes, Layout* layout)
{
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        layout->generation = header.generation.load(std::memory_order_acquire);
        layout->objectBytes = header.objectBytes.load(kRelaxed);
        layout->pixelOffset = header.pixelOffset.load(kRelaxed);
        layout->stride = header.stride.load(kRelaxed);
        layout->bufferCount = header.bufferCount.load(kRelaxed);
        layout->width = header.width.load(kRelaxed);
        layout->height = header.height.load(kRelaxed);
        layout->frameBytes = header.frameBytes.load(kRelaxed);
        std::memcpy(layout->codec, header.codec, sizeof layout->codec);
        if (layout->generation % 2 == 0 && SameGeneration(header, layout->generation)) {
            layout->codec[sizeof layout->codec - 1] = '\0';
            if (!Fits(*layout)) {
                return LayoutState::kBroken;
            }
            return layout->objectBytes > mappedBytes ? LayoutState::kGrown : LayoutState::kValid;
        }
    }
    return LayoutState::kChanging;
}

kvf_format FormatOf(const char* codec, std::uint32_t width, std::uint32_t height,
                    std::uint64_t bytes)
{
    for (const FormatRow& row : kFormats) {
        if (std::strcmp(row.codec, codec) == 0) {
            const std::uint64_t pixels = std::uint64_t{width} * height;
            const std::uint64_t units = pixels / row.denominator + pixels % row.denominator;
            return pixels != 0 && units <= bytes / row.numerator ? row.format : KVF_UNKNOWN;
        }
    }
    return KVF_UNKNOWN;
}

} // namespace kvframes
