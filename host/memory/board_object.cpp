#include "memory/board_object.h"

#include "memory/frame_object.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <fmt/format.h>
#include <mutex>
#include <new>
#include <sys/mman.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace kvgrab
{
namespace
{

using namespace KvFrames;

/** The group writes, too: consumers need not be the host's user. */
constexpr mode_t kBoardMode = 0660;
constexpr int kAccess = PROT_READ | PROT_WRITE;

/** Boards that are mapped in this process; null: a free place. */
std::array<std::atomic<void*>, 8> boards;
struct sigaction formerAction;

/** Puts a page of zeros in the place of a board that has been cut short. Any other fault is left to
 *  the handler before it: it occurs again after the return. */
void OnBusError(int number, siginfo_t* info, void* /*context*/)
{
    const int savedErrno = errno;
    const auto fault = reinterpret_cast<std::uintptr_t>(info->si_addr);
    const bool ours = std::any_of(boards.begin(), boards.end(), [fault](const auto& place) {
        void* const board = place.load();
        const auto first = reinterpret_cast<std::uintptr_t>(board);
        return board != nullptr && fault >= first && fault - first < PageBytes() &&
               mmap(board, PageBytes(), kAccess, MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1, 0) !=
                   MAP_FAILED;
    });
    if (!ours) {
        sigaction(number, &formerAction, nullptr);
    }
    errno = savedErrno;
}

void HandleBusErrors()
{
    static std::once_flag once;
    std::call_once(once, [] {
        PageBytes(); // asks the system now, and not in the handler
        struct sigaction action = {};
        action.sa_sigaction = OnBusError;
        action.sa_flags = SA_SIGINFO;
        sigemptyset(&action.sa_mask);
        sigaction(SIGBUS, &action, &formerAction);
    });
}

bool TakePlace(void* board)
{
    return std::any_of(boards.begin(), boards.end(), [board](auto& place) {
        void* none = nullptr;
        return place.compare_exchange_strong(none, board);
    });
}

void LeavePlace(void* board)
{
    for (auto& place : boards) {
        void* expected = board;
        place.compare_exchange_strong(expected, nullptr);
    }
}

} // namespace

BoardObject::~BoardObject()
{
    Close();
}

bool BoardObject::Open(const std::string& memoryName, std::string* why)
{
    Close();
    const std::string name = memoryName + kConsumerBoardSuffix;
    const auto fail = [&](int error) {
        *why = fmt::format("The board for consumers, '{}', can't be made: {}.", name,
                           std::generic_category().message(error));
        return false;
    };
    if (shm_unlink(name.c_str()) != 0 && errno != ENOENT) {
        return fail(errno);
    }
    FileHandle object(shm_open(name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    if (!object.Valid()) {
        return fail(errno);
    }
    int error = fchmod(object.Get(), kBoardMode) == 0 ? TakeRoom(object.Get(), PageBytes()) : errno;
    void* page = nullptr;
    if (error == 0) {
        page = mmap(nullptr, PageBytes(), kAccess, MAP_SHARED, object.Get(), 0);
        error = page == MAP_FAILED ? errno : 0;
    }
    if (error == 0 && !TakePlace(page)) {
        munmap(page, PageBytes());
        error = EMFILE;
    }
    if (error != 0) {
        shm_unlink(name.c_str());
        return fail(error);
    }
    HandleBusErrors();
    fd_ = std::move(object);
    std::snprintf(path_, sizeof path_, "/dev/shm%s", name.c_str());
    auto* const fresh = new (page) ConsumerBoard{};
    fresh->version.store(kFrameMemoryVersion, std::memory_order_relaxed);
    fresh->magic.store(kConsumerBoardMagic, std::memory_order_release);
    board_.store(fresh, std::memory_order_release);
    return true;
}

void BoardObject::Close()
{
    ConsumerBoard* const board = board_.exchange(nullptr);
    if (board == nullptr) {
        return;
    }
    LeavePlace(board);
    munmap(board, PageBytes());
    fd_ = FileHandle();
}

void BoardObject::UnlinkNow() noexcept
{
    struct stat status = {};
    if (fd_.Valid() && fstat(fd_.Get(), &status) == 0 && status.st_nlink > 0) {
        unlink(path_); // async-signal-safe, unlike shm_unlink
    }
}

} // namespace kvgrab
