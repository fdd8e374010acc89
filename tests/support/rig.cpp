#include "tests/support/rig.h"

#include "kv_td_factory.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace rig
{

sim::CameraSetup SmallCamera(sim::Model model)
{
    sim::CameraSetup setup;
    setup.model = model;
    setup.sensorWidth = 64;
    setup.sensorHeight = 48;
    setup.picture = sim::Picture::Plain;
    return setup;
}

sim::CameraSetup Having(std::vector<std::pair<std::string, std::string>> values, sim::Model model)
{
    sim::CameraSetup setup = SmallCamera(model);
    setup.values = std::move(values);
    return setup;
}

sim::CameraSetup Lacking(std::vector<std::string> features, sim::Model model)
{
    sim::CameraSetup setup = SmallCamera(model);
    setup.missing = std::move(features);
    return setup;
}

Rig::Rig(std::nullptr_t)
{
    ManualTime::current = &time;
    sim::Reset();
    sim::SetClock(time.clock);
    sim::SetJournal(true);
}

Rig::Rig(const sim::CameraSetup& setup) : Rig(nullptr)
{
    sim::AddCamera(setup);
}

Rig::~Rig()
{
    cam_.reset();
    if (handle != nullptr) {
        GevCloseCamera(&handle);
    }
    sim::Reset();
    ManualTime::current = nullptr;
}

KvTd::CExCam& Rig::Open()
{
    int count = 0;
    GevGetCameraList(&info_, 1, &count);
    if (count != 1 || GevOpenCamera(&info_, 2, &handle) != 0) {
        throw std::runtime_error("the rig's camera can't be opened");
    }
    cam_ = std::make_unique<KvTd::CExCam>(handle);
    cam_->deviceInfo = &info_;
    Clear();
    return *cam_;
}

void Rig::StartTransfer()
{
    constexpr std::size_t kBytes = 16384;
    memory_.resize(2 * kBytes);
    void* buffers[] = {memory_.data(), memory_.data() + kBytes};
    sim::SetJournal(false);
    if (GevInitializeTransfer(handle, 1, kBytes, 2, buffers) != 0 ||
        GevStartTransfer(handle, 0xFFFFFFFF) != 0) {
        throw std::runtime_error("the rig's camera can't grab");
    }
    sim::SetJournal(true);
}

int Rig::Run()
{
    return KvLibProc();
}

int Rig::Loop()
{
    return proc.ProcLoop(cam_.get(), &KvTd::kvBufFactory);
}

Texts Rig::Of(std::string_view kind)
{
    Texts texts = Of({kind});
    for (std::string& text : texts) {
        text.erase(0, kind.size() + 1);
    }
    return texts;
}

Texts Rig::Of(std::initializer_list<std::string_view> kinds)
{
    Texts texts;
    for (const sim::JournalEntry& entry : sim::Journal()) {
        for (const std::string_view kind : kinds) {
            if (entry.kind == kind || (kind == "log" && entry.kind.starts_with(kind))) {
                texts.push_back(entry.kind + " " + entry.text);
            }
        }
    }
    return texts;
}

Texts Rig::Logs(std::string_view function)
{
    Texts texts;
    for (const std::string& entry : Of({"log"})) { // "log3 source:function: message"
        const std::string line = entry.substr(entry.find(':') + 1);
        if (function.empty() || line.starts_with(std::string(function) + ": ")) {
            texts.push_back(entry.substr(3, 2) + line);
        }
    }
    return texts;
}

Texts Rig::HostCalls(std::string_view prefix)
{
    Texts texts = Of("host");
    std::erase_if(texts, [&](const std::string& text) { return !text.starts_with(prefix); });
    return texts;
}

void Rig::BeQuiet()
{
    sim::SetJournal(false);
    host.recording = false;
}

sim::Fault CallFails(const char* call, int status)
{
    return {.trigger = sim::Trigger::Call,
            .name = call,
            .times = 0,
            .effect = sim::Effect::Fail,
            .value = status};
}

sim::Fault FrameFault(sim::Effect effect, std::uint64_t nth, std::uint64_t times,
                      std::int64_t value)
{
    return {.trigger = sim::Trigger::Frame,
            .nth = nth,
            .times = times,
            .effect = effect,
            .value = value};
}

sim::Fault AccessThrows(sim::Trigger trigger, const char* feature, sim::ExceptionKind kind,
                        std::uint64_t nth)
{
    return {.trigger = trigger, .name = feature, .nth = nth, .exception = kind};
}

static auto Containing(std::string_view part)
{
    return [part](const std::string& text) { return text.find(part) != std::string::npos; };
}

Texts Between(const Texts& texts, std::string_view from, std::string_view to)
{
    const auto first = std::find_if(texts.begin(), texts.end(), Containing(from));
    if (first == texts.end()) {
        return {};
    }
    const auto last = std::find_if(first + 1, texts.end(), Containing(to));
    return Texts(first, last == texts.end() ? last : last + 1);
}

std::string Story(const Texts& texts)
{
    return texts.empty() ? "\n" : fmt::format("\n{}\n", fmt::join(texts, "\n"));
}

Texts FoldTables(const Texts& texts)
{
    constexpr std::string_view kValue = "cam LUTValue=";
    constexpr std::size_t kEntries = 256;
    Texts folded;
    Texts written; // of the table that is under way
    for (std::size_t i = 0; i < texts.size(); ++i) {
        const bool entry = i + 1 < texts.size() && texts[i + 1].starts_with(kValue) &&
                           texts[i] == fmt::format("cam LUTIndex={}", written.size());
        if (!entry) {
            folded.push_back(texts[i]);
            continue;
        }
        written.push_back(texts[++i].substr(kValue.size()));
        if (written.size() == kEntries) {
            folded.push_back(fmt::format("cam LUT[256]={}..{}", written.front(), written.back()));
            written.clear();
        }
    }
    return folded;
}

std::size_t Count(const Texts& texts, std::string_view part)
{
    return static_cast<std::size_t>(std::count_if(texts.begin(), texts.end(), Containing(part)));
}

} // namespace rig
