#include "control/control_socket.h"

#include "base/own_files.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fmt/format.h>
#include <optional>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

namespace kvgrab
{

namespace
{

constexpr mode_t kOthersWrite = S_IWGRP | S_IWOTH;
constexpr mode_t kSocketMode = S_IRUSR | S_IWUSR;

bool IsFolder(const std::string& path)
{
    struct stat status = {};
    return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

/** The folder for files of running programs. */
std::string RuntimeFolder()
{
    const auto variable = [](const char* name) {
        const char* const value = std::getenv(name);
        return std::string(value == nullptr ? "" : value);
    };
    const std::string ofService = variable("RUNTIME_DIRECTORY"); // systemd; a list with colons
    if (!ofService.empty()) {
        return ofService.substr(0, ofService.find(':'));
    }
    const uid_t user = geteuid();
    for (const std::string& folder :
         {variable("XDG_RUNTIME_DIR"), fmt::format("/run/user/{}", user),
          std::string(user == 0 ? "/run" : "")}) {
        if (!folder.empty() && IsFolder(folder) && access(folder.c_str(), W_OK | X_OK) == 0) {
            return fmt::format("{}/kvgrab", folder);
        }
    }
    return fmt::format("/tmp/kvgrab-{}", user);
}

/** An address in a folder, through its descriptor: that is short, whatever the path is, and names
 *  the folder that was checked. */
std::optional<sockaddr_un> AddressIn(int folder, const std::string& name)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    const std::string path = fmt::format("/proc/self/fd/{}/{}", folder, name);
    if (name.empty() || path.size() >= sizeof(address.sun_path)) {
        return std::nullopt;
    }
    std::copy(path.begin(), path.end(), address.sun_path);
    return address;
}

int Connect(int folder, const std::string& name)
{
    const FileHandle attempt(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const auto address = AddressIn(folder, name);
    if (!attempt.Valid() || !address) {
        errno = address ? errno : ENAMETOOLONG;
        return -1;
    }
    // The cast is what the interface of sockets asks for.
    if (connect(attempt.Get(), reinterpret_cast<const sockaddr*>(&*address), sizeof(*address)) !=
        0) {
        return -1;
    }
    return fcntl(attempt.Get(), F_DUPFD_CLOEXEC, 0);
}

std::string NameIn(const std::string& path)
{
    return std::filesystem::path(path).filename().string();
}

std::string FolderOf(const std::string& path)
{
    const std::string folder = std::filesystem::path(path).parent_path().string();
    return folder.empty() ? "." : folder;
}

} // namespace

std::vector<std::string> ControlSocketPaths(const std::string& setting, std::string_view memoryName)
{
    std::vector<std::string> paths = {ControlSocketPath(setting, memoryName)};
    if (setting == "auto") {
        paths.push_back(fmt::format("/run/kvgrab/{}", NameIn(paths.front())));
    }
    return paths;
}

std::string ControlSocketPath(const std::string& setting, std::string_view memoryName)
{
    if (setting.empty() || setting == "none") {
        return "";
    }
    if (setting != "auto") {
        return setting;
    }
    memoryName.remove_prefix(memoryName.starts_with('/') ? 1 : 0);
    return fmt::format("{}/{}.sock", RuntimeFolder(), memoryName);
}

int ConnectTo(const std::string& path, std::string* error)
{
    const FileHandle folder(base::OpenFolder(FolderOf(path), false, error));
    if (!folder.Valid()) {
        return -1;
    }
    const int connected = Connect(folder.Get(), NameIn(path));
    if (connected < 0) {
        *error = std::strerror(errno);
    }
    return connected;
}

/** Makes the folder and removes a socket that nobody listens to. */
bool ControlSocket::MakeRoom(const std::string& path, std::string* error) const
{
    struct stat status = {};
    if (fstat(folder_.Get(), &status) != 0) {
        *error = std::strerror(errno);
        return false;
    }
    if (status.st_uid != geteuid() || (status.st_mode & kOthersWrite) != 0) {
        *error = fmt::format("the folder {} is not this user's alone", FolderOf(path));
        return false;
    }
    const std::string name = NameIn(path);
    if (fstatat(folder_.Get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
        return true;
    }
    if (!S_ISSOCK(status.st_mode) || status.st_uid != geteuid()) {
        *error = "the file exists and is no socket of this user";
        return false;
    }
    const FileHandle listener(Connect(folder_.Get(), name));
    if (listener.Valid() || errno != ECONNREFUSED) {
        *error = "another program listens there";
        return false;
    }
    unlinkat(folder_.Get(), name.c_str(), 0);
    return true;
}

bool ControlSocket::Listen(const std::string& path, std::string* error)
{
    const std::string folder = FolderOf(path);
    if (folder != "." && mkdir(folder.c_str(), S_IRWXU) != 0 && errno != EEXIST) {
        *error = fmt::format("the folder {} can't be made: {}", folder, std::strerror(errno));
        return false;
    }
    folder_ = FileHandle(base::OpenFolder(folder, false, error));
    if (!folder_.Valid() || !MakeRoom(path, error)) {
        return false;
    }
    const std::string name = NameIn(path);
    const auto address = AddressIn(folder_.Get(), name);
    fd_ = FileHandle(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!address || name.size() >= name_.size() || !fd_.Valid()) {
        *error = address ? std::strerror(errno) : "the name is too long";
        return false;
    }
    // The cast is what the interface of sockets asks for.
    if (bind(fd_.Get(), reinterpret_cast<const sockaddr*>(&*address), sizeof(*address)) != 0) {
        *error = std::strerror(errno);
        return false;
    }
    struct stat status = {};
    const bool known = fstatat(folder_.Get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0;
    device_ = status.st_dev;
    inode_ = status.st_ino;
    std::copy(name.begin(), name.end(), name_.begin());
    constexpr int kWaiting = 16;
    // Nobody can connect before the last of these.
    if (!known || fchmodat(folder_.Get(), name.c_str(), kSocketMode, 0) != 0 ||
        listen(fd_.Get(), kWaiting) != 0) {
        *error = std::strerror(errno);
        RemoveNow();
        return false;
    }
    return true;
}

void ControlSocket::RemoveNow() noexcept
{
    if (name_[0] == '\0') {
        return;
    }
    struct stat status = {};
    if (fstatat(folder_.Get(), name_.data(), &status, AT_SYMLINK_NOFOLLOW) == 0 &&
        status.st_dev == device_ && status.st_ino == inode_) {
        unlinkat(folder_.Get(), name_.data(), 0);
    }
    name_[0] = '\0';
}

} // namespace kvgrab
