/** Owner of a file descriptor. */
#pragma once

#include <unistd.h>
#include <utility>

namespace kvgrab
{

class FileHandle
{
public:
    FileHandle() = default;
    explicit FileHandle(int fd) : fd_(fd) {}
    FileHandle(FileHandle&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    FileHandle& operator=(FileHandle&& other) noexcept
    {
        std::swap(fd_, other.fd_);
        return *this;
    }
    FileHandle(const FileHandle&) = delete;
    FileHandle& operator=(const FileHandle&) = delete;
    ~FileHandle()
    {
        if (fd_ >= 0) {
            close(fd_);
        }
    }

    int Get() const { return fd_; }
    bool Valid() const { return fd_ >= 0; }

private:
    int fd_ = -1;
};

} // namespace kvgrab
