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

    /** Loads `path`; empty: the driver that lies in ../lib beside the program, else wherever the
     *  system finds it. False: `*error` says why not. */
    bool Load(const std::string& path, std::string* error);

    /** One device session, on the calling thread. Only after Load. */
    int RunSession() const { return entry_(); }

private:
    void* handle_ = nullptr;
    int (*entry_)() = nullptr;
};

} // namespace kvgrab
