#include "memory/frame_object.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <fmt/format.h>
#include <limits>
#include <linux/futex.h>
#include <new>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace kvgrab
{
namespace
{

using namespace KvFrames;

constexpr auto kRelaxed = std::memory_order_relaxed;
constexpr auto kRelease = std::memory_order_release;

/** Two hosts that start at the same time may see each other's unfinished objects; after a few
 *  attempts one of them wins. */
constexpr int kOpenAttempts = 100;
constexpr std::size_t kNameLimit = 240; ///< a file's name, with the suffix of the board

std::string SystemText(int error)
{
    return std::generic_category().message(error);
}

std::size_t HeaderBytes()
{
    return WholePages(sizeof(FrameMemoryHeader));
}

/** Takes a write lock on the whole object, without waiting. The lock belongs to the open file, so
 *  the kernel releases it when the process ends, however that happens, and nothing depends on
 *  process numbers. */
bool LockObject(int fd)
{
    struct flock lock = {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    return fcntl(fd, F_OFD_SETLK, &lock) == 0;
}

bool HasName(int fd)
{
    struct stat status = {};
    return fstat(fd, &status) == 0 && status.st_nlink > 0;
}

} // namespace

/** A request that a signal interrupts is repeated. */
int TakeRoom(int fd, std::uint64_t bytes)
{
    int error = EINTR;
    while (error == EINTR) {
        error = posix_fallocate(fd, 0, static_cast<off_t>(bytes));
    }
    return error;
}

std::size_t PageBytes()
{
    static const auto bytes = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    return bytes;
}

std::uint64_t WholePages(std::uint64_t bytes)
{
    return (bytes + PageBytes() - 1) / PageBytes() * PageBytes();
}

FrameObject::~FrameObject()
{
    Close();
}

bool FrameObject::Fail(std::string text)
{
    error_ = std::move(text);
    return false;
}

bool FrameObject::Open(const std::string& name)
{
    Close();
    error_.clear();
    if (name.size() < 2 || name.size() > kNameLimit || name[0] != '/' ||
        name.find('/', 1) != std::string::npos || name == "/." || name == "/..") {
        return Fail(fmt::format("'{}' can't name the frame memory: it takes a slash and up to 239 "
                                "characters without another slash.",
                                name));
    }
    if (name.ends_with(kConsumerBoardSuffix)) {
        return Fail(fmt::format("'{}' can't name the frame memory: names that end with '{}' belong "
                                "to the boards for consumers.",
                                name, kConsumerBoardSuffix));
    }
    name_ = name;
    for (int attempt = 0; attempt < kOpenAttempts; ++attempt) {
        bool again = false;
        if (TryCreate(&again)) {
            return true;
        }
        if (!again || (!TryRemoveStale(&again) && !again)) {
            return false;
        }
    }
    return Fail(fmt::format(
        "The frame memory '{}' can't be made: other processes keep making and removing it.",
        name_));
}

/** Sets `*again` when the name is taken already, or when another host took the new object for a
 *  leftover. */
bool FrameObject::TryCreate(bool* again)
{
    const auto fail = [this](const char* what, int error) {
        return Fail(fmt::format("The frame memory '{}' {}: {}.", name_, what, SystemText(error)));
    };
    FileHandle object(shm_open(name_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0640));
    if (!object.Valid()) {
        *again = errno == EEXIST;
        return *again ? false : fail("can't be made", errno);
    }
    if (!LockObject(object.Get()) || !HasName(object.Get())) {
        *again = true;
        return false;
    }
    const int error = TakeRoom(object.Get(), HeaderBytes());
    if (error != 0) {
        shm_unlink(name_.c_str());
        return fail("can't be given its room", error);
    }
    const int access = PROT_READ | PROT_WRITE;
    void* header = mmap(nullptr, HeaderBytes(), access, MAP_SHARED, object.Get(), 0);
    void* whole = header == MAP_FAILED
                      ? MAP_FAILED
                      : mmap(nullptr, HeaderBytes(), access, MAP_SHARED, object.Get(), 0);
    if (whole == MAP_FAILED) {
        const int mapError = errno;
        if (header != MAP_FAILED) {
            munmap(header, HeaderBytes());
        }
        shm_unlink(name_.c_str());
        return fail("can't be mapped", mapError);
    }
    // Before the header says that the memory is complete: then consumers find the board, too.
    std::string noBoard;
    if (!board_.Open(name_, &noBoard)) {
        munmap(header, HeaderBytes());
        munmap(whole, HeaderBytes());
        shm_unlink(name_.c_str());
        return Fail(noBoard);
    }
    fd_ = std::move(object);
    creator_ = getpid();
    base_ = static_cast<std::byte*>(whole);
    bytes_ = HeaderBytes();
    std::snprintf(path_, sizeof path_, "/dev/shm%s", name_.c_str());

    auto* fresh = new (header) FrameMemoryHeader{};
    fresh->version.store(kFrameMemoryVersion, kRelaxed);
    fresh->running.store(1, kRelaxed);
    fresh->ownerPid.store(static_cast<std::uint64_t>(creator_), kRelaxed);
    fresh->generation.store(2, kRelaxed);
    fresh->objectBytes.store(bytes_, kRelaxed);
    fresh->newestIndex.store(kNoBuffer, kRelaxed);
    for (MemoryInstanceInfo& instance : fresh->instances) {
        instance.newestIndex.store(kNoBuffer, kRelaxed);
    }
    fresh->magic.store(kFrameMemoryMagic, kRelease);
    header_.store(fresh, kRelease);
    return true;
}

/** Removes the object of a dead host. Sets `*again` when another process is changing it, so that
 *  the caller tries again. */
bool FrameObject::TryRemoveStale(bool* again)
{
    *again = false;
    FileHandle object(shm_open(name_.c_str(), O_RDWR | O_CLOEXEC, 0));
    if (!object.Valid()) {
        *again = errno == ENOENT;
        return *again ? false
                      : Fail(fmt::format(
                            "The frame memory '{}' exists already and can't be opened: {}.", name_,
                            SystemText(errno)));
    }
    std::uint64_t words[3] = {}; // magic, version with running, owner
    static_assert(offsetof(FrameMemoryHeader, ownerPid) == sizeof(std::uint64_t) * 2);
    const ssize_t got = pread(object.Get(), words, sizeof words, 0);
    struct stat status = {};
    fstat(object.Get(), &status);
    const bool ours = got == sizeof words && words[0] == kFrameMemoryMagic;
    // A host that is killed while it makes the object leaves it empty or with a zeroed header.
    const bool unfinished =
        status.st_size == 0 ||
        (words[0] == 0 && static_cast<std::uint64_t>(status.st_size) == HeaderBytes());
    if (!ours && !unfinished) {
        return Fail(fmt::format("The shared-memory object '{}' is not a frame memory. Remove it or "
                                "choose another name (--memory).",
                                name_));
    }
    if (!LockObject(object.Get())) {
        *again = unfinished;
        if (unfinished) {
            usleep(1000); // its host is about to finish it
            return false;
        }
        return Fail(fmt::format("The frame memory '{}' belongs to the running process {}. End that "
                                "or choose another name (--memory).",
                                name_, words[2]));
    }
    if (HasName(object.Get())) {
        shm_unlink(name_.c_str());
    }
    return true;
}

void FrameObject::Close()
{
    FrameMemoryHeader* header = Header();
    if (header == nullptr) {
        return;
    }
    UnlinkNow();
    board_.Close();
    header_.store(nullptr, kRelease);
    munmap(header, HeaderBytes());
    munmap(std::exchange(base_, nullptr), bytes_);
    bytes_ = 0;
    fd_ = FileHandle();
}

void FrameObject::UnlinkNow() noexcept
{
    FrameMemoryHeader* header = Header();
    if (header == nullptr || creator_ != getpid()) {
        return;
    }
    const int savedErrno = errno;
    header->running.store(0, kRelease);
    WakeConsumers();
    board_.UnlinkNow(); // first: while the memory has its name, no other host makes a board
    if (HasName(fd_.Get())) {
        unlink(path_); // async-signal-safe, unlike shm_unlink
    }
    errno = savedErrno;
}

void FrameObject::WakeConsumers() noexcept
{
    FrameMemoryHeader* const header = Header();
    ConsumerBoard* const board = board_.Board();
    if (header == nullptr || board == nullptr) {
        return;
    }
    // A consumer sets `waiting` before it looks again; with both steps sequentially consistent,
    // either it sees the change or this sees that it waits.
    header->wake.fetch_add(1);
    if (board->waiting.load() != 0) {
        board->waiting.exchange(0);
        syscall(SYS_futex, &header->wake, FUTEX_WAKE, std::numeric_limits<int>::max(), nullptr,
                nullptr, 0);
    }
}

bool FrameObject::Grow(std::uint64_t bytes)
{
    if (bytes <= bytes_) {
        return true;
    }
    const int error = TakeRoom(fd_.Get(), bytes);
    if (error != 0) {
        // Gives back the memory that was allocated before it ran out; a failure changes nothing.
        const int shrunk = ftruncate(fd_.Get(), static_cast<off_t>(bytes_));
        return Fail(SystemText(shrunk == 0 ? error : errno));
    }
    void* larger = mremap(base_, bytes_, bytes, MREMAP_MAYMOVE);
    if (larger == MAP_FAILED) {
        return Fail(SystemText(errno));
    }
    base_ = static_cast<std::byte*>(larger);
    bytes_ = bytes;
    return true;
}

} // namespace kvgrab
