/** Stories of simulated cameras in virtual time: stories.txt. */
#include "sim/description/description.h"

#include "tests/platform/access_stories.h"
#include "tests/platform/do_access.h"
#include "tests/platform/sim/sim_session.h"

#include <fmt/format.h>

#include <cstring>
#include <functional>
#include <map>

namespace
{

class SimStories : public SimSession
{
protected:
    void Begin()
    {
        GevApiUninitialize();
        sim::Reset();
        clock = std::make_shared<sim::ManualClock>(kStartNs);
        sim::SetClock(clock);
    }
    std::string Act(const std::string& step)
    {
        const std::size_t end = std::min(step.find(' '), step.size());
        const std::string verb = step.substr(0, end);
        const std::string rest = step.substr(std::min(end + 1, step.size()));
        if (const auto deed = deeds_.find(verb); deed != deeds_.end()) {
            deed->second(rest);
            return "";
        }
        const auto question = questions_.find(verb);
        return question != questions_.end() ? question->second(rest) : DoAccess(*map, step);
    }

private:
    static sim::NetworkDescription Parsed(const std::string& text)
    {
        sim::NetworkDescription network;
        std::string error;
        EXPECT_TRUE(sim::ParseNetwork(text, "story", &network, &error)) << error;
        return network;
    }
    void AddAndOpen(const std::string& keys)
    {
        GevCloseCamera(&handle);
        const auto network = Parsed(fmt::format("camera = [{{serial = \"S1\", {}}}]", keys));
        EXPECT_TRUE(sim::AddCamera(network.cameras.at(0)));
        Open("S1");
    }
    static void AddFault(const std::string& keys)
    {
        sim::AddFault(Parsed(fmt::format("camera = [{{serial = \"S1\"}}, {{serial = \"S2\"}}]\n"
                                         "fault = [{{{}}}]",
                                         keys))
                          .faults.at(0));
    }
    static std::int64_t SinceStart(std::int64_t timeNs) { return (timeNs - kStartNs) / 1000; }

    /** The next frame, which is given back; waits for `timeoutMs`, if that is no empty text. */
    std::string TakeFrame(const std::string& timeoutMs)
    {
        _tag_GEVBUF_ENTRY* frame = Next(
            timeoutMs.empty() ? kPatienceMs : static_cast<std::uint32_t>(std::stoul(timeoutMs)));
        const std::int64_t now = SinceStart(clock->NowNs());
        if (frame == nullptr) {
            return fmt::format("none, status {}, after {} us", status, now);
        }
        std::string text = fmt::format("{}, status {}, {} x {}, {} bytes, ticks {}, after {} us",
                                       frame->frameId, status, frame->width, frame->height,
                                       frame->receivedBytes, frame->timestamp, now);
        const auto halves = std::uint64_t{frame->timestampHigh} << 32 | frame->timestampLow;
        text += halves == frame->timestamp ? "" : fmt::format(", halves {}", halves);
        text += frame->address == nullptr ? ", no image" : "";
        if (frame->chunkData != nullptr) {
            double value = 0;
            std::memcpy(&value, static_cast<const std::uint8_t*>(frame->chunkData) + 8, 8);
            text += fmt::format(", chunk {}", value);
        }
        GevReleaseFrame(handle, frame);
        return text;
    }
    /** The pulses that a line still has: how many, and the last with its times in us. */
    static std::string Waveform(const std::string& line)
    {
        sim::LineWaveform waveform;
        if (!sim::GetLineWaveform("S1", std::stoi(line), &waveform)) {
            return "no output";
        }
        std::string text = fmt::format(
            "{}, delay {}, duration {}{}, pulses: {}", waveform.source, waveform.delayUs,
            waveform.durationUs, waveform.inverted ? ", inverted" : "", waveform.pulses.size());
        if (!waveform.pulses.empty()) {
            const sim::StrobePulse& last = waveform.pulses.back();
            text += fmt::format(", frame {} exposed {} to {}, pulse {} to {}", last.frame,
                                SinceStart(last.exposureStartNs), SinceStart(last.exposureEndNs),
                                SinceStart(last.startNs), SinceStart(last.endNs));
        }
        return text;
    }

    const std::map<std::string, std::function<void(const std::string&)>> deeds_{
        {"camera", [this](const std::string& keys) { AddAndOpen(keys); }},
        {"fault", AddFault},
        {"faults-end", [](const std::string&) { sim::ClearFaults(); }},
        {"start", [this](const std::string& n) { StartFor(static_cast<unsigned>(std::stoi(n))); }},
        {"grab", [this](const std::string& n) { GrabFrames(std::stoi(n)); }},
        {"attach", [](const std::string&) { sim::SetAttached("S1", true); }},
        {"wait-us", [this](const std::string& us) { clock->AdvanceNs(std::stoll(us) * 1000); }},
    };
    const std::map<std::string, std::function<std::string(const std::string&)>> questions_{
        {"frame", [this](const std::string& timeoutMs) { return TakeFrame(timeoutMs); }},
        {"line", Waveform},
        {"time", [this](const std::string&) { return std::to_string(SinceStart(clock->NowNs())); }},
        {"info",
         [this](const std::string&) {
             return GevGetCameraInfo(handle) == nullptr ? "none" : "there";
         }},
        {"payload",
         [this](const std::string&) {
             return std::to_string(GevGetPayloadParameters(handle, nullptr, nullptr));
         }},
        {"format",
         [this](const std::string& number) {
             const auto format = static_cast<std::uint32_t>(std::stoul(number, nullptr, 16));
             return std::to_string(GevSetFeatureValue(handle, "PixelFormat", 4, &format));
         }},
        {"script",
         [](const std::string& change) {
             const std::size_t equals = change.find('=');
             return sim::SetFeatureText("S1", change.substr(0, equals), change.substr(equals + 1))
                        ? "taken"
                        : "refused";
         }},
        {"mean", [this](const std::string&) { return fmt::format("{:.1f}", MeanOf(memory[0])); }},
        {"text", [](const std::string& name) { return sim::FeatureText("S1", name); }},
        {"counts",
         [](const std::string&) {
             const GEV_TRANSFER_STATISTICS counts = Statistics();
             return fmt::format("received {}, incomplete {}, lost {}, underruns {}",
                                counts.framesReceived, counts.framesIncomplete, counts.framesLost,
                                counts.underruns);
         }},
    };
};

TEST_F(SimStories, ComeToWhatTheirTextSays)
{
    TellStories(
        DESCRIPTION_CASES "/stories.txt", [this](const std::string&) { Begin(); },
        [this](const std::string& step) { return Act(step); });
}

} // namespace
