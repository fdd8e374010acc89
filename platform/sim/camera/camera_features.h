/** The features of a simulated camera: its nodes, its settings, and how they depend on each other.
 *
 *  The camera always has every feature, even those that the set-up hides or mistypes: a camera that
 *  lacks the feature Width still has a width. The node map shows only what the set-up leaves.
 *
 *  Threads: under the camera's lock, except for the node map, which never changes once it is built.
 */
#pragma once

#include "genapi/node_map.h"
#include "genapi/nodes.h"
#include "sim/camera/timing.h"
#include "sim/camera/user_sets.h"
#include "sim_control.h"

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace sim
{

/** The look-up table and gamma, which make samples brighter or darker. */
struct ToneFeatures {
    static constexpr std::size_t kMostEntries = 4096;

    genapi::EnumerationNode* mode = nullptr;
    genapi::EnumerationNode* type = nullptr;
    genapi::EnumerationNode* size = nullptr; ///< its value: bits of an entry
    genapi::IntegerNode* entries = nullptr;  ///< kMostEntries cells for each channel
    std::size_t channels = 1;                ///< number of tables: 1, or one per colour
    genapi::FloatNode* gamma = nullptr;
    std::uint64_t revision = 0; ///< counts the writes to any of these

    /** A table doesn't act on formats whose pixels have more bits than its entries. */
    bool ActsOn(std::int64_t pixelBits) const
    {
        return type->Symbolic() != "UserDefined" || size->Value() >= pixelBits;
    }
};

struct WhiteBalanceFeatures {
    genapi::EnumerationNode* mode = nullptr;
    genapi::EnumerationNode* period = nullptr;    ///< its value: seconds
    genapi::EnumerationNode* reference = nullptr; ///< its value: a channel
    genapi::FloatNode* ratio = nullptr;           ///< one cell per channel
    std::uint64_t asked = 0;                      ///< counts the writes to the mode
};

/** One cell for each of Line1 to Line4. */
struct LineFeatures {
    genapi::EnumerationNode* source = nullptr;
    genapi::BooleanNode* inverter = nullptr;
    genapi::IntegerNode* delay = nullptr; ///< us, like the duration
    genapi::IntegerNode* duration = nullptr;
};

struct TriggerFeatures {
    genapi::EnumerationNode* mode = nullptr;
    genapi::EnumerationNode* source = nullptr; ///< its value: the number of the line; 0: Software
    genapi::EnumerationNode* activation = nullptr;
    genapi::FloatNode* delay = nullptr; ///< us
    /** The sensor's, called after a write to any of these, and when TriggerSoftware is executed. */
    std::function<void()> onChange = nullptr;
    std::function<void()> onSoftware = nullptr;

    bool IsOn() const { return mode->Symbolic() == "On"; }
    void Changed() const { Call(onChange); }
    void Fired() const { Call(onSoftware); }

private:
    static void Call(const std::function<void()>& function)
    {
        if (function) {
            function();
        }
    }
};

struct BrightnessFeatures {
    genapi::EnumerationNode* mode = nullptr; ///< null: no mode, the selectors decide
    genapi::EnumerationNode* sequence = nullptr;
    genapi::IntegerNode* target = nullptr;
    genapi::EnumerationNode* exposureAuto = nullptr;
    genapi::FloatNode* exposureMin = nullptr;
    genapi::FloatNode* exposureMax = nullptr;
    genapi::EnumerationNode* gainAuto = nullptr;
    genapi::EnumerationNode* gainSource = nullptr; ///< its position: a cell of the gain
    genapi::FloatNode* gainMin = nullptr;
    genapi::FloatNode* gainMax = nullptr;

    bool ExposureRegulated() const { return IsOn(*exposureAuto); }
    bool GainRegulated() const { return IsOn(*gainAuto); }

private:
    bool IsOn(const genapi::EnumerationNode& selector) const
    {
        return (mode == nullptr || mode->Symbolic() == "Active") &&
               selector.Symbolic() == "Continuous";
    }
};

/** What the features need to know about their camera. */
struct CameraState {
    std::function<bool()> streaming;
    std::function<std::int64_t()> nowNs;
};

class CameraFeatures
{
public:
    CameraFeatures(const CameraSetup& setup, genapi::AccessHook& hook, CameraState state);

    genapi::NodeMap& Map() { return map_; }
    /** The feature of this name, if the camera shows it; null otherwise. */
    genapi::Feature* Shown(std::string_view name);
    /** All of them, in the order of their description. */
    const std::vector<genapi::Feature*>& Shown() const { return shown_; }

    genapi::IntegerNode* width = nullptr;
    genapi::IntegerNode* height = nullptr;
    genapi::IntegerNode* offsetX = nullptr;
    genapi::IntegerNode* offsetY = nullptr;
    genapi::EnumerationNode* pixelFormat = nullptr;
    genapi::BooleanNode* reverseX = nullptr;
    genapi::BooleanNode* reverseY = nullptr;
    genapi::FloatNode* exposureTime = nullptr;
    genapi::FloatNode* frameRate = nullptr;
    genapi::FloatNode* gain = nullptr; ///< cell 0: sensor, cell 1: digital
    ToneFeatures tone;
    WhiteBalanceFeatures whiteBalance; ///< its nodes are null in a monochrome camera
    LineFeatures lines;
    BrightnessFeatures brightness;
    TriggerFeatures trigger;
    genapi::BooleanNode* chunkMode = nullptr;
    genapi::BooleanNode* chunkEnable = nullptr; ///< one cell per chunk, in the order of chunks.h

    /** Width, height and offsets of the next frame: always inside the sensor, whatever values a
     *  script stored. */
    struct Region {
        std::uint32_t width;
        std::uint32_t height;
        std::uint32_t offsetX;
        std::uint32_t offsetY;
    };
    Region FrameRegion() const;
    std::uint64_t PixelBytes() const;
    std::uint64_t PayloadBytes() const;
    /** Bit n: each frame carries chunk n of chunks.h. 0 while chunk mode is off. */
    unsigned ChunksOn() const;
    FrameCost Cost() const;

private:
    friend class FeatureBuilder;
    void BeginUserSets();
    void Publish();
    genapi::Feature* StandIn(const genapi::NodeSpec& original, NodeKind kind);

    const CameraSetup& setup_;
    genapi::AccessHook& hook_;
    CameraState state_;
    std::vector<std::unique_ptr<genapi::Feature>> owned_; // in the order of their description
    std::vector<std::unique_ptr<genapi::Feature>> standIns_;
    std::vector<genapi::Feature*> shown_;
    UserSets userSets_;
    std::size_t userSetCount_ = 0;
    genapi::NodeMap map_;
};

} // namespace sim
