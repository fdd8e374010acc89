#include "net/control/discovery.h"

#include "base/printable.h"
#include "core/interruption.h"
#include "net/control/gvcp.h"
#include "net/control/gvcp_answer.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstring>
#include <fmt/format.h>
#include <ifaddrs.h>
#include <memory>
#include <net/if.h>
#include <netinet/in.h>
#include <poll.h>
#include <string_view>
#include <sys/socket.h>
#include <tuple>
#include <unistd.h>

namespace net
{

namespace
{

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr std::uint16_t kPort = 3956;
constexpr std::uint16_t kAnswered = 0x0003;
constexpr std::uint16_t kNumber = 0xFFFF;
constexpr std::array<std::uint8_t, kGvcpHeader> kQuestion = {0x42, 0x01, 0, 0x02, 0, 0, 0xFF, 0xFF};
constexpr std::size_t kContent = 0xF8; ///< the registers from 0 on
constexpr std::size_t kMac = 0x0A;
constexpr std::size_t kAddress = 0x24;
constexpr std::size_t kManufacturer = 0x48;
constexpr std::size_t kModel = 0x68;
constexpr std::size_t kVersion = 0x88;
constexpr std::size_t kSerial = 0xD8;
constexpr std::size_t kLongText = 32;
constexpr std::size_t kShortText = 16;

constexpr milliseconds kTime(1000);
constexpr milliseconds kRepeat(400); ///< questions and answers get lost
constexpr milliseconds kLook(20);
constexpr std::size_t kMostCameras = 256;
constexpr int kAtOnce = 64; ///< datagrams of one socket before the others have their turn

std::string TextAt(std::span<const std::uint8_t> content, std::size_t at, std::size_t size)
{
    const auto* const text = reinterpret_cast<const char*>(content.data() + at);
    return base::Printable(std::string_view(text, strnlen(text, size)));
}

/** A socket of one of this machine's addresses, and where it asks. */
class Asker
{
public:
    Asker(const sockaddr_in& own, std::uint32_t broadcast)
        : socket_(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)),
          broadcast_(broadcast)
    {
        sockaddr_in bound = own;
        bound.sin_port = 0;
        const int on = 1;
        setsockopt(socket_, SOL_SOCKET, SO_BROADCAST, &on, sizeof on);
        bind(socket_, reinterpret_cast<const sockaddr*>(&bound), sizeof bound);
    }
    ~Asker()
    {
        if (socket_ >= 0) {
            close(socket_);
        }
    }
    Asker(const Asker&) = delete;
    Asker& operator=(const Asker&) = delete;

