/** All handlers in their order, and the stopped transfer that they share. */
#include "tests/support/rig.h"

#include <gtest/gtest.h>

#include <numeric>

using namespace KvTd;
using namespace rig;

/** Configures the camera, starts its transfer and tells what a reconfiguration does. */
static std::string Reconfigure(Rig& rig, std::uint32_t format, void (*configure)(FakeHost& host),
                               bool initial)
{
    rig.host.format = format;
    std::uint32_t buffers = 2;
    rig.proc.ProcSetCamConfig(&rig.Open(), &buffers);
    rig.StartTransfer();
    configure(rig.host);
    Rig::Clear();
    EXPECT_EQ(rig.proc.ProcParametrizeCam(&rig.Cam(), true, initial), 0);
    Texts told = FoldTables(Rig::Of({"host", "log", "cam", "gev"}));
    std::erase_if(told, [](const auto& t) { return t.find("ProcParametrizeCam:") != t.npos; });
    return Story(told);
}

TEST(Parametrize, EverythingManualOnAMonochromeCamera)
{
    Rig rig(Having({{"lutSize", "Bpp10"}, {"autoBrightnessMode", "Active"}}));
    const auto configure = [](FakeHost& host) {
        host.fps = 25;
        host.rotate = 2;
        host.wbred = 150; // for colour only
        host.sweepProf = host.sweepGainMod = host.sweepEtimeMod = host.sweepLutMod = 1;
        host.gainMan = 0.1F; // reads back as 0.100001
        host.exptMan = 2500.75F;
        host.lut.resize(1024);
        std::iota(host.lut.begin(), host.lut.end(), std::uint16_t{0});
        host.lutBitSize = 10;
        host.gamma = 2; // not asked for beside a table
    };
    std::string story = Reconfigure(rig, kFormatMono8, configure, true);
    const std::string from = "LUT arr 0x";
    const std::size_t address = story.find(from) + from.size();
    story.replace(address, story.find('\n', address) - address, "...");
    EXPECT_EQ(story, R"(
host KvGiMainCtx__GetFps()
log3 kv_td_proc:ProcParametrizeCamFps: Fps settings handler entry val: Fps 25.000000 (CamFps 30.000000)
log3 kv_td_proc:ProcParametrizeCamFps:   cur CamFps val is 30.000000 (min 0.100000, max 100.000000)
cam AcquisitionFrameRate=25
log3 kv_td_excam:ExPropertySetFloat: ### set property 9 (AcquisitionFrameRate) to 25.000000 ###
log3 kv_td_proc:ProcParametrizeCamFps:   new CamFps val is 25.000000
host KvGi__SetCurrFpsUs(40000)
host KvGiMainCtx__GetRotate()
log3 kv_td_proc:ProcParametrizeCamRotate: Rotate settings handler entry val: Rotate 2
log3 kv_td_proc:ProcParametrizeCamRotate:   cur Rotate val is: 0
cam ReverseX=true
log3 kv_td_excam:ExPropertySetEna: ### set property 17 (ReverseX) to 1 ###
cam ReverseY=true
log3 kv_td_excam:ExPropertySetEna: ### set property 18 (ReverseY) to 1 ###
log3 kv_td_proc:ProcParametrizeCamRotate:   new Rotate val is: 1
host KvGiMainCtx__GetSweepProf()
host KvGiMainCtx__GetSweepGainMod()
host KvGiMainCtx__GetSweepEtimeMod()
host KvGiMainCtx__GetSweepLutMod()
log3 kv_td_proc:ProcParametrizeCamAutoFunc: AutoFunc settings handler entry vals: prof 1, gainm 1, etimem 1
log3 kv_td_excam:ExStopCapture: ****** stopping capture ******
gev GevAbortTransfer()=0
cam autoBrightnessMode=Active
log3 kv_td_excam:ExSetAutoExpoEna: ### set property autoBrightnessMode to Active ###
cam autoBrightnessSequence=Exposure_Gain_Iris
log3 kv_td_excam:ExSetAutoExpoEna: ### set property autoBrightnessSequence to ExpoGainIris ###
log4 kv_td_excam:ExPropertySetEnaAutoPush: Entry to manage Auto functions set: property 16 (GainAuto) ena=0
cam autoBrightnessMode=Off
log4 kv_td_excam:ExPropertySetEnaAutoPush: Entry to manage Auto functions set: property 15 (ExposureAuto) ena=0
host KvGiMainCtx__GetGainMan()
log3 kv_td_proc:ProcParametrizeCamManGain: Gain settings handler entry val: gain 0.100000 (CamGain 0.000000)
cam GainSelector=SensorAll
log3 kv_td_excam:ExPropertyGetFloatRange: ### get property 6 (Gain) range: min=0.000000 max=18.061800 ###
log3 kv_td_proc:ProcParametrizeCamManGain:   cur Gain val is 0.000000 (min 0.000000, max 18.061800)
cam GainSelector=SensorAll
cam Gain=1.0115795135498047
log3 kv_td_excam:ExPropertySetFloat: ### set property 6 (Gain) to 0.100000 ###
cam GainSelector=SensorAll
log3 kv_td_proc:ProcParametrizeCamManGain:   new Gain val is 0.100001
host KvGiMainCtx__GetExptMan()
log3 kv_td_proc:ProcParametrizeCamManExpo: ExpoTime settings handler entry val: expt 2500.750000 (CamExposureTime 10000.000000)
log3 kv_td_excam:ExPropertyGetFloatRange: ### get property 7 (ExposureTime) range: min=10.000000 max=2000000.000000 ###
log3 kv_td_proc:ProcParametrizeCamManExpo:   cur ExpoTime val is 10000.000000 (min 10.000000, max 2000000.000000)
cam ExposureTime=2500.75
log3 kv_td_excam:ExPropertySetFloat: ### set property 7 (ExposureTime) to 2500.750000 ###
log3 kv_td_proc:ProcParametrizeCamManExpo:   new ExpoTime val is 2500.750000 (2500)us
host KvGiMainCtx__GetLutDataU16()
log3 kv_td_proc:ProcParametrizeCamManLUT: LUT settings handler entry LUT arr 0x...
log3 kv_td_excam:ExPropertyGetLUTMode: ### get Lut mode "Off"; Lut type "UserDefined" ###
log3 kv_td_proc:ProcParametrizeCamManLUT:   current LUT state: ena 0, entries 256
cam lutType=UserDefined
log3 kv_td_excam:ExPropertySetLUTMode: Have current LUT size: Bpp10
cam lutMode=Active
log3 kv_td_excam:ExPropertySetLUTMode: ### set Lut mode to "Active"; Lut type to "UserDefined" (status 0) ###
host KvGiMainCtx__GetLutArrCount()
host KvGiMainCtx__GetLutBitSize()
log3 kv_td_proc:ProcParametrizeCamManLUT:   check LUT: val[10] = 10, val[1023] = 1023, devBitSize = 8, arrBitSize = 10, nValsDev = 256, nValsArr = 1024
log3 kv_td_proc:ProcParametrizeCamManLUT:   check devLut boundary: val[ 255] = 255
cam LUT[256]=0..255
log3 kv_td_proc:ProcParametrizeCamManLUT: LUT handler exit (nValuesDev = 256, nCfgVals = 256, time = 0us)
host KvGiMainCtx__GetIoboxNum()
log3 kv_td_proc:ProcParametrizeCamOutLines: IoBox settings handler entry: numCfg 0 (allowed cfg? - "YES")
host KvGiMainCtx__GetTsadjns()
log3 kv_td_excam:ExStartCapture: ****** starting capture ******
gev GevStartTransfer(-1)=0
)");
}

