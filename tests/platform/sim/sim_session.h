/** A session on a simulated camera of the test's own making, in virtual time. */
#pragma once

#include "tests/platform/contract/camera_under_test.h"

#include "sim_control.h"

class SimSession : public Session
{
protected:
    static constexpr std::int64_t kStartNs = 1'000'000'000;
    static constexpr std::int64_t kMs = 1'000'000;

    SimSession()
    {
        sim::Reset();
        sim::SetClock(clock);
        setup.serial = "S1";
        setup.picture = sim::Picture::Plain;
    }
    ~SimSession() override { sim::Reset(); }

    /** Puts the camera of `setup` on the network and opens it. */
    void OpenCamera()
    {
        ASSERT_TRUE(sim::AddCamera(setup));
        Open(setup.serial);
    }

    /** The bytes of one picture under the present settings. */
    std::vector<std::uint8_t> Grab()
    {
        EXPECT_EQ(Initialize(1), kGevOk);
        EXPECT_EQ(GevStartTransfer(handle, 1), kGevOk);
        _tag_GEVBUF_ENTRY* frame = Next();
        EXPECT_NE(frame, nullptr);
        received = frame == nullptr ? 0 : frame->receivedBytes;
        GevFreeTransfer(handle);
        return memory.front();
    }

    static std::vector<std::string> Journal(const std::string& kind)
    {
        std::vector<std::string> texts;
        for (const sim::JournalEntry& entry : sim::Journal()) {
            if (entry.kind == kind) {
                texts.push_back(entry.text);
            }
        }
        return texts;
    }

    std::shared_ptr<sim::ManualClock> clock = std::make_shared<sim::ManualClock>(kStartNs);
    sim::CameraSetup setup;
    std::uint64_t received = 0; ///< bytes of the last picture
};
