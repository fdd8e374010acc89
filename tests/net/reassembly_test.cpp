/** Which packets make which frames, requests and counts: the cases in reassembly.txt. */
#include "net/stream/reassembly.h"
#include "tests/base/text_cases.h"
#include "tests/net/gvsp_sender.h"

#include <fmt/format.h>
#include <map>
#include <sstream>

namespace
{

constexpr net::Ns kMs = 1'000'000;
constexpr std::uint8_t kGuard = 0xA5; ///< where no packet may write
constexpr std::size_t kGuardBytes = 64;

/** Runs a case and notes what comes out, each thing with its time when that has changed. */
class Case
{
public:
    std::string Lines(const std::string& text)
    {
        std::istringstream lines(text);
        for (std::string line; std::getline(lines, line);) {
            if (!line.starts_with("##")) {
                std::istringstream words(line);
                Line(words);
                Collect();
            }
        }
        CheckGuards();
        return out_;
    }

private:
    void Line(std::istringstream& words)
    {
        std::string word;
        words >> word;
        if (word == "with") {
            while (words >> word) {
                const std::size_t equals = word.find('=');
                options_[word.substr(0, equals)] = std::stoull(word.substr(equals + 1), nullptr, 0);
            }
            ReadOptions();
            return;
        }
        if (reassembly_ == nullptr) {
            Start();
        }
        if (word == "tick") {
            words >> word;
            TickUntil(now_ + std::stoll(word) * kMs);
        } else if (word == "restart") {
            reassembly_->Restart(settings_);
        } else if (word == "release") {
            Release();
        } else if (word == "counts") {
            NoteCounts();
        } else {
            const std::uint64_t frame = std::stoull(word, nullptr, 0);
            while (words >> word) {
                Send(frame, word);
            }
        }
    }

    void ReadOptions()
    {
        const auto option = [this](const char* name, std::uint64_t unless) {
            return options_.contains(name) ? options_[name] : unless;
        };
        sender_.extendedIds = option("extended", 0) != 0;
        sender_.bytes = option("bytes", 300);
        sender_.step = option("step", 100);
        sender_.payloadType = static_cast<std::uint16_t>(option("type", 1));
        sender_.width = static_cast<std::uint32_t>(option("width", 100));
        sender_.height = static_cast<std::uint32_t>(option("height", 3));
        settings_.bufferBytes = option("buffer", sender_.bytes);
        settings_.packetSize = static_cast<std::uint32_t>(
            option("size", sender_.step + (sender_.extendedIds ? 48 : 36)));
        settings_.payloadBytes = option("payload", sender_.bytes);
        settings_.requests = option("requests", 1) != 0;
        settings_.mostRequested = static_cast<std::uint32_t>(option("most", 5));
        settings_.reorderWindow = kMs;
        settings_.requestTimeout = 5 * kMs;
        settings_.retention = static_cast<net::Ns>(option("retention", 20)) * kMs;
        keep_ = option("keep", 0) != 0;
    }

    void Start()
    {
        ReadOptions();
        const std::uint64_t count = options_.contains("buffers") ? options_["buffers"] : 4;
        memory_.assign(count, std::vector<std::uint8_t>(settings_.bufferBytes + kGuardBytes));
        std::vector<std::uint8_t*> buffers;
        for (auto& buffer : memory_) {
            std::fill(buffer.begin(), buffer.end(), kGuard);
            buffers.push_back(buffer.data());
        }
        reassembly_ = std::make_unique<net::Reassembly>(
            settings_, buffers, [this](std::uint32_t buffer, bool lastChoice) {
                if (lastChoice) {
                    Note(fmt::format("last choice {}", buffer));
                }
                return !options_.contains("held") || (options_["held"] >> buffer & 1) == 0;
            });
        for (std::uint32_t i = 0; i < count; ++i) {
            reassembly_->AddBuffer(i);
        }
    }

    /** L, T, 2, 1-3: the packets as they belong; 2*50: with 50 bytes; T9, T3/2: a trailer with
     *  another number, with lines; 2!800c: an error instead of it; 0#7: of another content. */
    void Send(std::uint64_t frame, const std::string& word)
    {
        std::size_t end = 0;
        const std::string digits = word.substr(word.starts_with("T") ? 1 : 0);
        std::uint32_t id = word == "T" ? sender_.Trailer() : 0;
        if (word != "L" && word != "T") {
            id = static_cast<std::uint32_t>(std::stoull(digits, &end, 0));
        }
        const std::string rest = end < digits.size() ? digits.substr(end + 1) : "";
        const char kind = end < digits.size() ? digits[end] : ' ';
        const auto value = [&](int base) { return std::stoull(rest, nullptr, base); };
        if (word.starts_with("T")) {
            const auto lines = kind == '/' ? static_cast<std::uint32_t>(value(0)) : sender_.height;
            Take(sender_.TrailerPacket(frame, id, lines));
        } else if (kind == '*') {
            Take(sender_.Payload(frame, id, value(0)));
        } else if (kind == '!') {
            Take(sender_.Header(frame, 3, id, static_cast<std::uint16_t>(value(16))));
        } else if (kind == '#') {
            Take(sender_.Header(frame, static_cast<std::uint8_t>(value(0)), id));
        } else if (kind == '-') {
            for (const auto last = static_cast<std::uint32_t>(value(0)); id <= last; ++id) {
                Take(sender_.Make(frame, id));
            }
        } else {
            Take(word == "L" || word == "T" ? sender_.Make(frame, id)
                                            : sender_.Payload(frame, id, sender_.LengthOf(id)));
        }
    }

