#include "session/driver_library.h"

#include <dlfcn.h>
#include <filesystem>
#include <fmt/format.h>
#include <sys/auxv.h>
#include <system_error>

namespace kvgrab
{

namespace
{

constexpr const char* kDriverName = "libdriver-dalsa.so.0";

/** The driver's full path, in the folder of the library that this code is in. */
std::string DefaultPath()
{
    static const char anchor = 0;
    Dl_info own{};
    std::error_code failed;
    if (dladdr(&anchor, &own) == 0 || own.dli_fname == nullptr) {
        return kDriverName;
    }
    const std::filesystem::path candidate =
        std::filesystem::path(own.dli_fname).parent_path() / kDriverName;
    return std::filesystem::exists(candidate, failed) ? candidate.string() : kDriverName;
}

/** A plain name means a file in the current folder, as elsewhere on the command line. */
std::string AsPath(const std::string& path)
{
    return path.find('/') == std::string::npos ? fmt::format("./{}", path) : path;
}

std::string LastError()
{
    const char* text = dlerror();
    return text != nullptr ? text : "no reason was given";
}

} // namespace

DriverLibrary::~DriverLibrary()
{
    if (handle_ != nullptr) {
        dlclose(handle_);
    }
}

bool DriverLibrary::Load(const std::string& path, std::string* error)
{
    if (!path.empty() && getauxval(AT_SECURE) != 0) {
        *error = "--driver can't be used while the program has more rights than its user";
        return false;
    }
    const std::string file = path.empty() ? DefaultPath() : AsPath(path);
    // Lazy binding, so that the driver binds each host service at its first call.
    handle_ = dlopen(file.c_str(), RTLD_LAZY | RTLD_LOCAL);
    if (handle_ == nullptr) {
        *error = fmt::format("can't load the driver: {}; --driver names another file", LastError());
        return false;
    }
    entry_ = reinterpret_cast<int (*)()>(dlsym(handle_, "KvLibProc"));
    if (entry_ == nullptr) {
        *error = fmt::format("{} is no driver: {}", file, LastError());
        return false;
    }
    return true;
}

} // namespace kvgrab
