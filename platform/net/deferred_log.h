/** Lines for the host's log that come up under a lock. */
#pragma once

#include "gev_backend.h"

#include <string>
#include <utility>
#include <vector>

namespace net
{

/** Writes its lines when it goes. Declared before the locks of a call, so that they are released by
 *  then: the host's sink may call the platform back. */
class DeferredLog
{
public:
    DeferredLog() = default;
    ~DeferredLog()
    {
        try {
            for (const auto& [level, text] : lines_) {
                gevplat::WriteLog(level, text);
            }
        } catch (...) { // cancellation is held off, so this is a line for which memory is lacking
        }
    }
    DeferredLog(const DeferredLog&) = delete;
    DeferredLog& operator=(const DeferredLog&) = delete;

    void Add(int level, std::string text) { lines_.emplace_back(level, std::move(text)); }

private:
    std::vector<std::pair<int, std::string>> lines_;
};

} // namespace net
