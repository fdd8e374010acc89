/** What a session makes of each fault that kvcam knows: wire_faults.txt has the faults and the
 *  frames, byte by byte compared with those of the same camera in this process. */
#include "gev_backend_choice.h"
#include "gev_host.h"
#include "sim_control.h"
#include "tests/net/loopback_camera.h"
#include "tests/platform/access_stories.h"
#include "tests/platform/contract/camera_under_test.h"
#include "tests/platform/do_access.h"

#include <algorithm>
#include <array>
#include <bit>
#include <fmt/format.h>
#include <iomanip>
#include <iterator>
#include <set>
#include <sstream>

namespace
{

constexpr std::uint32_t kBuffers = 128; ///< for a quarter of a second
constexpr std::uint32_t kPacketSize = 576;
constexpr std::int64_t kPeriodTicks = 2'000'000;
constexpr std::uint32_t kSide = 64; ///< of a picture, pixels
constexpr std::size_t kMostFrames = 400;

using Picture = std::vector<std::uint8_t>;
using Numbers = std::vector<std::uint64_t>; ///< of frames

/** "1-4 6" */
std::string Ranges(const Numbers& numbers)
{
    std::string text;
    for (std::size_t i = 0; i < numbers.size();) {
        std::size_t end = i + 1;
        while (end < numbers.size() && numbers[end] == numbers[end - 1] + 1) {
            ++end;
        }
        fmt::format_to(std::back_inserter(text), "{}{}", i == 0 ? "" : " ", numbers[i]);
        if (end > i + 1) {
            fmt::format_to(std::back_inserter(text), "-{}", numbers[end - 1]);
        }
        i = end;
    }
    return text;
}

std::string Joined(const std::vector<std::string>& texts)
{
    return fmt::format("{}", fmt::join(texts, ", "));
}

/** What a case gives to camera and session. */
struct Given {
    std::vector<std::string> camera;
    std::string resendDepth = "1024";       ///< for a machine that is late
    std::vector<bool> wide = {false, true}; ///< frame numbers of 64 bits: it is tried with each
    std::vector<std::string> settings;
    std::string access; ///< after each frame
    std::uint32_t frameTimeoutMs = 1000;
    std::uint64_t first = 1; ///< number on the wire
    std::uint64_t last = ~std::uint64_t{0};
    std::uint64_t behindLast = 1;

    /** The camera's own count from 1 on. */
    std::uint64_t Frame(std::uint64_t number) const
    {
        return number >= first ? number - first + 1 : last - first + number - behindLast + 2;
    }
};

/** What came of it. */
struct Grabbed {
    Numbers complete;
    Numbers incomplete;
    Numbers lost;
    Numbers wrong; ///< complete, but not the camera's picture
    Numbers numbers;
    std::vector<std::pair<std::uint64_t, std::uint64_t>> ticks; ///< frame and time stamp
    std::set<std::string> chunks;
    std::set<std::string> accesses;
    std::set<std::string> faults; ///< GevFrameFault and missing packets of incomplete frames
    GEV_TRANSFER_STATISTICS counts{};
    bool ended = false; ///< no more frame came

