#include "kv_frame_memory.h"
#include "tests/consumers/host.h"
#include "tests/host/memory/consumer.h"

#include <algorithm>
#include <atomic>
#include <csignal>
#include <gtest/gtest.h>
#include <memory>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <thread>
#include <vector>

namespace
{

constexpr int kLongMs = 60'000; ///< for waits that something ends earlier

/** "sequence+missed" of the next frames until there are no more. */
std::string Next(const Source& source, kvf_which which = KVF_NEXT)
{
    std::string text;
    kvf_frame frame;
    while (source.Wait(&frame, which) == KVF_OK) {
        std::vector<std::uint8_t> copy(frame.bytes);
        const bool same = kvf_copy(source, &frame, copy.data(), copy.size()) == KVF_OK &&
                          std::all_of(copy.begin(), copy.end(), [&frame](std::uint8_t value) {
                              return value == frame.sequence % 256;
                          });
        text += std::to_string(frame.sequence) + (same ? "+" : "?") + std::to_string(frame.missed) +
                " ";
    }
    return text;
}

TEST(Kvframes, FramesComeInOrderAndTheMissedOnesAreCounted)
{
    const Source source;
    kvf_frame frame;
    EXPECT_EQ(source.Wait(&frame), KVF_NO_HOST);
    auto host = std::make_unique<Host>();
    ASSERT_TRUE(host->Usable()) << host->Memory().Error();
    EXPECT_EQ(source.Wait(&frame), KVF_TIMEOUT) << "there is a host, but no frame";
    host->Publish(4);
    EXPECT_EQ(Next(source), "4+0 ") << "the first one is the newest";
    EXPECT_EQ(Next(source), "");
    host->Publish(3);
    EXPECT_EQ(Next(source), "5+0 6+0 7+0 ");
    host->Publish(13);
    EXPECT_EQ(Next(source), "16+8 17+0 18+0 19+0 20+0 ") << "8 buffers leave 5 to read";
    host->Publish(3);
    EXPECT_EQ(Next(source, KVF_NEWEST), "23+2 ");
    host->Publish(2);
    host->Lose(8);
    EXPECT_EQ(Next(source), "") << "both are overwritten";
    host->Publish();
    EXPECT_EQ(Next(source), "26+2 ");

    host->Publish(2);
    host->Memory().Close();
    EXPECT_EQ(Next(source), "27+0 28+0 ") << "they outlive the host";
    EXPECT_EQ(source.Wait(&frame), KVF_NO_HOST);
    host = std::make_unique<Host>();
    host->Publish(2);
    EXPECT_EQ(Next(source), "1+0 2+0 ") << "the first frames of the host that came back";
    host->Publish(3);
    host->Lose(8);
    host.reset();
    host = std::make_unique<Host>();
    host->Publish(13);
    EXPECT_EQ(Next(source), "9+11 10+0 11+0 12+0 13+0 ")
        << "three of the former host, eight of this";
}

TEST(Kvframes, AFrameHasAllItsValuesAndTheHostItsState)
{
    Host host;
    const Source source;
    host.Publish(3);
    host.Memory().Announce(5'000'000, 10, 20);
    kvf_frame frame;
    ASSERT_EQ(source.Wait(&frame), KVF_OK);
    EXPECT_EQ(frame.width * 1000 + frame.height, 10'010U);
    EXPECT_EQ(frame.format, KVF_MONO8);
    EXPECT_STREQ(frame.codec, "MONO8T");
    EXPECT_EQ(frame.time_us, 1'000'003U);
    EXPECT_EQ(frame.capture_time_ns, 2'000'003);
    EXPECT_EQ(frame.camera_ticks, 30U);
    EXPECT_EQ(frame.camera_frame_number, 103U);
    EXPECT_EQ(frame.frame_counter, 3U);
    EXPECT_EQ(frame.gain_db, 1.5F);
    EXPECT_EQ(frame.exposure_us, 250.0F);
    kvf_state state;
    ASSERT_EQ(kvf_get_state(source, &state), KVF_OK);
    EXPECT_EQ(state.attached + 10 * state.buffers, 81U);
    EXPECT_EQ(state.frame_bytes, 100U);
    EXPECT_EQ(state.newest, 3U);
    EXPECT_EQ(state.host_pid, static_cast<std::uint64_t>(getpid()));
    EXPECT_EQ(state.next_time_us, 5'000'000U);
    EXPECT_EQ(state.generation, frame.generation);
}

TEST(Kvframes, AFrameIsValidUntilItsBufferIsTakenAndItsAddressUntilItIsUnpinned)
{
    auto source = std::make_unique<Source>();
    auto host = std::make_unique<Host>();
    host->Publish();
    kvf_frame frame;
    kvf_frame other;
    ASSERT_EQ(source->Wait(&frame), KVF_OK);
    ASSERT_EQ(kvf_pin(*source, &frame), KVF_OK);
    host->Publish(5);
    EXPECT_EQ(kvf_is_valid(*source, &frame), 0);
    const auto* const first = static_cast<const std::uint8_t*>(frame.pixels);
    EXPECT_EQ(*first, 1) << "only marked so far";
    host->Publish(3);
    EXPECT_EQ(*first, 9);

    host->Layout(1000, 4); // the object grows, so the source maps it again
    host->Publish();
    ASSERT_EQ(source->Wait(&other), KVF_OK);
    EXPECT_EQ(other.sequence * 10'000'000 + other.bytes, 101'000'000U);
    EXPECT_NE(other.generation, frame.generation);
    EXPECT_EQ(kvf_is_valid(*source, &other), 1);
    host->Layout(2000, 4);
    kvf_state state;
    EXPECT_EQ(kvf_get_state(*source, &state), KVF_OK);
    EXPECT_EQ(state.width, 2000U);
    EXPECT_EQ(static_cast<const std::uint8_t*>(other.pixels)[999'999], 10) << "until the next wait";
    host->Publish();
    ASSERT_EQ(source->Wait(&other), KVF_OK);
    ASSERT_EQ(kvf_pin(*source, &other), KVF_OK);
    host.reset();
    EXPECT_EQ(source->Wait(&frame), KVF_NO_HOST);
    EXPECT_EQ(kvf_is_valid(*source, &other), 1) << "nobody writes to it any more";
    source.reset();
    EXPECT_EQ(static_cast<const std::uint8_t*>(other.pixels)[3'999'999], 11);
    kvf_unpin(&other);
    kvf_unpin(&frame);
}

TEST(Kvframes, AWaitOutlivesAHostThatIsKilledAndFindsTheNextOne)
{
    const Source source;
    kvf_frame frame;
    const pid_t child = fork();
    if (child == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        Host host;
        host.Publish();
        pause(); // until it is killed
    }
    ASSERT_EQ(source.Wait(&frame, KVF_NEXT, kLongMs), KVF_OK);
    std::thread waits([&] {
        EXPECT_EQ(source.Wait(&frame, KVF_NEXT, kLongMs), KVF_OK);
        EXPECT_EQ(frame.host * 10 + frame.sequence, 21U);
        EXPECT_EQ(frame.width, 20U);
    });
    kill(child, SIGKILL);
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    kvf_state state;
    EXPECT_EQ(kvf_get_state(Source(), &state), KVF_NO_HOST) << "what it left is nobody's";
    Host host;
    host.Layout(20);
    host.Publish();
    waits.join();
}

/** Until a consumer has said that it waits. */
void UntilSomebodyWaits()
{
    const Board board(OwnName());
    while (board.Get().waiting.load() == 0) {
        std::this_thread::yield();
    }
}

TEST(Kvframes, APublishedFrameWakesAllWhoWait)
{
    Host host;
    std::atomic<int> frames = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i) {
        threads.emplace_back([&frames] {
            const Source source;
            kvf_frame frame;
            frames += source.Wait(&frame, KVF_NEXT, kLongMs) == KVF_OK ? 1 : 0;
        });
    }
    while (frames < 3) { // one that begins later than the first frame gets it at once
        if (frames == 0) {
            UntilSomebodyWaits();
            host.Publish();
        }
        std::this_thread::yield();
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

TEST(Kvframes, WithoutABoardAWaitLooksNowAndThen)
{
    for (const bool cut : {false, true}) {
        Host host(true);
        host.Publish();
        const Source source;
        kvf_frame frame;
        ASSERT_EQ(source.Wait(&frame), KVF_OK);
        ASSERT_EQ(kvf_hold(source, &frame), KVF_OK);
        if (cut) {
            EXPECT_TRUE(Board(OwnName()).Cut());
        } else {
            shm_unlink((OwnName() + KvFrames::kConsumerBoardSuffix).c_str());
        }
        std::thread waits([&] { EXPECT_EQ(source.Wait(&frame, KVF_NEXT, kLongMs), KVF_OK); });
        host.Publish();
        waits.join();
        EXPECT_EQ(kvf_release(source), KVF_OK);
        EXPECT_EQ(kvf_hold(source, &frame), KVF_DENIED);
    }
}

TEST(Kvframes, AnInterruptionEndsAllWaitsOrElseTheNextOne)
{
    for (const bool withHost : {false, true}) {
        const std::unique_ptr<Host> host = withHost ? std::make_unique<Host>() : nullptr;
        if (withHost) {
            host->Publish(); // comes second to an interruption
        }
        const Source source;
        kvf_frame frame;
        kvf_interrupt(source);
        EXPECT_EQ(source.Wait(&frame, KVF_NEXT, KVF_FOREVER), KVF_INTERRUPTED);
        EXPECT_NE(source.Wait(&frame), KVF_INTERRUPTED) << "only one";
        std::atomic<int> ended = 0;
        std::vector<std::thread> threads;
        for (int i = 0; i < 3; ++i) {
            threads.emplace_back([&source, &ended] {
                kvf_frame own;
                EXPECT_EQ(kvf_wait(source, KVF_NEXT, KVF_FOREVER, &own), KVF_INTERRUPTED);
                ++ended;
            });
        }
        while (ended < 3) { // threads begin to wait at any time
            kvf_interrupt(source);
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
    }
}

TEST(Kvframes, ThreadsThatShareASourceShareItsFrames)
{
    constexpr std::uint64_t kFrames = 3000;
    Host host;
    host.Publish();
    const Source source;
    ASSERT_EQ(Next(source), "1+0 ");
    std::atomic<std::uint64_t> counted = 1;
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i) {
        threads.emplace_back([&source, &counted] {
            kvf_frame frame;
            std::vector<std::uint8_t> copy(100);
            while (counted < kFrames) {
                if (source.Wait(&frame, KVF_NEXT, 100) == KVF_OK) {
                    counted += frame.missed + 1;
                    const bool whole = kvf_copy(source, &frame, copy.data(), copy.size()) == KVF_OK;
                    EXPECT_TRUE(!whole || copy[99] == frame.sequence % 256) << frame.sequence;
                }
            }
        });
    }
    for (std::uint64_t i = 1; i < kFrames; ++i) {
        host.Publish();
        if (i % 5 == 0) {
            std::this_thread::yield();
        }
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(counted, kFrames);
}

TEST(Kvframes, AHeldFrameStaysUntilItIsReleasedOrTheHostNeedsItsBuffer)
{
    const Source first;
    const Source second;
    kvf_frame frame;
    kvf_frame other;
    kvf_state state;
    Host host(true);
    host.Publish();
    ASSERT_EQ(first.Wait(&frame), KVF_OK);
    ASSERT_EQ(kvf_hold(first, &frame), KVF_OK) << kvf_error();
    EXPECT_EQ(kvf_get_state(first, &state), KVF_OK);
    EXPECT_EQ(state.can_hold, 1U);
    host.Publish(20);
    EXPECT_EQ(kvf_is_valid(first, &frame), 1);
    EXPECT_EQ(kvf_hold(second, &frame), KVF_OVERWRITTEN) << "it has seen no frame";
    ASSERT_EQ(first.Wait(&other, KVF_NEWEST), KVF_OK);
    ASSERT_EQ(kvf_hold(first, &other), KVF_OK);
    host.Publish(20);
    EXPECT_EQ(kvf_is_valid(first, &frame), 0) << "the second hold released the first";
    EXPECT_EQ(kvf_is_valid(first, &other), 1);
    EXPECT_EQ(kvf_hold(first, &frame), KVF_OVERWRITTEN);
    host.Publish(20);
    EXPECT_EQ(kvf_is_valid(first, &other), 0) << "held no more";
    EXPECT_EQ(kvf_release(first), KVF_OK) << "nothing to release";

    host.Layout(10, 4); // leave one to hold
    host.Publish();
    ASSERT_EQ(first.Wait(&frame), KVF_OK);
    ASSERT_EQ(kvf_hold(first, &frame), KVF_OK);
    host.Publish();
    ASSERT_EQ(second.Wait(&other), KVF_OK);
    ASSERT_EQ(kvf_hold(second, &other), KVF_OK);
    host.Publish(20);
    EXPECT_EQ(kvf_is_valid(first, &frame), 0);
    EXPECT_EQ(kvf_release(first), KVF_OVERWRITTEN) << "the oldest was taken back";
    EXPECT_EQ(kvf_release(second), KVF_OK);
    EXPECT_EQ(host.Memory().TakenBack(), 1U);

    host.Publish();
    std::vector<std::unique_ptr<Source>> many(KvFrames::kLeases + 1);
    for (auto& source : many) {
        source = std::make_unique<Source>();
        ASSERT_EQ(source->Wait(&frame), KVF_OK);
        EXPECT_EQ(kvf_hold(*source, &frame), &source == &many.back() ? KVF_BUSY : KVF_OK);
    }
    many.front().reset();
    EXPECT_EQ(kvf_hold(*many.back(), &frame), KVF_OK) << "a closed source holds nothing";
}

TEST(Kvframes, HeldFramesStayWholeWhileTheHostPublishes)
{
    Host host(true);
    host.Publish();
    std::atomic<bool> ending = false;
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i) {
        threads.emplace_back([&ending] {
            const Source source;
            kvf_frame frame;
            kvf_state state;
            while (!ending) {
                if (source.Wait(&frame, KVF_NEXT, 10) != KVF_OK || // about to be overwritten
                    kvf_hold(source, &frame) != KVF_OK) {
                    continue;
                }
                do { // until the host has passed all buffers twice
                    const auto* const pixels = static_cast<const std::uint8_t*>(frame.pixels);
                    EXPECT_EQ(std::count(pixels, pixels + 100, frame.sequence % 256), 100);
                    kvf_get_state(source, &state);
                } while (!ending && state.newest < frame.sequence + 16);
                EXPECT_EQ(kvf_is_valid(source, &frame), 1);
                EXPECT_EQ(kvf_release(source), KVF_OK) << kvf_error();
            }
        });
    }
    for (int i = 0; i < 200; ++i) {
        host.Publish(i % 16);
        std::this_thread::yield();
    }
    ending = true;
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(host.Memory().TakenBack(), 0U) << "five of eight buffers may be held";
}

} // namespace
