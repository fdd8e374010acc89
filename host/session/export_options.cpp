#include "session/export_options.h"

namespace kvgrab
{

namespace
{

StreamFormat StreamFormatFrom(const ExportConfig& config)
{
    return config.streamFormat == "pnm"   ? StreamFormat::kPnm
           : config.streamFormat == "y4m" ? StreamFormat::kY4m
                                          : StreamFormat::kRaw;
}

} // namespace

ExportOptions ExportOptionsFrom(const ExportConfig& config, int streamFd, Log* log)
{
    ExportOptions options;
    options.folder = config.directory;
    ParseExportFormat(config.format, &options.format);
    options.overwrite = config.overwrite;
    options.everyFrame = config.everyFrame;
    options.onError = config.stopOnError ? ExportErrorPolicy::kStop : ExportErrorPolicy::kContinue;
    options.workers = config.writers;
    options.queueLength = config.queue;
    options.pngCompression = config.pngCompression;
    options.stream = StreamFormatFrom(config);
    options.streamFd = streamFd;
    options.report = [log](const std::string& trouble) { log->Line(2, trouble); };
    return options;
}

} // namespace kvgrab
