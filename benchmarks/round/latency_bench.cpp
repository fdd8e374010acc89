/** Measures the time from a frame's arrival until the host gets it, with the machine idle and with
 *  every core busy.
 *
 *  The camera stamps a frame when its exposure begins, on the same clock that is read here. The
 *  time from there to the arrival is the same for each frame and is estimated by the fastest frame
 *  of all: the results are how much longer each frame took than the fastest one. */
#include "benchmarks/round/bench_host.h"
#include "kv_host_services.h"
#include "sim_control.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <vector>

namespace
{

constexpr std::uint32_t kFrames = 2000;
constexpr std::size_t kWarmUp = 50;

/** Records for each triggered frame the time since the camera stamped it. */
struct Watch {
    std::vector<double> us;

    static void Triggered(void* context, std::uint64_t)
    {
        const auto now = std::chrono::steady_clock::now().time_since_epoch();
        const double nowUs = std::chrono::duration<double, std::micro>(now).count();
        static_cast<Watch*>(context)->us.push_back(
            nowUs - static_cast<double>(bench::Host::Get().ticks) / 1000);
    }
};

/** Keeps all cores busy for the life of this object. */
class Load
{
public:
    explicit Load(unsigned cores)
    {
        for (unsigned i = 0; i < cores; ++i) {
            threads_.emplace_back([this] {
                while (!ending_.load(std::memory_order_relaxed)) {
                }
            });
        }
    }
    ~Load()
    {
        ending_ = true;
        for (std::thread& thread : threads_) {
            thread.join();
        }
    }
    Load(const Load&) = delete;
    Load& operator=(const Load&) = delete;

private:
    std::atomic<bool> ending_{false};
    std::vector<std::thread> threads_;
};

std::vector<double> Session()
{
    sim::Reset();
    sim::CameraSetup camera;
    camera.picture = sim::Picture::Plain;
    camera.sensorWidth = 640;
    camera.sensorHeight = 480;
    camera.values = {{"ExposureTime", "500"}, {"AcquisitionFrameRate", "200"}};
    sim::AddCamera(camera);
    Watch watch;
    watch.us.reserve(kFrames);
    bench::Host& host = bench::Host::Get();
    host = bench::Host{};
    host.frames = kFrames;
    host.context = &watch;
    host.triggered = Watch::Triggered;
    if (KvLibProc() != 0 || watch.us.size() < kFrames / 2) {
        std::fprintf(stderr, "the session failed\n");
        std::exit(1);
    }
    watch.us.erase(watch.us.begin(), watch.us.begin() + kWarmUp);
    return watch.us;
}

void Print(const char* name, std::vector<double> us, double quickest)
{
    std::sort(us.begin(), us.end());
    const auto at = [&us, quickest](double part) {
        return us[static_cast<std::size_t>(part * static_cast<double>(us.size() - 1))] - quickest;
    };
    std::printf("%-18s %9.1f %9.1f %9.1f %9.1f %9.1f\n", name, at(0.5), at(0.9), at(0.99),
                at(0.999), at(1));
}

} // namespace

int main()
{
    const std::vector<double> idle = Session();
    std::vector<double> busy;
    {
        const Load load(std::thread::hardware_concurrency());
        busy = Session();
    }
    const double quickest = std::min(*std::min_element(idle.begin(), idle.end()),
                                     *std::min_element(busy.begin(), busy.end()));
    std::printf("%-18s %9s %9s %9s %9s %9s\n", "us to the trigger", "median", "90 %", "99 %",
                "99.9 %", "worst");
    Print("machine idle", idle, quickest);
    Print("all cores busy", busy, quickest);
    return 0;
}
