/** The file of the control socket: where it is, and that nobody else can reach it. */
#pragma once

#include "file_handle.h"

#include <array>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

namespace kvgrab
{

/** The path of the socket for the key control.socket and the name of the shared memory; empty: no
 *  socket is wanted. "auto" gives kvgrab.sock, for the memory /kvgrab, in the folder that the
 *  system has for such files. */
std::string ControlSocketPath(const std::string& setting, std::string_view memoryName);

/** Where kvgrab ctl looks for the socket of these: there, and where a service of root has it. */
std::vector<std::string> ControlSocketPaths(const std::string& setting,
                                            std::string_view memoryName);

/** Connects to a socket. -1: `*error` says why not. */
int ConnectTo(const std::string& path, std::string* error);

/** A listening socket. Its folder belongs to this user and nobody else may write there, and its
 *  mode is 0600. */
class ControlSocket
{
public:
    ControlSocket() = default;
    ~ControlSocket() { RemoveNow(); }
    ControlSocket(const ControlSocket&) = delete;
    ControlSocket& operator=(const ControlSocket&) = delete;

    /** Replaces the socket of a program that has ended. False: `*error` says why not. */
    bool Listen(const std::string& path, std::string* error);
    int Fd() const { return fd_.Get(); }
    /** Removes the file if it is still this socket. Async-signal-safe. */
    void RemoveNow() noexcept;

private:
    bool MakeRoom(const std::string& path, std::string* error) const;

    FileHandle folder_;
    FileHandle fd_;
    std::array<char, 256> name_{}; ///< in the folder; empty: there is no file
    dev_t device_ = 0;
    ino_t inode_ = 0;
};

} // namespace kvgrab
