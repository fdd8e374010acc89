/** Frames over a link that loses, delays and duplicates packets at random, with a camera that
 *  answers requests, refuses them or doesn't care. */
#include "net/stream/reassembly.h"
#include "tests/net/gvsp_sender.h"

#include <gtest/gtest.h>
#include <map>
#include <random>

namespace
{

constexpr net::Ns kUs = 1000;
constexpr net::Ns kMs = 1000 * kUs;
constexpr net::Ns kNever = std::numeric_limits<net::Ns>::max();
constexpr std::size_t kFrames = 60;

/** Chances are of a thousand. */
struct Weather {
    unsigned lost;
    unsigned late; ///< by up to 3 ms
    unsigned twice;
    unsigned unanswered; ///< requests
    unsigned refused;
    bool quickHost; ///< gives buffers back at once
};

class Link
{
public:
    Link(const Weather& weather, unsigned seed) : weather_(weather), random_(seed)
    {
        sender_.extendedIds = OneOf(2) == 0;
        sender_.height = 1 + OneOf(40);
        sender_.bytes = sender_.height * 100 - OneOf(100);
        sender_.width = 1;
        settings_.bufferBytes = sender_.bytes;
        settings_.packetSize = sender_.extendedIds ? 148 : 136;
        settings_.payloadBytes = sender_.bytes;
        settings_.requests = weather.unanswered < 1000;
        settings_.mostRequested = sender_.height + 2;
        settings_.reorderWindow = kMs;
        settings_.requestTimeout = 4 * kMs;
        settings_.retention = 40 * kMs;
        buffers_.assign(weather.quickHost ? 16 : 1 + OneOf(6), Packet(sender_.bytes));
        std::vector<std::uint8_t*> memory;
        for (Packet& buffer : buffers_) {
            memory.push_back(buffer.data());
        }
        reassembly_ = std::make_unique<net::Reassembly>(settings_, memory,
                                                        [](std::uint32_t, bool) { return true; });
        for (std::uint32_t i = 0; i < memory.size(); ++i) {
            reassembly_->AddBuffer(i);
        }
        std::uint64_t number = 65535 - OneOf(kFrames);
        for (std::size_t i = 0; i < kFrames; ++i, ++number) {
            numbers_.push_back(number > 65535 && !sender_.extendedIds ? number - 65535 : number);
        }
    }

    void Run()
    {
        net::Ns time = 0;
        for (const std::uint64_t number : numbers_) {
            for (std::uint32_t id = 0; id <= sender_.Trailer(); ++id, time += 10 * kUs) {
                Send(time, number, id);
            }
            time += 2 * kMs;
        }
        while (!sent_.empty() || reassembly_->Due() != kNever) {
            if (sent_.empty() || reassembly_->Due() <= sent_.begin()->first) {
                now_ = std::max(now_, reassembly_->Due());
                reassembly_->Tick(now_);
            } else {
                Arrive();
            }
            Collect();
        }
        CheckSums();
    }

    std::size_t Complete() const { return complete_; }
    std::size_t Seen() const { return taken_.size(); }
    const net::ReassemblyCounts& Counts() const { return reassembly_->Counts(); }

private:
    struct Sent {
        std::uint64_t number;
        std::uint32_t id;
        bool refused;
    };

    unsigned OneOf(std::size_t count) { return static_cast<unsigned>(random_() % count); }
    bool Happens(unsigned chance) { return OneOf(1000) < chance; }

    void Send(net::Ns time, std::uint64_t number, std::uint32_t id)
    {
        for (int copies = Happens(weather_.twice) ? 2 : 1; copies > 0; --copies) {
            if (!Happens(weather_.lost)) {
                const net::Ns late = Happens(weather_.late) ? OneOf(3000) * kUs : 0;
                sent_.insert({time + late, {number, id, false}});
            }
        }
    }

    void Answer(const net::ResendRequest& request)
    {
        ASSERT_LE(request.first, request.last);
        ASSERT_LE(request.last, sender_.Trailer());
        for (std::uint32_t id = request.first; id <= request.last; ++id) {
            if (Happens(weather_.refused)) {
                sent_.insert({now_ + kMs, {request.number, id, true}});
            } else if (!Happens(weather_.unanswered)) {
                Send(now_ + kMs, request.number, id);
            }
        }
    }

    void Arrive()
    {
        now_ = sent_.begin()->first;
        const Sent packet = sent_.begin()->second;
        sent_.erase(sent_.begin());
        first_ = taken_.empty() ? packet.number : first_;
        taken_[packet.number] = now_;
        ++packets_;
        reassembly_->Take(packet.refused ? sender_.Header(packet.number, 3, packet.id, 0x800C)
                                         : sender_.Make(packet.number, packet.id),
                          now_);
    }

