/** The camera that comes with the network library, on loopback, until a signal ends it. Nobody who
 *  wrote the platform or kvcam wrote this camera, so the contract tests run on it, too.
 *  Usage: fake_camera --serial SERIAL --address ADDRESS */
#include <arv.h>

#include <arpa/inet.h>
#include <bit>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <netinet/in.h>
#include <sys/socket.h>

namespace
{

constexpr std::uint16_t kControlPort = 3956; // of GigE Vision

/** Texts and numbers that are not as the library leaves them; doubles are those of features.xml. */
void PowerUp(ArvFakeCamera* camera, const char* serial)
{
    const auto text = [camera](std::uint32_t address, const char* value) {
        arv_fake_camera_write_memory(camera, address,
                                     static_cast<std::uint32_t>(std::strlen(value)) + 1, value);
    };
    const auto number = [camera](std::uint32_t address, double value) {
        const std::uint64_t bits = GUINT64_TO_BE(std::bit_cast<std::uint64_t>(value));
        arv_fake_camera_write_memory(camera, address, sizeof bits, &bits);
    };
    text(0x0048, "DALSA (library)");
    text(0x0068, "Fake");
    text(0x0088, "1.00");
    text(0x00D8, serial);
    arv_fake_camera_write_register(camera, 0x093C, 0);             // tick frequency, high half
    arv_fake_camera_write_register(camera, 0x0940, 1'000'000'000); // low half, Hz
    arv_fake_camera_write_register(camera, ARV_FAKE_CAMERA_REGISTER_SENSOR_WIDTH, 1920);
    arv_fake_camera_write_register(camera, ARV_FAKE_CAMERA_REGISTER_SENSOR_HEIGHT, 1080);
    number(0x2010, 41.5);   // DeviceTemperature
    number(0x2020, 10'000); // ExposureTime
    number(0x2030, 1);      // Gain
}

/** The camera waits 100 ms too long if it looks at the clock just after a frame was due. Any
 *  datagram ends its wait; an empty one has no other effect. */
void NudgeUntil(const sigset_t& ends, const char* address)
{
    const int handle = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    sockaddr_in camera{};
    camera.sin_family = AF_INET;
    camera.sin_port = htons(kControlPort);
    camera.sin_addr.s_addr = inet_addr(address);
    const timespec pause{0, 1'000'000};
    while (sigtimedwait(&ends, nullptr, &pause) < 0) {
        sendto(handle, nullptr, 0, 0, reinterpret_cast<const sockaddr*>(&camera), sizeof camera);
    }
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 5) {
        std::fprintf(stderr, "usage: fake_camera --serial SERIAL --address ADDRESS\n");
        return 2;
    }
    const char* const serial = argv[2];
    const char* const address = argv[4];
    sigset_t ends; // blocked before any thread starts
    sigemptyset(&ends);
    sigaddset(&ends, SIGINT);
    sigaddset(&ends, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &ends, nullptr);
    ArvGvFakeCamera* const camera = arv_gv_fake_camera_new_full(address, serial, FEATURES);
    if (camera == nullptr || arv_gv_fake_camera_is_running(camera) == FALSE) {
        std::fprintf(stderr, "fake_camera: no camera can be at %s\n", address);
        return 1;
    }
    PowerUp(arv_gv_fake_camera_get_fake_camera(camera), serial);
    std::printf("fake_camera: ready at %s\n", address);
    std::fflush(stdout);
    NudgeUntil(ends, address);
    g_object_unref(camera);
    return 0;
}
