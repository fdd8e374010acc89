/** Loads the driver as a host does and runs a session with a given number of frames, for tools that
 *  measure a process from outside. The process gives up the right to real-time priority, so that no
 *  control thread runs alongside the rounds. */
#include "benchmarks/round/bench_host.h"
#include "sim_control.h"

#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>
#include <linux/capability.h>
#include <sys/syscall.h>
#include <unistd.h>

static bool GiveUpRealTime()
{
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct rights[_LINUX_CAPABILITY_U32S_3] = {};
    if (syscall(SYS_capget, &header, rights) != 0) {
        return false;
    }
    rights[0].effective &= ~(1U << CAP_SYS_NICE);
    rights[0].permitted &= ~(1U << CAP_SYS_NICE);
    return syscall(SYS_capset, &header, rights) == 0;
}

int main(int argc, char** argv)
{
    if (argc != 3) {
        std::fprintf(stderr, "usage: round_session DRIVER FRAMES\n");
        return 2;
    }
    void* const driver = dlopen(argv[1], RTLD_LAZY);
    if (driver == nullptr) {
        std::fprintf(stderr, "%s\n", dlerror());
        return 1;
    }
    if (!GiveUpRealTime()) {
        std::perror("capset");
        return 1;
    }
    sim::SetClock(std::make_shared<sim::ManualClock>(1'000'000'000));
    sim::CameraSetup camera;
    camera.picture = sim::Picture::Plain;
    sim::AddCamera(camera);
    bench::Host::Get().frames = static_cast<std::uint32_t>(std::atoi(argv[2]));
    const auto session = reinterpret_cast<int (*)()>(dlsym(driver, "KvLibProc"));
    return session();
}
