/** The backends behind the contract, which of them are chosen, the platform's log, and the
 *  interfaces' out-of-line members. */
#include "base/cancellation.h"
#include "core/simulated_backend.h"
#include "gev_backend.h"
#include "gev_backend_choice.h"

#include <dlfcn.h>
#include <fmt/format.h>
#include <mutex>
#include <shared_mutex>

namespace gevplat
{

Camera::~Camera() = default;
Backend::~Backend() = default;

namespace
{

constexpr const char* kNetworkLibrary = "libgevplat-net.so.0";

/** The backends in use. Kept for threads that run while the process ends. */
struct Choice {
    std::mutex mutex;
    bool simulated = true;
    Backend* network = nullptr; ///< while it is chosen
};

Choice& Chosen()
{
    static auto* choice = new Choice;
    return *choice;
}

struct Sink {
    std::shared_mutex mutex;
    LogSink write;
};

Sink& TheSink()
{
    static auto* sink = new Sink;
    return *sink;
}

/** The folder of this library with its slash; empty when it is unknown. */
std::string OwnFolder()
{
    Dl_info info{};
    static const char anchor = 0;
    if (dladdr(&anchor, &info) == 0 || info.dli_fname == nullptr) {
        return {};
    }
    const std::string path = info.dli_fname;
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? std::string() : path.substr(0, slash + 1);
}

/** Loads the library of the network backend, once. It stays: it does not survive a second loading.
 */
NetworkBackendEntry LoadNetworkBackend(std::string* error)
{
    constexpr int kHow = RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE;
    void* library = dlopen((OwnFolder() + kNetworkLibrary).c_str(), kHow);
    if (library == nullptr) {
        library = dlopen(kNetworkLibrary, kHow);
    }
    if (library == nullptr) {
        *error =
            fmt::format("network cameras can't be used, their library doesn't load: {}", dlerror());
        return nullptr;
    }
    void* const entry = dlsym(library, kNetworkBackendEntry);
    if (entry == nullptr) {
        *error = fmt::format(
            "network cameras can't be used, {} is not the library that belongs to this one",
            kNetworkLibrary);
    }
    return reinterpret_cast<NetworkBackendEntry>(entry);
}

} // namespace

bool ChooseBackends(const BackendChoice& choice, std::string* error)
{
    const base::CancellationGuard hold;
    Backend* network = nullptr;
    if (choice.network) {
        const NetworkBackendEntry entry = LoadNetworkBackend(error);
        if (entry == nullptr) {
            return false;
        }
        network = entry(choice, error);
        if (network == nullptr) {
            return false;
        }
    }
    Choice& chosen = Chosen();
    const std::lock_guard lock(chosen.mutex);
    chosen.simulated = choice.simulated;
    chosen.network = network;
    return true;
}

std::vector<Backend*> Backends()
{
    Choice& chosen = Chosen();
    const std::lock_guard lock(chosen.mutex);
    std::vector<Backend*> backends;
    if (chosen.simulated) {
        backends.push_back(&SimulatedBackend());
    }
    if (chosen.network != nullptr) {
        backends.push_back(chosen.network);
    }
    return backends;
}

void SetLogSink(LogSink sink)
{
    const std::lock_guard lock(TheSink().mutex);
    TheSink().write = std::move(sink);
}

void WriteLog(int level, const std::string& text)
{
    const base::CancellationGuard hold;
    const std::shared_lock lock(TheSink().mutex);
    if (TheSink().write) {
        TheSink().write(level, text);
    }
}

} // namespace gevplat
