/** A session on a simulated camera of the test's own making, in virtual time. */
#pragma once

#include "tests/platform/contract/camera_under_test.h"

#include "sim_control.h"

#include <initializer_list>
#include <numeric>
#include <utility>

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

    /** Sets enumerations by name. */
    void Choose(std::initializer_list<std::pair<const char*, const char*>> choices)
    {
        for (const auto& [name, entry] : choices) {
            Enumeration(name)->FromString(entry);
        }
    }
    /** A float feature under one entry of its selector. */
    double At(const char* selector, const char* entry, const char* name)
    {
        Enumeration(selector)->FromString(entry);
        return Float(name)->GetValue();
    }

    static double MeanOf(const std::vector<std::uint8_t>& bytes)
    {
        return std::accumulate(bytes.begin(), bytes.end(), 0.0) / static_cast<double>(bytes.size());
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

    std::shared_ptr<sim::ManualClock> clock = std::make_shared<sim::ManualClock>(kStartNs);
    sim::CameraSetup setup;
    std::uint64_t received = 0; ///< bytes of the last picture
};

/** Pictures of 256 x 128 without noise. */
class PatternSession : public SimSession
{
protected:
    using Bytes = std::vector<std::uint8_t>;

    PatternSession()
    {
        setup.picture = sim::Picture::Pattern;
        setup.noise = 0;
        setup.sensorWidth = 256;
        setup.sensorHeight = 128;
    }
    void OpenWide()
    {
        OpenCamera();
        Integer("Width")->SetValue(256);
        Integer("Height")->SetValue(128);
        Float("ExposureTime")->SetValue(8000);
        Float("AcquisitionFrameRate")->SetValue(20);
    }
};
