/** Takes any text for a camera's description, packed or not, and accesses each of its features
 * once. The camera's registers hold bytes of the text, so they lie. */
#include "net/description/description_text.h"
#include "net/nodes/feature_map.h"
#include "tests/net/memory_device.h"

#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

namespace
{

using namespace GenApi_3_0;

/** What the camera refuses, and nothing else, is an exception of the contract. */
template <class Access> void Try(const Access& access)
{
    try {
        access();
    } catch (const GenICam_3_0::GenericException& e) {
        if (std::string_view(e.what()).empty()) {
            std::abort();
        }
    }
}

void AccessNumber(IInteger& node)
{
    Try([&] { node.GetMin(); });
    Try([&] { node.GetMax(); });
    Try([&] { node.GetInc(); });
    Try([&] { node.SetValue(node.GetValue()); });
    Try([&] { node.SetValue(node.GetMax(), false); });
}

void AccessNumber(IFloat& node)
{
    Try([&] { node.GetMin(); });
    Try([&] { node.GetMax(); });
    Try([&] { node.SetValue(node.GetValue()); });
    Try([&] { node.SetValue(node.GetMin(), false); });
}

void AccessEntries(IEnumeration& node)
{
    Try([&] { node.FromString(node.ToString()); });
    Try([&] { node.SetIntValue(node.GetIntValue()); });
    for (std::size_t i = 0; i < node.GetEntryCount(); ++i) {
        Try([&] { node.GetEntry(i)->GetAccessMode(); });
        Try([&] { node.FromString(node.GetEntry(i)->GetSymbolic()); });
    }
}

void AccessFeature(INode& node)
{
    Try([&] { node.GetAccessMode(); });
    for (std::size_t i = 0; node.GetSelector(i) != nullptr; ++i) {
    }
    if (node.AsInteger() != nullptr) {
        AccessNumber(*node.AsInteger());
    } else if (node.AsFloat() != nullptr) {
        AccessNumber(*node.AsFloat());
    } else if (node.AsEnumeration() != nullptr) {
        AccessEntries(*node.AsEnumeration());
    } else if (node.AsBoolean() != nullptr) {
        Try([&] { node.AsBoolean()->SetValue(node.AsBoolean()->GetValue()); });
    } else if (node.AsString() != nullptr) {
        Try([&] { node.AsString()->GetMaxLength(); });
        Try([&] { node.AsString()->SetValue(node.AsString()->GetValue()); });
    } else if (node.AsCommand() != nullptr) {
        Try([&] { node.AsCommand()->Execute(); });
        Try([&] { node.AsCommand()->IsDone(); });
    }
}

void FillRegisters(test::Registers& registers, std::string_view text)
{
    constexpr std::size_t kWord = 4;
    for (std::size_t at = 0; at < test::Registers::kBytes; at += kWord) {
        std::uint32_t value = 0;
        for (std::size_t i = 0; i < kWord; ++i) {
            value = value << 8 | static_cast<std::uint8_t>(text[(at + i) % text.size()]);
        }
        registers.Put(at, value);
    }
}

/** The library knows more features than those that the categories lead to. */
void AccessAll(net::FeatureMap& map, std::string_view text)
{
    constexpr std::string_view kName = "Name=\"";
    constexpr int kMost = 300;
    int count = 0;
    for (std::size_t at = text.find(kName); at != std::string_view::npos && count < kMost;
         at = text.find(kName, at), ++count) {
        at += kName.size();
        const std::string name(text.substr(at, text.find('"', at) - at));
        if (INode* const node = map.GetNode(name.c_str())) {
            AccessFeature(*node);
        }
    }
    for (std::size_t i = 0; i < map.GetNodeCount(); ++i) {
        if (map.GetNodeAt(i) == nullptr) {
            std::abort();
        }
    }
    Try([&] { map.LockTransferParameters(true); });
    Try([&] { map.LockTransferParameters(false); });
}

} // namespace

/** The library finds most of its own mistakes, says so, and goes on. */
extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    g_log_set_default_handler(
        [](const gchar*, GLogLevelFlags level, const gchar* text, gpointer) {
            const bool withoutRoot = std::string_view(text).starts_with("arv_dom_");
            if (level <= G_LOG_LEVEL_WARNING && !withoutRoot) { // which it leaves alone
                std::fprintf(stderr, "%s\n", text);
                std::abort();
            }
        },
        nullptr);
    // What libxml2 says is about the text.
    g_log_set_handler(
        "XML", G_LOG_LEVEL_MASK, [](const gchar*, GLogLevelFlags, const gchar*, gpointer) {},
        nullptr);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view given(reinterpret_cast<const char*>(data), size);
    net::TextPlace place;
    net::FindText(given, &place);
    std::string text(given);
    if ((given.starts_with("PK") && !net::Unpack(given, &text).empty()) || text.empty() ||
        !net::TextFault(text).empty()) {
        return 0;
    }
    net::Device device(test::NewMemoryDevice(text), "F1");
    FillRegisters(test::RegistersOf(device.Handle()), text);
    net::FeatureMap map(device);
    AccessAll(map, text);
    return 0;
}
