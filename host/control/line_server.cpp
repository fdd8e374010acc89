#include "control/line_server.h"

#include "base/cancellation.h"
#include "base/signals_blocked.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <exception>
#include <fmt/format.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <vector>

namespace kvgrab
{

namespace
{

using Clock = std::chrono::steady_clock;

/** With more than this to be sent, a client is not read from and gets no events. */
constexpr std::size_t kMuch = 64 * 1024;
/** Events that may wait for the server's thread. */
constexpr std::size_t kMostEvents = 256;
constexpr std::chrono::seconds kSecond(1);
constexpr std::chrono::seconds kPatience(10);

/** Whether the program at the other end belongs to this user or to root. */
bool MayConnect(int fd)
{
    ucred peer = {};
    socklen_t size = sizeof(peer);
    return getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 &&
           (peer.uid == 0 || peer.uid == geteuid());
}

} // namespace

bool LineServer::Start(int listening, std::string* error)
{
    wakeUp_ = FileHandle(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (!wakeUp_.Valid()) {
        *error = std::strerror(errno);
        return false;
    }
    listening_ = listening;
    nextSecond_ = Clock::now() + kSecond;
    const base::SignalsBlocked blocked;
    thread_ = std::thread([this] { Run(); });
    return true;
}

void LineServer::Stop()
{
    if (thread_.joinable()) {
        stopping_.store(true);
        Post({Kind::Subscription, 0, "", false});
        thread_.join();
    }
}

void LineServer::Send(ClientId client, std::string line)
{
    Post({Kind::Answer, client, std::move(line), false});
}

void LineServer::Publish(std::string line)
{
    Post({Kind::Event, 0, std::move(line), false});
}

void LineServer::Subscribe(ClientId client, bool wanted)
{
    Post({Kind::Subscription, client, "", wanted});
}

void LineServer::Post(Posted posted)
{
    // The driver's threads may be cancelled, and must not be while they hold the lock.
    const base::CancellationGuard guard;
    {
        const std::lock_guard lock(mutex_);
        const bool isEvent = posted.kind == Kind::Event;
        if (isEvent && postedEvents_ >= kMostEvents) {
            ++unposted_;
            return;
        }
        postedEvents_ += isEvent ? 1 : 0;
        posted_.push_back(std::move(posted));
    }
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t woken = write(wakeUp_.Get(), &one, sizeof(one));
}

void LineServer::Run()
{
    constexpr int kPauseMs = 100;
    while (!stopping_.load()) {
        try {
            Turn();
        } catch (const std::exception&) { // no memory: grabbing goes on, the clients have to go
            clients_.clear();
            poll(nullptr, 0, kPauseMs);
        }
    }
}

bool LineServer::AnySubscribed() const
{
    return std::any_of(clients_.begin(), clients_.end(),
                       [](const auto& entry) { return entry.second.subscribed; });
}

/** Waits until there is something to do, at most until the next second, and does it. */
void LineServer::Turn()
{
    std::vector<pollfd> waiting = {
        {wakeUp_.Get(), POLLIN, 0},
        {acceptLater_ ? -1 : listening_, POLLIN, 0},
    };
    std::vector<ClientId> ids;
    for (const auto& [id, client] : clients_) {
        const bool reads = !client.ended && !client.leaving && client.out.size() < kMuch;
        const int events = (reads ? POLLIN : 0) | (client.out.empty() ? 0 : POLLOUT);
        waiting.push_back({client.fd.Get(), static_cast<short>(events), 0});
        ids.push_back(id);
    }
    acceptLater_ = false;
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(nextSecond_ - Clock::now()).count();
    poll(waiting.data(), waiting.size(), static_cast<int>(std::clamp<std::int64_t>(left, 0, 1000)));

    std::uint64_t count = 0;
    [[maybe_unused]] const ssize_t taken = read(wakeUp_.Get(), &count, sizeof(count));
    for (std::size_t i = 0; i < ids.size(); ++i) {
        Client& client = clients_[ids[i]];
        const int events = waiting[i + 2].revents;
        if ((events & POLLIN) != 0) {
            Read(ids[i], &client);
        } else if ((events & (POLLHUP | POLLERR)) != 0) {
            client.fd = FileHandle();
        }
        Write(&client);
        HandleLines(ids[i], &client);
    }
    Deliver();
    if (Clock::now() >= nextSecond_) {
        nextSecond_ = Clock::now() + kSecond;
        if (AnySubscribed()) {
            const std::string line = parts_.everySecond();
            for (auto& [id, client] : clients_) {
                DeliverEvent(&client, line);
            }
        }
    }
    DropDone();
    if ((waiting[1].revents & POLLIN) != 0) {
        Accept();
    }
}

void LineServer::Accept()
{
    FileHandle fd(accept4(listening_, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (!fd.Valid()) {
        acceptLater_ = errno == EMFILE || errno == ENFILE;
        return;
    }
    if (!MayConnect(fd.Get())) {
        return;
    }
    Client client;
    client.fd = std::move(fd);
    if (clients_.size() >= kMostClients) {
        Append(&client, parts_.refusal("too many clients are connected"));
        Write(&client);
        return;
    }
    clients_.emplace(++newest_, std::move(client));
}

void LineServer::Read(ClientId id, Client* client)
{
    std::array<char, 16 * 1024> part{};
    const ssize_t length = recv(client->fd.Get(), part.data(), part.size(), 0);
    if (length > 0) {
        client->in.append(part.data(), static_cast<std::size_t>(length));
        HandleLines(id, client);
    } else if (length == 0) {
        client->ended = true;
    } else if (errno != EINTR && errno != EAGAIN) {
        client->fd = FileHandle();
    }
}

void LineServer::HandleLines(ClientId id, Client* client)
{
    while (!client->leaving && client->fd.Valid() && client->out.size() < kMuch) {
        const std::size_t end = client->in.find('\n');
        if (std::min(end, client->in.size()) > kLongestLine) {
            Append(client, parts_.refusal("a line is longer than 65536 bytes"));
            client->leaving = true;
        }
        if (end == std::string::npos || client->leaving) {
            return;
        }
        ++client->expected;
        parts_.handle(id, std::string_view(client->in).substr(0, end));
        client->in.erase(0, end + 1);
        Deliver(); // so that the limit of `out` counts
    }
}

void LineServer::Append(Client* client, std::string_view line)
{
    if (client->out.empty()) {
        client->progress = Clock::now();
    }
    client->out += line;
}

void LineServer::Write(Client* client)
{
    while (client->fd.Valid() && !client->out.empty()) {
        const ssize_t length =
            send(client->fd.Get(), client->out.data(), client->out.size(), MSG_NOSIGNAL);
        if (length < 0) {
            if (errno != EAGAIN && errno != EINTR) {
                client->fd = FileHandle();
            }
            return;
        }
        client->out.erase(0, static_cast<std::size_t>(length));
        client->progress = Clock::now();
    }
}

/** Hands what was posted over to the clients. */
void LineServer::Deliver()
{
    std::deque<Posted> posted;
    std::uint64_t unposted = 0;
    {
        const std::lock_guard lock(mutex_);
        posted.swap(posted_);
        postedEvents_ = 0;
        unposted = std::exchange(unposted_, 0);
    }
    for (auto& [id, client] : clients_) {
        client.missed += client.subscribed ? unposted : 0;
    }
    for (const Posted& each : posted) {
        if (each.kind == Kind::Event) {
            for (auto& [id, client] : clients_) {
                DeliverEvent(&client, each.line);
            }
            continue;
        }
        const auto found = clients_.find(each.client);
        if (found == clients_.end()) {
            continue;
        }
        Client& client = found->second;
        if (each.kind == Kind::Subscription) {
            client.subscribed = each.wanted;
            continue;
        }
        client.expected -= 1;
        Append(&client, each.line);
        Write(&client);
    }
}

void LineServer::DeliverEvent(Client* client, const std::string& line)
{
    if (!client->subscribed || client->leaving) {
        return;
    }
    if (client->out.size() >= kMuch) {
        ++client->missed;
        return;
    }
    if (client->missed != 0) {
        Append(client, parts_.missed(std::exchange(client->missed, 0)));
    }
    Append(client, line);
    Write(client);
}

void LineServer::DropDone()
{
    const auto now = Clock::now();
    std::erase_if(clients_, [now](const auto& entry) {
        const Client& client = entry.second;
        const bool sent = client.out.empty();
        const bool answered = sent && client.expected == 0;
        return !client.fd.Valid() || (client.leaving && sent) || (client.ended && answered) ||
               (!sent && now - client.progress > kPatience);
    });
}

} // namespace kvgrab
