#include "cameras/output_lines.h"

#include "cameras/chosen_camera.h"
#include "gen_api.h"

namespace kvgrab
{

namespace
{

/** What keeps a feature from being used as the driver will use it; empty for nothing. */
template <class Pointer> std::string Trouble(const Pointer& node, const std::string& name)
{
    if (!node) {
        return "has no " + name;
    }
    return GenApi::IsWritable(node->GetAccessMode()) ? "" : "does not let " + name + " be set";
}

std::string EntryTrouble(const GenApi::CEnumerationPtr& node, const std::string& name,
                         const char* entry)
{
    const GenApi::IEnumEntry* const found = node->GetEntryByName(entry);
    const bool there = found != nullptr && GenApi::IsReadable(found->GetAccessMode());
    return there ? "" : "has no entry " + std::string(entry) + " of " + name;
}

std::string LineTrouble(const GenApi::CNodeMapRef& map, const char* line)
{
    const GenApi::CEnumerationPtr selector = map.GetNode("LineSelector");
    const GenApi::CEnumerationPtr source = map.GetNode("outputLineSource");
    const GenApi::CBooleanPtr inverter = map.GetNode("LineInverter");
    std::string trouble = Trouble(selector, "LineSelector");
    if (trouble.empty()) {
        trouble = EntryTrouble(selector, "LineSelector", line);
    }
    if (!trouble.empty()) {
        return trouble;
    }
    const GenApi::gcstring before = selector->ToString();
    selector->FromString(line);
    trouble = Trouble(source, "outputLineSource");
    for (const char* entry : {"Off", "ExposureActive"}) {
        trouble = trouble.empty() ? EntryTrouble(source, "outputLineSource", entry) : trouble;
    }
    trouble = trouble.empty() ? Trouble(inverter, "LineInverter") : trouble;
    for (const char* name : {"outputLinePulseDelay", "outputLinePulseDuration"}) {
        // One that can't be written is left as it is; it only has to be there and to tell its
        // range.
        const GenApi::CIntegerPtr pulse = map.GetNode(name);
        if (trouble.empty() && (!pulse || !GenApi::IsReadable(pulse->GetAccessMode()))) {
            trouble = "has no " + std::string(name) + " that can be read";
        }
    }
    selector->FromString(before);
    return trouble;
}

} // namespace

std::string WhyLinesCannotBeDriven(const Config& config)
{
    if (!DrivesOutputLines(config)) {
        return "";
    }
    const ChosenCamera camera(config.camera);
    if (!camera.IsOpen()) {
        return "";
    }
    const std::string who = std::string("the camera ") + camera.Info().serial + " ";
    try {
        const auto* const map = camera.NodeMap();
        for (const IoSetConfig& set : SetsRead(config)) {
            const char* const line = map == nullptr ? nullptr : OutputLineOf(set);
            const std::string trouble = line == nullptr ? "" : LineTrouble(*map, line);
            if (!trouble.empty()) {
                return who + trouble + ", which the [[iobox]] set for " +
                       KvTd::KvCfgIoPinMapT[set.pin].name +
                       " needs: take the set out, or use another camera";
            }
        }
    } catch (const std::exception& e) {
        return who + "refuses a look at its output lines: " + e.what();
    }
    return "";
}

} // namespace kvgrab
