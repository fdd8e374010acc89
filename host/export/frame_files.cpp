#include "export/frame_files.h"

#include "base/own_files.h"
#include "base/write_all.h"
#include "export/index_row.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <memory>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>
#include <vector>

namespace kvgrab
{
namespace
{

constexpr const char* kIndexName = "index.csv";
constexpr std::string_view kPrefix = "frame_";
constexpr auto kNameForm = FMT_STRING("{}{:06}.{}");
constexpr std::string_view kUnfinishedSuffix = ".kvpart";

std::string SystemText(int error)
{
    return std::generic_category().message(error);
}

std::span<const std::uint8_t> Bytes(std::string_view text)
{
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

/** A name that WriteFile gives: prefix, six digits or more, a dot, "png" or "raw". */
bool IsFrameName(std::string_view name)
{
    if (!name.starts_with(kPrefix) || !(name.ends_with(".png") || name.ends_with(".raw"))) {
        return false;
    }
    const std::string_view number = name.substr(kPrefix.size(), name.size() - kPrefix.size() - 4);
    return number.size() >= 6 &&
           std::all_of(number.begin(), number.end(), [](char c) { return c >= '0' && c <= '9'; });
}

bool IsUnfinishedName(std::string_view name)
{
    return name.ends_with(kUnfinishedSuffix) &&
           IsFrameName(name.substr(0, name.size() - kUnfinishedSuffix.size()));
}

} // namespace

FrameFiles::~FrameFiles()
{
    Close();
}

std::string FrameFiles::Text(const std::string& name, const char* what, int error) const
{
    return fmt::format("'{}/{}' {}: {}.", folder_, name, what, SystemText(error));
}

std::string FrameFiles::Open(const std::string& folder, std::string_view extension, bool overwrite)
{
    folder_ = folder;
    extension_ = extension;
    overwrite_ = overwrite;
    std::string why;
    folderFd_ = base::OpenFolder(folder, true, &why);
    if (folderFd_ < 0) {
        return fmt::format("The folder '{}' can't be used: {}.", folder, why);
    }
    if (faccessat(folderFd_, ".", W_OK | X_OK, AT_EACCESS) != 0) {
        const int error = errno;
        Close();
        return fmt::format("No files can be made in the folder '{}': {}.", folder,
                           SystemText(error));
    }
    std::string trouble = BeginIndex();
    if (!trouble.empty()) {
        Close();
    }
    return trouble;
}

/** Locks the index before it changes anything, since another export may be using the folder. */
std::string FrameFiles::BeginIndex()
{
    indexFd_ = openat(folderFd_, kIndexName, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    const bool fresh = indexFd_ >= 0;
    std::string why = fresh ? "" : SystemText(errno);
    if (!fresh && errno == EEXIST) {
        indexFd_ = base::OpenFileForWriting(folderFd_, kIndexName, base::Existing::Keep, &why);
    }
    if (indexFd_ < 0) {
        return fmt::format("'{}/{}' can't be opened: {}.", folder_, kIndexName, why);
    }
    if (flock(indexFd_, LOCK_EX | LOCK_NB) != 0) {
        return fmt::format("Another process is exporting to '{}'. Choose another folder "
                           "(--directory).",
                           folder_);
    }

    bool hasFrames = false;
    std::string trouble = CheckContents(&hasFrames);
    if (trouble.empty() && !overwrite_ && (!fresh || hasFrames)) {
        trouble = fmt::format("The folder '{}' holds exported frames already. Choose another "
                              "folder (--directory) or allow replacing them (--overwrite).",
                              folder_);
    }
    if (trouble.empty()) {
        const int error = ftruncate(indexFd_, 0) != 0
                              ? errno
                              : base::WriteAll(indexFd_, Bytes(IndexRow::kColumns));
        if (error != 0) {
            trouble = Text(kIndexName, "can't be written", error);
        }
    }
    if (!trouble.empty() && fresh) {
        unlinkat(folderFd_, kIndexName, 0);
    }
    indexBytes_ = IndexRow::kColumns.size();
    return trouble;
}

/** Removes unfinished files and looks for finished ones. */
std::string FrameFiles::CheckContents(bool* hasFrames)
{
    const int fd = openat(folderFd_, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const std::unique_ptr<DIR, int (*)(DIR*)> entries(fd < 0 ? nullptr : fdopendir(fd), &closedir);
    if (entries == nullptr) {
        const int error = errno;
        if (fd >= 0) {
            close(fd);
        }
        return fmt::format("The folder '{}' can't be read: {}.", folder_, SystemText(error));
    }
    std::vector<std::string> unfinished;
    while (const dirent* entry = readdir(entries.get())) {
        if (IsUnfinishedName(entry->d_name)) {
            unfinished.emplace_back(entry->d_name);
        }
        *hasFrames = *hasFrames || IsFrameName(entry->d_name);
    }
    for (const std::string& name : unfinished) {
        if (unlinkat(folderFd_, name.c_str(), 0) != 0) {
            return Text(name, "can't be removed", errno);
        }
    }
    return {};
}

void FrameFiles::Close()
{
    if (indexFd_ >= 0) {
        close(std::exchange(indexFd_, -1));
    }
    if (folderFd_ >= 0) {
        close(std::exchange(folderFd_, -1));
    }
}

std::string FrameFiles::Name(std::uint64_t number) const
{
    return fmt::format(kNameForm, kPrefix, number, extension_);
}

std::string FrameFiles::WriteFile(unsigned worker, const std::string& name,
                                  std::span<const std::uint8_t> bytes)
{
    Unfinished& unfinished = unfinished_.at(worker);
    const std::string temporary = fmt::format("{}{}", name, kUnfinishedSuffix);
    if (temporary.size() >= unfinished.name.size()) {
        return Text(name, "can't be written", ENAMETOOLONG);
    }
    std::memcpy(unfinished.name.data(), temporary.c_str(), temporary.size() + 1);
    unfinished.pending.store(true);
    if (abandoned_.load()) {
        unfinished.pending.store(false);
        return Text(name, "can't be written", ECANCELED);
    }
    std::string trouble;
    constexpr int kHow = O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC;
    int fd = openat(folderFd_, temporary.c_str(), kHow, 0644);
    if (fd < 0 && errno == EEXIST && unlinkat(folderFd_, temporary.c_str(), 0) == 0) {
        fd = openat(folderFd_, temporary.c_str(), kHow, 0644);
    }
    int error = fd < 0 ? errno : base::WriteAll(fd, bytes);
    if (fd >= 0 && close(fd) != 0 && error == 0) {
        error = errno; // network file systems may report a full disk only here
    }
    if (error != 0) {
        trouble = Text(name, "can't be written", error);
    } else {
        trouble = Publish(temporary.c_str(), name);
    }
    if (!trouble.empty()) {
        unlinkat(folderFd_, temporary.c_str(), 0);
    }
    unfinished.pending.store(false);
    return trouble;
}

std::string FrameFiles::Publish(const char* temporary, const std::string& name)
{
    const char* target = name.c_str();
    if (overwrite_) {
        return renameat(folderFd_, temporary, folderFd_, target) == 0
                   ? std::string()
                   : Text(name, "can't be written", errno);
    }
    if (renameat2(folderFd_, temporary, folderFd_, target, RENAME_NOREPLACE) == 0) {
        return {};
    }
    if (errno != EINVAL && errno != ENOSYS) {
        return Text(name, "can't be written", errno);
    }
    // The file system has no such rename: check first, although a file may appear in between.
    if (faccessat(folderFd_, target, F_OK, AT_SYMLINK_NOFOLLOW) == 0) {
        return Text(name, "can't be written", EEXIST);
    }
    return renameat(folderFd_, temporary, folderFd_, target) == 0
               ? std::string()
               : Text(name, "can't be written", errno);
}

void FrameFiles::RemoveFrame(std::uint64_t number) noexcept
{
    std::array<char, 64> name{};
    fmt::format_to_n(name.data(), name.size() - 1, kNameForm, kPrefix, number, extension_);
    unlinkat(folderFd_, name.data(), 0);
}

std::string FrameFiles::AppendRow(std::string_view row)
{
    const int error = base::WriteAll(indexFd_, Bytes(row));
    if (error == 0) {
        indexBytes_ += row.size();
        return {};
    }
    // A part of the row may have been written; cutting it off needs no room on the disk.
    const std::string trouble = Text(kIndexName, "can't be written", error);
    if (ftruncate(indexFd_, static_cast<off_t>(indexBytes_)) != 0 ||
        lseek(indexFd_, static_cast<off_t>(indexBytes_), SEEK_SET) < 0) {
        return fmt::format("{} Its last row may be incomplete.", trouble);
    }
    return trouble;
}

void FrameFiles::AbandonNow() noexcept
{
    const int savedErrno = errno;
    abandoned_.store(true);
    for (Unfinished& unfinished : unfinished_) {
        if (unfinished.pending.load()) {
            unlinkat(folderFd_, unfinished.name.data(), 0);
        }
    }
    errno = savedErrno;
}

} // namespace kvgrab
