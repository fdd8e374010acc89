#include "tools/kvcam/control/command_desk.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace kvcam
{

namespace
{

constexpr std::int64_t kNever = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kNsPerMs = 1'000'000;
constexpr std::int64_t kLongestRetryNs = 10'000 * kNsPerMs; // later, it is another client
constexpr std::int64_t kPendingReserveNs = 500 * kNsPerMs;
constexpr std::size_t kMostWaiting = 256;
constexpr std::size_t kMostScheduled = 1024;
constexpr std::size_t kMostClients = 8;

} // namespace

CommandDesk::CommandDesk(DeskCamera camera, CommandFaults faults, std::int64_t startNs)
    : camera_(std::move(camera)), faults_(std::move(faults)), startNs_(startNs),
      busyUntilNs_(startNs)
{
}

/** Nothing for a datagram that is no command, or one that can't be answered. */
std::optional<CommandDesk::Request> CommandDesk::Parse(ByteView datagram)
{
    if (datagram.size() < kHeaderBytes || datagram[0] != kCommandKey) {
        return std::nullopt;
    }
    Request request;
    request.flags = datagram[1];
    request.command = Get16(datagram, 2);
    request.id = Get16(datagram, 6);
    const ByteView body = datagram.subspan(kHeaderBytes);
    request.wellFormed = Get16(datagram, 4) == body.size() && datagram.size() <= kMostDatagramBytes;
    if (request.wellFormed) {
        request.body.assign(body.begin(), body.end());
    }
    const bool isAnswer = request.command % 2 != 0;
    return request.id == 0 || isAnswer ? std::nullopt : std::optional(std::move(request));
}

/** The addresses that the command names, whether or not it may access them. */
std::vector<AddressRange> CommandDesk::Accessed(const Request& request)
{
    std::vector<AddressRange> ranges;
    const bool writesRegisters = request.Is(Command::WriteReg);
    if (request.Is(Command::ReadReg) || writesRegisters) {
        const std::size_t step = writesRegisters ? 8 : 4;
        for (std::size_t at = 0; at + step <= request.body.size(); at += step) {
            ranges.push_back({Get32(request.body, at), 4});
        }
    } else if (request.Is(Command::ReadMem) && request.body.size() >= 8) {
        ranges.push_back({Get32(request.body, 0), Get16(request.body, 6)});
    } else if (request.Is(Command::WriteMem) && request.body.size() >= 4) {
        ranges.push_back(
            {Get32(request.body, 0), static_cast<std::uint32_t>(request.body.size() - 4)});
    }
    return ranges;
}

Bytes CommandDesk::Datagram(std::uint32_t status, std::uint32_t command, std::uint16_t id,
                            ByteView body)
{
    Bytes datagram;
    datagram.reserve(kHeaderBytes + body.size());
    Append16(datagram, status);
    Append16(datagram, command);
    Append16(datagram, static_cast<std::uint32_t>(body.size()));
    Append16(datagram, id);
    datagram.insert(datagram.end(), body.begin(), body.end());
    return datagram;
}

void CommandDesk::Take(ByteView datagram, Endpoint from, bool broadcast, std::int64_t nowNs)
{
    Advance(nowNs);
    if (silent_ || !camera_.isPresent()) {
        return;
    }
    std::optional<Request> request = Parse(datagram);
    if (!request ||
        (broadcast && !request->Is(Command::Discovery) && !request->Is(Command::ForceIp))) {
        return;
    }
    const Verdict verdict =
        faults_.Judge(static_cast<Command>(request->command), Accessed(*request));
    if (verdict.lost || waiting_.size() == kMostWaiting) {
        return;
    }
    if (controller_ == from && request->wellFormed) {
        lastBeatNs_ = nowNs;
    }
    waiting_.push_back({std::move(*request), from, verdict, nowNs});
    Advance(nowNs);
}

std::vector<Reply> CommandDesk::Due(std::int64_t nowNs)
{
    Advance(nowNs);
    return std::exchange(ready_, {});
}

/** Brings the desk up to a time: what has to happen until then happens in order. */
void CommandDesk::Advance(std::int64_t nowNs)
{
    for (std::int64_t next = NextNs(); next <= nowNs; next = NextNs()) {
        Step(next);
    }
}

std::int64_t CommandDesk::NextNs() const
{
    std::int64_t next = std::min({OutageNs(), LapseNs(), ServeNs()});
    for (const Scheduled& scheduled : scheduled_) {
        next = std::min(next, scheduled.dueNs);
    }
    return next;
}

void CommandDesk::Step(std::int64_t nowNs)
{
    if (OutageNs() <= nowNs) {
        ChangeOutage();
    } else if (LapseNs() <= nowNs) {
        GiveControlBack();
    } else if (ServeNs() <= nowNs) {
        const Waiting waiting = std::move(waiting_.front());
        waiting_.pop_front();
        Serve(waiting, nowNs);
    } else {
        SendScheduled(nowNs);
    }
}

/** When the next outage begins, or the present one ends. */
std::int64_t CommandDesk::OutageNs() const
{
    const auto& outages = faults_.Outages();
    if (outage_ == outages.size()) {
        return kNever;
    }
    const std::int64_t ns = silent_ ? outages[outage_].toNs : outages[outage_].fromNs;
    return ns == kNever ? kNever : startNs_ + ns;
}

/** When control is taken from a controller that isn't heard until then. */
std::int64_t CommandDesk::LapseNs() const
{
    return controller_ ? lastBeatNs_ + camera_.bootstrap.Get(kHeartbeatRegister) * kNsPerMs
                       : kNever;
}

std::int64_t CommandDesk::ServeNs() const
{
    return waiting_.empty() ? kNever : std::max(busyUntilNs_, waiting_.front().heardNs);
}

void CommandDesk::ChangeOutage()
{
    silent_ = !silent_;
    if (!silent_) {
        ++outage_;
        camera_.acquisition.SetTarget(camera_.bootstrap.Target());
        return;
    }
    if (faults_.Outages()[outage_].reboots) {
        Reboot();
    }
    waiting_.clear();
    StreamTarget nobody = camera_.bootstrap.Target();
    nobody.port = 0;
    camera_.acquisition.SetTarget(nobody);
}

void CommandDesk::Reboot()
{
    controller_.reset();
    exchanges_.clear();
    scheduled_.clear();
    busyUntilNs_ = startNs_;
    camera_.acquisition.Stop();
    camera_.bootstrap.PowerUp();
    camera_.powerUp();
}

void CommandDesk::SendScheduled(std::int64_t nowNs)
{
    const bool sends = !silent_ && camera_.isPresent();
    for (Scheduled& scheduled : scheduled_) {
        if (scheduled.dueNs <= nowNs && sends) {
            ready_.push_back(std::move(scheduled.reply));
        }
    }
    std::erase_if(scheduled_, [&](const Scheduled& one) { return one.dueNs <= nowNs; });
}

void CommandDesk::Serve(const Waiting& waiting, std::int64_t nowNs)
{
    if (RepeatsAnswer(waiting, nowNs)) {
        return;
    }
    const Request& request = waiting.request;
    const Verdict& verdict = waiting.verdict;
    Bytes answer;
    if (verdict.refusal) {
        answer = Datagram(*verdict.refusal, request.command + 1U, request.id, {});
    } else {
        Answer made = Execute(request, waiting.from, nowNs);
        if (made.status == Status::NoAnswer) {
            return;
        }
        if (verdict.lie && made.status == Status::Done) {
            Lie(request, *verdict.lie, &made.body);
        }
        answer = Datagram(static_cast<std::uint32_t>(made.status), request.command + 1U, request.id,
                          made.body);
    }
    if (!request.WantsAnswer()) {
        answer.clear();
    }
    busyUntilNs_ = nowNs + verdict.slowNs;
    const Exchange exchange{.from = waiting.from,
                            .id = request.id,
                            .heardNs = waiting.heardNs,
                            .answerNs = busyUntilNs_ + verdict.latenessNs.value_or(0),
                            .pending = verdict.pending,
                            .answer = std::move(answer)};
    if (exchange.pending) {
        SchedulePending(exchange, busyUntilNs_);
    }
    if (!verdict.answerLost) {
        Schedule(exchange.answerNs, exchange.from, exchange.answer);
    }
    if (!request.Is(Command::Discovery) && !request.Is(Command::PacketResend)) {
        Remember(exchange);
    }
}

/** Puts a value in place of each register that was read. */
void CommandDesk::Lie(const Request& request, std::uint32_t value, Bytes* body)
{
    if (!request.Is(Command::ReadReg) && !request.Is(Command::ReadMem)) {
        return;
    }
    const std::size_t bytes = body->size();
    body->resize(request.Is(Command::ReadMem) ? 4 : 0); // an address goes before the memory
    while (body->size() < bytes) {
        Append32(*body, value);
    }
}

/** True for a command that the client has sent again, because no answer has reached it. It is not
 *  carried out a second time. */
bool CommandDesk::RepeatsAnswer(const Waiting& waiting, std::int64_t nowNs)
{
    const auto last = std::find_if(exchanges_.begin(), exchanges_.end(), [&](const Exchange& one) {
        return one.from == waiting.from && one.id == waiting.request.id &&
               nowNs - one.heardNs <= kLongestRetryNs;
    });
    if (last == exchanges_.end() || waiting.request.Is(Command::Discovery) ||
        waiting.request.Is(Command::PacketResend)) {
        return false;
    }
    if (last->answerNs > nowNs) {
        if (last->pending) {
            SchedulePending(*last, nowNs);
        }
    } else if (!waiting.verdict.answerLost) {
        Schedule(nowNs, last->from, last->answer);
    }
    return true;
}

void CommandDesk::Remember(Exchange exchange)
{
    std::erase_if(exchanges_, [&](const Exchange& one) { return one.from == exchange.from; });
    if (exchanges_.size() == kMostClients) {
        const auto oldest =
            std::find_if(exchanges_.begin(), exchanges_.end(),
                         [&](const Exchange& one) { return controller_ != one.from; });
        exchanges_.erase(oldest);
    }
    exchanges_.push_back(std::move(exchange));
}

void CommandDesk::Schedule(std::int64_t dueNs, Endpoint to, Bytes bytes)
{
    if (!bytes.empty() && scheduled_.size() < kMostScheduled) {
        scheduled_.push_back({dueNs, {to, std::move(bytes)}});
    }
}

void CommandDesk::SchedulePending(const Exchange& exchange, std::int64_t nowNs)
{
    if (exchange.answer.empty()) {
        return;
    }
    Bytes body;
    Append16(body, 0);
    Append16(body, static_cast<std::uint32_t>((exchange.answerNs - nowNs + kPendingReserveNs) /
                                              kNsPerMs));
    Schedule(nowNs, exchange.from,
             Datagram(0, static_cast<std::uint32_t>(Command::PendingAck), exchange.id, body));
}

} // namespace kvcam