    std::string Frames() const;
    std::string Ticks(unsigned bits) const;
    std::string Counts() const;
    std::string Tell(const std::string& topic) const;
};

std::string Grabbed::Frames() const
{
    std::vector<std::string> texts;
    const std::pair<const char*, const Numbers*> kTopics[] = {
        {"complete", &complete}, {"incomplete", &incomplete}, {"lost", &lost}, {"wrong", &wrong}};
    for (const auto& [topic, frames] : kTopics) {
        if (!frames->empty()) {
            texts.push_back(fmt::format("{} {}", topic, Ranges(*frames)));
        }
    }
    if (ended) {
        texts.emplace_back("then none");
    }
    return Joined(texts);
}

/** Where the time stamps of complete frames don't rise by a frame period. */
std::string Grabbed::Ticks(unsigned bits) const
{
    std::vector<std::string> texts;
    for (std::size_t i = 1; i < ticks.size(); ++i) {
        const auto periods = static_cast<std::int64_t>(ticks[i].first - ticks[i - 1].first);
        const std::uint64_t rise = ticks[i].second - ticks[i - 1].second;
        const std::uint64_t more = rise - static_cast<std::uint64_t>(periods * kPeriodTicks);
        if (more << (64 - bits) != 0) {
            texts.push_back(
                fmt::format("{} {:+}", ticks[i].first, static_cast<std::int64_t>(more)));
        }
    }
    return Joined(texts);
}

std::string Grabbed::Counts() const
{
    std::vector<std::string> texts;
    const std::pair<const char*, std::uint64_t> kCounts[] = {
        {"received", counts.framesReceived},
        {"incomplete", counts.framesIncomplete},
        {"lost", counts.framesLost},
        {"without buffer", counts.underruns},
        {"missing", counts.packetsMissing},
        {"unknown", counts.framesOfUnknownPayload},
        {"refused starts", counts.startRefused}};
    for (const auto& [topic, count] : kCounts) {
        if (count != 0) {
            texts.push_back(fmt::format("{} {}", topic, count));
        }
    }
    return Joined(texts);
}

std::string Grabbed::Tell(const std::string& topic) const
{
    std::istringstream words(topic);
    std::string word;
    unsigned bits = 64;
    words >> word >> bits;
    const auto all = [](const std::set<std::string>& texts) {
        return fmt::format("{}", fmt::join(texts, ", "));
    };
    return word == "grab"     ? Frames()
           : word == "ticks"  ? Ticks(words ? bits : 64)
           : word == "counts" ? Counts()
           : word == "resent" ? (counts.packetsResent > 0 ? "some" : "none")
           : word == "chunks" ? all(chunks)
           : word == "came"   ? all(accesses)
           : word == "faults" ? all(faults)
                              : Ranges(numbers);
}

class WireFaults : public Session
{
protected:
    /** The same pictures as they leave the sensor, each with its number and noise of its own. */
    static void SetUpTestSuite()
    {
        std::string error;
        ASSERT_TRUE(gevplat::ChooseBackends({}, &error)) << error;
        sim::SetClock(std::make_shared<sim::ManualClock>(1'000'000'000));
        sim::CameraSetup setup;
        setup.serial = "R1";
        sim::AddCamera(setup);
        struct Painter : WireFaults {
            void TestBody() override {}
        } painter;
        painter.OpenFast("R1");
        painter.StartFor(2);
        for (std::size_t i = 0; i < kMostFrames; ++i) {
            _tag_GEVBUF_ENTRY& frame = painter.Take();
            const auto* pixels = static_cast<const std::uint8_t*>(frame.address);
            pictures_.emplace_back(pixels, pixels + frame.receivedBytes);
            painter.Release(frame);
        }
        painter.TearDown();
        sim::Reset();
    }

    void SetUp() override { UseNetworkCameras(); }

    Grabbed Grab(const Given& given, bool wide, std::uint64_t frames)
    {
        std::vector<std::string> options = given.camera;
        options.insert(options.end(), {"--resend-depth", given.resendDepth});
        if (wide) {
            options.emplace_back("--extended-ids");
        }
        LoopbackCamera camera("W1", "127.0.0.1", options);
        Grabbed grabbed;
        OpenFast("W1");
        if (map == nullptr) {
            return grabbed;
        }
        Prepare(given, &grabbed);
        StartFor(kBuffers);
        for (std::uint64_t newest = 0; newest < frames && !grabbed.ended;) {
            newest = Look(given, newest, &grabbed);
        }
        grabbed.counts = Statistics();
        Check(grabbed.counts, wide);
        GevCloseCamera(&handle);
        map = nullptr;
        return grabbed;
    }

private:
    /** Small pictures at the frame rate of the cases. Cameras are listed once, since that takes
     *  a second: one is as the other. */
    void OpenFast(const std::string& serial)
    {
        if (device.serial != serial) {
            ASSERT_TRUE(FindDevice(serial));
        }
        ASSERT_EQ(GevOpenCamera(&device, 2, &handle), kGevOk);
        map = GevGetFeatureNodeMap(handle);
        Integer("Width")->SetValue(kSide);
        Integer("Height")->SetValue(kSide);
        Float("ExposureTime")->SetValue(500);
        Float("AcquisitionFrameRate")->SetValue(1e9 / kPeriodTicks);
    }

    void Prepare(const Given& given, Grabbed* grabbed)
    {
        for (const std::string& setting : given.settings) {
            if (const std::string result = DoAccess(*map, setting); !result.empty()) {
                grabbed->accesses.insert(result);
            }
        }
        GEV_CAMERA_OPTIONS options{};
        GevGetCameraInterfaceOptions(handle, &options);
        options.streamPacketSize = kPacketSize;
        options.streamFrameTimeoutMs = given.frameTimeoutMs;
        EXPECT_EQ(GevSetCameraInterfaceOptions(handle, &options), kGevOk);
    }

    /** Returns the newest frame's number. */
    std::uint64_t Look(const Given& given, std::uint64_t before, Grabbed* grabbed)
    {
        _tag_GEVBUF_ENTRY* const entry = Next();
        if (entry == nullptr) {
            grabbed->ended = true;
            return before;
        }
        const std::uint64_t frame = given.Frame(entry->frameNumber);
        EXPECT_GT(frame, before);
        for (std::uint64_t lost = before + 1; lost < std::min(frame, before + 100); ++lost) {
            grabbed->lost.push_back(lost);
        }
        grabbed->numbers.push_back(entry->frameNumber);
        if (status == kGevOk) {
            Compare(*entry, frame, grabbed);
        } else {
            EXPECT_EQ(status, kGevIncomplete);
            grabbed->incomplete.push_back(frame);
            grabbed->faults.insert(fmt::format("{} with {} missing", entry->reception.fault,
                                               entry->reception.packetsMissing));
        }
        GevReleaseFrame(handle, entry);
        if (!given.access.empty()) {
            grabbed->accesses.insert(DoAccess(*map, given.access));
        }
        return frame;
    }

    static void Compare(const _tag_GEVBUF_ENTRY& entry, std::uint64_t frame, Grabbed* grabbed)
    {
        const auto* pixels = static_cast<const std::uint8_t*>(entry.address);
        const bool right = frame >= 1 && frame <= pictures_.size() &&
                           std::equal(pixels, pixels + entry.receivedBytes,
                                      pictures_[frame - 1].begin(), pictures_[frame - 1].end());
        (right ? grabbed->complete : grabbed->wrong).push_back(frame);
        grabbed->ticks.emplace_back(frame, entry.timestamp);
        const auto* chunks = static_cast<const std::uint8_t*>(entry.chunkData);
        if (chunks != nullptr) {
            std::array<std::uint8_t, 8> time{};
            for (unsigned i = 0; i < time.size(); ++i) {
                time[i] = static_cast<std::uint8_t>(entry.timestamp >> (56 - 8 * i));
            }
            const auto* const end = chunks + entry.chunkSize;
            const bool own = std::search(chunks, end, time.begin(), time.end()) != end;
            grabbed->chunks.insert(
                fmt::format("{} bytes, {} time stamp", entry.chunkSize, own ? "own" : "another"));
        }
    }

    void Check(const GEV_TRANSFER_STATISTICS& counts, bool wide) const
    {
        const std::uint64_t step = kPacketSize - (wide ? 48 : 36);
        const std::uint64_t packets = (memory.front().size() + step - 1) / step + 2;
        EXPECT_EQ(counts.packetsOfFrame, packets);
        EXPECT_EQ(counts.packetSize, kPacketSize);
        EXPECT_GE(counts.packetsReceived, counts.framesReceived * packets);
    }

    static inline std::vector<Picture> pictures_;
};

TEST_F(WireFaults, CostWhatTheirTextSays)
{
    Given given;
    std::vector<Grabbed> grabbed; ///< with each width of the numbers
    const auto act = [&](const std::string& step) -> std::string {
        std::istringstream words(step);
        std::string word;
        std::string rest;
        words >> word;
        std::getline(words >> std::ws, rest);
        std::istringstream values(rest);
        if (word == "--resend-depth") {
            given.resendDepth = rest;
        } else if (word.starts_with("--")) {
            given.camera.push_back(word);
            if (!rest.empty()) {
                given.camera.push_back(rest);
            }
        } else if (word == "ids") {
            given.wide = {rest == "64"};
        } else if (word == "set") {
            given.settings.push_back(rest);
        } else if (word == "each") {
            given.access = rest;
        } else if (word == "timeout") {
            values >> given.frameTimeoutMs;
        } else if (word == "numbered") {
            values >> std::setbase(0) >> given.first >> given.last >> given.behindLast;
        } else {
            if (word == "grab") {
                std::uint64_t frames = 0;
                values >> frames;
                grabbed.clear();
                for (const bool wide : given.wide) {
                    grabbed.push_back(Grab(given, wide, frames));
                }
            }
            std::vector<std::string> results;
            for (const Grabbed& one : grabbed) {
                if (const std::string told = one.Tell(step);
                    results.empty() || results.back() != told) {
                    results.push_back(told);
                }
            }
            return fmt::format("{}", fmt::join(results, " | "));
        }
        return "";
    };
    const auto begin = [&](const std::string&) { given = {}; };
    TellStories(WIRE_FAULTS, begin, act);
}

} // namespace
