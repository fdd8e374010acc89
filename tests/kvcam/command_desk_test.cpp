// What a camera answers to commands, and what they do to it: the cases in commands.txt, whose top
// explains them.

#include "tests/base/text_cases.h"
#include "tools/kvcam/control/command_desk.h"

#include <cstdlib>
#include <fmt/format.h>
#include <map>
#include <sstream>
#include <stdexcept>

namespace
{

using kvcam::Append16;
using kvcam::Append32;
using kvcam::Bytes;
using kvcam::Status;

constexpr std::int64_t kNsPerMs = 1'000'000;
constexpr std::int64_t kStartNs = 5'000 * kNsPerMs;

std::uint32_t Hex(const std::string& text)
{
    return static_cast<std::uint32_t>(std::stoul(text, nullptr, 16));
}

Bytes HexBytes(const std::string& text)
{
    Bytes bytes;
    for (std::size_t i = 0; i + 1 < text.size(); i += 2) {
        bytes.push_back(static_cast<std::uint8_t>(Hex(text.substr(i, 2))));
    }
    return bytes;
}

std::string TextOf(kvcam::ByteView bytes)
{
    if (bytes.size() > 80) {
        return fmt::format("{} bytes", bytes.size());
    }
    std::string text;
    for (const std::uint8_t byte : bytes) {
        text += fmt::format("{:02x}", byte);
    }
    return text;
}

/** The camera behind the desk: notes what is asked of it. */
class NotingCamera : public kvcam::Acquisition, public kvcam::Memory
{
public:
    Status Start(std::uint32_t) override { return Note("start"); }
    Status Stop() override { return Note("stop"); }
    bool IsRunning() const override { return false; }
    void SetTarget(const kvcam::StreamTarget& target) override
    {
        Note(fmt::format("to {:x}:{} size {} delay {}{}", target.address, target.port,
                         target.packetSize, target.delayTicks, target.dontFragment ? " df" : ""));
    }
    void SendTestPacket() override { Note("test packet"); }
    void Resend(const kvcam::ResendRange& range) override
    {
        Note(fmt::format("resend {:x} {}-{}", range.block, range.first, range.last));
    }

    /** A register of 4 bytes at kFeatureBase; at the next address one that doesn't answer. */
    Status Read(std::uint32_t address, std::span<std::uint8_t> bytes) override
    {
        std::fill(bytes.begin(), bytes.end(), std::uint8_t{7});
        return Of(address, bytes.size());
    }
    Status Write(std::uint32_t address, kvcam::ByteView bytes) override
    {
        const Status status = Of(address, bytes.size());
        return status == Status::Done ? Note(fmt::format("set {}", TextOf(bytes))) : status;
    }

    Status Note(const std::string& what)
    {
        notes_ += (notes_.empty() ? "" : "; ") + what;
        return Status::Done;
    }
    std::string TakeNotes() { return std::exchange(notes_, {}); }

private:
    static Status Of(std::uint32_t address, std::size_t bytes)
    {
        const bool silent = address == kvcam::kFeatureBase + 4;
        const bool whole = address == kvcam::kFeatureBase && bytes == 4;
        return whole ? Status::Done : silent ? Status::NoAnswer : Status::InvalidAddress;
    }
    std::string notes_;
};

class Play
{
public:
    void Do(const std::string& line)
    {
        std::istringstream words(line);
        std::string who;
        words >> who;
        if (who == "fault") {
            kvcam::FaultText fault(line.substr(6));
            faults_.Add(fault);
        } else if (who == "at") {
            words >> nowMs_;
            Advance();
        } else if (who == "absent" || who == "present") {
            present_ = who == "present";
        } else {
            Send(who, words);
        }
    }
    std::string TakeNotes() { return camera_.TakeNotes(); }

private:
    kvcam::CommandDesk& Desk()
    {
        if (!desk_) {
            camera_.TakeNotes(); // what the registers did at power-up
            desk_.emplace(kvcam::DeskCamera{.bootstrap = bootstrap_,
                                            .parts = {{kvcam::kFeatureBase, &camera_}},
                                            .acquisition = camera_,
                                            .isPresent = [this] { return present_; },
                                            .powerUp = [this] { camera_.Note("power-up"); }},
                          std::move(faults_), kStartNs);
        }
        return *desk_;
    }

    void Send(const std::string& who, std::istringstream& words)
    {
        const kvcam::Endpoint from{who == "B" ? 0x0A000002U : 0x0A000001U,
                                   static_cast<std::uint16_t>(who == "a" ? 2000 : 1000)};
        std::string verb;
        words >> verb;
        const bool broadcast = verb == "all";
        if (broadcast) {
            words >> verb;
        }
        if (verb != "again") {
            last_[who] = verb == "raw" ? Raw(words) : Composed(verb, words);
        }
        Desk().Take(last_[who], from, broadcast, NowNs());
        Advance();
    }

