#include "cameras/output_lines.h"

#include "cameras/chosen_camera.h"
#include "gen_api.h"

#include <fmt/format.h>

namespace kvgrab
{

namespace
{

/** Why the driver can't use a feature; empty if it can. */
template <class Pointer> std::string CheckWritable(const Pointer& node, const char* name)
{
    if (!node) {
        return fmt::format("has no {}", name);
    }
    return GenApi::IsWritable(node->GetAccessMode()) ? ""
                                                     : fmt::format("does not let {} be set", name);
}

std::string CheckEntry(const GenApi::CEnumerationPtr& node, const char* name, const char* entry)
{
    const GenApi::IEnumEntry* const found = node->GetEntryByName(entry);
    const bool there = found != nullptr && GenApi::IsReadable(found->GetAccessMode());
    return there ? "" : fmt::format("has no entry {} of {}", entry, name);
}

std::string CheckLine(const GenApi::CNodeMapRef& map, const char* line)
{
    const GenApi::CEnumerationPtr selector = map.GetNode("LineSelector");
    const GenApi::CEnumerationPtr source = map.GetNode("outputLineSource");
    const GenApi::CBooleanPtr inverter = map.GetNode("LineInverter");
    std::string missing = CheckWritable(selector, "LineSelector");
    if (missing.empty()) {
        missing = CheckEntry(selector, "LineSelector", line);
    }
    if (!missing.empty()) {
        return missing;
    }
    // It stays there, as the driver will leave it: there the limits of the pulse can be read.
    selector->FromString(line);
    missing = CheckWritable(source, "outputLineSource");
    for (const char* entry : {"Off", "ExposureActive"}) {
        missing = missing.empty() ? CheckEntry(source, "outputLineSource", entry) : missing;
    }
    missing = missing.empty() ? CheckWritable(inverter, "LineInverter") : missing;
    for (const char* name : {"outputLinePulseDelay", "outputLinePulseDuration"}) {
        // The driver leaves one alone that it can't write; it only has to read its range.
        const GenApi::CIntegerPtr pulse = map.GetNode(name);
        if (missing.empty() && (!pulse || !GenApi::IsReadable(pulse->GetAccessMode()))) {
            missing = fmt::format("has no {} that can be read", name);
        }
    }
    return missing;
}

} // namespace

std::string CheckOutputLines(const Config& config)
{
    if (!DrivesOutputLines(config)) {
        return "";
    }
    const ChosenCamera camera(config.camera);
    if (!camera.IsOpen()) {
        return "";
    }
    const char* const serial = camera.Info().serial;
    try {
        const auto* const map = camera.NodeMap();
        for (const IoSetConfig& set : SetsRead(config)) {
            const char* const line = map == nullptr ? nullptr : OutputLineOf(set);
            const std::string missing = line == nullptr ? "" : CheckLine(*map, line);
            if (!missing.empty()) {
                return fmt::format("the camera {} {}, which the [[iobox]] set for {} needs: remove "
                                   "the set, or use another camera",
                                   serial, missing, KvTd::KvCfgIoPinMapT[set.pin].name);
            }
        }
    } catch (const std::exception& e) {
        return fmt::format("the output lines of the camera {} can't be checked: {}", serial,
                           e.what());
    }
    return "";
}

} // namespace kvgrab
