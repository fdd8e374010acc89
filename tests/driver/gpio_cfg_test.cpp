/** What one pass of the control thread does with the waiting IO-box sets. */
#include "kv_td_cthr.h"
#include "tests/driver/io_box_sets.h"
#include "tests/driver/transcript.h"
#include "tests/driver/words.h"
#include "tests/support/rig.h"

#include <gtest/gtest.h>

using namespace KvTd;
using namespace rig;

namespace
{

void Pass(Transcript& story, const std::string& what, CExCam& cam)
{
    story.Call(what, [&] { return CCamCtrlThread::DoGpioCfg(&cam); });
    story.Lines(SetsOf(cam));
}

} // namespace

TEST(Strobe, IsAppliedBySetIndexWithItsPolarity)
{
    Transcript story("gpio_strobes", {"log", "cam"});
    Rig rig;
    CExCam& cam = rig.Open();
    PutSet(cam, 0, 1, 2, 1, 5, 6); // an input line: refused, and idle again
    PutSet(cam, 2, 1, 2, 2, 100, 500);
    PutSet(cam, 3, 2, 3, 1, 7, kUnset); // not an output
    cam.lineStates[3].ready = false;    // as an input leaves it
    PutSet(cam, 6, 1, 2, 1, 1, 1);      // what a set was before is nobody's work
    Pass(story, "three sets", cam);
}

TEST(Strobe, WidthKeepsToTheLimit)
{
    Transcript story("gpio_widths", {"log", "cam"});
    Rig rig;
    CExCam& cam = rig.Open();
    cam.pulseLimitUs = 300;
    for (const auto& [source, width] :
         {std::pair(3, 299U), {3, 300U}, {3, 301U}, {3, kUnset}, {1, 5U}}) {
        PutSet(cam, 2, 1, source, 1, kUnset, width);
        Pass(story, Words("source", source, "width", width), cam);
    }
}

TEST(GpioCmd, IsQueuedAndMakesTheAwaitedInputBusy)
{
    Transcript story("gpio_command", {"log", "cam"});
    Rig rig;
    CExCam& cam = rig.Open();
    PutSet(cam, 1, 2, 5, 2, 250, 9);
    Pass(story, "an input", cam);
    cam.gpioActivity = false;
    cam.lineStates[1].ready = true;
    cam.gpioCmdDone = true;
    PutSet(cam, 0, 1, 5, 1, 32, 914);
    cam.lineStates[0].cmdProgress = 7;
    Pass(story, "a command", cam);
}

TEST(GpioCmd, SecondOneWaitsBehindTheFirst)
{
    Transcript story("gpio_second_command", {"log", "cam"});
    Rig rig;
    CExCam& cam = rig.Open();
    const auto again = [&](int mode, std::uint32_t value) {
        cam.gpioActivity = false;
        cam.lineStates[0].ready = true;
        cam.lineStates[0].mode = static_cast<std::uint8_t>(mode);
        cam.lineStates[0].param1 = value;
        cam.lineStates[0].applyPending = true;
    };
    PutSet(cam, 0, 1, 5, 1, 1, 3);
    Pass(story, "the first", cam);
    for (const std::uint32_t other : {5U, 6U}) { // another set's commands don't wait
        again(1, 4);
        PutSet(cam, 2, 1, 5, 1, 8, other);
        Pass(story, "the second beside another set's", cam);
    }
    again(2, 4);
    Pass(story, "an input takes the place of both", cam);
    again(7, 4);
    Pass(story, "and nothing the place of the input", cam);
}

TEST(GpioCmd, WithoutLengthOrValueIsDropped)
{
    Transcript story("gpio_dropped_commands", {"log", "cam"});
    Rig rig;
    CExCam& cam = rig.Open();
    for (const auto& [bits, value] : {std::pair{0U, 1U}, {33U, 1U}, {kUnset, 1U}, {8U, kUnset}}) {
        PutSet(cam, 2, 1, 5, 1, bits, value);
        Pass(story, Words(bits, value), cam);
    }
}

TEST(GpioCmd, FixedUserOutputIsPrepared)
{
    Transcript story("gpio_fixed_output", {"log"});
    Rig rig;
    CExCam& cam = rig.Open();
    CALL(story, CCamCtrlThread::ConfigureLineUserOutput(&cam, static_cast<td_pins>(4), 2));
    story.Lines(SetsOf(cam));
    CALL(story, CCamCtrlThread::ConfigureLineUserOutput(&cam, static_cast<td_pins>(3), 2));
    story.Lines(SetsOf(cam));
    Pass(story, "the pass", cam);
}
