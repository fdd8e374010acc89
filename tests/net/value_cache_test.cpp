/** Which accesses reach the camera, and when: caching.txt. */
#include "tests/net/described_camera.h"
#include "tests/platform/access_stories.h"

#include <gtest/gtest.h>

#include <chrono>
#include <fmt/format.h>
#include <latch>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <utility>

namespace
{

using net::ValueCache;
using std::chrono::milliseconds;

/** A camera of a story, with a clock that only the story moves. */
class Story
{
public:
    /** One line of the description or one access. */
    std::string Do(const std::string& step)
    {
        if (step.starts_with("<")) {
            description_ += step;
            return "";
        }
        if (step.starts_with("reg ")) {
            std::istringstream words(step);
            std::string name;
            std::string address;
            std::string more;
            std::getline(words >> name >> name >> address, more);
            description_ += test::Register(name, std::stoul(address, nullptr, 16), more);
            return "";
        }
        if (camera_ == nullptr) {
            Open();
        }
        traffic_.clear();
        const std::string result = Act(step);
        return fmt::format("{}{}[{}]", result, result.empty() ? "" : " ", traffic_);
    }

    test::Opened& Camera() { return *camera_; }

private:
    void Open()
    {
        camera_ = std::make_unique<test::Opened>(
            test::Describe(description_), std::make_shared<ValueCache>([this] { return now_; }));
        camera_->registers.fails = [this](std::uint64_t address, bool write) {
            traffic_ +=
                fmt::format("{}{}{:x}", traffic_.empty() ? "" : " ", write ? "w" : "", address);
            return failing_ ? ARV_DEVICE_ERROR_TIMEOUT : 0;
        };
    }

    std::string Act(const std::string& step)
    {
        std::istringstream words(step);
        std::string word;
        std::string name;
        words >> word >> name;
        if (word == "put") {
            unsigned value = 0;
            words >> value;
            camera_->registers.Put(std::stoul(name, nullptr, 16), value);
        } else if (word == "pass") {
            now_ += milliseconds(std::stoi(name));
        } else if (word == "flow" || word == "rest") {
            camera_->map.LockTransferParameters(word == "flow");
        } else if (word == "background") {
            camera_->device.Values().RefreshDue(camera_->device.Mutex());
        } else if (word == "returns") {
            camera_->device.Values().ForgetAll();
        } else if (word == "camera") {
            failing_ = name == "fails";
        } else if (word == "really") {
            return access_text::Text(
                camera_->map.GetNode(name.c_str())->AsInteger()->GetValue(false, true));
        } else {
            return camera_->Do(step);
        }
        return "";
    }

    std::string description_;
    ValueCache::Clock::time_point now_;
    bool failing_ = false;
    std::string traffic_;
    std::unique_ptr<test::Opened> camera_; ///< once the first access is made
};

TEST(Caching, DoesWhatItsTextSays)
{
    std::unique_ptr<Story> story;
    TellStories(
        TEXTS "/caching.txt", [&](const std::string&) { story = std::make_unique<Story>(); },
        [&](const std::string& step) { return story->Do(step); });
}

/** A grab loop goes on while the background waits for a slow camera; otherwise this never ends. */
TEST(Caching, NoAccessToWhatIsKnownWaitsForTheCamera)
{
    Story story;
    for (const char* part :
         {"reg Temperature 2000 <Cachable>NoCache</Cachable>", "reg SelectorReg 2004",
          "<Integer Name=\"DeviceTemperature\"><pValue>Temperature</pValue></Integer>",
          "<Enumeration Name=\"Selector\"><EnumEntry Name=\"A\"><Value>0</Value></EnumEntry>"
          "<pValue>SelectorReg</pValue><pSelected>DeviceTemperature</pSelected></Enumeration>",
          "flow", "Selector=A", "DeviceTemperature", "pass 300"}) {
        story.Do(part);
    }
    std::latch asked(1);
    std::latch answered(1);
    story.Camera().registers.fails = [&](std::uint64_t, bool) {
        asked.count_down();
        answered.wait();
        return 0;
    };
    std::thread background(
        [&] { story.Camera().device.Values().RefreshDue(story.Camera().device.Mutex()); });
    asked.wait();
    EXPECT_EQ(story.Camera().Do("Selector=A"), "");
    EXPECT_EQ(story.Camera().Do("Selector"), "A");
    EXPECT_EQ(story.Camera().Do("DeviceTemperature"), "0");
    story.Camera().map.SetFrameValue("DeviceTemperature", 1);
    answered.count_down();
    background.join();
}

} // namespace
