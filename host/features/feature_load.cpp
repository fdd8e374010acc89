#include "features/feature_load.h"

#include "base/printable.h"
#include "features/value_text.h"

#include <cmath>
#include <fmt/format.h>

namespace kvgrab
{

namespace
{

/** One setting on its way. */
struct Loading {
    const FeatureSetting* setting;
    Outcome outcome;      ///< of the last attempt
    bool written = false; ///< in one of the attempts
    bool inForce = false;
};

/** Tries what isn't in force; false if the camera doesn't answer. */
bool Attempt(const FeatureAccess& access, std::vector<Loading>& all)
{
    for (Loading& one : all) {
        if (!one.inForce) {
            bool written = false;
            one.outcome = access.SetIfOther(one.setting->name, one.setting->value, &written);
            one.inForce = one.outcome.Ok();
            one.written = one.written || (written && one.inForce);
        }
        if (one.outcome.kind == Outcome::Kind::CameraFailed) {
            return false;
        }
    }
    return true;
}

/** Looks which values a later setting has changed; false if the camera doesn't answer. Returns how
 *  many settings are in force in `*inForce`. */
bool Check(const FeatureAccess& access, std::vector<Loading>& all, std::size_t* inForce)
{
    *inForce = 0;
    for (Loading& one : all) {
        if (!one.inForce) {
            continue;
        }
        const Outcome now = access.Get(one.setting->name);
        if (now.kind == Outcome::Kind::CameraFailed) {
            one.outcome = now;
            one.inForce = false;
            return false;
        }
        // A value that can't be read any more is believed.
        if (now.Ok() && now.text != one.outcome.text) {
            one.inForce = false;
            one.outcome = {Outcome::Kind::Refused,
                           fmt::format("{} was set to {}, and another setting made it {}",
                                       one.setting->name.Text(), base::Quoted(one.outcome.text),
                                       base::Quoted(now.text))};
            continue;
        }
        ++*inForce;
    }
    return true;
}

/** Only numbers of the type float may differ from what was asked for. */
bool IsRounded(std::string_view asked, std::string_view taken)
{
    constexpr double kSame = 1e-6; // a single-precision register isn't worth a message
    const auto wanted = ParseNumber(asked);
    const auto value = ParseNumber(taken);
    return wanted && value && std::abs(*wanted - *value) > kSame * std::abs(*wanted);
}

} // namespace

LoadResult LoadFeatures(const FeatureAccess& access, const std::vector<FeatureSetting>& settings)
{
    std::vector<Loading> all;
    for (const FeatureSetting& setting : settings) {
        all.push_back({&setting,
                       {Outcome::Kind::Refused,
                        fmt::format("{} is not tried: the camera stopped answering before",
                                    setting.name.Text())}});
    }
    LoadResult result;
    std::size_t before = 0;
    std::size_t inForce = 0;
    do {
        before = inForce;
        result.cameraFailed = !Attempt(access, all) || !Check(access, all, &inForce);
    } while (!result.cameraFailed && inForce < all.size() && inForce > before);
    for (const Loading& one : all) {
        const FeatureSetting& setting = *one.setting;
        if (!one.inForce) {
            result.failed.push_back(fmt::format("{}: {}", setting.where, one.outcome.text));
            continue;
        }
        ++(one.written ? result.set : result.unchanged);
        if (IsRounded(setting.value, one.outcome.text)) {
            result.rounded.push_back(fmt::format("{}: {} is {}, which the camera made of {}",
                                                 setting.where, setting.name.Text(),
                                                 one.outcome.text, base::Printable(setting.value)));
        }
    }
    return result;
}

} // namespace kvgrab
