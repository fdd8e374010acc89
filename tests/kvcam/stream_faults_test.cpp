// What faults of the stream do to the packets of frames: the cases in stream_faults.txt.
//
// A case has the faults, one a line, and lines such as "frames 1 2" (all packets of these frames
// are sent) or "again 3-5" (packets of the newest frame are sent again). In the outcome, "2-4" are
// packets as they are; others are shown with block, packet, content and length, and how they leave.

#include "tests/base/text_cases.h"
#include "tools/kvcam/stream/stream_faults.h"

#include <fmt/format.h>
#include <numeric>
#include <sstream>
#include <stdexcept>

namespace
{

using kvcam::FramePackets;
using kvcam::Outgoing;

std::string Shown(const Outgoing& next)
{
    if (!next.datagram) {
        return next.first == next.last ? fmt::format(" {}", next.first)
                                       : fmt::format(" {}-{}", next.first, next.last);
    }
    const auto& bytes = *next.datagram;
    std::string text = fmt::format(" [{} bytes", bytes.size());
    if (bytes.size() >= 8) {
        text = fmt::format(" [{:x} block {} packet {} content {}, {} bytes",
                           bytes[0] << 8 | bytes[1], bytes[2] << 8 | bytes[3],
                           bytes[5] << 16 | bytes[6] << 8 | bytes[7], bytes[4], bytes.size());
    }
    if (bytes.size() >= 12) {
        text += fmt::format(" {:x}", bytes[10] << 8 | bytes[11]);
    }
    return fmt::format("{}{}{}]", text, next.lateMs == 0 ? "" : fmt::format(" {} ms", next.lateMs),
                       next.stranger ? " stranger" : "");
}

/** A frame of 40 bytes: packets 1 to 5 between leader and trailer. */
FramePackets Frame(std::uint64_t block)
{
    static const std::vector<std::uint8_t> pixels(40);
    return {{.pixels = pixels, .pixelsThere = pixels.size()}, {.packetSize = 44, .block = block}};
}

std::string Outcome(const std::string& lines)
{
    try {
        std::istringstream all(lines);
        std::vector<std::string> texts;
        std::vector<std::string> steps;
        for (std::string line; std::getline(all, line);) {
            const bool isStep = line.starts_with("frames ") || line.starts_with("again ");
            (isStep ? steps : texts).push_back(line);
        }
        kvcam::StreamFaults faults(texts, "C1");
        std::string outcome;
        std::uint64_t frame = 0;
        std::vector<Outgoing> outgoing;
        for (const std::string& step : steps) {
            std::istringstream words(step);
            std::string word;
            words >> word;
            const bool again = word == "again";
            for (std::uint32_t number = 0; words >> number;) {
                std::uint32_t last = 6;
                char dash = 0;
                if (again) {
                    words >> dash >> last;
                } else {
                    frame = number;
                }
                const std::uint64_t block = faults.Block(frame, false);
                outcome += fmt::format("{}{} at {}:", outcome.empty() ? "" : "; ", block,
                                       again ? 0 : faults.Ticks(frame, 1000 * frame));
                faults.Plan(Frame(block), {frame, again ? number : 0, last, again}, &outgoing);
                outcome += std::accumulate(
                    outgoing.begin(), outgoing.end(), std::string(),
                    [](const std::string& sum, const Outgoing& next) { return sum + Shown(next); });
            }
        }
        return outcome;
    } catch (const std::runtime_error& e) {
        return e.what();
    }
}

TEST(StreamFaults, DoWhatTheySay)
{
    ExpectOutcomes(TEXTS "/stream_faults.txt", Outcome);
}

TEST(StreamFaults, NumbersWrap)
{
    const auto blocks = [](const std::string& text, bool extended) {
        const kvcam::StreamFaults faults({&text, 1}, "");
        return std::vector{faults.Block(1, extended), faults.Block(2, extended),
                           faults.Block(3, extended)};
    };
    using testing::ElementsAre;
    const std::uint64_t most = ~std::uint64_t{0};
    EXPECT_THAT(blocks("numbers first=65534", false), ElementsAre(65534, 65535, 1));
    EXPECT_THAT(blocks("numbers first=65534 wrap=0", false), ElementsAre(65534, 65535, 0));
    EXPECT_THAT(blocks("numbers first=65534", true), ElementsAre(65534, 65535, 65536));
    EXPECT_THAT(blocks("numbers first=65535 bits=16", true), ElementsAre(65535, 1, 2));
    EXPECT_THAT(blocks("numbers first=0xfffffffffffffffe", true), ElementsAre(most - 1, most, 1));
    EXPECT_THAT(blocks("numbers first=0xffffffffffffffff wrap=0", true), ElementsAre(most, 0, 1));
}

} // namespace
