/** A host in this process that publishes frames, and a source that follows it. */
#pragma once

#include "kvframes.h"
#include "memory/frame_memory.h"

#include <cstring>
#include <string>
#include <unistd.h>

/** A name of this test's own, which its children keep. */
inline const std::string& OwnName()
{
    static const std::string name = "/kvframes-test-" + std::to_string(getpid());
    return name;
}

/** Frames of 10 x 10 pixels in 8 buffers, unless Layout() says otherwise. All bytes of a frame are
 *  the low byte of its sequence number. */
class Host
{
public:
    /** `asks`: its transfer asks before it fills a buffer, so consumers can hold frames. */
    explicit Host(bool asks = false) : asks_(asks), usable_(memory_.Open(OwnName())) { Layout(10); }

    bool Usable() const { return usable_; }
    kvgrab::FrameMemory& Memory() { return memory_; }
    void Layout(std::uint32_t side, std::uint32_t buffers = 8)
    {
        usable_ = usable_ && memory_.Init(side * side, buffers);
        memory_.SetActFsize(side * side);
        memory_.Describe(side, side, 1, "MONO8T");
    }
    void Publish(int frames = 1)
    {
        for (int i = 0; i < frames; ++i) {
            memory_.CountRound();
            const std::uint64_t sequence = memory_.TriggeredFrames() + 1;
            void* image = NextBuffer();
            while (asks_ && !memory_.MayFill(image, false)) {
                image = NextBuffer();
            }
            std::memset(image, static_cast<int>(sequence % 256), memory_.ActFsize());
            memory_.Trigger(0, 1'000'000 + sequence, image, 0,
                            {sequence * 10, static_cast<std::uint32_t>(sequence), 1.5F, 250.0F,
                             sequence + 100, 2'000'000 + sequence});
            memory_.Release();
        }
    }
    /** Frames that a session's camera lost: their turns pass. */
    void Lose(int frames)
    {
        for (int i = 0; i < frames; ++i) {
            memory_.CountRound();
        }
    }

private:
    void* NextBuffer() { return memory_.BufPtr(++turn_ % memory_.BufferCount()); }

    kvgrab::FrameMemory memory_;
    bool asks_;
    bool usable_;
    std::uint32_t turn_ = 0;
};

class Source
{
public:
    explicit Source(const std::string& name = OwnName()) { kvf_open(name.c_str(), &source_); }
    ~Source() { kvf_close(source_); }
    Source(const Source&) = delete;
    Source& operator=(const Source&) = delete;

    operator kvf_source*() const { return source_; }
    kvf_result Wait(kvf_frame* frame, kvf_which which = KVF_NEXT, int timeoutMs = 0) const
    {
        return kvf_wait(source_, which, timeoutMs, frame);
    }

private:
    kvf_source* source_ = nullptr;
};