    void Collect()
    {
        net::ResendRequest request;
        while (reassembly_->NextRequest(&request)) {
            Answer(request);
        }
        net::ReceivedFrame frame;
        while (reassembly_->Next(&frame)) {
            Check(frame);
            held_.push_back(frame.buffer);
        }
        while (!held_.empty() && (weather_.quickHost || OneOf(30) == 0)) {
            reassembly_->AddBuffer(held_.back());
            held_.pop_back();
        }
    }

    void Check(const net::ReceivedFrame& frame)
    {
        // In order, and each once.
        while (next_ < kFrames && numbers_[next_] != frame.number) {
            ++next_;
        }
        ASSERT_LT(next_++, kFrames) << "frame " << frame.number;
        // Nothing outlives the retention of the frames before it.
        deadline_ = std::max(deadline_, taken_[frame.number] + settings_.retention);
        EXPECT_LE(now_, deadline_);
        missing_ += frame.packetsMissing;
        ++delivered_;
        if (frame.fault == net::FrameFault::None) {
            ++complete_;
            ASSERT_EQ(frame.bytes, sender_.bytes);
            for (std::uint64_t i = 0; i < frame.bytes; ++i) {
                ASSERT_EQ(buffers_[frame.buffer][i], PictureByte(frame.number, i));
            }
        }
    }

    void CheckSums()
    {
        const net::ReassemblyCounts& counts = Counts();
        EXPECT_EQ(counts.packets, packets_);
        EXPECT_EQ(counts.missing, missing_ + counts.framesLost * (sender_.Trailer() + 1));
        EXPECT_LE(counts.malformed, weather_.lost > 100 ? kFrames : 0); // packets that came alone
        EXPECT_LE(delivered_ + counts.framesLost + counts.framesWithoutBuffer, kFrames);
        EXPECT_GE(delivered_ + counts.framesLost + counts.framesWithoutBuffer, Span());
    }

    /** Frames from that of the first packet that came to the last one that was delivered. */
    std::size_t Span() const
    {
        const auto first = std::find(numbers_.begin(), numbers_.end(), first_);
        return next_ - std::min(next_, static_cast<std::size_t>(first - numbers_.begin()));
    }

    Weather weather_;
    std::mt19937 random_;
    GvspSender sender_;
    net::ReassemblySettings settings_;
    std::vector<Packet> buffers_;
    std::unique_ptr<net::Reassembly> reassembly_;
    std::vector<std::uint64_t> numbers_;
    std::multimap<net::Ns, Sent> sent_;
    std::map<std::uint64_t, net::Ns> taken_; ///< when the newest packet of a frame was taken
    std::uint64_t first_ = 0;                ///< number of which a packet was taken
    std::vector<std::uint32_t> held_;
    net::Ns now_ = 0;
    net::Ns deadline_ = 0;
    std::size_t next_ = 0;
    std::uint64_t packets_ = 0;
    std::uint64_t missing_ = 0;
    std::size_t delivered_ = 0;
    std::size_t complete_ = 0;
};

TEST(Reassembly, KeepsItsPromisesInAnyWeather)
{
    const struct {
        Weather weather;
        bool all; ///< frames of which a packet came become complete
    } rows[] = {
        {{0, 0, 0, 1000, 0, true}, true},        {{0, 0, 500, 1000, 0, true}, true},
        {{50, 50, 50, 0, 0, true}, true},        {{300, 0, 0, 0, 0, true}, false},
        {{10, 0, 0, 1000, 0, true}, false},      {{100, 100, 100, 200, 0, true}, false},
        {{100, 0, 100, 200, 200, false}, false}, {{50, 300, 300, 100, 100, false}, false},
        {{800, 300, 0, 500, 500, false}, false},
    };
    for (const auto& row : rows) {
        for (unsigned seed = 1; seed <= 12; ++seed) {
            SCOPED_TRACE(testing::Message() << "row " << &row - rows << ", seed " << seed);
            Link link(row.weather, seed);
            link.Run();
            if (row.all) {
                EXPECT_EQ(link.Complete(), link.Seen());
            }
            if (row.weather.lost == 0) {
                EXPECT_EQ(link.Counts().requested, 0U);
                EXPECT_EQ(link.Complete(), kFrames);
            }
            ASSERT_FALSE(HasFailure());
        }
    }
}

} // namespace
