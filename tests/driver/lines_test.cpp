/** Which IO-box sets the grab thread hands over, and how a strobe is written. */
#include "kv_td_cthr.h"
#include "kv_td_pins.h"
#include "tests/driver/io_box_sets.h"
#include "tests/driver/transcript.h"
#include "tests/driver/words.h"
#include "tests/support/rig.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace KvTd;
using namespace rig;

namespace
{

constexpr auto kSet2 = static_cast<td_pins>(2);

class LinesRig : public Rig
{
public:
    LinesRig() { Open(); }
    /** What the control thread does, and somebody who sends commands and sees to inputs. */
    void TakeSets()
    {
        Cam().ioboxApplyReq = !CCamCtrlThread::DoGpioCfg(&Cam());
        for (IoBoxSet& set : Cam().lineStates) {
            set.pendingCmd = kNoGpioCmd;
            set.ready = true;
        }
    }
};

/** The configuration of sets as it is taken over. */
void Apply(Transcript& story, const std::string& what, LinesRig& rig,
           std::vector<IoBoxConfig> boxes)
{
    rig.host.ioboxes = std::move(boxes);
    story.Call(what, [&] { rig.proc.ProcParametrizeCamOutLines(&rig.Cam()); });
    story.Lines(SetsOf(rig.Cam()));
}

IoBoxConfig Out1(int mode, int source, int inverted, std::uint32_t param0, std::uint32_t param1)
{
    return {TD_PIN_OUT1, mode, source, inverted, {param0, param1}};
}

} // namespace

TEST(OutLines, ChangedSetsAreHandedOverWithTheirEarlierValues)
{
    Transcript story("out_lines_handed_over", {"host", "log", "cam"});
    LinesRig rig;
    const IoBoxConfig line2{TD_PIN_LINE2, 2, 5, 2, {7, 8}};
    const IoBoxConfig line1{TD_PIN_LINE1, 1, 1, 0, {9, 9}};
    Apply(story, "three sets", rig, {Out1(1, 2, 1, 100, 500), line2, line1});
    rig.TakeSets();
    Apply(story, "another delay", rig, {Out1(1, 2, 1, 101, 500)});
}

TEST(OutLines, OnlyChangesCount)
{
    struct Case {
        const char* what;
        IoBoxConfig first;
        IoBoxConfig second;
        std::uint32_t limitUs = kUnset; ///< of a pulse, at the second
    };
    const IoBoxConfig strobe = Out1(1, 2, 1, 10, kUnset);
    const IoBoxConfig input = Out1(2, 5, 1, 10, 20);
    const IoBoxConfig command = Out1(1, 5, 1, 10, 20);
    const IoBoxConfig wide = Out1(1, 3, 1, 10, 500);
    const IoBoxConfig off = Out1(1, 1, 1, 10, 20);
    Transcript story("out_lines_only_changes", {"log2", "log3"});
    for (const Case& c :
         {Case{"the same strobe", strobe, strobe}, Case{"delay", strobe, Out1(1, 2, 1, 11, kUnset)},
          Case{"width", strobe, Out1(1, 2, 1, 10, 5)},
          Case{"mode", strobe, Out1(2, 2, 1, 10, kUnset)},
          Case{"inverter", strobe, Out1(1, 2, 2, 10, kUnset)},
          Case{"source", strobe, Out1(1, 3, 1, 10, kUnset)},
          Case{"the same strobe with a width", wide, wide},
          Case{"another width", wide, Out1(1, 3, 1, 10, 501)},
          Case{"the same one, under a new limit", wide, wide, 400},
          Case{"no width under a new limit", strobe, strobe, 400},
          Case{"a line that is off, under a new limit", off, off, 400},
          Case{"an input under a new limit", input, input, 400},
          Case{"a strobe again after it was off", off, strobe},
          Case{"an input in place of a strobe", wide, input},
          Case{"an input's parameters", input, Out1(2, 5, 1, 11, 20)},
          Case{"the same command", command, command},
          Case{"parameters of a line that is off", off, Out1(1, 1, 1, 11, 20)}}) {
        LinesRig rig;
        rig.host.ioboxes = {c.first};
        rig.proc.ProcParametrizeCamOutLines(&rig.Cam());
        EXPECT_TRUE(rig.Cam().ioboxApplyReq) << c.what;
        rig.TakeSets();
        rig.Cam().pulseLimitUs = c.limitUs;
        Apply(story, c.what, rig, {c.second});
    }
}

