/** The driver, loaded at run time. */
#pragma once

#include <string>

namespace kvgrab
{

class DriverLibrary
{
public:
    DriverLibrary() = default;
    ~DriverLibrary();
    DriverLibrary(const DriverLibrary&) = delete;
    DriverLibrary& operator=(const DriverLibrary&) = delete;

    /** Loads `path`, or, if it is empty, the driver in ../lib next to the program or else the one
     *  that the system finds. False: `*error` says why. */
    bool Load(const std::string& path, std::string* error);

    /** Runs one device session on the calling thread. Only after Load. */
    int RunSession() const { return entry_(); }

private:
    void* handle_ = nullptr;
    int (*entry_)() = nullptr;
};

} // namespace kvgrab
