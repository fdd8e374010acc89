/** The readers of the single tables; config_parse.cpp calls them in the order of the documentation.
 */
#pragma once

#include "config/config.h"
#include "config/config_reader.h"

#include <vector>

namespace kvgrab
{

void ReadCamera(TableReader& in, CameraConfig* out);
void ReadStream(TableReader& in, StreamConfig* out);
void ReadImage(TableReader& in, ImageConfig* out);
void ReadRegion(TableReader& in, RegionConfig* out);
void ReadTiming(TableReader& in, TimingConfig* out);
void ReadExposure(TableReader& in, ExposureConfig* out);
void ReadGain(TableReader& in, GainConfig* out);
void ReadAuto(TableReader& in, AutoConfig* out);
void ReadWhiteBalance(TableReader& in, WhiteBalanceConfig* out);
void ReadLut(TableReader& in, LutConfig* out);
void ReadGamma(TableReader& in, GammaConfig* out);

/** All [[iobox]] tables of the text. */
void ReadIoBox(TableReader& root, ReadContext& context, std::vector<IoSetConfig>* out);

} // namespace kvgrab
