#include "loopback_camera.h"

#include "gev_kinds.h"

#include <arpa/inet.h>
#include <csignal>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <stdexcept>
#include <sys/socket.h>
#include <unistd.h>

namespace
{

bool HasLoopback()
{
    const int probe = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const bool has = probe >= 0 &&
                     bind(probe, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
                     connect(probe, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    close(probe);
    return has;
}

} // namespace

void UseNetworkCameras()
{
    if (!HasLoopback()) {
        GTEST_SKIP() << "no loopback network here";
    }
    const gevplat::KindChoice onlyNetwork{.simulated = false, .network = true, .interface = ""};
    std::string error;
    ASSERT_TRUE(gevplat::ChooseKinds(onlyNetwork, &error)) << error;
}

LoopbackCamera::LoopbackCamera(const std::string& serial, const std::string& address,
                               const std::vector<std::string>& options)
{
    if (testing::Test::IsSkipped()) {
        return;
    }
    std::vector<std::string> command = {KVCAM, "--serial", serial, "--address", address};
    command.insert(command.end(), options.begin(), options.end());
    process_ = std::make_unique<Program>(command, folder_.Path());
    if (!process_->WaitFor("kvcam: ready at " + address)) {
        throw std::runtime_error("kvcam does not start: " + process_->Output());
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
