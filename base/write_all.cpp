#include "base/write_all.h"

#include <cerrno>
#include <poll.h>
#include <unistd.h>

namespace base
{

int WriteAll(int fd, std::string_view text)
{
    while (!text.empty()) {
        const ssize_t written = write(fd, text.data(), text.size());
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            return written < 0 ? errno : ENOSPC;
        }
        text.remove_prefix(static_cast<std::size_t>(written));
    }
    return 0;
}

int WriteAll(int fd, std::span<const std::uint8_t> bytes)
{
    return WriteAll(fd, {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
}

void WriteUnlessBlocked(int fd, std::string_view text) noexcept
{
    pollfd ready = {fd, POLLOUT, 0};
    if (poll(&ready, 1, 0) > 0) {
        [[maybe_unused]] const ssize_t written = write(fd, text.data(), text.size());
    }
}

} // namespace base
