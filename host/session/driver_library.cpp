#include "session/driver_library.h"

#include <dlfcn.h>
#include <filesystem>
#include <fmt/format.h>
#include <system_error>

namespace kvgrab
{

namespace
{

constexpr const char* kDriverName = "libdriver-dalsa.so.0";

/** The driver's full path if possible, since a sanitizer's dlopen doesn't use the program's run
 *  path. */
std::string DefaultPath()
{
    std::error_code failed;
    const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", failed);
    if (failed) {
        return kDriverName;
    }
    const std::filesystem::path candidate =
        program.parent_path().parent_path() / "lib" / kDriverName;
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
