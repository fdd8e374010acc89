/** What the configuration says of the export, in the exporter's terms. */
#pragma once

#include "config/config.h"
#include "export/exporter.h"
#include "report/log.h"

namespace kvgrab
{

/** `streamFd`: where frames go if they go to standard output. The log gets what goes wrong. */
ExportOptions ExportOptionsFrom(const ExportConfig& config, int streamFd, Log* log);

} // namespace kvgrab
