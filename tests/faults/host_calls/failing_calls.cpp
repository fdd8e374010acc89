/** Preloaded into kvgrab: lists the places from which it calls the system or takes memory, or makes
 *  one of these calls fail.
 *
 *    KV_CALLS=FILE     appends a line "CALL PLACE" for each new place
 *    KV_FAIL=CALL:PLACE:NTH:HOW   the NTH call from this place fails; HOW is an error number, or
 *                      "short" for a write that writes half
 *    KV_DEPTH=N        a place is identified by the N innermost return addresses in our libraries
 * (1)
 *
 *  Only calls below code of ours count. It takes no memory itself. */
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <string_view>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#include <unwind.h>

namespace
{

constexpr std::string_view kOurs[] = {"/bin/kvgrab", "libkvgrab-host.so", "libgevplat.so",
                                      "libdriver-dalsa.so"};
constexpr int kShort = -1;
constexpr int kNoFailure = 0;

struct Plan {
    const char* call = nullptr; ///< null: nothing fails
    std::size_t callSize = 0;
    std::uint32_t place = 0;
    std::uint64_t nth = 1;
    int how = 0;
    int record = -1; ///< descriptor of the list
    int depth = 1;
};

thread_local bool inside = false; ///< a call of this library's own

Plan ReadPlan()
{
    Plan plan;
    if (const char* const depth = getenv("KV_DEPTH")) {
        plan.depth = std::atoi(depth);
    }
    if (const char* const file = getenv("KV_CALLS")) {
        plan.record = open(file, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    }
    if (const char* const text = getenv("KV_FAIL")) {
        char* end = nullptr;
        plan.callSize = std::strcspn(text, ":");
        plan.place = static_cast<std::uint32_t>(std::strtoul(text + plan.callSize + 1, &end, 16));
        plan.nth = std::strtoul(end + 1, &end, 10);
        plan.how = std::strcmp(end + 1, "short") == 0 ? kShort : std::atoi(end + 1);
        plan.call = text;
    }
    return plan;
}

struct Walk {
    std::uint32_t hash = 2166136261U; ///< FNV-1a
    int left = 0;
    bool ours = false;
};

_Unwind_Reason_Code Step(_Unwind_Context* context, void* argument)
{
    auto* const walk = static_cast<Walk*>(argument);
    const std::uintptr_t address = _Unwind_GetIP(context);
    Dl_info info{};
    if (dladdr(reinterpret_cast<void*>(address), &info) == 0 || info.dli_fname == nullptr) {
        return _URC_NO_REASON;
    }
    for (const std::string_view ours : kOurs) {
        if (std::strstr(info.dli_fname, ours.data()) != nullptr) {
            const std::uintptr_t offset =
                address - reinterpret_cast<std::uintptr_t>(info.dli_fbase);
            walk->hash = (walk->hash ^ static_cast<std::uint32_t>(offset)) * 16777619U;
            walk->ours = true;
            return --walk->left > 0 ? _URC_NO_REASON : _URC_END_OF_STACK;
        }
    }
    return _URC_NO_REASON;
}

/** Places that were seen, so that each is listed once. */
bool IsNew(std::uint32_t key)
{
    static std::array<std::atomic<std::uint32_t>, 1 << 16> seen;
    for (std::size_t i = key;; ++i) {
        std::uint32_t expected = 0;
        std::atomic<std::uint32_t>& slot = seen[i % seen.size()];
        if (slot.compare_exchange_strong(expected, key)) {
            return true;
        }
        if (expected == key) {
            return false;
        }
    }
}

/** The error with which this call is to fail, kShort or kNoFailure. */
int Failure(std::string_view call)
{
    if (inside) {
        return kNoFailure;
    }
    inside = true;
    static const Plan plan = ReadPlan();
    int how = kNoFailure;
    const bool mayFail = plan.call != nullptr && call == std::string_view(plan.call, plan.callSize);
    if (plan.record >= 0 || mayFail) {
        const int before = errno;
        Walk walk;
        walk.left = plan.depth;
        _Unwind_Backtrace(Step, &walk);
        for (const char letter : call) {
            walk.hash = (walk.hash ^ static_cast<std::uint8_t>(letter)) * 16777619U;
        }
        walk.hash |= 1; // never 0
        if (walk.ours && plan.record >= 0 && IsNew(walk.hash)) {
            char line[64];
            const int length = std::snprintf(line, sizeof line, "%.*s %08x\n",
                                             static_cast<int>(call.size()), call.data(), walk.hash);
            [[maybe_unused]] const ssize_t written =
                write(plan.record, line, static_cast<std::size_t>(length));
        }
        static std::atomic<std::uint64_t> matches{0};
        if (walk.ours && mayFail && walk.hash == plan.place && ++matches == plan.nth) {
            how = plan.how;
        }
        errno = before;
    }
    inside = false;
    return how;
}

template <class Function> Function* Next(const char* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

/** A call that returns -1 and sets errno. */
#define KV_CALL(result, name, parameters, arguments)                                               \
    result name parameters                                                                         \
    {                                                                                              \
        if (const int error = Failure(#name); error > 0) {                                         \
            errno = error;                                                                         \
            return -1;                                                                             \
        }                                                                                          \
        static auto* const next = Next<result parameters>(#name);                                  \
        return next arguments;                                                                     \
    }

} // namespace

extern "C" {

void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);

void* malloc(std::size_t size)
{
    return Failure("malloc") > 0 ? (errno = ENOMEM, nullptr) : __libc_malloc(size);
}

void* calloc(std::size_t count, std::size_t size)
{
    return Failure("malloc") > 0 ? (errno = ENOMEM, nullptr) : __libc_calloc(count, size);
}

void* realloc(void* memory, std::size_t size)
{
    return Failure("malloc") > 0 ? (errno = ENOMEM, nullptr) : __libc_realloc(memory, size);
}

int open(const char* path, int flags, ...)
{
    std::va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    if (const int error = Failure("open"); error > 0) {
        errno = error;
        return -1;
    }
    static auto* const next = Next<int(const char*, int, ...)>("open");
    return next(path, flags, mode);
}

int openat(int folder, const char* path, int flags, ...)
{
    std::va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    if (const int error = Failure("openat"); error > 0) {
        errno = error;
        return -1;
    }
    static auto* const next = Next<int(int, const char*, int, ...)>("openat");
    return next(folder, path, flags, mode);
}

ssize_t write(int fd, const void* bytes, std::size_t count)
{
    const int error = Failure("write");
    if (error > 0) {
        errno = error;
        return -1;
    }
    static auto* const next = Next<ssize_t(int, const void*, std::size_t)>("write");
    return next(fd, bytes, error == kShort ? (count + 1) / 2 : count);
}

void* mmap(void* address, std::size_t size, int protection, int flags, int fd,
           off_t offset) noexcept
{
    if (const int error = Failure("mmap"); error > 0) {
        errno = error;
        return MAP_FAILED;
    }
    static auto* const next = Next<void*(void*, std::size_t, int, int, int, off_t)>("mmap");
    return next(address, size, protection, flags, fd, offset);
}

int posix_fallocate(int fd, off_t offset, off_t size)
{
    if (const int error = Failure("posix_fallocate"); error > 0) {
        return error;
    }
    static auto* const next = Next<int(int, off_t, off_t)>("posix_fallocate");
    return next(fd, offset, size);
}

int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*start)(void*),
                   void* argument) noexcept
{
    if (const int error = Failure("pthread_create"); error > 0) {
        return error;
    }
    static auto* const next =
        Next<int(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*)>("pthread_create");
    return next(thread, attributes, start, argument);
}

KV_CALL(int, shm_open, (const char* name, int flags, mode_t mode), (name, flags, mode))
KV_CALL(int, ftruncate, (int fd, off_t size) noexcept, (fd, size))
KV_CALL(int, mkdirat, (int folder, const char* path, mode_t mode) noexcept, (folder, path, mode))
KV_CALL(int, renameat, (int from, const char* path, int to, const char* target) noexcept,
        (from, path, to, target))
KV_CALL(int, renameat2,
        (int from, const char* path, int to, const char* target, unsigned flags) noexcept,
        (from, path, to, target, flags))
KV_CALL(int, unlinkat, (int folder, const char* path, int flags) noexcept, (folder, path, flags))
KV_CALL(int, eventfd, (unsigned initial, int flags) noexcept, (initial, flags))
KV_CALL(int, fsync, (int fd), (fd))

} // extern "C"