TEST(OutLines, WhatCannotBeTakenOverIsPassedOver)
{
    Transcript story("out_lines_passed_over", {"log", "host"});
    LinesRig busy;
    busy.Cam().ioboxApplyReq = true;
    Apply(story, "a busy thread", busy, {Out1(1, 2, 1, 100, 500)});
    busy.Cam().ioboxApplyReq = false;
    Apply(story, "no set", busy, {});
    std::vector<IoBoxConfig> boxes;
    for (const td_pins pin : {TD_PIN_LINE1, TD_PIN_LINE2, TD_PIN_OUT1, TD_PIN_OUT2}) {
        boxes.push_back({static_cast<int>(pin), 1, 2, 1, {1, 2}});
    }
    LinesRig four;
    Apply(story, "a fourth set", four, boxes);
    LinesRig busySet;
    busySet.Cam().lineStates[2].ready = false;
    Apply(story, "a busy set beside another", busySet, {Out1(1, 5, 0, 8, 3), boxes[3]});
    LinesRig noSet;
    for (const int pin : std::initializer_list<int>{TD_PIN_NONE, TD_PIN_LINE3, TD_PIN_OUT3,
                                                    TD_PIN_GPIO3, 13, -1, INT32_MIN}) {
        Apply(story, Words("pin", pin), noSet, {{pin, 1, 2, 1, {1, 2}}});
    }
}

TEST(Strobe, PulsesThatTheCameraDoesNotTakeAreLeftAsTheyAre)
{
    Transcript story("strobe_pulses", {"cam", "log"});
    struct Case {
        std::uint32_t delay;
        std::uint32_t width;
        const char* readOnly;
    };
    for (const Case& c :
         {Case{kUnset, kUnset, "nothing"}, Case{2'000'000, 2'000'000, "nothing"},
          Case{2'000'001, 2'000'001, "nothing"}, Case{0, 0, "nothing"},
          Case{1, 1, "outputLinePulseDelay"}, Case{1, 1, "outputLinePulseDuration"}}) {
        sim::CameraSetup setup = SmallCamera();
        setup.readOnly = {c.readOnly};
        Rig rig(setup);
        CExCam& cam = rig.Open();
        story.Call(Words("delay", c.delay, "width", c.width, "read-only:", c.readOnly),
                   [&] { return cam.ExSetLineModeOutStrobe(kSet2, true, true, c.delay, c.width); });
    }
}

TEST(Strobe, WhatIsMissingIsRefusedBeforeAnyWrite)
{
    Transcript story("strobe_refusals", {"cam", "log"});
    const auto strobe = [&](const std::string& what, CExCam& cam, int pin, bool on) {
        story.Call(what, [&] {
            return cam.ExSetLineModeOutStrobe(static_cast<td_pins>(pin), on, true, 1, 1);
        });
    };
    for (const char* feature : {"LineSelector", "outputLineSource", "LineInverter",
                                "outputLinePulseDelay", "outputLinePulseDuration"}) {
        Rig rig(Lacking({feature}));
        strobe(feature, rig.Open(), 2, true);
        strobe(feature, rig.Cam(), 2, false);
    }
    Rig rig;
    rig.Open();
    for (const int pin : {0, 1, 4, -1}) {
        strobe(Words("pin", pin), rig.Cam(), pin, true);
    }
    rig.Cam().nodeMap = nullptr;
    strobe("no node map", rig.Cam(), 2, true);
}
