/** Reads, writes and executes features of an open camera by their names. */
#pragma once

#include "cameras/feature_table.h"
#include "features/feature_setting.h"

#include "gen_api.h"

#include <string>
#include <string_view>

namespace kvgrab
{

/** How an access ended. */
struct Outcome {
    enum class Kind {
        Done,
        Refused,     ///< by the camera, or because it has no such feature, entry or limit
        CameraFailed ///< it doesn't answer, so there is no use in going on
    };
    Kind kind = Kind::Done;
    std::string text; ///< Done: the value; else why, a printable sentence without a full stop
    bool Ok() const { return kind == Kind::Done; }
};

/** Every access sets the selectors that the name has in brackets, and puts them back afterwards.
 *  No operation throws. */
class FeatureAccess
{
public:
    /** The camera stays open longer. */
    explicit FeatureAccess(const GenApi::CNodeMapRef& map) : map_(map) {}

    Outcome Get(const FeatureName& name) const;
    /** The row of the feature for FeatureTable. */
    Outcome Describe(const FeatureName& name, FeatureRow* row) const;
    /** The text is the value that the camera has afterwards, empty if it can't be read. A value
     *  that the camera rounded is Done; any other that it didn't take is Refused. */
    Outcome Set(const FeatureName& name, std::string_view value) const;
    /** As Set, but doesn't write a value that the feature has already; `*written` says whether. */
    Outcome SetIfOther(const FeatureName& name, std::string_view value, bool* written) const;
    /** Begins a command and waits until the camera has finished it. */
    Outcome Execute(std::string_view command) const;
    /** Only begins it. */
    Outcome Begin(std::string_view command) const;
    /** Whether the camera has finished a command that was begun. */
    Outcome IsDone(std::string_view command, bool* done) const;

private:
    GenApi::INode& Find(const std::string& name) const;
    template <class Work> Outcome OnSelected(const FeatureName& name, const Work& work) const;

    const GenApi::CNodeMapRef& map_;
};

} // namespace kvgrab
