/** A minimal host: it grabs ten frames from a simulated camera and gets nine of them, since the
 *  first one only starts the clock.
 *
 *  A host exports the services of kv_host_services.h from its program (linked with -rdynamic),
 *  loads the driver and calls KvLibProc once per device session. This one uses the defaults of
 *  kv_default_services.cpp except for the services defined here. kvgrab is the full-grown host. */
#include "kv_host_services.h"
#include "kv_td_types.h"
#include "sim_control.h"

#include <cstdio>
#include <dlfcn.h>

static const unsigned char* newestImage;

std::uint32_t KvGiMainCtx__GetFnum()
{
    return 10;
}

int KvGiMemInst__Trigger(std::uint32_t, int, std::uint64_t, void* image, int)
{
    newestImage = static_cast<const unsigned char*>(image);
    return 0;
}

int KvSc__ProcExport(std::uint64_t timeUs) // the image may be used until this returns
{
    std::printf("frame at %llu us, first pixel %u\n", static_cast<unsigned long long>(timeUs),
                newestImage[0]);
    return 0;
}

/** Usage: minimal_host [DRIVER-LIBRARY] */
int main(int argc, char** argv)
{
    sim::AddDefaultCameras(); // without this line: the cameras on the network
    void* const driver = dlopen(argc > 1 ? argv[1] : "libdriver-dalsa.so.0", RTLD_LAZY);
    if (driver == nullptr) {
        std::fprintf(stderr, "%s\n", dlerror());
        return 1;
    }
    const auto session = reinterpret_cast<int (*)()>(dlsym(driver, "KvLibProc"));
    const int exitCode = session != nullptr ? session() : 1;
    std::printf("session ended with %i\n", exitCode);
    dlclose(driver);
    return exitCode == KvTd::kExitDone ? 0 : 1;
}
