/** The readers of the single tables; config_parse.cpp calls them in the order of the documentation.
 */
#pragma once

#include "base/toml_reader.h"
#include "config/config.h"

#include <vector>

namespace kvgrab
{

using base::Put;
using base::TableReader;

void ReadCamera(TableReader& in, CameraConfig* out);
void ReadStream(TableReader& in, StreamConfig* out);
void ReadImage(TableReader& in, ImageConfig* out);
void ReadRegion(TableReader& in, RegionConfig* out);
void ReadTiming(TableReader& in, TimingConfig* out);
void ReadExposure(TableReader& in, ExposureConfig* out);
void ReadGain(TableReader& in, GainConfig* out);
void ReadAuto(TableReader& in, AutoConfig* out);
void ReadWhiteBalance(TableReader& in, WhiteBalanceConfig* out);
/** `read` reads the file of the table, whose path is relative to that of `configName`. */
void ReadLut(TableReader& in, const std::string& configName, const FileReader& read,
             LutConfig* out);
void ReadGamma(TableReader& in, GammaConfig* out);

/** Sources of an IO-box set in the driver's numbers. */
enum IoSource : int { kSourceOff = 0, kSourceStrobe = 2, kSourceStrobe2 = 3, kSourceUser = 5 };
inline constexpr base::Named<int> kIoSources[] = {{"off", kSourceOff},
                                                  {"strobe", kSourceStrobe},
                                                  {"strobe2", kSourceStrobe2},
                                                  {"user", kSourceUser}};
inline constexpr base::Named<int> kIoModes[] = {{"output", 1}, {"input", 2}};

/** All [[iobox]] tables of the text. */
void ReadIoBox(TableReader& root, std::vector<IoSetConfig>* out);

} // namespace kvgrab
