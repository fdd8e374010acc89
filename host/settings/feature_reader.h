/** Reads from a camera what judgements need. */
#pragma once

#include "settings/judgement.h"

#include "gen_api.h"

#include <map>
#include <string>
#include <tuple>

namespace kvgrab
{

/** Never throws: what can't be read becomes the facts' trouble. Once the camera doesn't answer, it
 *  isn't asked any more. */
class FeatureReader
{
public:
    /** `movesSelectors`: sets a selector that has another value, and back afterwards. Otherwise
     *  nothing is written. */
    FeatureReader(const GenApi::CNodeMapRef& map, bool movesSelectors)
        : map_(map), movesSelectors_(movesSelectors)
    {
    }

    /** Asks the camera at the first time. */
    FeatureFacts Read(const FeatureRef& feature, Look look);

    /** Whether the camera didn't answer in time. */
    bool CameraIsSilent() const { return silent_; }

private:
    FeatureFacts Ask(const FeatureRef& feature, Look look);
    template <class Access> void Guarded(FeatureFacts* facts, const Access& access);
    void ReadAt(const FeatureRef& feature, Look look, FeatureFacts* facts);

    const GenApi::CNodeMapRef& map_;
    bool movesSelectors_;
    std::map<std::tuple<std::string, std::string, Look>, FeatureFacts> known_;
    bool silent_ = false;
};

} // namespace kvgrab
