/** What the help of kvgrab says besides its options. */
#pragma once

#include "base/program_help.h"

namespace kvgrab
{

const base::ProgramHelp& Help();

} // namespace kvgrab
