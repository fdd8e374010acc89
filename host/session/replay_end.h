/** The end of a recording that the camera plays back. */
#pragma once

#include <string>

namespace kvgrab
{

struct ReplayEnd {
    bool over = false;        ///< the camera will send nothing more
    std::string failure = {}; ///< why it ended early; a sentence. Empty: all was sent
};

} // namespace kvgrab
