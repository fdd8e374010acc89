/** The one order in which every write is checked. */
#pragma once

#include "genapi/nodes.h"

#include <string>

namespace genapi
{

/** `misfit` gives "" or why the camera can't take the value, which is raised as `Refusal`: before
 *  the camera is reached when the write is verified, else by the camera as RuntimeException.
 *  `text` gives the value as text, for the description. Under the lock, after Enter. */
template <class Refusal, class Text, class Misfit>
void CheckWrite(AccessHook& hook, const Feature& feature, bool verify, const Text& text,
                const Misfit& misfit)
{
    const auto describe = [&](const std::string& why) {
        return feature.Name() + " = " + text() + ": " + why;
    };
    const bool writable = GenApi_3_0::IsWritable(feature.Mode());
    if (verify && !writable) {
        throw GenICam_3_0::AccessException(describe("not writable now"));
    }
    const std::string why = misfit();
    if (verify && !why.empty()) {
        throw Refusal(describe(why));
    }
    hook.Strike(AccessKind::Write, feature.Name().c_str());
    if (!writable) {
        throw GenICam_3_0::RuntimeException(describe("refused by the camera, not writable now"));
    }
    if (!why.empty()) {
        throw GenICam_3_0::RuntimeException(describe("refused by the camera, " + why));
    }
}

} // namespace genapi