    int Handle() const { return socket_; }
    /** An address can't be asked if no interface leads there. */
    void Ask() const
    {
        for (const std::uint32_t address : {std::uint32_t{INADDR_BROADCAST}, broadcast_}) {
            sockaddr_in to{};
            to.sin_family = AF_INET;
            to.sin_port = htons(kPort);
            to.sin_addr.s_addr = htonl(address);
            if (address != 0) {
                sendto(socket_, kQuestion.data(), kQuestion.size(), 0,
                       reinterpret_cast<const sockaddr*>(&to), sizeof to);
            }
        }
    }
    /** The next answer, if there is any; false: nothing came. */
    bool Receive(std::optional<FoundCamera>* camera) const
    {
        std::array<std::uint8_t, kGvcpHeader + kContent> datagram{};
        sockaddr_in from{};
        socklen_t size = sizeof from;
        const ssize_t bytes = recvfrom(socket_, datagram.data(), datagram.size(), 0,
                                       reinterpret_cast<sockaddr*>(&from), &size);
        if (bytes < 0) {
            return false;
        }
        if (ntohs(from.sin_port) == kPort) {
            *camera =
                ReadDiscoveryAnswer(std::span(datagram).first(static_cast<std::size_t>(bytes)),
                                    ntohl(from.sin_addr.s_addr));
        }
        return true;
    }

private:
    int socket_;
    std::uint32_t broadcast_; ///< of its network; 0: it has none
};

using Askers = std::vector<std::unique_ptr<Asker>>;

Askers OnEachNetwork()
{
    Askers askers;
    ifaddrs* list = nullptr;
    if (getifaddrs(&list) != 0) {
        return askers;
    }
    const std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> owner(list, freeifaddrs);
    for (const ifaddrs* entry = list; entry != nullptr; entry = entry->ifa_next) {
        if (entry->ifa_addr == nullptr || entry->ifa_addr->sa_family != AF_INET ||
            (entry->ifa_flags & IFF_UP) == 0) {
            continue;
        }
        sockaddr_in own{};
        sockaddr_in broadcast{};
        std::memcpy(&own, entry->ifa_addr, sizeof own);
        if ((entry->ifa_flags & IFF_BROADCAST) != 0 && entry->ifa_broadaddr != nullptr) {
            std::memcpy(&broadcast, entry->ifa_broadaddr, sizeof broadcast);
        }
        askers.push_back(std::make_unique<Asker>(own, ntohl(broadcast.sin_addr.s_addr)));
    }
    return askers;
}

/** Takes what has come to one socket. */
void TakeAnswers(const Asker& asker, std::vector<FoundCamera>* found)
{
    for (int i = 0; i < kAtOnce; ++i) {
        std::optional<FoundCamera> camera;
        if (!asker.Receive(&camera)) {
            return;
        }
        const auto isSame = [&](const FoundCamera& other) {
            return other.address == camera->address;
        };
        if (camera && found->size() < kMostCameras &&
            std::none_of(found->begin(), found->end(), isSame)) {
            found->push_back(std::move(*camera));
        }
    }
}

} // namespace

std::optional<FoundCamera> ReadDiscoveryAnswer(std::span<const std::uint8_t> datagram,
                                               std::uint32_t from)
{
    if (datagram.size() < kGvcpHeader + kContent || Take16(datagram.data()) != 0 ||
        Take16(datagram.data() + 2) != kAnswered || Take16(datagram.data() + 6) != kNumber) {
        return std::nullopt;
    }
    const std::span<const std::uint8_t> content = datagram.subspan(kGvcpHeader);
    FoundCamera camera;
    camera.address = Take32(content.data() + kAddress);
    if (camera.address != from) {
        return std::nullopt;
    }
    camera.manufacturer = TextAt(content, kManufacturer, kLongText);
    camera.model = TextAt(content, kModel, kLongText);
    camera.version = TextAt(content, kVersion, kLongText);
    camera.serial = TextAt(content, kSerial, kShortText);
    if (camera.serial.empty()) {
        constexpr std::size_t kMacBytes = 6;
        camera.serial = fmt::format("{:02x}", fmt::join(content.subspan(kMac, kMacBytes), ":"));
    }
    return camera;
}

std::vector<FoundCamera> Discover()
{
    const Askers askers = OnEachNetwork();
    std::vector<pollfd> waiting;
    for (const auto& asker : askers) {
        waiting.push_back({.fd = asker->Handle(), .events = POLLIN, .revents = 0});
    }
    std::vector<FoundCamera> found;
    const auto end = Clock::now() + kTime;
    auto askAt = Clock::now();
    for (auto now = askAt; now < end && !gevplat::Interruption::IsOn(); now = Clock::now()) {
        if (now >= askAt) {
            std::for_each(askers.begin(), askers.end(), [](const auto& one) { one->Ask(); });
            askAt = now + kRepeat;
        }
        if (poll(waiting.data(), waiting.size(), static_cast<int>(kLook.count())) > 0) {
            std::for_each(askers.begin(), askers.end(),
                          [&found](const auto& one) { TakeAnswers(*one, &found); });
        }
    }
    std::sort(found.begin(), found.end(), [](const FoundCamera& a, const FoundCamera& b) {
        return std::tie(a.manufacturer, a.model, a.serial, a.address) <
               std::tie(b.manufacturer, b.model, b.serial, b.address);
    });
    return found;
}

} // namespace net
