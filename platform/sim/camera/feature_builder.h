/** Makes the nodes of a camera, group by group, in the order in which the camera describes them. */
#pragma once

#include "sim/camera/camera_features.h"

#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

namespace sim
{

class FeatureBuilder
{
public:
    using Integer = genapi::IntegerNode;
    using Float = genapi::FloatNode;
    using Boolean = genapi::BooleanNode;
    using Enumeration = genapi::EnumerationNode;
    using String = genapi::StringNode;
    using Command = genapi::CommandNode;
    static constexpr const char* kUserSetSelector = "UserSetSelector";
    static constexpr const char* kUserId = "DeviceUserID";

    explicit FeatureBuilder(CameraFeatures& features)
        : features_(features), setup_(features.setup_), state_(features.state_)
    {
    }
    void Build();

private:
    void Geometry();
    void Format();
    void Acquisition();
    void Trigger();
    void Gain();
    void AutoBrightness();
    void Tone();
    void WhiteBalance();
    void ChunkData();
    void Lines();
    void Device();
    void Identity();
    void UserSetControl();

    struct EntryList {
        std::string_view first; ///< selected at power-up
        std::vector<std::pair<std::string, std::int64_t>> entries;
        std::function<bool(std::int64_t)> refuses = nullptr;
    };
    /** One direction of the region; `sensor` and `step` in pixels. */
    struct Axis {
        const char* fullName;
        const char* sizeName;
        const char* offsetName;
        std::int64_t sensor;
        std::int64_t step;
    };
    /** Sets `size` and `offset`. Both are read again later, so they must be members of the
     *  features. */
    void AddAxis(const Axis& axis, Integer*& size, Integer*& offset);

    /** Entries with these names, numbered from 0; the first one is selected at power-up. */
    static EntryList Names(std::initializer_list<const char*> names);

    Integer* AddInteger(genapi::NodeSpec spec, Integer::Limits limits, std::int64_t value,
                        std::function<std::int64_t()> computed = nullptr);
    Float* AddFloat(genapi::NodeSpec spec, Float::Limits limits, double value,
                    std::function<double(double)> shown = nullptr);
    Boolean* AddBoolean(genapi::NodeSpec spec, bool value);
    /** `maxLength` in bytes. */
    String* AddString(genapi::NodeSpec spec, std::int64_t maxLength, const std::string& value);
    Command* AddCommand(genapi::NodeSpec spec);
    Enumeration* AddEnumeration(genapi::NodeSpec spec, EntryList list);

    bool IsColor() const { return setup_.model == Model::Color; }
    /** False when the set-up hides or mistypes the feature. */
    bool ShowsAsItIs(const std::string& name) const;
    /** While frames flow and `regulated` returns true, if the set-up has lockRegulated. */
    std::function<bool()> WhileRegulated(std::function<bool()> regulated) const;
    /** Adds what the table leaves out because it is the same for many. */
    genapi::NodeSpec Completed(genapi::NodeSpec spec) const;
    template <class Node> Node* Keep(std::unique_ptr<Node> node);

    CameraFeatures& features_;
    const CameraSetup& setup_;
    const CameraState& state_;
    const char* category_ = ""; ///< of the features that are being built
};

} // namespace sim