    static Bytes Raw(std::istringstream& words)
    {
        std::string hex;
        words >> hex;
        return HexBytes(hex);
    }

    Bytes Composed(const std::string& verb, std::istringstream& words)
    {
        unsigned command = verb == "discover"   ? 0x02U
                           : verb == "force-ip" ? 0x04U
                           : verb == "read"     ? 0x80U
                           : verb == "write"    ? 0x82U
                           : verb == "get"      ? 0x84U
                           : verb == "put"      ? 0x86U
                                                : 0x40U;
        unsigned flags = verb == "resend64" ? 0x10U : verb == "resend" ? 0U : 1U;
        ++id_;
        Bytes body;
        for (std::string word; words >> word;) {
            if (word.starts_with("id=")) {
                id_ = Hex(word.substr(3));
            } else if (word == "quiet") {
                flags = 0;
            } else if (verb == "read" || (verb == "get" && body.empty())) {
                Append32(body, Hex(word));
            } else if (verb == "write") {
                Append32(body, Hex(word));
                Append32(body, Hex(word.substr(word.find('=') + 1)));
            } else if (verb == "get") {
                Append32(body, static_cast<std::uint32_t>(std::stoul(word)));
            } else { // the bytes themselves
                const Bytes bytes = HexBytes(word);
                body.insert(body.end(), bytes.begin(), bytes.end());
            }
        }
        Bytes datagram{0x42, static_cast<std::uint8_t>(flags)};
        Append16(datagram, command);
        Append16(datagram, static_cast<std::uint32_t>(body.size()));
        Append16(datagram, id_);
        datagram.insert(datagram.end(), body.begin(), body.end());
        return datagram;
    }

    std::int64_t NowNs() const { return kStartNs + nowMs_ * kNsPerMs; }

    void Advance()
    {
        for (std::int64_t next = Desk().NextNs(); next <= NowNs(); next = Desk().NextNs()) {
            Collect(next);
        }
        Collect(NowNs());
    }

    /** "A+30 8006 00000001": to whom, after how many ms, status, and what follows. */
    void Collect(std::int64_t ns)
    {
        for (const kvcam::Reply& reply : Desk().Due(ns)) {
            const kvcam::ByteView bytes = reply.bytes;
            std::string text = reply.to.address == 0x0A000002U ? "B"
                               : reply.to.port == 2000         ? "a"
                                                               : "A";
            text += fmt::format("+{} ", (ns - kStartNs) / kNsPerMs);
            text += kvcam::Get16(bytes, 2) == 0x89 ? "pending"
                    : kvcam::Get16(bytes, 0) == 0  ? "done"
                                                   : fmt::format("{:x}", kvcam::Get16(bytes, 0));
            EXPECT_EQ(kvcam::Get16(bytes, 4), bytes.size() - kvcam::kHeaderBytes) << text;
            const std::string body = TextOf(bytes.subspan(kvcam::kHeaderBytes));
            camera_.Note(text + (body.empty() ? "" : " ") + body);
        }
    }

    NotingCamera camera_;
    bool present_ = true;
    std::int64_t nowMs_ = 0;
    kvcam::CommandFaults faults_{[](std::uint32_t address) {
        return address == kvcam::kFeatureBase ? std::string_view("Width") : std::string_view();
    }};
    kvcam::Bootstrap bootstrap_{
        {.address = 0x0A000009,
         .maker = "M",
         .model = "D",
         .version = "1",
         .serial = "S1",
         .descriptionBytes = 0x1234,
         .tickFrequency = 1'000'000'000,
         .streamPort = 4000},
        {.now = [] { return 0x1'0000'0002U; }, .reset = [this] { camera_.Note("ticks are 0"); }},
        camera_};
    std::optional<kvcam::CommandDesk> desk_;
    std::map<std::string, Bytes> last_; // of each client
    unsigned id_ = 0;
};

std::string Outcome(const std::string& lines)
{
    Play play;
    std::istringstream text(lines);
    try {
        for (std::string line; std::getline(text, line);) {
            play.Do(line);
        }
    } catch (const std::runtime_error& e) {
        return e.what();
    }
    return play.TakeNotes();
}

TEST(CommandDesk, AnswersAsItSays)
{
    ExpectOutcomes(TEXTS "/commands.txt", Outcome);
}

} // namespace