    void Take(const Packet& packet)
    {
        reassembly_->Take(packet, now_);
        Collect();
    }

    /** As the receiver does: whenever something is due. */
    void TickUntil(net::Ns end)
    {
        for (int steps = 0; reassembly_->Due() <= end && steps < 1000; ++steps) {
            EXPECT_GE(reassembly_->Due(), now_) << out_;
            now_ = std::max(now_, reassembly_->Due());
            const std::size_t before = out_.size();
            reassembly_->Tick(now_ - 1);
            Collect();
            EXPECT_EQ(out_.size(), before) << "too early: " << out_;
            reassembly_->Tick(now_);
            Collect();
            EXPECT_GT(reassembly_->Due(), now_) << out_;
        }
        now_ = end;
    }

    void Note(const std::string& text)
    {
        out_ += out_.empty() ? "" : ", ";
        if (now_ != noted_) {
            out_ += fmt::format("{} ms: ", now_ / kMs);
            noted_ = now_;
        }
        out_ += text;
    }

    void Collect()
    {
        if (reassembly_ == nullptr) {
            return;
        }
        net::ResendRequest request;
        while (reassembly_->NextRequest(&request)) {
            EXPECT_EQ(request.extendedIds, sender_.extendedIds);
            Note(fmt::format("request {} {}-{}", request.number, request.first, request.last));
        }
        net::ReceivedFrame frame;
        while (reassembly_->Next(&frame)) {
            NoteFrame(frame);
            taken_.push_back(frame.buffer);
            if (!keep_) {
                Release();
            }
        }
    }

    void NoteFrame(const net::ReceivedFrame& frame)
    {
        constexpr const char* kFaults[] = {"complete",  "missing", "refused",
                                           "too large", "unknown", "malformed"};
        std::string text =
            fmt::format("{} {}", frame.number, kFaults[static_cast<std::size_t>(frame.fault)]);
        if (frame.packetsMissing != 0) {
            const bool complete = frame.fault == net::FrameFault::None;
            text += fmt::format("{} {}", complete ? " missing" : "", frame.packetsMissing);
        }
        text += options_.contains("held") ? fmt::format(" in {}", frame.buffer) : "";
        text += frame.packetsResent != 0 ? fmt::format(" resent {}", frame.packetsResent) : "";
        if (frame.fault == net::FrameFault::None) {
            for (std::uint64_t i = 0; i < frame.bytes; ++i) {
                ASSERT_EQ(memory_[frame.buffer][i], PictureByte(frame.number, i)) << out_ << i;
            }
            EXPECT_TRUE(frame.hasLeader);
            EXPECT_EQ(frame.ticks, frame.number * 1000);
            text += frame.bytes != sender_.bytes ? fmt::format(" of {} bytes", frame.bytes) : "";
            text += frame.height != 3 ? fmt::format(" height {}", frame.height) : "";
        }
        Note(text);
    }

    void NoteCounts()
    {
        const net::ReassemblyCounts& counts = reassembly_->Counts();
        const std::pair<const char*, std::uint64_t> all[] = {
            {"packets", counts.packets},
            {"resent", counts.resent},
            {"requested", counts.requested},
            {"missing", counts.missing},
            {"duplicate", counts.duplicate},
            {"late", counts.late},
            {"malformed", counts.malformed},
            {"refused", counts.refused},
            {"lost", counts.framesLost},
            {"no buffer", counts.framesWithoutBuffer},
            {"unknown", counts.framesUnknownPayload},
        };
        std::string text = "counts";
        for (const auto& [name, count] : all) {
            text += count != 0 ? fmt::format(" {} {}", name, count) : "";
        }
        Note(text);
    }

    void Release()
    {
        for (const std::uint32_t buffer : taken_) {
            reassembly_->AddBuffer(buffer);
        }
        taken_.clear();
    }

    void CheckGuards()
    {
        for (const auto& buffer : memory_) {
            for (std::size_t i = buffer.size() - kGuardBytes; i < buffer.size(); ++i) {
                ASSERT_EQ(buffer[i], kGuard) << out_;
            }
        }
    }

    std::map<std::string, std::uint64_t> options_;
    GvspSender sender_;
    net::ReassemblySettings settings_;
    std::vector<std::vector<std::uint8_t>> memory_;
    std::vector<std::uint32_t> taken_;
    std::unique_ptr<net::Reassembly> reassembly_;
    bool keep_ = false;
    net::Ns now_ = 0;
    net::Ns noted_ = 0;
    std::string out_;
};

TEST(Reassembly, TurnsPacketsIntoFrames)
{
    ExpectOutcomes(TEXTS "/reassembly.txt", [](const std::string& text) {
        Case it;
        return it.Lines(text);
    });
}

} // namespace
