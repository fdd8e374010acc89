#include "base/own_files.h"

#include "base/write_all.h"

#include <array>
#include <cerrno>
#include <climits>
#include <deque>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace base
{

namespace
{

constexpr int kMostLinks = 40; ///< as the system's own limit on the way to a file
constexpr mode_t kFolderMode = 0777;
constexpr mode_t kFileMode = 0644;

std::string Reason(int error)
{
    return std::generic_category().message(error);
}

/** Closes what it holds; -1: nothing. */
class Descriptor
{
public:
    explicit Descriptor(int fd) : fd_(fd) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() { Set(-1); }

    int Get() const { return fd_; }
    void Set(int fd)
    {
        if (fd_ >= 0) {
            close(fd_);
        }
        fd_ = fd;
    }
    int Release() { return std::exchange(fd_, -1); }

private:
    int fd_;
};

/** The names between the slashes, put before those that are still to be followed. */
void Prepend(const std::string& path, std::deque<std::string>* names)
{
    std::size_t end = path.size();
    while (end > 0) {
        const std::size_t slash = path.rfind('/', end - 1);
        const std::size_t begin = slash == std::string::npos ? 0 : slash + 1;
        if (end > begin) {
            names->push_front(path.substr(begin, end - begin));
        }
        end = slash == std::string::npos ? 0 : slash;
    }
}

int OpenStart(const std::string& path)
{
    return open(path.starts_with('/') ? "/" : ".", O_PATH | O_DIRECTORY | O_CLOEXEC);
}

/** The target of a link that may be followed. False: `*error` says why it may not be. */
bool ReadLink(int link, const struct stat& status, bool last, const std::string& name,
              std::string* target, std::string* error)
{
    if (last) {
        *error = fmt::format("'{}' is a symbolic link, and links are not followed", name);
        return false;
    }
    if (status.st_uid != 0 && status.st_uid != geteuid()) {
        *error = fmt::format("'{}' is a symbolic link of another user", name);
        return false;
    }
    std::array<char, PATH_MAX> text{};
    const ssize_t length = readlinkat(link, "", text.data(), text.size() - 1);
    if (length <= 0) {
        *error = Reason(length < 0 ? errno : ENOENT);
        return false;
    }
    *target = text.data();
    return true;
}

} // namespace

int OpenFolder(const std::string& path, bool make, std::string* error)
{
    std::deque<std::string> names;
    Prepend(path, &names);
    Descriptor here(OpenStart(path));
    int failure = here.Get() < 0 ? errno : 0;
    int links = 0;
    while (failure == 0 && !names.empty()) {
        const std::string name = names.front();
        names.pop_front();
        constexpr int kHow = O_PATH | O_NOFOLLOW | O_CLOEXEC;
        int next = openat(here.Get(), name.c_str(), kHow);
        if (next < 0 && errno == ENOENT && make) {
            const bool made = mkdirat(here.Get(), name.c_str(), kFolderMode) == 0;
            next = made || errno == EEXIST ? openat(here.Get(), name.c_str(), kHow) : -1;
        }
        struct stat status = {};
        if (next < 0 || fstat(next, &status) != 0) {
            failure = errno;
            here.Set(next);
            continue;
        }
        if (!S_ISLNK(status.st_mode)) {
            here.Set(next);
            continue;
        }
        const Descriptor link(next);
        std::string target;
        if (!ReadLink(next, status, names.empty(), name, &target, error)) {
            return -1;
        }
        if (++links > kMostLinks) {
            *error = Reason(ELOOP);
            return -1;
        }
        Prepend(target, &names);
        if (target.starts_with('/')) {
            here.Set(OpenStart(target));
            failure = here.Get() < 0 ? errno : 0;
        }
    }
    // Opened once more, because what is opened by O_PATH can't be read.
    const int folder =
        failure == 0 ? openat(here.Get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC) : -1;
    if (folder < 0) {
        *error = Reason(failure != 0 ? failure : errno);
    }
    return folder;
}

namespace
{

/** The folder of a file. The dot lets it be reached through a link, as all folders on the way to
 *  it. */
int OpenFolderOf(const std::string& path, std::string* name, std::string* error)
{
    const std::size_t slash = path.rfind('/');
    *name = path.substr(slash + 1);
    return OpenFolder(fmt::format("{}.", path.substr(0, slash + 1)), false, error);
}

} // namespace

int OpenFileForWriting(int folder, const std::string& name, Existing existing, std::string* error)
{
    constexpr int kHow = O_WRONLY | O_NOFOLLOW | O_CLOEXEC;
    const int append = existing == Existing::Append ? O_APPEND : 0;
    const int made = openat(folder, name.c_str(), kHow | append | O_CREAT | O_EXCL, kFileMode);
    if (made >= 0) {
        return made;
    }
    if (errno != EEXIST || existing == Existing::Refuse) {
        *error = Reason(errno);
        return -1;
    }
    // A FIFO without a reader would block.
    Descriptor file(openat(folder, name.c_str(), kHow | append | O_NONBLOCK));
    struct stat status = {};
    if (file.Get() < 0 || fstat(file.Get(), &status) != 0) {
        *error = errno == ELOOP   ? "it is a symbolic link, and links are not followed"
                 : errno == ENXIO ? "it is no regular file" // a FIFO that nobody reads, or a socket
                                  : Reason(errno);
        return -1;
    }
    if (!S_ISREG(status.st_mode) || status.st_nlink != 1) {
        *error =
            S_ISREG(status.st_mode) ? "it has a second name elsewhere" : "it is no regular file";
        return -1;
    }
    if (existing == Existing::Overwrite && ftruncate(file.Get(), 0) != 0) {
        *error = Reason(errno);
        return -1;
    }
    return file.Release();
}

int OpenFileForWriting(const std::string& path, Existing existing, std::string* error)
{
    std::string name;
    const Descriptor folder(OpenFolderOf(path, &name, error));
    return folder.Get() < 0 ? -1 : OpenFileForWriting(folder.Get(), name, existing, error);
}

bool ReplaceFile(const std::string& path, std::string_view text, std::string* error)
{
    std::string name;
    const Descriptor folder(OpenFolderOf(path, &name, error));
    if (folder.Get() < 0) {
        return false;
    }
    struct stat old = {};
    if (fstatat(folder.Get(), name.c_str(), &old, AT_SYMLINK_NOFOLLOW) == 0 &&
        !S_ISREG(old.st_mode)) {
        *error = "it exists and is no regular file";
        return false;
    }
    const std::string temporary = fmt::format("{}.{}.kvpart", name, getpid());
    const Descriptor file(OpenFileForWriting(folder.Get(), temporary, Existing::Refuse, error));
    if (file.Get() < 0) {
        return false;
    }
    int failed = WriteAll(file.Get(), text);
    failed = failed == 0 && fsync(file.Get()) != 0 ? errno : failed;
    if (failed == 0 && renameat(folder.Get(), temporary.c_str(), folder.Get(), name.c_str()) != 0) {
        failed = errno;
    }
    if (failed != 0) {
        unlinkat(folder.Get(), temporary.c_str(), 0);
        *error = Reason(failed);
    }
    return failed == 0;
}

} // namespace base