TEST(Parametrize, EverythingAutomaticOnAColourCamera)
{
    Rig rig(SmallCamera(sim::Model::Color));
    const auto configure = [](FakeHost& host) {
        host.fps = 25; // not while frames flow, as rotation
        host.rotate = 2;
        host.wbred = 150;
        host.wbblu = 200;
        host.sweepProf = 1;
        host.sweepGainMod = host.sweepEtimeMod = 2;
        host.atbright = 0.5F;
        host.gainlimsLow = 6;
        host.gainlimsHigh = 14;
        host.etlimsLow = 100.9F;
        host.etlimsHigh = 20000;
        host.gamma = 2.5F;
    };
    EXPECT_EQ(Reconfigure(rig, kFormatYuv422, configure, false), R"(
host KvGiMainCtx__GetWbred()
host KvGiMainCtx__GetWbblu()
log3 kv_td_proc:ProcParametrizeCamWB: WhiteBalance settings handler entry vals: Red 150, Blue 200
cam BalanceWhiteAuto=Off
log4 kv_td_excam:ExPropertySetEnumFromStr: ### set enum param "BalanceWhiteAuto" to "Off"
cam balanceRatioReference=Green
log4 kv_td_excam:ExPropertySetEnumFromStr: ### set enum param "balanceRatioReference" to "Green"
cam BalanceRatioSelector=Red
log3 kv_td_excam:ExPropertyGetFloatRange: ### get property 20 (BalanceRatio) range: min=-12.041201 max=12.041201 ###
log3 kv_td_proc:ProcParametrizeCamWB:   cur WhiteBalance vals are: Red -1 Blue -1 (min -1204 max 1204)
cam BalanceRatioSelector=Red
cam BalanceRatio=1.1885021924972534
log3 kv_td_excam:ExPropertySetFloat: ### set property 20 (BalanceRatio) to 1.500000 ###
cam BalanceRatioSelector=Blue
cam BalanceRatio=1.1885021924972534
log3 kv_td_excam:ExPropertySetFloat: ### set property 21 (BalanceRatio) to 1.500000 ###
log3 kv_td_proc:ProcParametrizeCamWB:   new WhiteBalance vals are: Red 150, Blue 200
host KvGiMainCtx__GetSweepProf()
host KvGiMainCtx__GetSweepGainMod()
host KvGiMainCtx__GetSweepEtimeMod()
host KvGiMainCtx__GetSweepLutMod()
log3 kv_td_proc:ProcParametrizeCamAutoFunc: AutoFunc settings handler entry vals: prof 1, gainm 2, etimem 2
log3 kv_td_excam:ExStopCapture: ****** stopping capture ******
gev GevAbortTransfer()=0
cam autoBrightnessMode=Active
log3 kv_td_excam:ExSetAutoExpoEna: ### set property autoBrightnessMode to Active ###
cam autoBrightnessSequence=Exposure_Gain_Iris
log3 kv_td_excam:ExSetAutoExpoEna: ### set property autoBrightnessSequence to ExpoGainIris ###
log4 kv_td_excam:ExPropertySetEnaAutoPush: Entry to manage Auto functions set: property 16 (GainAuto) ena=1
cam GainAuto=Continuous
log3 kv_td_excam:ExPropertySetEnaAutoPush: ### set property 16 (GainAuto) to "Continuous" ###
log4 kv_td_excam:ExPropertySetEnaAutoPush: Entry to manage Auto functions set: property 15 (ExposureAuto) ena=1
cam ExposureAuto=Continuous
log3 kv_td_excam:ExPropertySetEnaAutoPush: ### set property 15 (ExposureAuto) to "Continuous" ###
host KvGiMainCtx__GetAtbright()
host KvGiMainCtx__GetGainlimsLow()
host KvGiMainCtx__GetGainlimsHigh()
host KvGiMainCtx__GetEtlimsLow()
host KvGiMainCtx__GetEtlimsHigh()
log3 kv_td_proc:ProcParametrizeCamAutoFuncParams: AutoFunc params handler entry vals: bright 0.500000, glims [6.000000, 14.000000], etlims [100.900002, 20000.000000]
cam autoBrightnessTarget=128
log3 kv_td_excam:ExPropertySetInt: ### set property 10 (autoBrightnessTarget) to 128 ###
cam gainAutoSource=SensorAll
log3 kv_td_excam:ExPropertyGetFloatRange: ### get property 13 (gainAutoMinValue) range: min=0.000000 max=18.061800 ###
cam gainAutoSource=SensorAll
log3 kv_td_excam:ExPropertyGetFloatRange: ### get property 14 (gainAutoMaxValue) range: min=0.000000 max=18.061800 ###
cam gainAutoMinValue=1
log3 kv_td_excam:ExPropertySetFloat: ### set property 13 (gainAutoMinValue) to 1.000000 ###
cam gainAutoMaxValue=5
log3 kv_td_excam:ExPropertySetFloat: ### set property 14 (gainAutoMaxValue) to 5.000000 ###
log3 kv_td_excam:ExPropertyGetFloatRange: ### get property 11 (exposureAutoMinValue) range: min=10.000000 max=2000000.000000 ###
log3 kv_td_excam:ExPropertyGetFloatRange: ### get property 12 (exposureAutoMaxValue) range: min=10.000000 max=2000000.000000 ###
cam exposureAutoMinValue=100
log3 kv_td_excam:ExPropertySetFloat: ### set property 11 (exposureAutoMinValue) to 100.000000 ###
cam exposureAutoMaxValue=20000
log3 kv_td_excam:ExPropertySetFloat: ### set property 12 (exposureAutoMaxValue) to 20000.000000 ###
host KvGiMainCtx__GetGamma()
log3 kv_td_proc:ProcParametrizeCamGamma: Gamma settings handler entry val: Gamma 2.500000
log3 kv_td_excam:ExPropertyGetLUTMode: ### get Lut mode "Off"; Lut type "UserDefined" ###
cam lutType=GammaCorrection
log3 kv_td_excam:ExPropertyGetGammaRange: ### Gamma feature is disabled ###
log3 kv_td_excam:ExPropertyGetGammaRange: ### Gamma range: min=0.100000 max=4.000000 ###
cam lutType=UserDefined
log4 kv_td_excam:ExPropertyGetGammaRange: Get Gamma range is exited with status 0
log3 kv_td_proc:ProcParametrizeCamGamma:   cur Gamma val is -1.000000 (min 0.100000, max 4.000000)
log3 kv_td_excam:ExPropertyGetLUTMode: ### get Lut mode "Off"; Lut type "UserDefined" ###
log3 kv_td_excam:ExPropertySetGamma: ### Gamma feature is disabled ###
cam lutType=GammaCorrection
cam lutMode=Active
log3 kv_td_excam:ExPropertySetLUTMode: ### set Lut mode to "Active"; Lut type to "GammaCorrection" (status 0) ###
cam gammaCorrection=2.5
log3 kv_td_excam:ExPropertySetGamma: ### set Gamma value: 2.500000 ###
log3 kv_td_excam:ExPropertyGetGamma: ### Gamma feature is disabled (1) ###
log3 kv_td_proc:ProcParametrizeCamGamma:   new Gamma val is 2.500000
host KvGiMainCtx__GetIoboxNum()
log3 kv_td_proc:ProcParametrizeCamOutLines: IoBox settings handler entry: numCfg 0 (allowed cfg? - "YES")
log3 kv_td_excam:ExStartCapture: ****** starting capture ******
gev GevStartTransfer(-1)=0
)");
}
