#include "tests/net/loopback_camera.h"

#include "gev_backend_choice.h"

#include <algorithm>
#include <arpa/inet.h>
#include <chrono>
#include <csignal>
#include <gtest/gtest.h>
#include <ifaddrs.h>
#include <netinet/in.h>
#include <stdexcept>
#include <string_view>
#include <sys/socket.h>
#include <unistd.h>

namespace
{

/** Whether a network interface has it; that all of 127.0.0.0 can be bound to is not enough. */
bool IsOwnAddress(const std::string& address)
{
    ifaddrs* interfaces = nullptr;
    if (getifaddrs(&interfaces) != 0) {
        return false;
    }
    const std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> owner(interfaces, &freeifaddrs);
    const in_addr_t asked = inet_addr(address.c_str());
    for (const ifaddrs* one = interfaces; one != nullptr; one = one->ifa_next) {
        if (one->ifa_addr != nullptr && one->ifa_addr->sa_family == AF_INET &&
            reinterpret_cast<const sockaddr_in*>(one->ifa_addr)->sin_addr.s_addr == asked) {
            return true;
        }
    }
    return false;
}

} // namespace

void UseNetworkCameras(int patienceMs)
{
    if (!IsOwnAddress("127.0.0.1")) {
        GTEST_SKIP() << "no loopback network here";
    }
    const gevplat::BackendChoice onlyNetwork{.simulated = false,
                                             .network = true,
                                             .interface = "",
                                             .patienceMs = patienceMs,
                                             .ownReceiver = OwnReceiver()};
    std::string error;
    ASSERT_TRUE(gevplat::ChooseBackends(onlyNetwork, &error)) << error;
}

bool OwnReceiver()
{
    return std::string_view(RECEIVER) == "own";
}

DatagramSocket::DatagramSocket(std::uint16_t port)
    : socket_(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0))
{
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_port = htons(port);
    to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    EXPECT_EQ(connect(socket_, reinterpret_cast<const sockaddr*>(&to), sizeof to), 0);
}

DatagramSocket::~DatagramSocket()
{
    close(socket_);
}

void DatagramSocket::Send(const std::vector<std::uint8_t>& datagram) const
{
    send(socket_, datagram.data(), datagram.size(), 0);
}

std::string DescriptionWith(const std::string& own, const std::string& text)
{
    const TempFolder folder;
    Program camera({CAMERA, "--print-description"}, folder.Path());
    EXPECT_EQ(camera.Wait(), 0);
    std::string description = camera.Output();
    std::size_t at = description.find(own);
    EXPECT_NE(at, std::string::npos);
    for (; at != std::string::npos; at = description.find(own, at + text.size())) {
        description.replace(at, own.size(), text);
    }
    return description;
}

PlatformLog::PlatformLog(std::function<void()> heard)
{
    gevplat::SetLogSink([this, heard = std::move(heard)](int, const std::string& text) {
        {
            const std::lock_guard lock(mutex_);
            lines_.push_back(text);
        }
        changed_.notify_all();
        heard();
    });
}

PlatformLog::~PlatformLog()
{
    gevplat::SetLogSink(nullptr);
}

bool PlatformLog::WaitFor(const std::string& text)
{
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, std::chrono::minutes(1), [&] {
        return std::any_of(lines_.begin(), lines_.end(),
                           [&](const std::string& line) { return line.starts_with(text); });
    });
}

std::vector<std::string> PlatformLog::Lines() const
{
    const std::lock_guard lock(mutex_);
    return lines_;
}

LoopbackCamera::LoopbackCamera(const std::string& serial, const std::string& address,
                               const std::vector<std::string>& options)
{
    Start(serial, address, options);
}

void LoopbackCamera::Start(const std::string& serial, const std::string& address,
                           const std::vector<std::string>& options)
{
    if (!IsOwnAddress(address)) {
        GTEST_SKIP() << "no network interface has " << address;
    }
    std::vector<std::string> command = {CAMERA, "--serial", serial, "--address", address};
    command.insert(command.end(), options.begin(), options.end());
    process_ = std::make_unique<Program>(command, folder_.Path());
    if (!process_->WaitFor(": ready at " + address)) {
        throw std::runtime_error("the camera does not start: " + process_->Output());
    }
}

void LoopbackCamera::Freeze() const
{
    if (process_ != nullptr) {
        process_->Stop();
    }
}

void LoopbackCamera::Kill()
{
    Signal(SIGKILL);
    if (process_ != nullptr) {
        process_->Wait();
    }
}

void LoopbackCamera::Signal(int number) const
{
    if (process_ != nullptr) {
        process_->Signal(number);
    }
}
