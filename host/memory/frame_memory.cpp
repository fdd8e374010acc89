#include "memory/frame_memory.h"

#include "memory/publish_frame.h"

#include <algorithm>
#include <cstring>
#include <fmt/format.h>
#include <new>
#include <span>
#include <utility>

namespace kvgrab
{
namespace
{

using namespace KvFrames;

constexpr auto kRelaxed = std::memory_order_relaxed;
constexpr auto kRelease = std::memory_order_release;

/** Keeps the size of the whole object far below the limits of 64 bits. */
constexpr std::uint32_t kMostBuffers = 65536;

std::size_t PixelOffset(std::uint32_t bufferCount)
{
    return WholePages(sizeof(FrameMemoryHeader) +
                      std::size_t{bufferCount} * sizeof(FrameBufferInfo));
}

void SetCodec(std::span<char> field, std::string_view codec)
{
    const std::size_t length = std::min(codec.size(), field.size() - 1);
    std::memset(field.data(), 0, field.size());
    std::memcpy(field.data(), codec.data(), length);
}

/** Keeps the generation odd for its lifetime, and wakes consumers at its end. */
class LayoutChange
{
public:
    explicit LayoutChange(FrameObject& object)
        : object_(object), header_(object.Header()), before_(header_->generation.load(kRelaxed))
    {
        header_->generation.store(before_ + 1, kRelaxed);
        std::atomic_thread_fence(kRelease);
    }
    ~LayoutChange()
    {
        header_->generation.store(before_ + 2, kRelease);
        object_.WakeConsumers();
    }
    LayoutChange(const LayoutChange&) = delete;
    LayoutChange& operator=(const LayoutChange&) = delete;

private:
    FrameObject& object_;
    FrameMemoryHeader* header_;
    std::uint64_t before_;
};

} // namespace

bool FrameMemory::Fail(std::string text)
{
    error_ = std::move(text);
    return false;
}

bool FrameMemory::Open(const std::string& name)
{
    Close();
    sequence_ = 0;
    takenBack_ = 0;
    return object_.Open(name) || Fail(object_.Error());
}

void FrameMemory::Close()
{
    object_.Close();
    bufferCount_ = 0;
    stride_ = 0;
    heldIndex_ = kNoBuffer;
}

void FrameMemory::UnlinkNow() noexcept
{
    object_.UnlinkNow();
}

bool FrameMemory::Init(std::uint32_t bufferBytes, std::uint32_t bufferCount)
{
    error_.clear();
    if (Header() == nullptr) {
        return Fail("The frame memory is not open.");
    }
    ForgetFrames();
    if (bufferBytes == 0 || bufferCount == 0 || bufferCount > kMostBuffers) {
        DropBuffers();
        return Fail(fmt::format("The frame memory takes 1 to {} buffers of at least one byte; {} "
                                "of {} bytes were asked for.",
                                kMostBuffers, bufferCount, bufferBytes));
    }
    const std::uint64_t bytes =
        PixelOffset(bufferCount) + WholePages(bufferBytes) * std::uint64_t{bufferCount};
    if (!object_.Grow(bytes)) {
        DropBuffers();
        return Fail(fmt::format("There is no room in shared memory for {} frame buffers of {} "
                                "bytes ({}). Ask for fewer buffers or a smaller region, or make "
                                "/dev/shm larger.",
                                bufferCount, bufferBytes, object_.Error()));
    }
    WriteLayout(bufferBytes, bufferCount);
    takenRound_.assign(bufferCount, 0);
    return InstanceInit(0, bufferBytes);
}

void FrameMemory::DropBuffers()
{
    if (Header() != nullptr) {
        ForgetFrames();
        WriteLayout(0, 0);
    }
}

void FrameMemory::WriteLayout(std::uint32_t bufferBytes, std::uint32_t bufferCount)
{
    if (bufferCount == bufferCount_ && bufferBytes == Header()->bufferBytes.load(kRelaxed)) {
        return;
    }
    const LayoutChange change(object_);
    bufferCount_ = bufferCount;
    stride_ = WholePages(bufferBytes);
    pixelOffset_ = PixelOffset(bufferCount);
    spareFrames_ = std::max(1U, bufferCount / 4);
    Header()->objectBytes.store(object_.Bytes(), kRelaxed);
    Header()->pixelOffset.store(pixelOffset_, kRelaxed);
    Header()->stride.store(stride_, kRelaxed);
    Header()->bufferCount.store(bufferCount, kRelaxed);
    Header()->spareFrames.store(spareFrames_, kRelaxed);
    Header()->bufferBytes.store(bufferBytes, kRelaxed);
    Header()->frameBytes.store(bufferBytes, kRelaxed);
    for (MemoryInstanceInfo& instance : Header()->instances) {
        instance.bufferBytes.store(0, kRelaxed);
        instance.frameBytes.store(0, kRelaxed);
    }
    for (std::uint32_t i = 0; i < bufferCount; ++i) {
        new (Infos() + i) FrameBufferInfo{};
    }
}

/** For a new session: the transfer may begin with any buffer, and no buffer holds a frame. */
void FrameMemory::ForgetFrames()
{
    for (std::uint32_t i = 0; i < bufferCount_; ++i) {
        Word64& word = Infos()[i].word;
        word.store(PackFrameWord(FrameSequence(word.load(kRelaxed)), kFrameFilling), kRelaxed);
    }
    std::atomic_thread_fence(kRelease);
    Header()->exact.store(0, kRelaxed); // until this session's transfer asks
    Header()->newestIndex.store(kNoBuffer, kRelaxed);
    for (MemoryInstanceInfo& instance : Header()->instances) {
        instance.newestIndex.store(kNoBuffer, kRelaxed);
    }
    heldIndex_ = kNoBuffer;
    round_ = 0;
}

void FrameMemory::SetActFsize(std::uint32_t bytes)
{
    InstanceSetActFsize(0, bytes);
}

void* FrameMemory::BufPtr(std::uint32_t index) const
{
    if (index >= bufferCount_) {
        return nullptr;
    }
    return object_.Base() + pixelOffset_ + index * stride_;
}

bool FrameMemory::InstanceInit(std::uint32_t instance, std::uint32_t bufferBytes)
{
    if (Header() == nullptr || instance >= kMemoryInstances) {
        return Fail(fmt::format("There is no memory instance {}.", instance));
    }
    MemoryInstanceInfo& info = Header()->instances[instance];
    if (bufferCount_ == 0 || bufferBytes == 0 || bufferBytes > stride_) {
        info.bufferBytes.store(0, kRelaxed);
        return Fail(fmt::format("Memory instance {} needs {} bytes, the frame buffers hold {}.",
                                instance, bufferBytes, stride_));
    }
    if (instance == 0) {
        ForgetFrames();
    }
    info.bufferBytes.store(bufferBytes, kRelaxed);
    if (info.frameBytes.load(kRelaxed) == 0) {
        info.frameBytes.store(bufferBytes, kRelaxed);
    }
    return true;
}

void FrameMemory::InstanceSetActFsize(std::uint32_t instance, std::uint32_t bytes)
{
    if (Header() == nullptr || instance >= kMemoryInstances) {
        return;
    }
    // A larger value would make consumers read beyond the buffer.
    const auto fitting = static_cast<std::uint32_t>(std::min<std::uint64_t>(bytes, stride_));
    Header()->instances[instance].frameBytes.store(fitting, kRelaxed);
    if (instance != 0 || Header()->frameBytes.load(kRelaxed) == fitting) {
        return;
    }
    const LayoutChange change(object_);
    Header()->frameBytes.store(fitting, kRelaxed);
}

void FrameMemory::InstanceSetCodec(std::uint32_t instance, std::string_view codec)
{
    if (Header() == nullptr || instance >= kMemoryInstances) {
        return;
    }
    const LayoutChange change(object_);
    SetCodec(Header()->instances[instance].codec, codec);
}

void FrameMemory::Describe(std::uint32_t width, std::uint32_t height, std::uint32_t format,
                           std::string_view codec)
{
    if (Header() == nullptr) {
        return;
    }
    if (Header()->width.load(kRelaxed) == width && Header()->height.load(kRelaxed) == height &&
        Header()->format.load(kRelaxed) == format && codec == Header()->codec) {
        return;
    }
    const LayoutChange change(object_);
    Header()->width.store(width, kRelaxed);
    Header()->height.store(height, kRelaxed);
    Header()->format.store(format, kRelaxed);
    SetCodec(Header()->codec, codec);
}

int FrameMemory::Trigger(std::uint32_t instance, std::uint64_t timeUs, const void* image,
                         int /*flag*/, const FrameValues& values)
{
    if (Header() == nullptr || instance >= kMemoryInstances) {
        return kTriggerNoInstance;
    }
    MemoryInstanceInfo& target = Header()->instances[instance];
    if (target.bufferBytes.load(kRelaxed) == 0) {
        return kTriggerNoInstance;
    }
    const std::uint32_t index = IndexOf(image);
    if (index == kNoBuffer) {
        return kTriggerNotOurs;
    }

    if (instance == 0) {
        Release();
        ++sequence_;
        PublishFrame(Infos()[index], {sequence_, timeUs, target.frameBytes.load(kRelaxed), values});
        takenRound_[index] = round_;
        heldIndex_ = index;
        Header()->newestIndex.store(index, kRelaxed);
        Header()->newestSequence.store(sequence_, kRelease);
    }
    target.newestIndex.store(index, kRelaxed);
    target.newestTimeUs.store(timeUs, kRelaxed);
    target.triggers.fetch_add(1, kRelease);
    if (instance == 0) { // the last step for a frame, after its conversion
        object_.WakeConsumers();
    }
    return kTriggerAccepted;
}

void FrameMemory::Announce(std::uint64_t nextTimeUs, std::uint32_t latencyUs,
                           std::uint32_t exposureUs)
{
    if (Header() == nullptr) {
        return;
    }
    const std::uint64_t before = Header()->announcements.load(kRelaxed);
    Header()->announcements.store(before + 1, kRelaxed);
    std::atomic_thread_fence(kRelease);
    Header()->nextTimeUs.store(nextTimeUs, kRelaxed);
    Header()->latencyUs.store(latencyUs, kRelaxed);
    Header()->announcedExposureUs.store(exposureUs, kRelaxed);
    Header()->announcements.store(before + 2, kRelease);
}

const void* FrameMemory::HeldImage() const
{
    return heldIndex_ == kNoBuffer ? nullptr : BufPtr(heldIndex_);
}

std::size_t FrameMemory::BytesFrom(const void* address) const
{
    const auto first = reinterpret_cast<std::uintptr_t>(object_.Base()) + pixelOffset_;
    const auto asked = reinterpret_cast<std::uintptr_t>(address);
    const bool inside =
        bufferCount_ != 0 && asked >= first && asked - first < stride_ * bufferCount_;
    return inside ? stride_ - (asked - first) % stride_ : 0;
}

std::uint32_t FrameMemory::ActFsize() const
{
    return Header() == nullptr ? 0 : Header()->frameBytes.load(kRelaxed);
}

std::uint32_t FrameMemory::BufferCount() const
{
    return bufferCount_;
}

std::size_t FrameMemory::Stride() const
{
    return stride_;
}

std::uint64_t FrameMemory::Generation() const
{
    return Header() == nullptr ? 0 : Header()->generation.load(kRelaxed);
}

std::uint64_t FrameMemory::TriggeredFrames() const
{
    return sequence_;
}

std::uint64_t FrameMemory::TakenBack() const
{
    return takenBack_;
}

bool FrameMemory::BoardIsWhole() const
{
    const ConsumerBoard* const board = object_.Consumers().Board();
    return board == nullptr || board->magic.load(kRelaxed) == kConsumerBoardMagic;
}

FrameBufferInfo* FrameMemory::Infos() const
{
    return reinterpret_cast<FrameBufferInfo*>(object_.Base() + sizeof(FrameMemoryHeader));
}

/** The buffer that starts at `image`; kNoBuffer if there is none. */
std::uint32_t FrameMemory::IndexOf(const void* image) const
{
    const auto first = reinterpret_cast<std::uintptr_t>(object_.Base()) + pixelOffset_;
    const auto address = reinterpret_cast<std::uintptr_t>(image);
    if (bufferCount_ == 0 || address < first || (address - first) % stride_ != 0) {
        return kNoBuffer;
    }
    const std::uint64_t index = (address - first) / stride_;
    return index < bufferCount_ ? static_cast<std::uint32_t>(index) : kNoBuffer;
}

} // namespace kvgrab
