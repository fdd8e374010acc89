#include "mapping.h"

#include <cerrno>
#include <fcntl.h>
#include <new>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace kvframes
{

std::shared_ptr<const Mapping> Mapping::Open(const char* name, Access access,
                                             std::size_t leastBytes, int* error,
                                             std::uint64_t* bytes)
{
    *bytes = 0;
    const int mode = access == Access::kRead ? O_RDONLY : O_RDWR;
    const int fd = shm_open(name, mode | O_CLOEXEC, 0);
    if (fd < 0) {
        *error = errno;
        return nullptr;
    }
    return Map(fd, access, leastBytes, error, bytes);
}

std::shared_ptr<const Mapping> Mapping::Again(std::size_t leastBytes, int* error) const
{
    const int fd = fcntl(fd_, F_DUPFD_CLOEXEC, 0);
    if (fd < 0) {
        *error = errno;
        return nullptr;
    }
    std::uint64_t bytes = 0;
    return Map(fd, Access::kRead, leastBytes, error, &bytes);
}

std::shared_ptr<const Mapping> Mapping::Map(int fd, Access access, std::size_t leastBytes,
                                            int* error, std::uint64_t* bytes)
{
    struct stat status = {};
    const bool known = fstat(fd, &status) == 0;
    *error = known ? 0 : errno;
    *bytes = known ? static_cast<std::uint64_t>(status.st_size) : 0;
    void* base = MAP_FAILED;
    if (known && *bytes >= leastBytes) {
        const int protection = access == Access::kRead ? PROT_READ : PROT_READ | PROT_WRITE;
        base = mmap(nullptr, *bytes, protection, MAP_SHARED, fd, 0);
        *error = base == MAP_FAILED ? errno : 0;
    }
    if (base == MAP_FAILED) {
        close(fd);
        return nullptr;
    }
    auto* const mapping = new (std::nothrow) Mapping(fd, static_cast<std::byte*>(base), *bytes);
    if (mapping == nullptr) {
        munmap(base, *bytes);
        close(fd);
        *error = ENOMEM;
    }
    return std::shared_ptr<const Mapping>(mapping);
}

Mapping::~Mapping()
{
    munmap(base_, bytes_);
    close(fd_);
}

bool HasHost(const Mapping& memory)
{
    struct flock lock = {};
    lock.l_type = F_RDLCK;
    lock.l_whence = SEEK_SET;
    return memory.Header().running.load(std::memory_order_acquire) != 0 &&
           fcntl(memory.Fd(), F_OFD_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
}

} // namespace kvframes
